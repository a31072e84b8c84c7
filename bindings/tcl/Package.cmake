# The Debian package tcl-vek: the component `tcl` of CMakeLists.txt.

list(APPEND CPACK_COMPONENTS_ALL tcl)
set(CPACK_DEBIAN_TCL_PACKAGE_NAME tcl-vek)
set(CPACK_DEBIAN_TCL_PACKAGE_SECTION interpreters)
set(CPACK_DEBIAN_TCL_DESCRIPTION
    "design-data infrastructure: Tcl package\n${library_text}\n.\nThis package holds the Tcl package vek.")
# Read when packages are made (PackageOptions.cmake).
set(vek_tcl_package_options
    "find_dependencies(TCL \"$<TARGET_FILE:vek_tcl>\")
string(APPEND CPACK_DEBIAN_TCL_PACKAGE_DEPENDS \", tcl (>= 8.6.0-2)\")")
