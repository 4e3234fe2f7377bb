# Run by CPack to pack what is staged, as the .tar.gz or .zip that CPACK_ZELT_SUFFIX says: CPack's own archives list
# files as the file system happens to, and with the times it has.
cmake_path(GET CPACK_TEMPORARY_DIRECTORY PARENT_PATH parent)
cmake_path(GET CPACK_TEMPORARY_DIRECTORY FILENAME folder)
set(archive ${parent}/${CPACK_PACKAGE_FILE_NAME}.${CPACK_ZELT_SUFFIX})
file(REMOVE ${archive})
if(CPACK_ZELT_SUFFIX STREQUAL zip)
  execute_process(COMMAND find ${folder} -exec touch -d @$ENV{SOURCE_DATE_EPOCH} {} +
    WORKING_DIRECTORY ${parent} COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{TZ} UTC)  # times in a .zip are local
  execute_process(COMMAND find ${folder} -type f COMMAND env LC_ALL=C sort COMMAND zip -9qX ${archive} -@
    WORKING_DIRECTORY ${parent} COMMAND_ERROR_IS_FATAL ANY)
else()
  execute_process(
    COMMAND tar --create --format=ustar --sort=name --mtime=@$ENV{SOURCE_DATE_EPOCH} --owner=0 --group=0 --numeric-owner
            ${folder}
    COMMAND gzip -9n
    WORKING_DIRECTORY ${parent} OUTPUT_FILE ${archive} COMMAND_ERROR_IS_FATAL ANY)
endif()
set(CPACK_EXTERNAL_BUILT_PACKAGES ${archive})
