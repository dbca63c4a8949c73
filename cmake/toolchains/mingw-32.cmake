# Windows 32-bit. Tests run under Wine, one whole program at a time.
# The frame pointer is kept because stack traces follow it: 32-bit code carries no unwind tables for the system.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(MORVEX_MINGW i686-w64-mingw32)
set(CMAKE_CXX_FLAGS_INIT -fno-omit-frame-pointer)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../.ci/wine-run 32)
