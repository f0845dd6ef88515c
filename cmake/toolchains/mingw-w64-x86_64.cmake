# Cross-compiling for 64-bit Windows with Debian's MinGW-w64 compilers (the posix thread model,
# which std::thread and std::mutex need): packages g++-mingw-w64-x86-64-posix and
# binutils-mingw-w64-x86-64. Programs built with it run under Wine (scripts/wine-run.sh).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZT_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ZT_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZT_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZT_MINGW_TRIPLE}-windres)

# Headers and libraries of the target only; programs (the build's own tools) of the host.
set(CMAKE_FIND_ROOT_PATH /usr/${ZT_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
