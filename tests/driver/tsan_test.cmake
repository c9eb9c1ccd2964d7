# Builds test programs with the thread sanitizer, whatever the tree itself is built with, and runs
# them. Run with cmake -P and SOURCE, WORK, and two lists that are separated by "|": OPTIONS for
# CMake, and PROGRAMS as folder/program below tests/, with arguments.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGV}: status ${status}\n${text}")
  endif()
endfunction()

string(REPLACE "|" ";" options "${OPTIONS}")
string(REPLACE "|" ";" programs "${PROGRAMS}")
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} ${options} -DKV_SANITIZE=thread
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DCMAKE_UNITY_BUILD=ON)
foreach(program ${programs})
  separate_arguments(program)
  list(GET program 0 target)
  get_filename_component(target ${target} NAME)
  run(${CMAKE_COMMAND} --build ${WORK} --target ${target})
  run(${WORK}/tests/${program})
endforeach()
