# What the two Windows cross builds share; mingw-64.cmake and mingw-32.cmake say which one it is.
# The compilers are those with POSIX threads: the others have no std::thread and no std::mutex.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_CXX_COMPILER ${MORVEX_MINGW}-g++-posix)
set(CMAKE_C_COMPILER ${MORVEX_MINGW}-gcc-posix)
set(CMAKE_RC_COMPILER ${MORVEX_MINGW}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${MORVEX_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
