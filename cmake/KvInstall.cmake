# What `cmake --install` gives: programs, plug-in, headers, the static library and the packages by
# which the drivers of others find them.
include(CMakePackageConfigHelpers)

set(KV_INSTALL_DRIVERS ${CMAKE_INSTALL_LIBDIR}/kv-hostlink/drivers)
set(KV_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/KvHostLink)
set(KV_INSTALL_INCLUDE ${CMAKE_INSTALL_INCLUDEDIR}/kv-hostlink)

# Two parts: what a user runs, and what an author of drivers builds with.
install(TARGETS kv_l20v_host_link LIBRARY DESTINATION ${KV_INSTALL_DRIVERS} COMPONENT programs)
if(KV_QT EQUAL 5)
  install(TARGETS kvlink kvsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
  install(FILES man/kvlink.1 man/kvsim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
  install(FILES man/kvsim-faults.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT programs)
  foreach(program kvlink kvsim)
    install(FILES ${PROJECT_BINARY_DIR}/completion/kvlink.bash RENAME ${program} COMPONENT programs
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    )
  endforeach()
endif()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(TARGETS tools drivers EXPORT KvHostLinkTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${KV_INSTALL_INCLUDE}
)
install(DIRECTORY tools drivers DESTINATION ${KV_INSTALL_INCLUDE}
  FILES_MATCHING PATTERN "*.h"
  PATTERN "kv_l20v_exchange.h" EXCLUDE
  PATTERN "kv_l20v_limits.h" EXCLUDE
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
# From the pkg-config file itself, so that an installation can be moved.
file(RELATIVE_PATH KV_PC_TO_INCLUDE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR}
)
configure_file(cmake/kv-hostlink.pc.in ${PROJECT_BINARY_DIR}/kv-hostlink.pc @ONLY)
install(FILES
  ${PROJECT_BINARY_DIR}/KvHostLinkConfig.cmake
  ${PROJECT_BINARY_DIR}/KvHostLinkConfigVersion.cmake
  DESTINATION ${KV_INSTALL_CMAKE}
)
install(FILES ${PROJECT_BINARY_DIR}/kv-hostlink.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kv-hostlink)
set(CPACK_PACKAGE_CONTACT "The maintainers of KV Host Link <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Host Link driver plug-in, kvlink and kvsim")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL programs)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME kv-hostlink)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS libqt5sql5-sqlite)
set(CPACK_STRIP_FILES ON)
include(CPack)
