# The tests bring their own locales, compiled into the build folder, so that no system-wide set-up is needed.
# Each row: name as the tests ask for it, source definition, character map.

set(MORVEX_TEST_ENVIRONMENT "")
if(NOT WIN32)
  find_program(LOCALEDEF localedef REQUIRED)
  set(locale_dir ${PROJECT_BINARY_DIR}/locales)
  set(rows
    "ja_JP.CP932 ja_JP WINDOWS-31J"
    "ja_JP.EUC-JP ja_JP EUC-JP"
    "ja_JP.UTF-8 ja_JP UTF-8"
    "en_US.UTF-8 en_US UTF-8"
    "tr_TR.UTF-8 tr_TR UTF-8"
    "de_DE.CP1252 de_DE CP1252"
    "de_DE.ISO-8859-1 de_DE ISO-8859-1"
    "ps_AF.UTF-8 ps_AF UTF-8"
    "zh_CN.GBK zh_CN GBK"
    "zh_TW.BIG5 zh_TW BIG5")
  set(stamps "")
  foreach(row IN LISTS rows)
    separate_arguments(fields UNIX_COMMAND "${row}")
    list(GET fields 0 name)
    list(GET fields 1 definition)
    list(GET fields 2 charmap)
    # localedef exits with 1 for warnings about its own data; the file that it must leave is the check.
    add_custom_command(OUTPUT ${locale_dir}/${name}/LC_CTYPE
      COMMAND ${CMAKE_COMMAND} -E make_directory ${locale_dir}
      COMMAND sh -c "'${LOCALEDEF}' -c -i ${definition} -f ${charmap} '${locale_dir}/${name}' >/dev/null 2>&1; test -s '${locale_dir}/${name}/LC_CTYPE'"
      VERBATIM)
    list(APPEND stamps ${locale_dir}/${name}/LC_CTYPE)
  endforeach()
  add_custom_target(test_locales ALL DEPENDS ${stamps})
  set(MORVEX_TEST_ENVIRONMENT "LOCPATH=${locale_dir}")
endif()
