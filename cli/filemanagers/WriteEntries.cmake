# Run by `cmake --install`: writes the file managers' "Make Contact Sheet" entries, each
# running the tessel-sheet installed in this prefix on the selection, and installs them.
#
#   Dolphin (KDE)   share/kio/servicemenus/com.orvane.Tessel.MakeContactSheet.desktop: a
#                   "Make Contact Sheet" submenu of the four presets
#   Nemo            share/nemo/actions/com.orvane.Tessel.<preset>.nemo_action: one entry a
#                   preset ("Make Contact Sheet: Portfolio"); Nemo's actions have no submenus
#   Caja            share/file-manager/actions/ (file-manager actions, read by the
#                   caja-actions extension): a "Make Contact Sheet" menu of the four presets
#   GNOME Files     share/nautilus-python/extensions/tessel_make_contact_sheet.py: an
#                   extension for nautilus-python (python3-nautilus) with a "Make Contact
#                   Sheet" submenu of the four presets. GNOME Files reads scripts only from
#                   each user's own folder; nautilus-python reads extensions from the system's
#                   share/ and from ~/.local/share alike.
#
# Each entry is offered for images, folders and PDF files (a sheet made earlier, so that
# Select All beside one still offers the entry) and runs tessel-sheet with --images-only,
# which leaves out what is not an image and says so in its notification.
#
# Set by the install code before this script: TESSEL_BINDIR, TESSEL_DATADIR,
# TESSEL_IMAGE_TYPES_FROM (the desktop entry whose MimeType lists the image types),
# TESSEL_ENTRIES_STAGING (a folder of the build tree where the files are written first),
# TESSEL_NAUTILUS_EXTENSION (the extension's template).

set(presets "contact=Contact Sheet" "portfolio=Portfolio" "proof=Proof Grid" "square=Square Grid")

if(IS_ABSOLUTE "${TESSEL_BINDIR}")
  set(program "${TESSEL_BINDIR}/tessel-sheet")
else()
  set(program "${CMAKE_INSTALL_PREFIX}/${TESSEL_BINDIR}/tessel-sheet")
endif()
# The command is quoted for desktop entries and for the shell alike; these characters would
# need escapes that differ between the two.
if(program MATCHES "[\"`$\\\\%\n]")
  message(FATAL_ERROR "The file managers' entries cannot name ${program}: its path has one "
                      "of \" ` $ \\ % or a line break. Install under another prefix.")
endif()
if(program MATCHES " ")
  set(command "\"${program}\"")
else()
  set(command "${program}")
endif()

# The images the application opens, then folders and earlier sheets.
file(STRINGS "${TESSEL_IMAGE_TYPES_FROM}" imageTypes REGEX "^MimeType=")
string(REGEX REPLACE "^MimeType=" "" imageTypes "${imageTypes}")
string(REPLACE "\\;" ";" imageTypes "${imageTypes}")  # file(STRINGS) escapes the semicolons
set(types "${imageTypes}inode/directory;application/pdf;")

set(icon "com.orvane.Tessel")
# A folder of its own for each destination: the tests install into several at once.
string(MD5 destination "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(staging "${TESSEL_ENTRIES_STAGING}/${destination}")
file(REMOVE_RECURSE "${staging}")

# Dolphin: one service menu with an action per preset, shown as a submenu. KIO runs a service
# menu from a user's own folder only when the file is executable.
set(dolphin "[Desktop Entry]
Type=Service
Name=Make Contact Sheet
Icon=${icon}
MimeType=${types}
X-KDE-ServiceTypes=KonqPopupMenu/Plugin
X-KDE-Submenu=Make Contact Sheet
X-KDE-Protocols=file
TryExec=${program}
Actions=")
set(dolphinActions "")
set(cajaItems "")
foreach(preset IN LISTS presets)
  string(REGEX REPLACE "=.*" "" raw "${preset}")
  string(REGEX REPLACE "^[^=]*=" "" title "${preset}")
  set(run "${command} --beside --notify --images-only --preset ${raw}")
  string(TOLOWER "${title}" kind)
  set(comment "Lay out the selected photographs as a ${kind} beside them")

  string(APPEND dolphin "${raw};")
  string(APPEND dolphinActions "
[Desktop Action ${raw}]
Name=${title}
Icon=${icon}
Exec=${run} %F
")

  # Nemo puts each selected path in double quotes (Quote), escaping quotes inside it.
  file(WRITE "${staging}/nemo/com.orvane.Tessel.${raw}.nemo_action" "[Nemo Action]
Name=Make Contact Sheet: ${title}
Comment=${comment}
Exec=${run} %F
Icon-Name=${icon}
Selection=notnone
Mimetypes=${types}
Quote=double
Dependencies=${program};
")

  file(WRITE "${staging}/file-manager/com.orvane.Tessel.${raw}.desktop" "[Desktop Entry]
Type=Action
Name=${title}
Tooltip=${comment}
Icon=${icon}
Profiles=local;

[X-Action-Profile local]
Name=${title}
MimeTypes=${types}
Schemes=file;
SelectionCount=>0
Exec=${run} %F
")
  string(APPEND cajaItems "com.orvane.Tessel.${raw};")
endforeach()
file(WRITE "${staging}/dolphin/com.orvane.Tessel.MakeContactSheet.desktop"
     "${dolphin}\n${dolphinActions}")
set(PROGRAM "${program}")
set(IMAGE_TYPES "${imageTypes}")
configure_file("${TESSEL_NAUTILUS_EXTENSION}" "${staging}/nautilus/tessel_make_contact_sheet.py"
               @ONLY)
file(WRITE "${staging}/file-manager/com.orvane.Tessel.MakeContactSheet.desktop" "[Desktop Entry]
Type=Menu
Name=Make Contact Sheet
Tooltip=Lay out the selected photographs as a sheet beside them
Icon=${icon}
ItemsList=${cajaItems}
")

set(readable OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
if(IS_ABSOLUTE "${TESSEL_DATADIR}")
  set(data "${TESSEL_DATADIR}")
else()
  set(data "${CMAKE_INSTALL_PREFIX}/${TESSEL_DATADIR}")
endif()
# KIO runs a service menu from a user's own folder only when the file is executable; those
# of the system (/usr, /usr/local, /opt) are trusted as they are.
set(dolphinPermissions ${readable})
if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/(usr|opt)(/|$)")
  list(APPEND dolphinPermissions OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
endif()
file(INSTALL "${staging}/dolphin/" DESTINATION "${data}/kio/servicemenus"
     FILE_PERMISSIONS ${dolphinPermissions})
file(INSTALL "${staging}/nemo/" DESTINATION "${data}/nemo/actions" FILE_PERMISSIONS ${readable})
file(INSTALL "${staging}/file-manager/" DESTINATION "${data}/file-manager/actions"
     FILE_PERMISSIONS ${readable})
file(INSTALL "${staging}/nautilus/" DESTINATION "${data}/nautilus-python/extensions"
     FILE_PERMISSIONS ${readable})
