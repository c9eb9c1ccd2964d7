if(KV_QT EQUAL 5)
  foreach(name pages readme)
    add_test(NAME ${name} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/${name}_test.sh
      ${programs_dir} ${PROJECT_SOURCE_DIR}
    )
    set_tests_properties(${name} PROPERTIES TIMEOUT 60)
  endforeach()
endif()
