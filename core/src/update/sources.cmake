target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Updater.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Version.cpp)

# Where the application looks for updates. A build for an end-to-end run of an update points
# them at a server on 127.0.0.1 and the authority that signed its certificate.
set(TESSEL_UPDATE_MANIFEST_URL "https://updates.orvane.com/tessel/latest.json"
    CACHE STRING "Update manifest location compiled into the application")
set(TESSEL_UPDATE_CA_BUNDLE ""
    CACHE FILEPATH "Certificate authorities (PEM) for update requests; empty for the system's")
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/Updater.cpp PROPERTIES COMPILE_DEFINITIONS
  "TESSEL_UPDATE_MANIFEST_URL=\"${TESSEL_UPDATE_MANIFEST_URL}\";TESSEL_UPDATE_CA_BUNDLE=\"${TESSEL_UPDATE_CA_BUNDLE}\"")
