# find_package(ZelDeviceComputeKX CONFIG): the KX compute-device plug-in
# (ZelDeviceComputeKX::ZelDeviceComputeKX, whose file the host loads) and the host library
# (ZelDeviceComputeKX::zel). Both use libkx, from the kxlib package installed beside it.
include(CMakeFindDependencyMacro)
find_dependency(kxlib CONFIG PATHS ${CMAKE_CURRENT_LIST_DIR}/.. NO_DEFAULT_PATH)
include(${CMAKE_CURRENT_LIST_DIR}/ZelDeviceComputeKXTargets.cmake)
