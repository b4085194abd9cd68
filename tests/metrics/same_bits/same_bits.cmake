# Compiles the solver of 3 by 3 eigenproblems with every compiler in COMPILERS at -O1, -O2 and -O3,
# and fails unless each program finds the expected bits. SOURCE is the root of the sources, BUILD a
# directory for the programs.
file(MAKE_DIRECTORY ${BUILD})
foreach(compiler IN LISTS COMPILERS)
  foreach(level -O1 -O2 -O3)
    execute_process(
      COMMAND ${compiler} -std=c++20 ${level} -ffp-contract=off
        -I${SOURCE} -I${SOURCE}/include -I${SOURCE}/tests
        ${SOURCE}/metrics/eigen3.cpp ${SOURCE}/tests/metrics/same_bits/eigen3_hash.cpp
        -o ${BUILD}/eigen3_hash
      COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND ${BUILD}/eigen3_hash OUTPUT_VARIABLE hash RESULT_VARIABLE result)
    string(STRIP "${hash}" hash)
    message(STATUS "${compiler} ${level}: ${hash}")
    if(NOT result EQUAL 0)
      message(SEND_ERROR "not the expected bits")
    endif()
  endforeach()
endforeach()
