# Installs the build into a folder of its own, builds the example driver from that installation
# alone, and reads through it; looks into the installed files for their hardening. Run with cmake -P
# and BUILD, EXAMPLE, WORK, LIB_DIR, CXX, FLAGS, PKG_CONFIG, GENERATOR, READELF and SOURCE.

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

# must_match(file options pattern...): what readelf prints of an installed file matches each
# pattern.
function(must_match file options)
  run("readelf" ${CMAKE_COMMAND} -E env LC_ALL=C ${READELF} ${options} ${WORK}/prefix/${file})
  foreach(pattern ${ARGN})
    if(NOT output MATCHES "${pattern}")
      message(FATAL_ERROR "${file}: readelf ${options} shows no '${pattern}':\n${output}")
    endif()
  endforeach()
  set(output "${output}" PARENT_SCOPE)
endfunction()

set(plugin ${LIB_DIR}/kv-hostlink/drivers/libkv_l20v_host_link.so)
foreach(file bin/kvlink bin/kvsim ${plugin})
  must_match(${file} -ldW "GNU_RELRO" "FLAGS_1[^\n]* NOW")
  must_match(${file} -sW "__stack_chk_fail")
endforeach()
foreach(file bin/kvlink bin/kvsim)
  must_match(${file} -dW "FLAGS_1[^\n]* PIE")
endforeach()
# In a linked file the mark is lost where the system's own start files lack it.
must_match(${plugin} -hW "Machine:")
if(output MATCHES "X86-64|80386")
  must_match(${LIB_DIR}/libkv-hostlink-tools.a -nW)
  string(REGEX MATCHALL "File: " objects "${output}")
  string(REGEX MATCHALL "x86 feature: [^\n]*SHSTK" marked "${output}")
  list(LENGTH objects objects)
  list(LENGTH marked marked)
  if(objects EQUAL 0 OR NOT marked EQUAL objects)
    message(FATAL_ERROR "${marked} of ${objects} objects are built with control-flow protection:\n${output}")
  endif()
endif()

# This build may be one without optimisation, so the checks of library calls are looked for in
# another.
run("configure for release" ${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/release
  -DCMAKE_BUILD_TYPE=Release -DKV_TESTS=OFF -DCMAKE_CXX_COMPILER=${CXX})
file(STRINGS ${WORK}/release/compile_commands.json commands REGEX "\"command\":")
list(LENGTH commands objects)
list(FILTER commands EXCLUDE REGEX "-D_FORTIFY_SOURCE=2 ")
if(objects EQUAL 0 OR commands)
  message(FATAL_ERROR "of ${objects} objects, without checked library calls:\n${commands}")
endif()
