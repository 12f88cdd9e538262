# The target `docs`: the reference of the installed headers, by Doxygen where it is
# installed. Nothing else depends on it.
find_program(DOXYGEN doxygen)
if(DOXYGEN)
  configure_file(cmake/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/docs/Doxyfile @ONLY)
  add_custom_target(docs
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/docs/make ${PROJECT_BINARY_DIR}/docs/Doxyfile
            ${PROJECT_BINARY_DIR}/docs/warnings
    VERBATIM)
endif()
