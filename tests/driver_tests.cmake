foreach(unit driver_read driver_session driver_write)
  kv_test(${unit} LIBRARIES kv_l20v_host_link_objects)
endforeach()

kv_test(plugin LIBRARIES drivers)
target_compile_definitions(tst_plugin PRIVATE
  KV_PLUGIN_FILE="$<TARGET_FILE:kv_l20v_host_link>"
)
add_dependencies(tst_plugin kv_l20v_host_link)
