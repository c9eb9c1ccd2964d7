# Installs the build into a folder of its own, builds the example driver from that installation alone, and
# reads through it. Run with cmake -P and BUILD, EXAMPLE, WORK, LIB_DIR, CXX, FLAGS
# PKG_CONFIG and GENERATOR.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what}: status ${status}\n${text}")
  endif()
  set(output "${text}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
run("install" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
# A copy, so that nothing of the source tree is within reach.
file(COPY ${EXAMPLE}/ DESTINATION ${WORK}/example)
run("configure" ${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK}/example -B ${WORK}/build
  -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${FLAGS})
run("build" ${CMAKE_COMMAND} --build ${WORK}/build)
run("read" ${WORK}/build/try_driver ${WORK}/build/libscale_driver.so)
if(NOT output STREQUAL "Example scale: 1250 g\n")
  message(FATAL_ERROR "the example driver read: ${output}")
endif()

foreach(file
    bin/kvlink bin/kvsim ${LIB_DIR}/kv-hostlink/drivers/libkv_l20v_host_link.so
    include/kv-hostlink/drivers/kv_l20v_host_link/kv_l20v_host_link.h)
  if(NOT EXISTS ${WORK}/prefix/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
run("the installed kvlink" ${WORK}/prefix/bin/kvlink info)

run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${WORK}/prefix/${LIB_DIR}/pkgconfig
  ${PKG_CONFIG} --cflags --libs kv-hostlink)
string(STRIP "${output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(own_flags UNIX_COMMAND "${FLAGS}")
list(FILTER pc_flags EXCLUDE REGEX "^-l")
run("compile with pkg-config's flags" ${CXX} ${own_flags} ${pc_flags}
  -c ${WORK}/example/try_driver.cpp -o ${WORK}/try_driver.o)
