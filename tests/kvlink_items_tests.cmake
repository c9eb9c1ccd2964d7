if(KV_QT EQUAL 5)
  kv_test(kvlink_items LIBRARIES kvlink_commands)
  kv_test_starts_programs(kvlink_items)
endif()
