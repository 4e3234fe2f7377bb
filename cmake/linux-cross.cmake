# Builds for another processor's Linux with Debian's cross compilers; scripts/cross has a table of them.
#   ZELT_TRIPLET  prefix of the tools, such as aarch64-linux-gnu
#   ZELT_QEMU     what runs the target's programs during the build, such as qemu-aarch64-static; empty where they run
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZELT_TRIPLET ZELT_QEMU)
set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${ZELT_TRIPLET}")

set(CMAKE_C_COMPILER ${ZELT_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ZELT_TRIPLET}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELT_QEMU})

# Libraries are those of the target alone; CMAKE_PREFIX_PATH adds further ones.
set(CMAKE_FIND_ROOT_PATH /usr/${ZELT_TRIPLET} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
