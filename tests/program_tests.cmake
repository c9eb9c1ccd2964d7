if(KV_QT EQUAL 5)
  kv_test(kvlink LIBRARIES Qt5::Sql)
  kv_test_starts_programs(kvlink)
endif()
