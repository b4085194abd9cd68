# Fails when LIBRARY exports a name that is neither in namespace kv7 nor the virtual table or type
# information of a class there.
execute_process(COMMAND ${NM} --dynamic --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(STRIP "${symbols}" symbols)
string(REPLACE "\n" ";" symbols "${symbols}")

set(foreign)
foreach(line IN LISTS symbols)
  string(REGEX REPLACE "^.* " "" name "${line}")
  if(NOT name MATCHES "^_ZN(K?)3kv7|^_ZT[VIS]N3kv7")
    string(APPEND foreign "\n  ${name}")
  endif()
endforeach()
list(LENGTH symbols nbr_symbols)
if(foreign)
  message(FATAL_ERROR "${LIBRARY} exports what is not ours:${foreign}")
elseif(nbr_symbols EQUAL 0)
  message(FATAL_ERROR "${LIBRARY} exports nothing")
endif()
message(STATUS "${nbr_symbols} names, all of them ours")
