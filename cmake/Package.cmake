# Makes packages. Commands in the build directory:
#
#   cpack -G DEB     Debian packages: vekinfo, libvek6, libvek-dev, vek-doc
#   cpack -G RPM     packages for distributions with RPM: vekinfo, libvek6, libvek-devel, vek-doc
#   cpack -G TGZ     an archive of the files that `cmake --install` installs
#   cpack -G TGZ --config CPackSourceConfig.cmake     an archive of the sources
#
# PackageOptions.cmake sets the options that depend on the kind of package. PackageFiles.cmake changes installed files.
# PackageArchive.cmake sorts archives.
#
# Packages are reproducible: the same sources give the same packages, byte for byte. The time of all files is
# SOURCE_DATE_EPOCH, or the time of the newest entry of cmake/debian/changelog.

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vek)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package sets its own summary
set(CPACK_PACKAGE_VENDOR "the vekinfo developers")
set(CPACK_PACKAGE_CONTACT "vekinfo developers <vekinfo@example.org>")
set(CPACK_PACKAGE_FILE_NAME vek-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL tool runtime development headers)
if(VEK_BUILD_PAGES)
  list(APPEND CPACK_COMPONENTS_ALL documentation)
endif()
# These components are in one package.
foreach(component IN ITEMS headers development_deb development_rpm)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENT_${upper}_GROUP dev)
endforeach()

set(runtime_package libvek${PROJECT_VERSION_MAJOR})
set(tool_text
    "vekinfo keeps the design libraries of an electronic-design tool suite in order.
It shows what a directory's vekinfo.tag says, looks entries up with inheritance
from the directories above and along the search list, edits them, and checks or
configures every library that a vek.lib names.")
set(library_text
    "libvek reads and edits tag files, reads library definitions, finds
configuration files along search lists, interpolates paths and finds
installation roots.")
set(runtime_text "This package holds the shared library that programs run with.")
set(dev_text
    "This package holds what C and C++ programs are built with: headers, the static
library, files for pkg-config and CMake, manual pages and examples.")
set(documentation_text "This package holds the manual pages of vekinfo, libvek and their files as HTML.")

# ---- Debian

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vekinfo)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "show, look up and edit the tag files of design libraries\n${tool_text}")

set(CPACK_DEBIAN_RUNTIME_DEB_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_DEB_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DEB_DESCRIPTION "design-data infrastructure: shared library\n${library_text}\n.\n${runtime_text}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/shlibs.in ${PROJECT_BINARY_DIR}/debian/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_DEB_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/shlibs
                                                   ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvek-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_DESCRIPTION "design-data infrastructure: development files\n${library_text}\n.\n${dev_text}")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME vek-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "design-data infrastructure: manual as HTML\n${library_text}\n.\n${documentation_text}")

# ---- RPM

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE Proprietary)
set(CPACK_RPM_PACKAGE_GROUP Unspecified)
set(CPACK_RPM_CHANGELOG_FILE ${PROJECT_BINARY_DIR}/rpm/changelog)

set(CPACK_RPM_TOOL_PACKAGE_NAME vekinfo)
set(CPACK_RPM_TOOL_PACKAGE_SUMMARY "Show, look up and edit the tag files of design libraries")
set(CPACK_RPM_TOOL_PACKAGE_DESCRIPTION "${tool_text}")

set(CPACK_RPM_RUNTIME_RPM_PACKAGE_NAME ${runtime_package})
set(CPACK_RPM_RUNTIME_RPM_PACKAGE_SUMMARY "Design-data infrastructure: shared library")
set(CPACK_RPM_RUNTIME_RPM_PACKAGE_DESCRIPTION "${library_text}\n\n${runtime_text}")
foreach(moment IN ITEMS INSTALL UNINSTALL)
  set(CPACK_RPM_RUNTIME_RPM_POST_${moment}_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/cmake/rpm/ldconfig)
endforeach()

set(CPACK_RPM_DEV_PACKAGE_NAME libvek-devel)
set(CPACK_RPM_DEV_PACKAGE_SUMMARY "Design-data infrastructure: development files")
set(CPACK_RPM_DEV_PACKAGE_DESCRIPTION "${library_text}\n\n${dev_text}")
set(CPACK_RPM_DEV_PACKAGE_REQUIRES "${runtime_package} = ${PROJECT_VERSION}")

set(CPACK_RPM_DOCUMENTATION_PACKAGE_NAME vek-doc)
set(CPACK_RPM_DOCUMENTATION_PACKAGE_SUMMARY "Design-data infrastructure: manual as HTML")
set(CPACK_RPM_DOCUMENTATION_PACKAGE_DESCRIPTION "${library_text}\n\n${documentation_text}")
set(CPACK_RPM_DOCUMENTATION_PACKAGE_ARCHITECTURE noarch)

# ---- sources

set(CPACK_SOURCE_PACKAGE_FILE_NAME vek-${PROJECT_VERSION})
# Leave out the files that .gitignore names, and build directories: directories that contain a CMakeCache.txt.
string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" source_dir ${PROJECT_SOURCE_DIR})
set(CPACK_SOURCE_IGNORE_FILES
    ^${source_dir}/[.]git/
    ^${source_dir}/build/
    ^${source_dir}/compile_commands[.]json$
    ^${source_dir}/.*[.]err$
    ^${source_dir}/.*/__pycache__/)
file(GLOB caches RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/*/CMakeCache.txt)
foreach(cache IN LISTS caches)
  cmake_path(GET cache PARENT_PATH directory)
  list(APPEND CPACK_SOURCE_IGNORE_FILES ^${source_dir}/${directory}/)
endforeach()

if(VEK_BUILD_PYTHON)
  include(${PROJECT_SOURCE_DIR}/bindings/python/Package.cmake)
endif()
set(vek_tcl_package_options)
if(VEK_BUILD_TCL)
  include(${PROJECT_SOURCE_DIR}/bindings/tcl/Package.cmake)
endif()

# ---- when packages are made

configure_file(${PROJECT_SOURCE_DIR}/cmake/PackageOptions.cmake.in ${PROJECT_BINARY_DIR}/PackageOptions.cmake.in @ONLY)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/PackageOptions.cmake INPUT ${PROJECT_BINARY_DIR}/PackageOptions.cmake.in)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/PackageOptions.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageArchive.cmake)
set(CPACK_VEK_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_VEK_ARCHITECTURE ${CMAKE_LIBRARY_ARCHITECTURE})
include(CPack)
