# The target `aar`: the library as Gradle builds take native ones, an AAR that holds
# a prefab package. Its interface has no type of the C++ library, and the one inside
# shows nothing of itself: so "stl" is "none", and an app's own may be any.
set(aar_dir ${PROJECT_BINARY_DIR}/aar)
set(aar_file ${PROJECT_BINARY_DIR}/qo_parser_asf-${PROJECT_VERSION}.aar)
set(module_dir ${aar_dir}/prefab/modules/qo_parser_asf)
set(abi_dir ${module_dir}/libs/android.${ANDROID_ABI})
string(REGEX REPLACE "^android-" "" QO_ANDROID_API ${ANDROID_PLATFORM})

configure_file(cmake/aar/AndroidManifest.xml.in ${aar_dir}/AndroidManifest.xml @ONLY)
configure_file(cmake/aar/prefab.json.in ${aar_dir}/prefab/prefab.json @ONLY)
configure_file(cmake/aar/module.json ${module_dir}/module.json COPYONLY)
configure_file(cmake/aar/abi.json.in ${abi_dir}/abi.json @ONLY)
configure_file(LICENSE ${aar_dir}/META-INF/LICENSE COPYONLY)

add_custom_target(aar
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${module_dir}/include ${aar_file}
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/include/qo_parser_asf
          ${module_dir}/include/qo_parser_asf
  COMMAND ${CMAKE_STRIP} --strip-unneeded -o ${abi_dir}/libqo_parser_asf.so
          $<TARGET_FILE:qo_parser_asf>
  COMMAND ${CMAKE_COMMAND} -E tar cf ${aar_file} --format=zip AndroidManifest.xml META-INF prefab
  WORKING_DIRECTORY ${aar_dir}
  DEPENDS qo_parser_asf
  COMMENT "Packing ${aar_file}"
  VERBATIM)
