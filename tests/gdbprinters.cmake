# Runs a program under gdb, stops it where its variables stand, and compares what gdb prints of them.
#
# cmake -D gdb=... -D program=... -D printers=... -P gdbprinters.cmake

cmake_minimum_required(VERSION 3.25)

# Each row: what is printed, a blank, what must come out.
set(rows
  [[empty "" (shared empty)]]
  [[name "outbox" (length 6, capacity 39, count 2)]]
  [[shared "outbox" (length 6, capacity 39, count 2)]]
  [[ascii "7 bits" (length 6, capacity 39, count 1)]]
  [[wide "wide" (length 4]]
  [[euro "€😀" (length 3]]
  [[utf8 "€ \"quoted\" \xff\n" (length 15]]
  [[engine "engine" (length 6]]
  [[longText "0123456789]]
  [[character '€' (e2 82 ac)]]
  [[none <no character>]]
  [[unit '€' (20ac)]]
  [[at at "utbox"]]
  [[atEnd at the end]]
  [[wideAt at "wide"]]
  [[noBytes 0 bytes (shared empty)]]
  [[bytes 2 bytes (capacity 65, count 2): 01 ff]]
  [[sharedBytes 2 bytes (capacity 65, count 2): 01 ff]]
  [[*null <no buffer>]]
  [[*wild <unreadable at 0x10>]]
  [[*damaged <damaged: length 9, capacity 4, count 1>]]
  [[*wildBytes <unreadable at 0x10>]])

if(NOT gdb)
  message("skipped: gdb is not installed")
  return()
endif()

set(commands -ex "source ${printers}" -ex "break ready" -ex run -ex "up")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^[^ ]+" expression "${row}")
  list(APPEND commands -ex "echo ${expression} is:" -ex "output ${expression}" -ex "echo \\n")
endforeach()

execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 PYTHONUTF8=1
    ${gdb} -nx -batch -ex "set debuginfod enabled off" -ex "set target-charset UTF-8" ${commands} ${program}
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors TIMEOUT 60)

if("${printed}${errors}" MATCHES "ptrace: Operation not permitted|Could not trace the inferior process")
  message("skipped: this system lets nobody trace a program")
  return()
endif()
if(errors MATCHES "not supported in this copy of GDB|Python scripting is not")
  message("skipped: this gdb has no Python")
  return()
endif()

set(failures "")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^([^ ]+) (.*)$" whole "${row}")
  string(FIND "${printed}" "\n${CMAKE_MATCH_1} is:${CMAKE_MATCH_2}" found)
  if(found EQUAL -1)
    string(APPEND failures "not printed: ${row}\n")
  endif()
endforeach()
if(NOT printed MATCHES "\nlongText is:\"[0-9]+\"\\.\\.\\. \\(length 1000,")
  string(APPEND failures "not printed: a long text that is cut, and its whole length\n")
endif()
if(errors MATCHES "Python Exception|Traceback")
  string(APPEND failures "a printer failed\n")
endif()
if(failures)
  message(FATAL_ERROR "${failures}\ngdb printed:\n${printed}\n${errors}")
endif()
