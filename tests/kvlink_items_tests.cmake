if(KV_QT EQUAL 5)
  kv_test(kvlink_items LIBRARIES kvlink_commands)
  target_compile_definitions(tst_kvlink_items PRIVATE
    KVLINK_PROGRAM="$<TARGET_FILE:kvlink>"
    KVSIM_PROGRAM="$<TARGET_FILE:kvsim>"
  )
  add_dependencies(tst_kvlink_items kvlink kvsim kv_l20v_host_link)
endif()
