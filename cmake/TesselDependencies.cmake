# Every outside library the project uses, found once, as imported targets. Each is linked
# only by the targets that need it; scripts/check-includes.sh checks which files may include
# its headers.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# The core library (kept private: its public headers name only Tessel's own types).
pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips)                # decoding, headers
pkg_get_variable(VIPS_PREFIX vips prefix)
pkg_get_variable(VIPS_LIBDIR vips libdir)
# libvips looks for its plug-in modules (HEIF among them) in libdir/vips-modules-MAJOR.MINOR.
string(REGEX MATCH "^[0-9]+\\.[0-9]+" VIPS_MAJOR_MINOR "${VIPS_VERSION}")
set(VIPS_MODULE_DIR "${VIPS_LIBDIR}/vips-modules-${VIPS_MAJOR_MINOR}")
pkg_check_modules(GMODULE REQUIRED IMPORTED_TARGET gmodule-2.0)      # one libvips module
pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2)              # EXIF tags
pkg_check_modules(LIBRAW REQUIRED IMPORTED_TARGET libraw_r)          # camera RAW files (thread-safe build)
pkg_check_modules(LCMS2 REQUIRED IMPORTED_TARGET lcms2)              # Adobe RGB previews
pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET cairo pangocairo)  # pages, captions
pkg_check_modules(QPDF REQUIRED IMPORTED_TARGET libqpdf)             # PDF writing and reading
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)      # dates, collation
pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)
pkg_check_modules(JPEG REQUIRED IMPORTED_TARGET libjpeg)             # JPEG (libjpeg-turbo)
pkg_check_modules(SPNG REQUIRED IMPORTED_TARGET spng)                # PNG
pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)                # PNG chunk checksums
find_package(nlohmann_json 3 REQUIRED)
find_package(CURL REQUIRED)

# tessel-sheet and tessel-sign
find_package(CLI11 REQUIRED)
# tessel-sheet's notifications, file manager calls and user folders (GLib comes with libvips).
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0)

# The desktop application and its self-installation.
if(TESSEL_BUILD_APP)
  find_package(Qt6 6.4 REQUIRED COMPONENTS
    Core Gui Concurrent DBus Network Pdf Widgets PrintSupport Svg)
  pkg_check_modules(LIBARCHIVE REQUIRED IMPORTED_TARGET libarchive)  # update archives
  pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)       # bundle signatures
endif()

if(TESSEL_BUILD_TESTS)
  find_package(GTest REQUIRED)
  # The update tests make a certificate authority and serve HTTPS with OpenSSL.
  pkg_check_modules(OPENSSL REQUIRED IMPORTED_TARGET openssl)
  if(TESSEL_BUILD_APP)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
  endif()
endif()

if(TESSEL_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
