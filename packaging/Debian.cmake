# The Debian package, built by CPack (`cpack -G DEB` in a build folder, or scripts/package). Library
# dependencies are computed by dpkg-shlibdeps from the binary; only what no tool can see is declared here.
set(TAMSINVALE_PACKAGE_MAINTAINER "Tamsinvale maintainers <maintainers@tamsinvale.org>"
    CACHE STRING "Maintainer field of the Debian package")

include(GNUInstallDirs)
# Documents every Debian package carries: where it comes from and what changed.
# The package's name, not the project's: /usr/share/doc/tamsinvale.
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/tamsinvale)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${doc_dir})
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(OUTPUT ${changelog}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/packaging
    COMMAND sh -c "gzip -9 -n -c \"$1\" > \"$2\"" sh ${CMAKE_CURRENT_LIST_DIR}/changelog ${changelog}
    DEPENDS ${CMAKE_CURRENT_LIST_DIR}/changelog
    COMMENT "Compressing the changelog"
    VERBATIM)
add_custom_target(tamsinvale_changelog ALL DEPENDS ${changelog})
install(FILES ${changelog} DESTINATION ${doc_dir})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tamsinvale)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Tamsinvale developers")
set(CPACK_PACKAGE_CONTACT "${TAMSINVALE_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "keep one application and one window at the centre of attention")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${TAMSINVALE_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://tamsinvale.org/")
# CPack puts CPACK_PACKAGE_DESCRIPTION_SUMMARY on the first line; this is the long description below it.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Tamsinvale is a focus-keeping desktop utility for X11 sessions. It lives in
the tray and offers, behind global hotkeys: an app switcher in which every
application is one or two typed keys away, a window switcher for the windows
of the application you were just in, focus dimming below the frontmost
window on every screen, window size presets, snapping and moving windows
between displays, closing applications left inactive, and inserting the date.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Not libraries, so invisible to dpkg-shlibdeps: the session bus that `tamsinvale ctl` and the one-instance
# guard use, python3 for script shortcuts (applications work without it), the certificate authorities that
# wallpaper downloads over https are checked against, and Qt's SVG image plugin, without which applications that
# ship only SVG icons show a lettered placeholder.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "default-dbus-session-bus | dbus-session-bus, python3, ca-certificates, libqt6svg6")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "mpv-mpris")

include(CPack)
