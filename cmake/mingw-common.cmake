# Windows cross build with MinGW-w64 (posix thread variant: GoogleTest needs std::mutex), for
# the platform named by ZELKA_ARCH before this file is included: x86 (the product) or x64.
set(CMAKE_SYSTEM_NAME Windows)
if(ZELKA_ARCH STREQUAL "x86")
  set(CMAKE_SYSTEM_PROCESSOR i686)
  set(ZELKA_TRIPLET i686-w64-mingw32)
  # The GCC runtime's own DLL differs by its unwinding: DWARF on x86, SEH on x64.
  set(ZELKA_GCC_DLL libgcc_s_dw2-1.dll)
  set(ZELKA_WINE_LOADER /usr/lib/wine/wine)
  set(ZELKA_WINE_SERVER /usr/lib/wine/wineserver32)
  set(ZELKA_WINE_ARCH win32)
elseif(ZELKA_ARCH STREQUAL "x64")
  set(CMAKE_SYSTEM_PROCESSOR x86_64)
  set(ZELKA_TRIPLET x86_64-w64-mingw32)
  set(ZELKA_GCC_DLL libgcc_s_seh-1.dll)
  set(ZELKA_WINE_LOADER /usr/lib/wine/wine64)
  set(ZELKA_WINE_SERVER /usr/lib/wine/wineserver64)
  set(ZELKA_WINE_ARCH win64)
else()
  message(FATAL_ERROR "ZELKA_ARCH must be x86 or x64, not '${ZELKA_ARCH}'")
endif()

set(CMAKE_C_COMPILER ${ZELKA_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZELKA_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${ZELKA_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ZELKA_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages such as an installed zelka may live anywhere on the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# Tests and samples run under the Wine loader of the same width, named by its full path: the
# wrapper on PATH picks the 32-bit loader whenever one is installed.
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELKA_WINE_LOADER})
