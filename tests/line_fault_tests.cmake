if(KV_QT EQUAL 5)
  kv_test(line_faults LIBRARIES host)
  kv_test_starts_programs(line_faults)
  target_compile_definitions(tst_line_faults PRIVATE
    KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
  )
endif()
