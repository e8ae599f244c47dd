# Run while installing (install(CODE) sets VANTOR_PACKAGING and VANTOR_OUT):
# the manual pages and the changelog compressed as Debian wants them,
# gzip -9n, so the same file makes the same bytes.
foreach(page vantor vantor-server vantorctl vantor-msg)
  execute_process(COMMAND gzip -9nc "${VANTOR_PACKAGING}/man/${page}.1"
                  OUTPUT_FILE "${VANTOR_OUT}/${page}.1.gz" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND gzip -9nc "${VANTOR_PACKAGING}/changelog"
                OUTPUT_FILE "${VANTOR_OUT}/changelog.gz" COMMAND_ERROR_IS_FATAL ANY)
