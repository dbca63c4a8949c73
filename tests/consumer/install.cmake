# Included by the scripts: installs into ${work}/moved. The tree is moved once after the installation, so that a path
# kept in it from the build or from its first place shows.

file(REMOVE_RECURSE ${work})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix ${work}/first
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${work}/first ${work}/moved)
set(prefix ${work}/moved)
