add_executable(tst_driver_threads tst_driver_threads.cpp)
target_link_libraries(tst_driver_threads PRIVATE drivers Threads::Threads)
target_compile_definitions(tst_driver_threads PRIVATE
  KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
)
add_dependencies(tst_driver_threads kv_l20v_host_link)
add_test(NAME driver_threads COMMAND tst_driver_threads)
set_tests_properties(driver_threads PROPERTIES TIMEOUT 60)

if(KV_QT EQUAL 5)
  set(tsan_options -G ${CMAKE_GENERATOR} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} -DKV_QT=${KV_QT})
  list(JOIN tsan_options "|" tsan_options)
  add_test(NAME threads_tsan COMMAND ${CMAKE_COMMAND}
    -DSOURCE=${PROJECT_SOURCE_DIR} -DWORK=${CMAKE_CURRENT_BINARY_DIR}/tsan
    -DOPTIONS=${tsan_options} -DPROGRAMS=tst_crc_threads|tst_driver_threads
    -P ${CMAKE_CURRENT_SOURCE_DIR}/tsan_test.cmake
  )
  set_tests_properties(threads_tsan PROPERTIES TIMEOUT 300 PROCESSORS 2)
else()
  message(STATUS "threads_tsan is left out: the thread sanitizer does not see what orders Qt 4.8's threads")
endif()

add_executable(plugin_cycles plugin_cycles.cpp)
target_link_libraries(plugin_cycles PRIVATE drivers ${CMAKE_DL_LIBS})
add_dependencies(plugin_cycles kv_l20v_host_link)
add_test(NAME plugin_cycles COMMAND plugin_cycles $<TARGET_FILE:kv_l20v_host_link> 20)
set_tests_properties(plugin_cycles PROPERTIES TIMEOUT 60)
