# The GStreamer plugin, where what it is built on is there: AUTO leaves it out without, and
# where it is another system that is built for; ON fails.
if(NOT QO_BUILD_GSTREAMER OR (QO_BUILD_GSTREAMER STREQUAL "AUTO" AND CMAKE_CROSSCOMPILING))
  return()
endif()
set(required)
if(NOT QO_BUILD_GSTREAMER STREQUAL "AUTO")
  set(required REQUIRED)
endif()
find_package(PkgConfig ${required})
if(PkgConfig_FOUND)
  pkg_check_modules(QO_GSTREAMER ${required} IMPORTED_TARGET
    gstreamer-1.0>=1.20 gstreamer-base-1.0 gstreamer-riff-1.0 gstreamer-tag-1.0
    gstreamer-video-1.0 gstreamer-pbutils-1.0)
endif()
if(QO_GSTREAMER_FOUND)
  add_subdirectory(gst)
endif()
