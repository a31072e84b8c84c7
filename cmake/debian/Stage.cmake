# Run by cpack when the components are installed in its own directory, each below a folder of its name: what a
# Debian package has elsewhere, or in another form, than an installation by hand.

find_program(gzip gzip REQUIRED)
find_program(strip strip REQUIRED)
file(STRINGS ${CPACK_VEK_DEBIAN_DIR}/changelog first_line LIMIT_COUNT 1)
if(NOT first_line MATCHES "\\(${CPACK_PACKAGE_VERSION}\\)")
  message(FATAL_ERROR "cmake/debian/changelog begins with another version than ${CPACK_PACKAGE_VERSION}")
endif()

function(compress file)
  execute_process(COMMAND ${gzip} --force --best --no-name ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(move from to)
  if(EXISTS ${from})
    cmake_path(GET to PARENT_PATH parent)
    file(MAKE_DIRECTORY ${parent})
    file(RENAME ${from} ${to})
  endif()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)

  move(${share}/doc/vek ${share}/doc/${package})
  move(${share}/zsh/site-functions ${share}/zsh/vendor-completions)

  file(COPY ${CPACK_VEK_DEBIAN_DIR}/copyright ${CPACK_VEK_DEBIAN_DIR}/changelog DESTINATION ${share}/doc/${package}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  compress(${share}/doc/${package}/changelog)
  file(GLOB pages ${share}/man/man*/*)
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()

  # cpack strips programs and shared libraries only.
  file(GLOB_RECURSE archives ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/*.a)
  foreach(archive IN LISTS archives)
    execute_process(COMMAND ${strip} --strip-debug --enable-deterministic-archives --remove-section=.comment
                            --remove-section=.note ${archive} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()

  # Directories are open whatever the umask of whoever packages.
  execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY}/${component} -type d -exec chmod 0755 {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
