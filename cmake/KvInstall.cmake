# What `cmake --install` gives: programs, plug-in, headers, the static library and the packages by which the
# drivers of others find them.
include(CMakePackageConfigHelpers)

set(KV_INSTALL_DRIVERS ${CMAKE_INSTALL_LIBDIR}/kv-hostlink/drivers)
set(KV_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/KvHostLink)
set(KV_INSTALL_INCLUDE ${CMAKE_INSTALL_INCLUDEDIR}/kv-hostlink)

install(TARGETS tools drivers EXPORT KvHostLinkTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${KV_INSTALL_INCLUDE}
)
install(TARGETS kv_l20v_host_link LIBRARY DESTINATION ${KV_INSTALL_DRIVERS})
if(KV_QT EQUAL 5)
  install(TARGETS kvlink kvsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(DIRECTORY tools drivers DESTINATION ${KV_INSTALL_INCLUDE}
  FILES_MATCHING PATTERN "*.h"
  PATTERN "kv_l20v_lines.h" EXCLUDE
  PATTERN "kv_l20v_replies.h" EXCLUDE
)

install(EXPORT KvHostLinkTargets NAMESPACE KvHostLink:: DESTINATION ${KV_INSTALL_CMAKE})
configure_package_config_file(cmake/KvHostLinkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KvHostLinkConfig.cmake
  INSTALL_DESTINATION ${KV_INSTALL_CMAKE}
)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KvHostLinkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion
)
configure_file(cmake/kv-hostlink.pc.in ${PROJECT_BINARY_DIR}/kv-hostlink.pc @ONLY)
install(FILES
  ${PROJECT_BINARY_DIR}/KvHostLinkConfig.cmake
  ${PROJECT_BINARY_DIR}/KvHostLinkConfigVersion.cmake
  DESTINATION ${KV_INSTALL_CMAKE}
)
install(FILES ${PROJECT_BINARY_DIR}/kv-hostlink.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
