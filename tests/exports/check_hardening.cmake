# Whether the shared library is hardened as cmake/hardening.cmake says.
# cmake -DREADELF=... -DLIBRARY=... -P check_hardening.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${READELF} --wide --program-headers --dynamic --dyn-syms ${LIBRARY}
  OUTPUT_VARIABLE told COMMAND_ERROR_IS_FATAL ANY)
foreach(mark IN ITEMS "GNU_RELRO" "BIND_NOW|Flags:[^\n]* NOW" "UND __stack_chk_fail"
                      "UND __[a-z]+_chk")
  if(NOT told MATCHES "${mark}")
    message(SEND_ERROR "${LIBRARY} has no ${mark}")
  endif()
endforeach()
