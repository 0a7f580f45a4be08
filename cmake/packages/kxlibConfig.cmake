# find_package(kxlib CONFIG): the pixel-processor library (kxlib::kxlib, static) and the
# libkx it drives the processor through (kxlib::kx, shared).
include(${CMAKE_CURRENT_LIST_DIR}/kxlibTargets.cmake)
