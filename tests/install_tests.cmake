if(KV_QT EQUAL 5)
  find_program(PKG_CONFIG pkg-config)
  set(flags "${CMAKE_CXX_FLAGS}")
  if(KV_SANITIZE)
    string(APPEND flags " -fsanitize=${KV_SANITIZE}")
  endif()
  add_test(NAME install COMMAND ${CMAKE_COMMAND}
    -DBUILD=${PROJECT_BINARY_DIR} -DEXAMPLE=${PROJECT_SOURCE_DIR}/examples/scale_driver
    -DWORK=${CMAKE_CURRENT_BINARY_DIR}/install -DLIB_DIR=${CMAKE_INSTALL_LIBDIR}
    -DCXX=${CMAKE_CXX_COMPILER} -DFLAGS=${flags} -DPKG_CONFIG=${PKG_CONFIG}
    -DGENERATOR=${CMAKE_GENERATOR}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/install_test.cmake
  )
  set_tests_properties(install PROPERTIES TIMEOUT 120)
endif()
