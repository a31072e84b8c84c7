# The Debian package python3-vek: the component `python` of CMakeLists.txt.

list(APPEND CPACK_COMPONENTS_ALL python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vek)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "libvek${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION}), python3 (>= 3.9), python3-cffi-backend (>= 1.15), python3-jinja2, python3-tqdm"
)
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS vekinfo)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/bindings/python/debian/postinst
                                              ${PROJECT_SOURCE_DIR}/bindings/python/debian/prerm)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
    "design-data infrastructure: Python 3 binding
libvek reads and edits tag files, reads library definitions, finds
configuration files along search lists, interpolates paths and finds
installation roots.
.
This package holds the Python package vek, and the command vekreport, which
shows all libraries of a site and their problems on one page.")
