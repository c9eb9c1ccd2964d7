# Builds the thread test of the CRC tables with the thread sanitizer, whatever the tree is built with, and runs
# it. Run with cmake -P and CXX, SOURCE and WORK.
file(MAKE_DIRECTORY ${WORK})
foreach(command
    "${CXX};-std=c++11;-g;-O1;-fsanitize=thread;-pthread;-I${SOURCE};${SOURCE}/tests/tst_crc_threads.cpp;${SOURCE}/tools/lib_crc.cpp;-o;${WORK}/tst_crc_threads"
    "${WORK}/tst_crc_threads")
  execute_process(COMMAND ${command} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "status ${status}\n${text}")
  endif()
endforeach()
