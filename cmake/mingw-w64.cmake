# Cross build for x86_64 Windows with mingw-w64's posix thread model (std::thread, std::mutex).
# Programs run under Wine: CTest starts each test through the emulator.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TQ4_MINGW_HOST x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TQ4_MINGW_HOST}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TQ4_MINGW_HOST}-g++-posix)
set(CMAKE_RC_COMPILER ${TQ4_MINGW_HOST}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TQ4_MINGW_HOST})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
