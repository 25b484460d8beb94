# Cross-compiles for Windows x86 with mingw-w64. The -posix compilers are the ones that have std::thread.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QVX_TRIPLET i686-w64-mingw32)
set(CMAKE_C_COMPILER ${QVX_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QVX_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${QVX_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QVX_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# x87 arithmetic changes the last bits of a division and turns signalling NaNs quiet when it copies them.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
