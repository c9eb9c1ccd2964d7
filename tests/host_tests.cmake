if(KV_QT EQUAL 5)
  kv_test(host LIBRARIES host)
  target_compile_definitions(tst_host PRIVATE
    KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
  )
  kv_test_starts_programs(host)
endif()
