# 32-bit Windows cross build with MinGW-w64 (posix thread variant: GoogleTest needs std::mutex).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(ZELKA_TRIPLET i686-w64-mingw32)
set(CMAKE_C_COMPILER ${ZELKA_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZELKA_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${ZELKA_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ZELKA_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages such as an installed zelka may live anywhere on the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# Tests and samples run under 32-bit Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
