# What is installed, and the packages that CPack makes of it: with ZELT_STATIC a .tar.gz, else a .deb. scripts/package
# makes both; they need SOURCE_DATE_EPOCH in the environment.

set(docs ${CMAKE_INSTALL_DOCDIR})
set(data ${CMAKE_INSTALL_DATADIR}/zelt2cggtts)

set(programs zelt2cggtts)
if(ZELT_LOG)
  list(APPEND programs zeltlog)
  # The libraries that zeltlog is built with want their licences beside it; Debian's packages have them here.
  foreach(library libcli11-dev libeigen3-dev nlohmann-json3-dev)
    install(FILES /usr/share/doc/${library}/copyright DESTINATION ${docs}/libraries RENAME ${library} OPTIONAL)
  endforeach()
endif()

install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md CHANGELOG.md LICENSE doc/method.md DESTINATION ${docs})
if(NOT WIN32)
  set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES examples/esbc-2020-06-25-3h.zelt DESTINATION ${docs}/examples)
  foreach(program IN LISTS programs)
    install(FILES doc/${program}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES completions/${program} DESTINATION ${completions})
  endforeach()
  install(PROGRAMS tools/slurm-archive.sbatch DESTINATION ${data})
  install(FILES tools/cggttsfile.py tools/cggttstracks.py tools/daymaker.py tools/drawing.py tools/logindex.py
                tools/optionsfile.py tools/timeseries.py
          DESTINATION ${data})
  install(FILES doc/production.md DESTINATION ${docs})
  install(FILES tools/zelt-daily.service tools/zelt-daily.timer DESTINATION ${docs}/examples)
  # The Python tools look for their modules beside themselves, which is where these links lead to.
  file(RELATIVE_PATH from_bin_to_data ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_DATADIR}/zelt2cggtts)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/links)
  foreach(tool check-cggtts compare-cggtts convert-archive plot-cggtts plot-position strict-cggtts)
    install(PROGRAMS tools/${tool} DESTINATION ${data})
    install(FILES doc/${tool}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES completions/cggtts-tools DESTINATION ${completions} RENAME ${tool})
    set(link ${CMAKE_CURRENT_BINARY_DIR}/links/${tool})
    file(CREATE_LINK ${from_bin_to_data}/${tool} ${link} SYMBOLIC)
    install(FILES ${link} DESTINATION ${CMAKE_INSTALL_BINDIR})
  endforeach()
endif()

set(CPACK_PACKAGE_NAME zelt2cggtts)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "convert GNSS timing receiver logs into CGGTTS files")
set(CPACK_PACKAGE_DESCRIPTION
  "zelt2cggtts converts the binary Zelt log of a GNSS timing receiver into CGGTTS
files of version 2E for time transfer: one file each for GPS, GLONASS, Galileo
and BeiDou, one line per satellite and 13-minute track.
.
zeltlog, beside it, tells what a log holds and what became of each track. Tools
convert whole archives of logs in parallel, check CGGTTS files,
compare the clocks of two stations by them and draw them.")
set(CPACK_PACKAGE_VENDOR "the zelt2cggtts authors")
set(CPACK_PACKAGE_CONTACT "the zelt2cggtts authors <maintainers@example.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(ZELT_STATIC)
  set(CPACK_GENERATOR External)
  set(CPACK_EXTERNAL_ENABLE_STAGING ON)
  set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/package-archive.cmake)
  set(CPACK_PACKAGE_FILE_NAME zelt2cggtts-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR}-static)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/stage-deb.cmake)
  set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish-deb.cmake)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS python3)
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "parallel, python3-matplotlib, python3-numpy")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/prerm)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()

include(CPack)
