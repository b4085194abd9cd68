# Builds and runs the outside project in this folder against the library, installed into the build
# folder and as a part of the project.
find_package(PkgConfig)

set(consumer_dir ${CMAKE_CURRENT_BINARY_DIR}/consumer)
set(installed_dir ${consumer_dir}/installed)

function(tessmaker_add_consumer_test way)
  add_test(NAME consumer.${way}
    COMMAND ${CMAKE_CTEST_COMMAND}
      --build-and-test ${CMAKE_CURRENT_SOURCE_DIR}/consumer ${consumer_dir}/${way}
      --build-generator ${CMAKE_GENERATOR}
      --build-options -DTESSMAKER_BY=${way} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
        -DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}
        -DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS} ${ARGN}
      --test-command consumer)
  set_tests_properties(consumer.${way} PROPERTIES TIMEOUT 600)
endfunction()

tessmaker_add_consumer_test(add_subdirectory -DTESSMAKER_SOURCE_DIR=${PROJECT_SOURCE_DIR})
if(TESSMAKER_INSTALL)
  add_test(NAME consumer.install
    COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${installed_dir})
  set_tests_properties(consumer.install PROPERTIES FIXTURES_SETUP installed_library)

  tessmaker_add_consumer_test(find_package -DCMAKE_PREFIX_PATH=${installed_dir})
  set_tests_properties(consumer.find_package PROPERTIES FIXTURES_REQUIRED installed_library)
  if(PKG_CONFIG_FOUND)
    tessmaker_add_consumer_test(pkg_config)
    set_tests_properties(consumer.pkg_config PROPERTIES
      FIXTURES_REQUIRED installed_library
      ENVIRONMENT PKG_CONFIG_PATH=${installed_dir}/${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endif()
endif()
