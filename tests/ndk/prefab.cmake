# In place of the prefab tool: reads the package in an unpacked AAR, PACKAGE, and
# writes to the folder OUT what find_package of an app's build takes it from.
cmake_minimum_required(VERSION 3.25)

# Stores in `result` the member of a JSON file, which must be there and, where
# further arguments are given, one of them.
function(member result path name)
  file(READ ${path} text)
  string(JSON value GET "${text}" ${name})
  if(ARGN AND NOT value IN_LIST ARGN)
    message(FATAL_ERROR "${path}: ${name} is '${value}'")
  endif()
  set(${result} ${value} PARENT_SCOPE)
endfunction()

set(prefab ${PACKAGE}/prefab)
member(schema ${prefab}/prefab.json schema_version 2)
member(name ${prefab}/prefab.json name qo_parser_asf)
member(version ${prefab}/prefab.json version)
member(dependencies ${prefab}/prefab.json dependencies "[]")
file(READ ${PACKAGE}/AndroidManifest.xml manifest)
if(NOT manifest MATCHES "android:versionName=\"${version}\"")
  message(FATAL_ERROR "the manifest lacks version ${version}: ${manifest}")
endif()

set(module ${prefab}/modules/qo_parser_asf)
member(library ${module}/module.json library_name libqo_parser_asf)
member(libraries ${module}/module.json export_libraries "[]")
set(abi_dir ${module}/libs/android.arm64-v8a)
member(abi ${abi_dir}/abi.json abi arm64-v8a)
member(api ${abi_dir}/abi.json api 29)
member(ndk ${abi_dir}/abi.json ndk 25)
member(stl ${abi_dir}/abi.json stl none)
member(static ${abi_dir}/abi.json static OFF)

file(WRITE ${OUT}/${name}Config.cmake "
add_library(${name}::${name} SHARED IMPORTED)
set_target_properties(${name}::${name} PROPERTIES
  IMPORTED_LOCATION ${abi_dir}/${library}.so
  INTERFACE_INCLUDE_DIRECTORIES ${module}/include)
")
