# What is installed, and the archives that CPack makes of it: a .zip for Windows, and with ZELT_STATIC a .tar.gz. They
# need SOURCE_DATE_EPOCH in the environment. The Debian package is made of the same by debian/rules; scripts/package
# makes them all.

set(docs ${CMAKE_INSTALL_DOCDIR})
set(data ${CMAKE_INSTALL_DATADIR}/zelt2cggtts)
if(WIN32)  # where a program has a folder of its own
  set(CMAKE_INSTALL_BINDIR .)
  set(docs .)
endif()

set(programs zelt2cggtts)
if(ZELT_LOG)
  list(APPEND programs zeltlog)
  set(libraries libcli11-dev libeigen3-dev nlohmann-json3-dev)
endif()
if(WIN32)
  list(APPEND libraries gcc-mingw-w64-base mingw-w64-common)
elseif(ZELT_STATIC)
  list(APPEND libraries gcc-12-base libc6)
endif()

# The libraries that are in the programs want their licences beside them; Debian has them here.
foreach(library IN LISTS libraries)
  install(FILES /usr/share/doc/${library}/copyright DESTINATION ${docs}/libraries RENAME ${library} OPTIONAL)
endforeach()
if(WIN32 OR ZELT_STATIC)  # for machines that are not Debian's
  foreach(licence GPL-3 LGPL-2.1 MPL-2.0)
    install(FILES /usr/share/common-licenses/${licence} DESTINATION ${docs}/libraries OPTIONAL)
  endforeach()
endif()

install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md CHANGELOG.md LICENSE doc/method.md DESTINATION ${docs})
install(FILES examples/esbc-2020-06-25-3h.zelt DESTINATION ${docs}/examples)
if(NOT WIN32)
  set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  foreach(program IN LISTS programs)
    install(FILES doc/${program}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES completions/${program} DESTINATION ${completions})
  endforeach()
  install(PROGRAMS tools/slurm-archive.sbatch DESTINATION ${data})
  install(FILES tools/cggttsfile.py tools/cggttstracks.py tools/command.py tools/daymaker.py tools/drawing.py
                tools/logindex.py tools/optionsfile.py tools/timeseries.py
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

if(WIN32)
  set(platform windows-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_ZELT_SUFFIX zip)
elseif(ZELT_STATIC)
  string(TOLOWER ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}-static platform)
  set(CPACK_ZELT_SUFFIX tar.gz)
else()
  return()
endif()
set(CPACK_PACKAGE_FILE_NAME zelt2cggtts-${PROJECT_VERSION}-${platform})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/package-archive.cmake)
include(CPack)
