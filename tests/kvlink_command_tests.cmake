if(KV_QT EQUAL 5)
  kv_test(kvlink_commands LIBRARIES kvlink_commands)
  target_compile_definitions(tst_kvlink_commands PRIVATE
    KVLINK_PROGRAM="$<TARGET_FILE:kvlink>"
    KVSIM_PROGRAM="$<TARGET_FILE:kvsim>"
  )
  add_dependencies(tst_kvlink_commands kvlink kvsim kv_l20v_host_link)
endif()
