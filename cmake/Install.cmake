# What `cmake --install` puts where, under any prefix. Components: tool (vekinfo and what its users read), runtime
# (the shared library), development (headers, archive, package files, examples).

# ---- programs and libraries

set_target_properties(vek PROPERTIES EXPORT_NAME vek_static)
set_target_properties(vek_shared PROPERTIES EXPORT_NAME vek)

install(TARGETS vekinfo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(
  TARGETS vek vek_shared
  EXPORT vek
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)

# ---- for programs that use the library: #include <vek/...>, find_package(vek), pkg-config vek

install(FILES ${VEK_INSTALLED_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vek COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vek)
install(EXPORT vek NAMESPACE vek:: FILE vek-config.cmake DESTINATION ${package_dir} COMPONENT development)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vek-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vek-config-version.cmake DESTINATION ${package_dir} COMPONENT development)

# The prefix is told from where vek.pc lies, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pkgconfig_dir} OUTPUT_VARIABLE prefix_from_pkgconfig)
foreach(place IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${place}}")
    set(pkgconfig_${place} ${CMAKE_INSTALL_${place}})
  else()
    set(pkgconfig_${place} \${prefix}/${CMAKE_INSTALL_${place}})
  endif()
endforeach()
# What an archive of unoptimized objects may need (HouseRules.cmake).
set(pkgconfig_private_libs)
if(NOT VEK_LINKER_LANGUAGE STREQUAL "C")
  set(pkgconfig_private_libs -lstdc++)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vek.pc.in ${PROJECT_BINARY_DIR}/vek.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vek.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# ---- documentation, completions, examples

foreach(section IN ITEMS 1 3 5)
  file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.${section})
  if(section EQUAL 3)
    set(component development)
  else()
    set(component tool)
  endif()
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endforeach()

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

# Vim reads its folder below /usr; Visual Studio Code has no such folder (editors/README.md).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/editors/vim/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vim/vimfiles COMPONENT tool
        FILES_MATCHING PATTERN *.vim PATTERN tests EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/editors/vscode/syntaxes DESTINATION ${CMAKE_INSTALL_DATADIR}/vek/vscode
        COMPONENT tool)
install(FILES ${PROJECT_SOURCE_DIR}/editors/vscode/package.json
              ${PROJECT_SOURCE_DIR}/editors/vscode/language-configuration.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/vek/vscode COMPONENT tool)

install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  COMPONENT development
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
  DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE
  PATTERN walkthrough EXCLUDE)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/examples/walkthrough DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
        COMPONENT development)
