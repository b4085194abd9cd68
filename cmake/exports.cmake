# Hidden visibility covers our own code. The linker script covers what the compiler instantiates
# from the standard library, which would otherwise leave the shared library as weak symbols.
include(CheckLinkerFlag)

set(tessmaker_export_map ${CMAKE_CURRENT_LIST_DIR}/exports.map)
check_linker_flag(CXX "LINKER:--version-script=${tessmaker_export_map}" TESSMAKER_HAS_EXPORT_MAP)
get_target_property(tessmaker_type tessmaker TYPE)
if(TESSMAKER_HAS_EXPORT_MAP AND tessmaker_type STREQUAL "SHARED_LIBRARY")
  target_link_options(tessmaker PRIVATE "LINKER:--version-script=${tessmaker_export_map}")
  set_target_properties(tessmaker PROPERTIES LINK_DEPENDS ${tessmaker_export_map})
endif()
