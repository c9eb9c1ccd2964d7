kv_test(simulator_faults LIBRARIES simulator)
if(KV_QT EQUAL 5)
  kv_test(kvsim_programs LIBRARIES Qt5::Core)
  target_compile_definitions(tst_kvsim_programs PRIVATE
    KVLINK_PROGRAM="$<TARGET_FILE:kvlink>"
    KVSIM_PROGRAM="$<TARGET_FILE:kvsim>"
  )
  add_dependencies(tst_kvsim_programs kvlink kvsim kv_l20v_host_link)
endif()
