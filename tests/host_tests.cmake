if(KV_QT EQUAL 5)
  kv_test(host LIBRARIES host)
  target_compile_definitions(tst_host PRIVATE
    KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
    KV_UNRESOLVED_PLUGIN="$<TARGET_FILE:unresolved_plugin>"
  )
  kv_test_starts_programs(host)
  add_library(unresolved_plugin MODULE unresolved_plugin.cpp)
  target_link_libraries(unresolved_plugin PRIVATE drivers)
  # The file itself must not ask for what the loading has to ask for.
  target_link_options(unresolved_plugin PRIVATE -Wl,-z,lazy)
  add_dependencies(tst_host unresolved_plugin)
endif()
