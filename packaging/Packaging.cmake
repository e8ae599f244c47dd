# What `cmake --install` adds for a desktop: the client's menu entry and
# icon, and vantor-server's systemd user unit; and the
# Debian package that `cpack -G DEB` makes of it all. Included at the end
# of the top-level CMakeLists.txt, after every target is known.

include(GNUInstallDirs)

install(FILES ${CMAKE_CURRENT_LIST_DIR}/vantor.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# The skin's icon at its two sizes.
install(FILES ${PROJECT_SOURCE_DIR}/skins/default/icon.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/48x48/apps RENAME vantor.png)
install(FILES ${PROJECT_SOURCE_DIR}/skins/default/icon@2x.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/96x96/apps RENAME vantor.png)

# systemd looks for user units in <prefix>/lib/systemd/user (for /usr and
# /usr/local alike), whatever the library folder is called. The unit names
# the server by the prefix of the install (--prefix, or the package's /usr),
# so it is written when installing, not when configuring.
install(CODE "
  set(VANTOR_SERVER_BINARY \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/vantor-server\")
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/vantor-server.service.in\"
                 \"${PROJECT_BINARY_DIR}/packaging/vantor-server.service\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/packaging/vantor-server.service
        DESTINATION lib/systemd/user)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Vantor")
set(CPACK_PACKAGE_CONTACT "Vantor developers <vantor@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remote control for a desktop media player, and its server")
set(CPACK_PACKAGE_DESCRIPTION "Vantor controls the media player on a desktop computer from \
a small skinnable window, and vantorctl from the command line. vantor-server is the desktop \
side: a simulated player, or a Music Player Daemon it drives.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
# The libraries the programs link come from dpkg-shlibdeps; MPD itself is
# optional.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "mpd")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-liberation2")
include(CPack)
