# cpack runs this script before it packs the installed files. The script moves and changes files that a distribution
# requires in another directory or form. All files get the same time and the same permissions.

find_program(gzip gzip REQUIRED)
find_program(strip strip REQUIRED)

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

# Changes for DEB and RPM packages: moves documents to a directory with the name of the package, compresses manual
# pages, and strips debugging symbols from the archive (cpack strips programs and shared libraries only).
function(change_package_files root package)
  set(share ${root}/usr/share)
  move(${share}/doc/vek ${share}/doc/${package})
  file(COPY ${CPACK_VEK_SOURCE_DIR}/cmake/debian/copyright DESTINATION ${share}/doc/${package})
  file(GLOB pages ${share}/man/man*/*)
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()
  file(GLOB_RECURSE archives ${root}/usr/*.a)
  foreach(archive IN LISTS archives)
    execute_process(COMMAND ${strip} --strip-debug --enable-deterministic-archives --remove-section=.comment
                            --remove-section=.note ${archive} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()

function(change_debian_files root package)
  set(changelog ${CPACK_VEK_SOURCE_DIR}/cmake/debian/changelog)
  file(STRINGS ${changelog} first_line LIMIT_COUNT 1)
  if(NOT first_line MATCHES "\\(${CPACK_PACKAGE_VERSION}\\)")
    message(FATAL_ERROR "${changelog} begins with another version than ${CPACK_PACKAGE_VERSION}")
  endif()
  set(share ${root}/usr/share)
  file(COPY ${changelog} DESTINATION ${share}/doc/${package})
  compress(${share}/doc/${package}/changelog)
  move(${share}/zsh/site-functions ${share}/zsh/vendor-completions)

  # Debian has manual pages of section n in section 3tcl.
  file(GLOB pages ${share}/man/mann/*.n.gz)
  foreach(page IN LISTS pages)
    cmake_path(GET page STEM name)
    execute_process(COMMAND ${gzip} --decompress --stdout ${page} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "(\n[.]Dt [^ ]+) n\n" "\\1 3tcl\n" text "${text}")
    file(WRITE ${share}/man/man3/${name}.3tcl "${text}")
    compress(${share}/man/man3/${name}.3tcl)
    file(REMOVE ${page})
  endforeach()
  if(pages)
    file(REMOVE_RECURSE ${share}/man/mann)
  endif()

  # Tcl packages with a shared object are in the multiarch directory. They find libvek.so without an rpath.
  file(GLOB tcl_packages ${root}/usr/lib/tcltk/*)
  foreach(directory IN LISTS tcl_packages)
    cmake_path(GET directory FILENAME name)
    move(${directory} ${root}/usr/lib/tcltk/${CPACK_VEK_ARCHITECTURE}/${name})
    file(GLOB libraries ${root}/usr/lib/tcltk/${CPACK_VEK_ARCHITECTURE}/${name}/*.so)
    foreach(library IN LISTS libraries)
      file(RPATH_REMOVE FILE ${library})
    endforeach()
  endforeach()
endfunction()

# In RPM distributions, shared libraries are executable files.
function(change_rpm_files root)
  file(GLOB libraries ${root}/usr/lib64/*.so.*.*)
  foreach(library IN LISTS libraries)
    execute_process(COMMAND chmod 0755 ${library} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()

if(CPACK_GENERATOR MATCHES "^(DEB|RPM)$")
  set(variables DEBIAN)
  if(CPACK_GENERATOR STREQUAL "RPM")
    set(variables RPM)
  endif()
  file(GLOB roots LIST_DIRECTORIES TRUE ${CPACK_TEMPORARY_DIRECTORY}/*)
  foreach(root IN LISTS roots)
    # The directory has the name of the component or group that the package is made from.
    cmake_path(GET root FILENAME name)
    string(TOUPPER ${name} upper)
    set(package ${CPACK_${variables}_${upper}_PACKAGE_NAME})
    change_package_files(${root} ${package})
    if(CPACK_GENERATOR STREQUAL "DEB")
      change_debian_files(${root} ${package})
    else()
      change_rpm_files(${root})
    endif()
  endforeach()
endif()

execute_process(COMMAND chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@${CPACK_VEK_TIME} {} +
                COMMAND_ERROR_IS_FATAL ANY)
