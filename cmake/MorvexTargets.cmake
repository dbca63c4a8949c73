# What every target of this project has in common: language level, warnings, visibility, sanitizers.
# A project that takes this one in with add_subdirectory gets none of it for its own targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(CCACHE ccache)
  mark_as_advanced(CCACHE)
  if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  endif()
endif()

find_package(Threads REQUIRED)

add_library(morvex_warnings INTERFACE)
target_compile_options(morvex_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align -Wunused -Woverloaded-virtual)
if(MORVEX_WERROR)
  target_compile_options(morvex_warnings INTERFACE -Werror)
endif()

add_library(morvex_options INTERFACE)
target_link_libraries(morvex_options INTERFACE morvex_warnings)
target_compile_options(morvex_options INTERFACE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
if(MORVEX_SANITIZE)
  target_compile_options(morvex_options INTERFACE -fsanitize=${MORVEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(morvex_options INTERFACE -fsanitize=${MORVEX_SANITIZE})
endif()
if(MORVEX_FUZZ)
  # Tells the fuzzer which branches are reached; its main program is linked by the targets only.
  target_compile_options(morvex_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(MORVEX_COVERAGE)
  target_compile_options(morvex_options INTERFACE --coverage)
  target_link_options(morvex_options INTERFACE --coverage)
endif()
if(WIN32)
  set(MORVEX_PLATFORM windows)
  target_compile_definitions(morvex_options INTERFACE _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
else()
  set(MORVEX_PLATFORM posix)
endif()
if(MINGW)
  # The stack tracer reads DWARF 4 at most.
  target_compile_options(morvex_options INTERFACE $<$<CONFIG:Debug,RelWithDebInfo>:-gdwarf-4>)
  include(${CMAKE_CURRENT_LIST_DIR}/MingwRuntime.cmake)
endif()

# The shared libraries carry their version in their name, on every system alike.
function(morvex_shared_library target output_name)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${output_name})
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:morvex_options>)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
  else()
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    # A library's calls of itself are its own: they need no detour by which others could replace them.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
    if(NOT MORVEX_SANITIZE) # whose runtime is in the programs
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()
