# Compiles each of HEADERS alone with COMPILER as C++ STANDARD, and the containers with all their
# instantiations.
function(compile)
  execute_process(
    COMMAND ${COMPILER} -std=c++${STANDARD} -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
      -I${INCLUDE_DIR} -x c++ ${ARGN}
    RESULT_VARIABLE result)
  if(result)
    message(FATAL_ERROR "${ARGN} does not compile as C++${STANDARD}")
  endif()
endfunction()

foreach(header IN LISTS HEADERS)
  compile(-fsyntax-only ${header})
endforeach()
compile(-O2 -DTESSMAKER_INSTANTIATION=template -c -o /dev/null ${INCLUDE_DIR}/tessmaker/containers.h)
