# The installed files by component: runtime (the library), platform (the core and package libraries, to be omitted on
# machines with the maker's), tools (zemo-selfcheck, its man pages and completion, recipes for images), services (the
# nightly check for systemd, its AppArmor profile, alert rules, a dashboard), development (headers, unversioned library
# names, CMake package, pkg-config, man page, sources of the examples).

include(CMakePackageConfigHelpers)

install(TARGETS zemoselfcheck EXPORT zemoselfcheck
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
if(ZEMO_PLATFORM)
  install(TARGETS zemocore zemopkg EXPORT zemoselfcheck
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_COMPONENT development)
endif()

if(ZEMO_TOOLS)
  install(TARGETS zemo-selfcheck DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES completion/zemo-selfcheck
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(DIRECTORY tools/share/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zemoselfcheck COMPONENT tools
    FILES_MATCHING PATTERN *.schema.json)
endif()

if(ZEMO_TOOLS)
  install(PROGRAMS examples/image-build/mkosi.finalize examples/image-build/sign-root
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/image-build COMPONENT tools)
  # These contain the program's full path, so they suit the prefix that the build was configured with.
  set(ZEMO_SYSTEMD_UNIT_DIR lib/systemd/system CACHE STRING "Where systemd's units go, below the prefix")
  set(ZEMO_SYSUSERS_DIR lib/sysusers.d CACHE STRING "Where systemd-sysusers' files go, below the prefix")
  set(examples_dir ${CMAKE_INSTALL_DATADIR}/doc/zemoselfcheck/examples)
  foreach(file systemd/zemo-selfcheck.service systemd/examples/manifest.conf systemd/examples/metrics.conf
      apparmor/zemo-selfcheck)
    configure_file(deploy/${file}.in ${PROJECT_BINARY_DIR}/deploy/${file} @ONLY)
  endforeach()
  install(FILES ${PROJECT_BINARY_DIR}/deploy/systemd/zemo-selfcheck.service
    deploy/systemd/zemo-selfcheck.timer
    DESTINATION ${ZEMO_SYSTEMD_UNIT_DIR} COMPONENT services)
  install(FILES deploy/systemd/sysusers.conf
    DESTINATION ${ZEMO_SYSUSERS_DIR} RENAME zemo-selfcheck.conf COMPONENT services)
  install(FILES ${PROJECT_BINARY_DIR}/deploy/apparmor/zemo-selfcheck
    DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/apparmor.d COMPONENT services)
  install(FILES deploy/systemd/examples/zemo-selfcheck-failure@.service
    deploy/systemd/examples/failure.conf ${PROJECT_BINARY_DIR}/deploy/systemd/examples/manifest.conf
    ${PROJECT_BINARY_DIR}/deploy/systemd/examples/metrics.conf
    DESTINATION ${examples_dir} COMPONENT services)
  install(FILES deploy/prometheus/zemo-selfcheck.rules.yml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zemoselfcheck/prometheus COMPONENT services)
  install(FILES deploy/grafana/zemo-selfcheck.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zemoselfcheck/grafana COMPONENT services)
endif()

install(DIRECTORY include/zemo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES examples/check_files.c examples/check_files.py examples/check_set.cpp
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)

set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zemoselfcheck)
install(EXPORT zemoselfcheck NAMESPACE zemo:: FILE zemoselfcheckTargets.cmake
  DESTINATION ${cmake_dir} COMPONENT development)
configure_package_config_file(cmake/zemoselfcheckConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zemoselfcheckConfig.cmake INSTALL_DESTINATION ${cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zemoselfcheckConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zemoselfcheckConfig.cmake
  ${PROJECT_BINARY_DIR}/zemoselfcheckConfigVersion.cmake
  DESTINATION ${cmake_dir} COMPONENT development)

file(RELATIVE_PATH include_from_pc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/zemoselfcheck.pc.in ${PROJECT_BINARY_DIR}/zemoselfcheck.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zemoselfcheck.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
