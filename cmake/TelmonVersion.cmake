# The project's one version (project(Telmon VERSION ...)) as a generated header for the programs,
# and the names the desktop, the package and the metainfo share.
set(TELMON_APP_ID "com.quarn.Telmon" CACHE STRING
    "Reverse-DNS name of the desktop entry, the AppStream metainfo and the icons")

configure_file(${CMAKE_CURRENT_LIST_DIR}/TelmonVersion.h.in
               ${PROJECT_BINARY_DIR}/generated/TelmonVersion.h @ONLY)
add_library(telmon_version INTERFACE)
target_include_directories(telmon_version INTERFACE ${PROJECT_BINARY_DIR}/generated)
