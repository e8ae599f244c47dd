# cmake -DBUILD=dir -DOUT=dir -DCPACK=cpack -P Lintian.cmake: makes the
# Debian package of the build into OUT and passes when lintian reports
# nothing on it; says "SKIPPED:" (the test's skip) without lintian or
# dpkg-deb.
find_program(LINTIAN lintian)
find_program(DPKG_DEB dpkg-deb)
if(NOT LINTIAN OR NOT DPKG_DEB)
  message(STATUS "SKIPPED: lintian or dpkg-deb is not installed (Debian packages lintian, dpkg)")
  return()
endif()
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})
execute_process(COMMAND ${CPACK} -G DEB --config ${BUILD}/CPackConfig.cmake -B ${OUT}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
file(GLOB packages ${OUT}/*.deb)
if(NOT status EQUAL 0 OR NOT packages)
  message(FATAL_ERROR "cpack made no package:\n${out}")
endif()
execute_process(COMMAND ${LINTIAN} --no-cfg ${packages}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}")
# One line per tag, "E: package: tag ..." (lintian's own notes, such as
# running as root, are not tags).
if(NOT status EQUAL 0 OR out MATCHES "(^|\n)[EWIPX]: ")
  message(FATAL_ERROR "lintian reports on ${packages}:\n${out}${err}")
endif()
file(REMOVE_RECURSE ${OUT})
