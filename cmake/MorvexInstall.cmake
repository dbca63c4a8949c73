# The installed package: headers, libraries, CMake package and pkg-config file. Each finds its files relative to
# itself, so that an installed tree can be moved.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/morvex)

foreach(header IN LISTS MORVEX_PUBLIC_HEADERS ETC_PUBLIC_HEADERS)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES interfaces/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

install(FILES tools/gdb/morvex_printers.py DESTINATION ${CMAKE_INSTALL_DATADIR}/morvex/gdb)

install(TARGETS morvex etc EXPORT morvexTargets)
install(EXPORT morvexTargets NAMESPACE morvex:: DESTINATION ${package_dir})
if(MINGW)
  install(FILES ${MORVEX_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

configure_package_config_file(cmake/morvexConfig.cmake.in ${PROJECT_BINARY_DIR}/package/morvexConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/morvexConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/morvexConfig.cmake ${PROJECT_BINARY_DIR}/package/morvexConfigVersion.cmake
  DESTINATION ${package_dir})

file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
get_target_property(morvex_library morvex OUTPUT_NAME)
get_target_property(etc_library etc OUTPUT_NAME)
configure_file(cmake/morvex.pc.in ${PROJECT_BINARY_DIR}/package/morvex.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/morvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
