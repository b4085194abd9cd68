# The test that results have the same bits by every compiler that is installed.
find_program(TESSMAKER_GXX g++)
find_program(TESSMAKER_CLANGXX clang++)
set(same_bits_compilers ${TESSMAKER_GXX} ${TESSMAKER_CLANGXX})
list(FILTER same_bits_compilers EXCLUDE REGEX "-NOTFOUND$")

set(same_bits_test metrics.eigen3.has_the_same_bits_by_every_compiler)
add_test(NAME ${same_bits_test}
  COMMAND ${CMAKE_COMMAND} "-DCOMPILERS=${same_bits_compilers}"
    -DPROCESSOR=${CMAKE_SYSTEM_PROCESSOR} -DSOURCE=${PROJECT_SOURCE_DIR}
    -DBUILD=${CMAKE_CURRENT_BINARY_DIR}/same_bits
    -P ${CMAKE_CURRENT_LIST_DIR}/same_bits.cmake)
set_tests_properties(${same_bits_test} PROPERTIES LABELS metrics TIMEOUT 600)
