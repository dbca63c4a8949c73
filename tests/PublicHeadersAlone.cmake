# Every public header must compile with nothing before it, and on Windows also before and after <windows.h>, whose
# macros meet some of our names. The build is the test: a header that doesn't compile alone stops it.

set(sources "")
function(header_source name text)
  set(path ${CMAKE_CURRENT_BINARY_DIR}/headers/${name}.cpp)
  file(CONFIGURE OUTPUT ${path} CONTENT "${text}")
  set(sources ${sources} ${path} PARENT_SCOPE)
endfunction()

# What stands first in a source stands alone, whatever follows it.
if(WIN32)
  set(follows "#include <windows.h>")
else()
  set(follows "")
endif()
foreach(header IN LISTS MORVEX_PUBLIC_HEADERS ETC_PUBLIC_HEADERS)
  string(MAKE_C_IDENTIFIER ${header} name)
  header_source(${name} "#include <${header}>\n${follows}\n#include <${header}>\n")
  if(WIN32)
    header_source(${name}_after "#include <windows.h>\n#include <${header}>\n")
  endif()
endforeach()

add_library(public_headers_alone OBJECT ${sources})
# A user's point of view: warnings, but none of this project's own definitions.
target_link_libraries(public_headers_alone PRIVATE morvex_warnings morvex)
# Nothing of it is run.
target_compile_options(public_headers_alone PRIVATE -O0 -g0)
