# `cpack -G DEB`: three Debian packages, one for each component of Install.cmake.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vek)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_VENDOR "the vekinfo developers")
set(CPACK_PACKAGE_CONTACT "vekinfo developers <vekinfo@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL tool runtime development)

set(runtime_package libvek${PROJECT_VERSION_MAJOR})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vekinfo)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_TOOL_DESCRIPTION
    "show, look up and edit the tag files of design libraries
vekinfo keeps the design libraries of an electronic-design tool suite in order.
It shows what a directory's vekinfo.tag says, looks entries up with inheritance
from the directories above and along the search list, edits them, and checks or
configures every library that a vek.lib names.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "design-data infrastructure: shared library
libvek reads and edits tag files, reads library definitions, finds
configuration files along search lists, interpolates paths and finds
installation roots.
.
This package holds the shared library that programs run with.")
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/shlibs.in ${PROJECT_BINARY_DIR}/debian/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/shlibs
                                               ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvek-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "design-data infrastructure: development files
libvek reads and edits tag files, reads library definitions, finds
configuration files along search lists, interpolates paths and finds
installation roots.
.
This package holds what C and C++ programs are built with: headers, the static
library, files for pkg-config and CMake, manual pages and examples.")

if(VEK_BUILD_PYTHON)
  include(${PROJECT_SOURCE_DIR}/bindings/python/Package.cmake)
endif()

# When packages are made: what libraries the programs need, and Debian's own places and files.
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/Dependencies.cmake.in
               ${PROJECT_BINARY_DIR}/debian/Dependencies.cmake.in @ONLY)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/debian/Dependencies.cmake
     INPUT ${PROJECT_BINARY_DIR}/debian/Dependencies.cmake.in)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/debian/Dependencies.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/Stage.cmake)
set(CPACK_VEK_DEBIAN_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)
include(CPack)
