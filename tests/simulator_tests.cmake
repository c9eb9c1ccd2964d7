kv_test(simulator LIBRARIES simulator)
if(KV_QT EQUAL 5)
  kv_test(simulator_fronts LIBRARIES simulator_fronts)
endif()
