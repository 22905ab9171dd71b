# The Debian package: `cpack -G DEB` in the build folder makes zemvar-notes_<version>_amd64.deb
# from the install rules (the programs, dist/linux/ and its generated icons and man pages).

set(CPACK_PACKAGE_NAME zemvar-notes)
set(CPACK_PACKAGE_VENDOR "The Zemvar Notes authors")
set(CPACK_PACKAGE_CONTACT "The Zemvar Notes authors <notes@zemvar.io>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://zemvar.io/notes/")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "quick notes with calculations in a floating panel")
set(CPACK_PACKAGE_DESCRIPTION
    "Zemvar Notes lives in the system tray and shows its notes in one floating
panel, summoned from anywhere by a global shortcut. Every line of a
calculation note that looks like arithmetic is evaluated, with units,
conversions, percentages, variables and block totals. Notes are plain UTF-8
files in a folder of your own.

The command-line tool zemvar-notes-cli lists, shows, writes and searches the
same notes and evaluates calculations from scripts.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Depends is computed from the programs' shared libraries by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt opens its platform plugin at run time, where dpkg-shlibdeps cannot see it. The X11 one
# comes with libqt6gui6, which the programs link; the Wayland one is qt6-wayland, without
# which a Wayland session runs the app through XWayland, where its global shortcut only fires
# while one of its own windows has focus.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-wayland")

include(CPack)
