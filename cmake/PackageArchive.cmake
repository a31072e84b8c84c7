# cpack runs this script after it has made packages. The script writes the outer archives of the packages again, because
# the order of the files, or the owner and permissions of temporary files, in cpack's archives are not reproducible.

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(CPACK_GENERATOR STREQUAL "TGZ")
  cmake_path(GET CPACK_TEMPORARY_DIRECTORY FILENAME directory)
  run(tar --create --sort=name --format=posix --pax-option=delete=atime,delete=ctime --owner=root:0 --group=root:0
      --mtime=@${CPACK_VEK_TIME} --file=../packed.tar -C .. ${directory})
  run(gzip --force --best --no-name ../packed.tar)
  file(RENAME ${CPACK_TEMPORARY_DIRECTORY}/../packed.tar.gz ${CPACK_PACKAGE_FILES})
elseif(CPACK_GENERATOR STREQUAL "DEB")
  foreach(package IN LISTS CPACK_PACKAGE_FILES)
    execute_process(COMMAND ar t ${package} OUTPUT_VARIABLE members COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]+" members "${members}")
    run(ar x ${package})
    file(REMOVE ${package})
    # The option D of ar stores no times, no owners, and the same permissions for all files.
    run(ar rcDS ${package} ${members})
  endforeach()
endif()
