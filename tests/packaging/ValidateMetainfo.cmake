# cmake -DFILE=X.metainfo.xml -P ValidateMetainfo.cmake: passes when
# appstreamcli finds nothing wrong with it (pedantic notes aside); says
# "SKIPPED:" (the test's skip) without appstreamcli.
find_program(APPSTREAMCLI appstreamcli)
if(NOT APPSTREAMCLI)
  message(STATUS "SKIPPED: appstreamcli is not installed (Debian package appstream)")
  return()
endif()
execute_process(COMMAND ${APPSTREAMCLI} validate --no-net --explain ${FILE}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
message("${out}")
# Errors and warnings fail it (a non-zero status); so do info notes, which
# the stores show as flaws of the listing.
if(NOT status EQUAL 0 OR out MATCHES "(^|\n)[EWI]: ")
  message(FATAL_ERROR "${FILE} does not pass appstreamcli validate")
endif()
