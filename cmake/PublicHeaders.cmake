# Lists the public headers in VEK_PUBLIC_HEADERS, with paths from the root of the repository, and writes them as
# <vek/...> to the directory `include` of the build.

set(vek_public_header_patterns)
foreach(layer IN LISTS vek_layers)
  string(REPLACE "vek_" "" folder ${layer})
  list(APPEND vek_public_header_patterns ${PROJECT_SOURCE_DIR}/${folder}/*.h)
endforeach()
file(
  GLOB_RECURSE VEK_PUBLIC_HEADERS
  CONFIGURE_DEPENDS
  RELATIVE ${PROJECT_SOURCE_DIR}
  ${vek_public_header_patterns})
# Headers are selected by their prefix: internal headers have an i in it, shared C++ helpers have no prefix.
list(FILTER VEK_PUBLIC_HEADERS INCLUDE REGEX "/(vek|pux|tov|ryn)(_[a-z_]+)?\\.h$")

# In the repository, headers include each other by their path from the root. Installed headers are in one directory.
set(VEK_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
set(VEK_INSTALLED_HEADERS)
foreach(header IN LISTS VEK_PUBLIC_HEADERS)
  cmake_path(GET header FILENAME name)
  set(installed ${VEK_INCLUDE_DIR}/vek/${name})
  add_custom_command(
    OUTPUT ${installed}
    COMMAND ${CMAKE_COMMAND} -D HEADER=${PROJECT_SOURCE_DIR}/${header} -D INSTALLED=${installed} -P
            ${PROJECT_SOURCE_DIR}/cmake/InstalledHeader.cmake
    DEPENDS ${PROJECT_SOURCE_DIR}/${header} ${PROJECT_SOURCE_DIR}/cmake/InstalledHeader.cmake
    COMMENT "Header vek/${name}"
    VERBATIM)
  list(APPEND VEK_INSTALLED_HEADERS ${installed})
endforeach()
add_custom_target(vek_headers ALL DEPENDS ${VEK_INSTALLED_HEADERS})

foreach(library vek vek_shared)
  add_dependencies(${library} vek_headers)
  target_include_directories(
    ${library} PUBLIC $<BUILD_INTERFACE:${VEK_INCLUDE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
