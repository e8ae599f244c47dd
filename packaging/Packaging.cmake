# What `cmake --install` adds for a desktop: the client's menu entry and
# icon, the software stores' metainfo, the manual pages, and vantor-server's
# systemd user unit; and the Debian package that `cpack -G DEB` makes of it
# all. Included at the end of the top-level CMakeLists.txt, after every
# target is known.

include(GNUInstallDirs)

install(FILES ${CMAKE_CURRENT_LIST_DIR}/vantor.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# The skin's icon at its two sizes.
install(FILES ${PROJECT_SOURCE_DIR}/skins/default/icon.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/48x48/apps RENAME vantor.png)
install(FILES ${PROJECT_SOURCE_DIR}/skins/default/icon@2x.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/96x96/apps RENAME vantor.png)

# The stores show the screenshots from where the project publishes them:
# docs/screenshots/ of the repository as served on the web.
set(VANTOR_SCREENSHOTS_URL "https://vantor.example/screenshots" CACHE STRING
    "Where docs/screenshots/ is published, for the metainfo's screenshots")
set(VANTOR_METAINFO org.vantor.Vantor org.vantor.VantorServer)
foreach(id IN LISTS VANTOR_METAINFO)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${id}.metainfo.xml.in
                 ${PROJECT_BINARY_DIR}/packaging/${id}.metainfo.xml @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${id}.metainfo.xml
          DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
endforeach()

# Manual pages and the package's changelog go in compressed
# (Compress.cmake), while installing, so the build itself never needs gzip.
set(VANTOR_MAN_PAGES vantor vantor-server vantorctl vantor-msg)
install(CODE "set(VANTOR_PACKAGING \"${CMAKE_CURRENT_LIST_DIR}\")
              set(VANTOR_OUT \"${PROJECT_BINARY_DIR}/packaging\")
              include(\"${CMAKE_CURRENT_LIST_DIR}/Compress.cmake\")")
foreach(page IN LISTS VANTOR_MAN_PAGES)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${page}.1.gz
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${PROJECT_BINARY_DIR}/packaging/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vantor)

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
set(CPACK_PACKAGE_CONTACT "Vantor maintainers <maintainers@users.noreply.c-seed-ef43ad01.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remote control for a desktop media player, and its server")
# Lines of at most 79 characters: dpkg shows them as they are.
set(CPACK_PACKAGE_DESCRIPTION "\
Vantor steers the media player on a desktop computer from a phone, a touch
panel on the wall or a small skinnable window: the controls, the song
playing with its picture, the play queue, the media library with search,
the equaliser and the speakers. vantorctl does the same from the command
line.

vantor-server is the desktop side: it drives a Music Player Daemon, any
media player on the desktop's session bus that offers MPRIS (mpv, VLC and
many more) or a simulated player, and can offer the rooms of a Snapcast
server as speakers. The window runs on X11 and natively on Wayland.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
# The libraries the programs link come from dpkg-shlibdeps; MPD itself is
# optional. Qt's X11 platform comes with its GUI library; its Wayland
# platform is a package of its own, and a phone's compositor may run no X
# server at all, so the window depends on it rather than recommending it
# (recommends are left out by --no-install-recommends).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "mpd, snapserver")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-liberation2, qt6-wayland")
include(CPack)
