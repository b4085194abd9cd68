# Optimised builds of the library are hardened: overwritten return addresses and known buffers are
# checked, and no table of function addresses can be written once the library is loaded. It costs
# 0.7 % of the instructions of finding the nearest node, 0.3 % of reading a NASTRAN file, 0.1 to
# 0.2 % of bounding fields, finding nodes in boxes, welding and rating edges, and less than 0.02 %
# of all else that was measured: graphs, neighbours, boundaries, edges, shapes, index arrays,
# writing a NASTRAN file. All of it is private:
# programs that link the library keep the flags that they have. Flags of the same kind that the
# builder sets count, and sanitizers do without.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

set(tessmaker_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
set(TESSMAKER_HARDENED OFF)
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|-fstack-protector|_FORTIFY_SOURCE")
  check_cxx_compiler_flag(-fstack-protector-strong TESSMAKER_HAS_STACK_PROTECTOR)
  check_linker_flag(CXX "LINKER:-z,relro,-z,now" TESSMAKER_HAS_RELRO)
  get_target_property(tessmaker_type tessmaker TYPE)
  if(TESSMAKER_HAS_STACK_PROTECTOR AND TESSMAKER_HAS_RELRO)
    target_compile_options(tessmaker_objects PRIVATE
      $<${tessmaker_optimised}:-fstack-protector-strong>)
    # Guarded, it would take 1.1 % longer to bound 2D metrics.
    set_source_files_properties(${PROJECT_SOURCE_DIR}/metrics/bound_along_edges.cpp PROPERTIES
      COMPILE_OPTIONS $<${tessmaker_optimised}:-fno-stack-protector>)
    target_compile_definitions(tessmaker_objects PRIVATE
      $<${tessmaker_optimised}:_FORTIFY_SOURCE=2>)
    if(tessmaker_type STREQUAL "SHARED_LIBRARY")
      target_link_options(tessmaker PRIVATE $<${tessmaker_optimised}:LINKER:-z,relro,-z,now>)
      set(TESSMAKER_HARDENED ON)
    endif()
  endif()
endif()
