# Builds Tarnwick for macOS on Linux with clang and ld64.lld:
#
#   cmake -B build-macos -G Ninja --toolchain cmake/macos-cross.cmake \
#         -DMACOS_SDK=DIR -DMACOS_ARCH=arm64 -DBUILD_TESTING=OFF
#
# DIR is a folder with Apple's SDK, the builder's own: usr/include, usr/lib and
# System/Library/Frameworks, with libc++'s headers in usr/include/c++/v1. With BUILD_TESTING=ON and
# -DTARNWICK_PLATFORM=simulated it builds what a Mac's desk has, tests included.
set(CMAKE_SYSTEM_NAME Darwin)

set(MACOS_SDK "" CACHE PATH "Folder with Apple's SDK")
set(MACOS_ARCH "x86_64" CACHE STRING "x86_64 or arm64")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_SDK MACOS_ARCH)
if(NOT EXISTS "${MACOS_SDK}/System/Library/Frameworks")
    message(FATAL_ERROR "Set -DMACOS_SDK= to a folder with System/Library/Frameworks")
endif()
set(CMAKE_SYSTEM_PROCESSOR ${MACOS_ARCH})
# An SDK without the C++ library's headers borrows those that Debian has for clang.
file(GLOB MACOS_LIBCXX "${MACOS_SDK}/usr/include/c++/v1" /usr/lib/llvm-*/include/c++/v1)
if(NOT MACOS_LIBCXX)
    message(FATAL_ERROR "No headers of libc++: scripts/packages.sh macos brings them")
endif()
list(GET MACOS_LIBCXX 0 MACOS_LIBCXX)

find_program(MACOS_LINKER NAMES ld64.lld ld64.lld-14 ld64.lld-15 ld64.lld-16 REQUIRED)
find_program(MACOS_CLANG NAMES clang++ clang++-14 clang++-15 clang++-16 REQUIRED)
find_program(CMAKE_AR NAMES llvm-ar llvm-ar-14 llvm-ar-15 llvm-ar-16 REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib llvm-ranlib-14 llvm-ranlib-15 llvm-ranlib-16 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL
             NAMES llvm-install-name-tool llvm-install-name-tool-14 llvm-install-name-tool-15)
set(CMAKE_CXX_COMPILER ${MACOS_CLANG})
set(CMAKE_CXX_COMPILER_TARGET ${MACOS_ARCH}-apple-macos)  # CMAKE_OSX_DEPLOYMENT_TARGET says which
# A program cannot be run here, and a stub library is all there is to link with.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(CMAKE_OSX_SYSROOT "" CACHE STRING "" FORCE)
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "" FORCE)
set(CMAKE_CXX_FLAGS_INIT
    "-nostdinc++ -isystem ${MACOS_LIBCXX} -isystem ${MACOS_SDK}/usr/include -iframework ${MACOS_SDK}/System/Library/Frameworks")
# clang tells a linker that it knows to be new enough what macOS a program is for.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Qunused-arguments --ld-path=${MACOS_LINKER} -mlinker-version=711 -nostdlib -Wl,-syslibroot,${MACOS_SDK}")
# What the SDK has is linked, so that a misspelt function fails here; an SDK without the system's own
# stubs leaves its functions to the Mac's loader.
if(EXISTS "${MACOS_SDK}/usr/lib/libSystem.tbd")
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -L${MACOS_SDK}/usr/lib -lSystem -lc++")
else()
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-undefined,dynamic_lookup")
endif()

set(CMAKE_FIND_ROOT_PATH ${MACOS_SDK})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
