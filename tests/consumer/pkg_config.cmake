include(${CMAKE_CURRENT_LIST_DIR}/install.cmake)

set(ENV{PKG_CONFIG_PATH} ${prefix}/${libdir}/pkgconfig)
execute_process(COMMAND ${pkg_config} --cflags --libs morvex
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${compiler} -std=c++20 ${source}/main.cpp -o ${work}/consumer ${flags} COMMAND_ERROR_IS_FATAL ANY)
set(ENV{LD_LIBRARY_PATH} ${prefix}/${libdir})
execute_process(COMMAND ${work}/consumer COMMAND_ERROR_IS_FATAL ANY)
