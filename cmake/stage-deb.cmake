# Run by CPack between staging and packing: documents get the names and the form that Debian wants.
set(share ${CPACK_TEMPORARY_DIRECTORY}/usr/share)
set(docs ${share}/doc/zelt2cggtts)

file(READ ${docs}/LICENSE license)
string(REGEX MATCH "Copyright [^\n]*" copyright "${license}")
string(REGEX REPLACE ".*Copyright [^\n]*\n\n" "" terms "${license}")
string(REGEX REPLACE "Copyright (\\(c\\) )?" "" copyright "${copyright}")
string(REPLACE "\n\n" "\n.\n" terms "${terms}")
string(STRIP "${terms}" terms)
string(REPLACE "\n" "\n " terms "${terms}")
file(WRITE ${docs}/copyright
  "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n\n"
  "Files: *\nCopyright: ${copyright}\nLicense: Expat\n ${terms}\n")
file(REMOVE ${docs}/LICENSE)

file(RENAME ${docs}/CHANGELOG.md ${docs}/changelog)
execute_process(COMMAND date -u -R -d @$ENV{SOURCE_DATE_EPOCH} OUTPUT_VARIABLE date COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${docs}/changelog.Debian
  "zelt2cggtts (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
  "  * Release ${CPACK_PACKAGE_VERSION}; see changelog.gz.\n\n"
  " -- ${CPACK_PACKAGE_CONTACT}  ${date}")
file(GLOB pages ${share}/man/man1/*.1)
execute_process(COMMAND gzip -9n ${docs}/changelog ${docs}/changelog.Debian ${pages} COMMAND_ERROR_IS_FATAL ANY)
