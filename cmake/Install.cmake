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
  # What the tool says of itself needs it to run.
  if(NOT CMAKE_CROSSCOMPILING)
    set(data ${PROJECT_BINARY_DIR}/asftool-data)
    add_custom_command(OUTPUT ${data}.done
      DEPENDS asftool cmake/asftool-data cmake/asftool.h2m
      COMMAND ${PROJECT_SOURCE_DIR}/cmake/asftool-data $<TARGET_FILE:asftool> ${PROJECT_VERSION}
              ${PROJECT_SOURCE_DIR}/cmake/asftool.h2m ${data}
      COMMAND ${CMAKE_COMMAND} -E touch ${data}.done
      VERBATIM)
    add_custom_target(asftool_data ALL DEPENDS ${data}.done)
    install(DIRECTORY ${data}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
    # Packages of Debian's leave site-functions to the administrator.
    set(zsh_folder site-functions)
    if(QO_PACKAGES)
      set(zsh_folder vendor-completions)
    endif()
    foreach(file bash:bash-completion/completions/asftool zsh:zsh/${zsh_folder}/_asftool
                 fish:fish/vendor_completions.d/asftool.fish)
      string(REGEX MATCH "^([^:]+):(.+)/([^/]+)$" file ${file})
      install(FILES ${data}/completions/${CMAKE_MATCH_1} RENAME ${CMAKE_MATCH_3}
              DESTINATION ${CMAKE_INSTALL_DATADIR}/${CMAKE_MATCH_2} COMPONENT tools)
    endforeach()
  endif()
endif()
