include(${CMAKE_CURRENT_LIST_DIR}/install.cmake)

# A cross build searches its system's own folders only, so its users name the package's folder.
if(toolchain)
  set(place -D morvex_DIR=${prefix}/${libdir}/cmake/morvex)
else()
  set(place -D morvex_ROOT=${prefix})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${source} -B ${work}/build -G Ninja
    -D CMAKE_CXX_COMPILER=${compiler} -D CMAKE_TOOLCHAIN_FILE=${toolchain} ${place}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/build COMMAND_ERROR_IS_FATAL ANY)

# Windows looks for libraries beside the program; elsewhere the build has noted where they are.
file(GLOB libraries ${prefix}/bin/*.dll)
if(libraries)
  file(COPY ${libraries} DESTINATION ${work}/build)
  set(ENV{WINEPREFIX} ${build}/wine)
endif()
file(GLOB program ${work}/build/consumer ${work}/build/consumer.exe)
execute_process(COMMAND ${emulator} ${program} COMMAND_ERROR_IS_FATAL ANY)
