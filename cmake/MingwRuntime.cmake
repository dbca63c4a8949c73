# Exceptions cross the boundary of the shared libraries, so the C++ runtime is one shared copy, beside the programs.
# MORVEX_RUNTIME_DLLS lists its files.

set(MORVEX_RUNTIME_DLLS "")
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libgcc_s_dw2-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  # The compiler repeats the bare name of a file that it doesn't have; of the two libgcc_s it has one.
  if(IS_ABSOLUTE ${path})
    file(REAL_PATH ${path} path)
    configure_file(${path} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name} COPYONLY)
    list(APPEND MORVEX_RUNTIME_DLLS ${path})
  endif()
endforeach()
