# What `cmake --install` lays out. Component "library" is what a host needs to run,
# "development" what it needs to be built, "tools" the command line tool.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qo_parser_asf)

install(TARGETS qo_parser_asf qo_platform qo_host EXPORT qo_parser_asfTargets
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT qo_parser_asfTargets NAMESPACE qo:: DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/qo_parser_asfConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qo_parser_asfConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qo_parser_asfConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qo_parser_asfConfig.cmake
              ${PROJECT_BINARY_DIR}/qo_parser_asfConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The way from the .pc files to the prefix, so that the tree can be moved.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH QO_PC_PREFIX /prefix/${pc_dir} /prefix)
foreach(name qo_parser_asf qo_host)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pc_dir} COMPONENT development)
endforeach()

if(TARGET asftool)
  install(TARGETS asftool RUNTIME COMPONENT tools)
  find_program(HELP2MAN help2man)
  if(HELP2MAN AND NOT CMAKE_CROSSCOMPILING)
    add_custom_command(OUTPUT asftool.1.gz DEPENDS asftool cmake/asftool.h2m
      COMMAND ${HELP2MAN} --no-info --version-string=${PROJECT_VERSION}
              --name "look into ASF files (WMA, WMV)" --include ${PROJECT_SOURCE_DIR}/cmake/asftool.h2m
              --output asftool.1 $<TARGET_FILE:asftool>
      COMMAND gzip -9nf asftool.1
      VERBATIM)
    add_custom_target(manual ALL DEPENDS asftool.1.gz)
    install(FILES ${PROJECT_BINARY_DIR}/asftool.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
            COMPONENT tools)
  endif()
endif()
