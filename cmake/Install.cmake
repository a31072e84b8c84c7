# Install rules: the files that `cmake --install` installs under a prefix. Components:
#
#   tool           vekinfo, its manual pages, completions, files for editors, and the sample project
#   runtime        the shared library
#   development    the files that depend on the library directory: archive, link to the shared library, files for
#                  pkg-config and CMake
#   headers        the other files for programmers: headers, manual pages, example programs
#   documentation  the manual pages as HTML
#
# The components runtime_deb, development_deb, runtime_rpm and development_rpm install to the library directory of a
# distribution, under the prefix /usr. They are for packages only (Package.cmake).

# ---- programs and libraries

install(TARGETS vekinfo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)

set_target_properties(vek PROPERTIES EXPORT_NAME vek_static)
set_target_properties(vek_shared PROPERTIES EXPORT_NAME vek)

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vek-config-version.cmake COMPATIBILITY SameMajorVersion)
# An archive of unoptimized objects can need the C++ library (CompileRules.cmake).
set(pkgconfig_private_libs)
if(NOT VEK_LINKER_LANGUAGE STREQUAL "C")
  set(pkgconfig_private_libs -lstdc++)
endif()

# vek_install_libraries(<library directory> <suffix of the components> <prefix for pkg-config>)
#
# Installs both libraries, and the files for find_package(vek) and pkg-config. With a suffix, they are installed only if
# their component is selected.
function(vek_install_libraries libdir suffix pkgconfig_prefix)
  set(option)
  if(suffix)
    set(option EXCLUDE_FROM_ALL)
  endif()
  install(
    TARGETS vek vek_shared
    EXPORT vek${suffix}
    ARCHIVE DESTINATION ${libdir} COMPONENT development${suffix} ${option}
    LIBRARY DESTINATION ${libdir} COMPONENT runtime${suffix} NAMELINK_COMPONENT development${suffix} ${option})
  set(package_dir ${libdir}/cmake/vek)
  install(EXPORT vek${suffix} NAMESPACE vek:: FILE vek-config.cmake DESTINATION ${package_dir}
          COMPONENT development${suffix} ${option})
  install(FILES ${PROJECT_BINARY_DIR}/vek-config-version.cmake DESTINATION ${package_dir}
          COMPONENT development${suffix} ${option})

  foreach(directory IN ITEMS ${libdir} ${CMAKE_INSTALL_INCLUDEDIR})
    if(NOT IS_ABSOLUTE ${directory})
      set(directory \${prefix}/${directory})
    endif()
    list(APPEND pkgconfig_dirs ${directory})
  endforeach()
  list(POP_FRONT pkgconfig_dirs pkgconfig_libdir pkgconfig_includedir)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vek.pc.in ${PROJECT_BINARY_DIR}/pkgconfig${suffix}/vek.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig${suffix}/vek.pc DESTINATION ${libdir}/pkgconfig
          COMPONENT development${suffix} ${option})
endfunction()

# vek.pc computes the prefix from its own directory, so that an installed prefix can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pkgconfig_dir} OUTPUT_VARIABLE prefix_from_pkgconfig)
vek_install_libraries(${CMAKE_INSTALL_LIBDIR} "" \${pcfiledir}/${prefix_from_pkgconfig})

# The files of a package cannot be moved, so their vek.pc has the literal prefix. pkg-config then omits the options for
# directories of the system.
set(debian_libdir lib)
if(CMAKE_LIBRARY_ARCHITECTURE)
  string(APPEND debian_libdir /${CMAKE_LIBRARY_ARCHITECTURE})
endif()
vek_install_libraries(${debian_libdir} _deb /usr)
vek_install_libraries(lib64 _rpm /usr)

# ---- for programs that use the library

install(FILES ${VEK_INSTALLED_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vek COMPONENT headers)

# ---- examples: the sample project with the tool, programs with the headers

set(examples_dir ${CMAKE_INSTALL_DOCDIR}/examples)
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/examples/project
  DESTINATION ${examples_dir}
  COMPONENT tool
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
  DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/examples/entry-of ${PROJECT_SOURCE_DIR}/examples/walkthrough
        DESTINATION ${examples_dir} COMPONENT tool)
foreach(component IN ITEMS tool headers)
  install(FILES ${PROJECT_SOURCE_DIR}/examples/README.md DESTINATION ${examples_dir} COMPONENT ${component})
endforeach()
file(GLOB example_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.c ${PROJECT_SOURCE_DIR}/examples/*.cpp)
install(FILES ${example_sources} ${PROJECT_SOURCE_DIR}/examples/CMakeLists.txt DESTINATION ${examples_dir}
        COMPONENT headers)

# ---- documentation, completions, editors

file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.3)
vek_manual_pages(headers ${pages})
file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[15])
vek_manual_pages(tool ${pages})
if(VEK_BUILD_PAGES)
  install(DIRECTORY ${VEK_PAGES_DIR}/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/html COMPONENT documentation)
endif()

# vek_install_completion(<file in completions/> <directory> <installed name>)
function(vek_install_completion source directory name)
  install(
    FILES ${PROJECT_SOURCE_DIR}/completions/${source}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/${directory}
    RENAME ${name}
    COMPONENT tool)
endfunction()
vek_install_completion(vekinfo.bash bash-completion/completions vekinfo)
vek_install_completion(_vekinfo zsh/site-functions _vekinfo)
vek_install_completion(vekinfo.fish fish/vendor_completions.d vekinfo.fish)

# Vim reads this directory under /usr. Visual Studio Code has no system-wide directory for extensions
# (editors/README.md).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/editors/vim/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vim/vimfiles COMPONENT tool
        FILES_MATCHING PATTERN *.vim PATTERN tests EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/editors/vscode/syntaxes DESTINATION ${CMAKE_INSTALL_DATADIR}/vek/vscode
        COMPONENT tool)
install(FILES ${PROJECT_SOURCE_DIR}/editors/vscode/package.json
              ${PROJECT_SOURCE_DIR}/editors/vscode/language-configuration.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/vek/vscode COMPONENT tool)
