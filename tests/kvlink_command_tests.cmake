if(KV_QT EQUAL 5)
  kv_test(kvlink_commands LIBRARIES kvlink_commands)
  kv_test_starts_programs(kvlink_commands)
endif()
