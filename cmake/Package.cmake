# What cpack makes of the install tree's components: Debian packages, by Debian's
# names, and a source archive. scripts/package runs it.
set(QO_PACKAGE_CONTACT "qo_parser_asf maintainers <maintainers@qo-parser-asf.invalid>" CACHE STRING
    "Who maintains the packages: NAME <ADDRESS>")
set(CPACK_PACKAGE_CONTACT ${QO_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE qo-parser-asf)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# The changelogs as Debian keeps them.
set(changelogs ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in ${changelogs}/changelog @ONLY)
foreach(pair changelog:${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog.Debian:${changelogs}/changelog)
  string(REGEX MATCH "^([^:]+):(.+)$" pair ${pair})
  execute_process(COMMAND gzip -9nc ${CMAKE_MATCH_2} OUTPUT_FILE ${changelogs}/${CMAKE_MATCH_1}.gz
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# Makes a Debian package of an install component: its name and section there, a line
# that says what it is, a text. All but the library's need the library's.
macro(qo_debian_package component name section summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
  if(NOT "${component}" STREQUAL "library")
    set(CPACK_COMPONENT_${upper}_DEPENDS library)
  endif()
  install(FILES cmake/debian/copyright ${changelogs}/changelog.gz ${changelogs}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
endmacro()

set(CPACK_COMPONENTS_ALL)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
qo_debian_package(library libqo-parser-asf${PROJECT_VERSION_MAJOR} libs
  "demultiplexer for ASF files (WMA, WMV) - library"
  "Describes the tracks and tags of ASF files and hands out their compressed
audio and video units with their times. It decodes nothing.")
qo_debian_package(development libqo-parser-asf-dev libdevel
  "demultiplexer for ASF files (WMA, WMV) - development files"
  "Headers of the library and of the kit for hosts around it, the kit as a
static library, files for CMake and pkg-config.")
qo_debian_package(tools asftool video
  "look into ASF files (WMA, WMV), take them apart, mend them"
  "Describes a file, lists and extracts its compressed audio and video, plays it
out and says what is wrong with it, and writes mended copies.")
if(TARGET gstqoasf)
  qo_debian_package(gstreamer gstreamer1.0-qoasf libs
    "demultiplexer for ASF files (WMA, WMV) - GStreamer plugin"
    "The element qoasfdemux, for every program that plays through GStreamer.")
endif()

set(CPACK_SOURCE_GENERATOR TXZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES ^${PROJECT_SOURCE_DIR}/build/ "/\\\\.git/" /__pycache__/)
include(CPack)
