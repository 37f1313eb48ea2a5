# The Debian package: `cpack -G DEB` in a release build configured with TESSEL_VERSION
# (scripts/package.sh does both). It holds what `cmake --install` puts under /usr (the
# programs, their manual pages, the desktop entry, icons and AppStream file, the file
# managers' entries) and the package's own documentation; dpkg-shlibdeps finds the libraries
# it depends on.
set(TESSEL_PACKAGE_FILES "${PROJECT_SOURCE_DIR}/packaging/deb")

# The Debian version: the release's, with the package's first revision.
if(TESSEL_VERSION)
  set(TESSEL_VERSION_SHOWN "${TESSEL_VERSION}")
else()
  set(TESSEL_VERSION_SHOWN "${PROJECT_VERSION}~development")
endif()
set(TESSEL_PACKAGE_REVISION 1)
set(TESSEL_PACKAGE_VERSION "${TESSEL_VERSION_SHOWN}-${TESSEL_PACKAGE_REVISION}")

# The changelog's date is the release's, from the AppStream file's newest <release>, so that
# the same release always makes the same package.
set(releases "${PROJECT_SOURCE_DIR}/app/desktop/com.orvane.Tessel.metainfo.xml.in")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${releases}")
file(STRINGS "${releases}" newest REGEX "<release version=" LIMIT_COUNT 1)
string(REGEX MATCH "date=\"([0-9-]+)\"" ignored "${newest}")
set(releaseDate "${CMAKE_MATCH_1}")
execute_process(COMMAND date -u -R -d "${releaseDate} 12:00:00"
                OUTPUT_VARIABLE TESSEL_CHANGELOG_DATE OUTPUT_STRIP_TRAILING_WHITESPACE)
configure_file("${TESSEL_PACKAGE_FILES}/changelog.in" "${CMAKE_BINARY_DIR}/deb/changelog.Debian"
               @ONLY)
add_custom_command(OUTPUT "${CMAKE_BINARY_DIR}/deb/changelog.Debian.gz"
  COMMAND gzip -9nkf "${CMAKE_BINARY_DIR}/deb/changelog.Debian"
  DEPENDS "${CMAKE_BINARY_DIR}/deb/changelog.Debian"
  COMMENT "Compressing the package's changelog" VERBATIM)
add_custom_target(tessel_package_changelog ALL DEPENDS "${CMAKE_BINARY_DIR}/deb/changelog.Debian.gz")
install(FILES "${TESSEL_PACKAGE_FILES}/copyright" "${CMAKE_BINARY_DIR}/deb/changelog.Debian.gz"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tessel)
install(FILES "${TESSEL_PACKAGE_FILES}/lintian-overrides" RENAME tessel
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessel)
set(CPACK_PACKAGE_VENDOR Orvane)
set(CPACK_PACKAGE_VERSION "${TESSEL_VERSION_SHOWN}")
set(CPACK_PACKAGE_CONTACT "Orvane <tessel@orvane.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "lay out photographs as printable contact sheets")
# Lines of at most 79 characters: Debian's tools wrap nothing.
set(CPACK_PACKAGE_DESCRIPTION
    "Tessel lays out photographs as printable sheets: contact sheets, portfolios,
proof grids and square grids, as one multi-page PDF or numbered PNG and JPEG
pages, or printed. Originals are only ever read.
.
The package holds the desktop application (tessel), the command-line tool
(tessel-sheet), and Make Contact Sheet for the right-click menus of Dolphin,
Nemo, Caja (with caja-actions) and GNOME Files (with python3-nautilus).")
# The file managers' entries name the installed tessel-sheet by its path, so the package is
# installed as a DESTDIR under the real prefix, never with the staging folder as the prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${TESSEL_PACKAGE_REVISION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://orvane.com/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Found at run time, not linked: the font captions are set in (metric-compatible with
# Helvetica), GNOME Files' loader of the extension, Qt's Wayland platform.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3-nautilus, fonts-urw-base35, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "caja-actions")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${TESSEL_PACKAGE_FILES}/prerm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
