# Installs the build into a folder of its own, makes the driver of docs/library.md from that
# installation alone; looks into the installed files for their hardening. Run with cmake -P and BUILD,
# WORK, LIB_DIR, CXX, FLAGS, GENERATOR, READELF and SOURCE.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what}: status ${status}\n${text}")
  endif()
  set(output "${text}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
run("install" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
find_program(BASH bash REQUIRED)
run("docs/library.md" ${BASH} ${CMAKE_CURRENT_LIST_DIR}/library_page.sh
  ${WORK}/prefix ${LIB_DIR} ${SOURCE}/docs/library.md ${WORK}/page ${CXX} ${GENERATOR} "${FLAGS}")
file(WRITE ${WORK}/unknown/CMakeLists.txt "cmake_minimum_required(VERSION 3.16)
project(unknown LANGUAGES CXX)
find_package(KvHostLink 1.0 COMPONENTS nonesuch)
if(KvHostLink_FOUND)
  message(FATAL_ERROR \"a component that there is not was found\")
endif()
")
run("an unknown component" ${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK}/unknown -B ${WORK}/unknown/build
  -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_CXX_COMPILER=${CXX})

foreach(file
    bin/kvlink bin/kvsim ${LIB_DIR}/kv-hostlink/drivers/libkv_l20v_host_link.so
    include/kv-hostlink/drivers/kv_l20v_host_link/kv_l20v_host_link.h)
  if(NOT EXISTS ${WORK}/prefix/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
run("the installed kvlink" ${WORK}/prefix/bin/kvlink info)

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
foreach(file bin/kvbridge bin/kvlink bin/kvsim ${plugin})
  must_match(${file} -ldW "GNU_RELRO" "FLAGS_1[^\n]* NOW")
  must_match(${file} -sW "__stack_chk_fail")
endforeach()
foreach(file bin/kvbridge bin/kvlink bin/kvsim)
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
