# 64-bit Windows: the same sources as the 32-bit product.
set(ZELKA_ARCH x64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
