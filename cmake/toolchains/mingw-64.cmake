# Windows x86-64. Tests run under Wine, one whole program at a time.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(MORVEX_MINGW x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../.ci/wine-run 64)
