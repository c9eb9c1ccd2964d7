find_package(Threads REQUIRED)
foreach(unit command checksum crc_threads settings_stream txpackage host_environment link_database)
  kv_test(${unit} LIBRARIES tools)
endforeach()
target_link_libraries(tst_crc_threads PRIVATE Threads::Threads)
# A directory of its own: the test puts directories next to its program.
set_target_properties(tst_host_environment PROPERTIES
  RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/host_environment
)
