# Run by CPack behind packing: the package is packed again, with what CPack takes from the file system it runs on, size
# of folders and times, made the same everywhere.
set(tree ${CPACK_TEMPORARY_DIRECTORY}.tree)
set(size "{ kib += $1 == \"f\" ? int(($2 + 1023) / 1024) : 1 } END { print \"Installed-Size: \" kib }")
file(REMOVE_RECURSE ${tree})
execute_process(COMMAND dpkg-deb --raw-extract ${CPACK_PACKAGE_FILES} ${tree} COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND find ${tree}/usr -printf "%y %s\\n"
  COMMAND awk ${size}
  OUTPUT_VARIABLE size COMMAND_ERROR_IS_FATAL ANY)
file(READ ${tree}/DEBIAN/control control)
string(REGEX REPLACE "Installed-Size: [0-9]+\n" "${size}" control "${control}")
file(WRITE ${tree}/DEBIAN/control "${control}")
execute_process(COMMAND find ${tree} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} + COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${CPACK_PACKAGE_FILES}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
