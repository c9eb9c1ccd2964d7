if(KV_QT EQUAL 5)
  kv_test(kvlink LIBRARIES Qt5::Network)
  target_compile_definitions(tst_kvlink PRIVATE
    KVLINK_PROGRAM="$<TARGET_FILE:kvlink>"
    KVSIM_PROGRAM="$<TARGET_FILE:kvsim>"
  )
  add_dependencies(tst_kvlink kvlink kvsim kv_l20v_host_link)
endif()
