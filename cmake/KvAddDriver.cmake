# kv_add_driver(name source...): a driver plug-in of those sources, lib<name>.so, with moc run over
# them. Of its symbols only the entry points are exported, so that plug-ins in one runtime cannot
# take each other's. All symbols that it needs are looked up when it is loaded: without one of them it
# is refused, and does not end the runtime at the first call.
set(KV_DRIVER_EXPORTS ${CMAKE_CURRENT_LIST_DIR}/kv-hostlink-driver.map)

function(kv_add_driver name)
  add_library(${name} MODULE ${ARGN})
  target_compile_features(${name} PRIVATE cxx_std_11)
  target_link_libraries(${name} PRIVATE KvHostLink::drivers KvHostLink::tools)
  target_link_options(${name} PRIVATE -Wl,-z,now -Wl,--version-script=${KV_DRIVER_EXPORTS})
  set_target_properties(${name} PROPERTIES
    AUTOMOC ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${KV_DRIVER_EXPORTS}
  )
endfunction()
