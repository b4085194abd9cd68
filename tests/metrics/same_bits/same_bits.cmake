# Compiles the solver of 3 by 3 eigenproblems with every compiler in COMPILERS at several levels, and
# fails unless each program finds the expected bits. PROCESSOR is the machine's, SOURCE the root of
# the sources, BUILD a directory for the programs.
cmake_minimum_required(VERSION 3.25)

set(levels "-O1" "-O2" "-O3")
# With all instructions of this machine: a fused multiply-add must not be taken.
if(PROCESSOR MATCHES "x86_64|AMD64")
  list(APPEND levels "-O3 -march=native")
endif()

file(MAKE_DIRECTORY ${BUILD})
foreach(compiler IN LISTS COMPILERS)
  foreach(level IN LISTS levels)
    separate_arguments(options UNIX_COMMAND "${level}")
    execute_process(
      COMMAND ${compiler} -std=c++20 ${options} -ffp-contract=off
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
