# What `cmake --install` gives, in three components: `programs` with all that belongs to kvlink,
# kvsim and kvbridge, `plugin`, and `development` with what an author of drivers builds with. debian/*.install
# sorts the same files into packages.
include(CMakePackageConfigHelpers)

set(KV_INSTALL_DRIVERS ${CMAKE_INSTALL_LIBDIR}/kv-hostlink/drivers)
set(KV_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/KvHostLink)
set(KV_INSTALL_INCLUDE ${CMAKE_INSTALL_INCLUDEDIR}/kv-hostlink)

install(TARGETS kv_l20v_host_link LIBRARY DESTINATION ${KV_INSTALL_DRIVERS} COMPONENT plugin)
if(KV_QT EQUAL 5)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)
  install(TARGETS kvbridge kvlink kvsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES man/kvbridge.1 man/kvlink.1 man/kvsim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES man/kvsim-faults.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
  foreach(program kvbridge kvlink kvsim)
    install(FILES ${PROJECT_BINARY_DIR}/completion/kvlink.bash RENAME ${program}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    )
  endforeach()
  # udev looks there whatever the libraries' folder is.
  install(FILES udev/60-kv-hostlink.rules DESTINATION lib/udev/rules.d)
  install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
endif()
# Each component may be the only one that is installed.
foreach(component programs plugin development)
  install(FILES debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${component})
endforeach()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(TARGETS tools drivers EXPORT KvHostLinkTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${KV_INSTALL_INCLUDE}
)
# Targets of their own, as they need QtTest.
install(TARGETS testkit EXPORT KvHostLinkTestkitTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${KV_INSTALL_INCLUDE}
)
install(DIRECTORY tools drivers testkit DESTINATION ${KV_INSTALL_INCLUDE}
  FILES_MATCHING PATTERN "*.h"
  PATTERN "kv_l20v_exchange.h" EXCLUDE
  PATTERN "kv_l20v_limits.h" EXCLUDE
  PATTERN "kv_l20v_lines.h" EXCLUDE
  PATTERN "kv_l20v_replies.h" EXCLUDE
)

foreach(targets KvHostLinkTargets KvHostLinkTestkitTargets)
  install(EXPORT ${targets} NAMESPACE KvHostLink:: DESTINATION ${KV_INSTALL_CMAKE})
endforeach()
configure_package_config_file(cmake/KvHostLinkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KvHostLinkConfig.cmake
  INSTALL_DESTINATION ${KV_INSTALL_CMAKE}
)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KvHostLinkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion
)
# From the pkg-config file itself, so that an installation can be moved.
file(RELATIVE_PATH KV_PC_TO_INCLUDE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR}
)
file(RELATIVE_PATH KV_PC_TO_CMAKE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/cmake/KvHostLink
)
foreach(package kv-hostlink kv-hostlink-testkit)
  configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
install(FILES
  ${PROJECT_BINARY_DIR}/KvHostLinkConfig.cmake
  ${PROJECT_BINARY_DIR}/KvHostLinkConfigVersion.cmake
  cmake/KvAddDriver.cmake
  cmake/kv-hostlink-driver.map
  DESTINATION ${KV_INSTALL_CMAKE}
)
install(FILES docs/library.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
