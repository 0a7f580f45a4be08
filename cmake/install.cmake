# `cmake --install BUILD --prefix P` lays the project out like any library:
#
#   P/lib/libkx.so, libkxlib.a, libzel.so, ZelDeviceComputeKX.so
#   P/bin/kxrun, kxdis             (kxrun finds the plug-in in ../lib, as in the build tree)
#   P/include/kx/, kxlib/, zel/, ZelDeviceComputeKX/
#   P/lib/cmake/kxlib/             find_package(kxlib CONFIG): kxlib::kxlib, kxlib::kx
#   P/lib/cmake/ZelDeviceComputeKX/ find_package(ZelDeviceComputeKX CONFIG):
#                                  ZelDeviceComputeKX::ZelDeviceComputeKX (the plug-in),
#                                  ZelDeviceComputeKX::zel (the host library)
#
# Installed programs and libraries find their neighbours through $ORIGIN (the top
# CMakeLists sets the install rpath before the targets exist).
set(KX_INSTALL_CMAKEDIR lib/cmake)

# The pixel-processor library and libkx under it.
install(TARGETS kx kxlib EXPORT kxlibTargets
        LIBRARY DESTINATION lib
        ARCHIVE DESTINATION lib)
install(DIRECTORY platform/kx/include/ DESTINATION include/kx)
install(DIRECTORY kxlib/include/ DESTINATION include/kxlib)
install(EXPORT kxlibTargets NAMESPACE kxlib:: DESTINATION ${KX_INSTALL_CMAKEDIR}/kxlib)
install(FILES cmake/packages/kxlibConfig.cmake DESTINATION ${KX_INSTALL_CMAKEDIR}/kxlib)

# The plug-in and the host library it plugs into.
install(TARGETS zel ZelDeviceComputeKX EXPORT ZelDeviceComputeKXTargets
        LIBRARY DESTINATION lib)
install(FILES platform/zel/include/zel.h platform/zel/include/zel_params.h
        DESTINATION include/zel)
install(FILES src/IHV/kx/ZelDeviceComputeTypeKX.h src/IHV/kx/kx_routines.def
        DESTINATION include/ZelDeviceComputeKX)
install(EXPORT ZelDeviceComputeKXTargets NAMESPACE ZelDeviceComputeKX::
        DESTINATION ${KX_INSTALL_CMAKEDIR}/ZelDeviceComputeKX)
install(FILES cmake/packages/ZelDeviceComputeKXConfig.cmake
        DESTINATION ${KX_INSTALL_CMAKEDIR}/ZelDeviceComputeKX)

install(TARGETS kxrun kxdis RUNTIME DESTINATION bin)
