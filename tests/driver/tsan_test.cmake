# Builds what runs in several threads with the thread sanitizer, whatever the tree itself is built
# with, and runs it. Run with cmake -P and SOURCE, WORK, BRIDGE_SOAK (the program of the tree itself,
# which starts the kvbridge built here), and OPTIONS for CMake, separated by "|".
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGV}: status ${status}\n${text}")
  endif()
endfunction()

string(REPLACE "|" ";" options "${OPTIONS}")
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} ${options} -DKV_SANITIZE=thread -DCMAKE_BUILD_TYPE=Debug
  -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0)
run(${CMAKE_COMMAND} --build ${WORK} --target tst_crc_threads plugin_cycles kvbridge)
run(${WORK}/tests/tools/tst_crc_threads)
run(${WORK}/tests/driver/plugin_cycles
  ${WORK}/lib/kv-hostlink/drivers/libkv_l20v_host_link.so 60)
run(${BRIDGE_SOAK} 20 3000 1 ${WORK}/bin/kvbridge)
