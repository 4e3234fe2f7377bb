# Run by CPack to pack what is staged: CPack's own archives list files as the file system happens to.
cmake_path(GET CPACK_TEMPORARY_DIRECTORY PARENT_PATH parent)
set(package ${parent}/${CPACK_PACKAGE_FILE_NAME}.tar)
cmake_path(GET CPACK_TEMPORARY_DIRECTORY FILENAME folder)
execute_process(
  COMMAND tar --create --file ${package} --directory ${parent} --format=ustar --sort=name --mtime=@$ENV{SOURCE_DATE_EPOCH}
          --owner=0 --group=0 --numeric-owner ${folder}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9nf ${package} COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_EXTERNAL_BUILT_PACKAGES ${package}.gz)
