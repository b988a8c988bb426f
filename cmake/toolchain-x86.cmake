# 32-bit Windows: zelka130.dll as the product ships.
set(ZELKA_ARCH x86)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
