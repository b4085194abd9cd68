# The library, its headers, its CMake package and its pkg-config file. What is installed can be
# moved as a whole.
include(CMakePackageConfigHelpers)

install(TARGETS tessmaker EXPORT tessmakerTargets)
install(DIRECTORY include/tessmaker
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

# A shared library brings zlib along; with a static one it is the program that is linked with it.
get_target_property(tessmaker_type tessmaker TYPE)
set(tessmaker_needs_zlib OFF)
set(pc_requires)
if(TESSMAKER_HAS_ZLIB AND tessmaker_type STREQUAL "STATIC_LIBRARY")
  set(tessmaker_needs_zlib ON)
  set(pc_requires zlib)
endif()

set(tessmaker_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tessmaker)
install(EXPORT tessmakerTargets NAMESPACE tessmaker:: DESTINATION ${tessmaker_package_dir})
configure_package_config_file(cmake/tessmakerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tessmakerConfig.cmake
  INSTALL_DESTINATION ${tessmaker_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessmakerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tessmakerConfig.cmake
  ${PROJECT_BINARY_DIR}/tessmakerConfigVersion.cmake
  DESTINATION ${tessmaker_package_dir})

# The paths of the .pc file start at the place of the file itself.
set(pc_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix ${pc_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
set(pc_prefix "\${pcfiledir}")
set(pc_libdir "\${prefix}")
set(pc_includedir "\${prefix}")
cmake_path(APPEND pc_prefix ${pc_to_prefix})
cmake_path(APPEND pc_libdir ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/tessmaker.pc.in ${PROJECT_BINARY_DIR}/tessmaker.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessmaker.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
