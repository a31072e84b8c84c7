# Generates the manual pages with the version in their last line, and the same pages as HTML (option VEK_BUILD_PAGES,
# target vek_pages).

# vek_manual_pages(<component> <file>...)
#
# Writes the pages to `man` in the build directory, and installs them from there.
function(vek_manual_pages component)
  set(outputs)
  foreach(page IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH page)
    cmake_path(GET page FILENAME name)
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 -1 section)
    set(output ${PROJECT_BINARY_DIR}/man/${name})
    add_custom_command(
      OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -D PAGE=${page} -D OUTPUT=${output} -D VERSION=${PROJECT_VERSION} -P
              ${PROJECT_SOURCE_DIR}/cmake/ManualPage.cmake
      DEPENDS ${page} ${PROJECT_SOURCE_DIR}/cmake/ManualPage.cmake
      COMMENT "Manual page ${name}"
      VERBATIM)
    list(APPEND outputs ${output})
    if(VEK_INSTALL)
      install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
    endif()
  endforeach()
  add_custom_target(vek_manual_${component} ALL DEPENDS ${outputs})
endfunction()

# ---- HTML

find_program(VEK_MANDOC NAMES mandoc)
find_package(Python3 3.9 COMPONENTS Interpreter QUIET)
include(CMakeDependentOption)
cmake_dependent_option(VEK_BUILD_PAGES "Build the manual pages as HTML (mandoc, python3)" ON
                       "PROJECT_IS_TOP_LEVEL;VEK_MANDOC;Python3_FOUND" OFF)
set(VEK_PAGES_DIR ${PROJECT_BINARY_DIR}/html)

if(VEK_BUILD_PAGES)
  # The HTML has all pages of the repository, even those of bindings that are not built.
  file(
    GLOB pages
    CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/docs/man/*.[135]
    ${PROJECT_SOURCE_DIR}/bindings/*/man/*.[135]
    ${PROJECT_SOURCE_DIR}/bindings/*/*.n)
  set(make_pages ${PROJECT_SOURCE_DIR}/scripts/pages)
  set(stylesheet ${PROJECT_SOURCE_DIR}/docs/html/manual.css)
  add_custom_command(
    OUTPUT ${VEK_PAGES_DIR}/index.html
    COMMAND ${Python3_EXECUTABLE} ${make_pages} --mandoc ${VEK_MANDOC} --version ${PROJECT_VERSION} --stylesheet
            ${stylesheet} --output ${VEK_PAGES_DIR} ${pages}
    DEPENDS ${pages} ${make_pages} ${stylesheet}
    COMMENT "Manual pages as HTML"
    VERBATIM)
  add_custom_target(vek_pages ALL DEPENDS ${VEK_PAGES_DIR}/index.html)
endif()
