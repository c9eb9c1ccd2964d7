if(KV_QT EQUAL 5)
  kv_test(line_faults LIBRARIES host)
  target_compile_definitions(tst_line_faults PRIVATE
    KVLINK_PROGRAM="$<TARGET_FILE:kvlink>"
    KVSIM_PROGRAM="$<TARGET_FILE:kvsim>"
    KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
  )
  add_dependencies(tst_line_faults kvlink kvsim kv_l20v_host_link)
endif()
