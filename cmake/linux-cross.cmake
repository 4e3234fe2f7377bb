# Builds for another processor with Debian's cross compiler g++-TRIPLET, the triplet of GNU (aarch64-linux-gnu) given as
# ZELT_TRIPLET in the cache or the environment.
if(NOT ZELT_TRIPLET)
  set(ZELT_TRIPLET $ENV{ZELT_TRIPLET})
endif()
if(NOT ZELT_TRIPLET)
  message(FATAL_ERROR "ZELT_TRIPLET is not set")
endif()
# What CMake tries to compile reads this file again, and knows of the cache only what is listed.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZELT_TRIPLET)

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${ZELT_TRIPLET})
set(CMAKE_CXX_COMPILER ${ZELT_TRIPLET}-g++)

# Headers and programs of the build's machine serve; libraries would be of its processor.
set(CMAKE_FIND_ROOT_PATH /usr/${ZELT_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
