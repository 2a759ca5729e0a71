# What `cmake --install` puts in place and `cmake --build build --target package` packs into
# telmon_<version>_amd64.deb: the programs, the desktop entry, the AppStream metainfo, the
# hicolor icons, the manual pages and the package's documentation. The headless companion
# telmon-serve and its systemd unit join them once that program exists.
include(GNUInstallDirs)

set(TELMON_HOMEPAGE "https://www.quarn.com/telmon" CACHE STRING
    "The program's home page (package and metainfo)")
set(TELMON_SCREENSHOT_URL "${TELMON_HOMEPAGE}/screenshots" CACHE STRING
    "Where the pictures of docs/screenshots are published (metainfo)")
set(TELMON_PACKAGE_MAINTAINER "Quarn <telmon@quarn.com>" CACHE STRING
    "Maintainer of the Debian package and author of its changelog")

find_program(TELMON_SCDOC scdoc REQUIRED)
find_program(TELMON_RSVG_CONVERT rsvg-convert REQUIRED)
find_program(TELMON_GZIP gzip REQUIRED)

set(packaging_source ${PROJECT_SOURCE_DIR}/packaging)
set(packaging_build ${PROJECT_BINARY_DIR}/packaging)

# The release day in the changelog's form and as the time stamp of the generated files, so that
# the same sources give the same package.
execute_process(COMMAND date -u -R -d ${TELMON_RELEASE_DATE}
                OUTPUT_VARIABLE TELMON_RELEASE_DATE_RFC2822 OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND date -u +%s -d ${TELMON_RELEASE_DATE}
                OUTPUT_VARIABLE release_epoch OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)

configure_file(${packaging_source}/telmon.desktop.in
               ${packaging_build}/${TELMON_APP_ID}.desktop @ONLY)
configure_file(${packaging_source}/telmon.metainfo.xml.in
               ${packaging_build}/${TELMON_APP_ID}.metainfo.xml @ONLY)
configure_file(${packaging_source}/changelog.in ${packaging_build}/changelog @ONLY)

# The programs, each with its manual page packaging/man/<program>.1.scd; the headless companion
# telmon-serve joins them once it is part of the build.
set(programs telmon telmon-check telmon-site iossim)
if(TARGET telmon-serve)
  list(APPEND programs telmon-serve)
endif()

# Manual pages (scdoc), gzipped as Debian keeps them, and the icon at the usual sizes.
set(generated)
foreach(program IN LISTS programs)
  set(page ${packaging_build}/man/${program}.1)
  add_custom_command(
    OUTPUT ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${packaging_build}/man
    COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${release_epoch}
            sh -c "\"$0\" < \"$1\" > \"$2\"" ${TELMON_SCDOC}
            ${packaging_source}/man/${program}.1.scd ${page}
    COMMAND ${TELMON_GZIP} -n -9 -f ${page}
    DEPENDS ${packaging_source}/man/${program}.1.scd
    COMMENT "Manual page ${program}(1)"
    VERBATIM)
  list(APPEND generated ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

foreach(size 16 22 24 32 48 64 128 256)
  set(icon ${packaging_build}/icons/${size}x${size}/${TELMON_APP_ID}.png)
  add_custom_command(
    OUTPUT ${icon}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${packaging_build}/icons/${size}x${size}
    COMMAND ${TELMON_RSVG_CONVERT} -w ${size} -h ${size} -o ${icon}
            ${packaging_source}/telmon.svg
    DEPENDS ${packaging_source}/telmon.svg
    VERBATIM)
  list(APPEND generated ${icon})
  install(FILES ${icon} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()

add_custom_command(
  OUTPUT ${packaging_build}/changelog.gz
  COMMAND sh -c "\"$0\" -n -9 -c \"$1\" > \"$2\"" ${TELMON_GZIP} ${packaging_build}/changelog
          ${packaging_build}/changelog.gz
  DEPENDS ${packaging_build}/changelog
  VERBATIM)
list(APPEND generated ${packaging_build}/changelog.gz)
add_custom_target(telmon_packaging_files ALL DEPENDS ${generated})

# The installed programs resolve every symbol at start-up, so their relocations can be read-only.
foreach(program IN LISTS programs)
  target_link_options(${program} PRIVATE LINKER:-z,relro,-z,now)
endforeach()
install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${packaging_build}/${TELMON_APP_ID}.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${packaging_build}/${TELMON_APP_ID}.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${packaging_source}/telmon.svg RENAME ${TELMON_APP_ID}.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/telmon)
install(FILES ${packaging_source}/copyright ${packaging_build}/changelog.gz DESTINATION ${doc_dir})
install(FILES ${PROJECT_SOURCE_DIR}/docs/sequences/demo.yaml DESTINATION ${doc_dir}/examples)
install(FILES ${packaging_source}/lintian-overrides RENAME telmon
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)

# The headless companion's systemd unit: installed, not enabled (the package has no maintainer
# scripts); the administrator enables it after setting the site's folder.
if(TARGET telmon-serve)
  install(FILES ${packaging_source}/telmon-serve.service DESTINATION lib/systemd/system)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME telmon)
set(CPACK_PACKAGE_VENDOR Quarn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "monitor and test the I/O server of an emissions DAHS")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TELMON_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${TELMON_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt loads its database drivers at run time, where the shared-library scan cannot see them.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, libqt6sql6-psql")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# CPack puts the summary above this and formats the lines as a control file wants them.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Telmon is the operator's monitor for the I/O server of an emissions data
acquisition and handling system (DAHS). It shows the devices, queues, blocks
and watched channels of a DAHS live, with trends, an operator journal and the
tools technicians use to commission, test and troubleshoot a site.

The package also holds telmon-check (commissioning checks without a window),
telmon-site (site databases and accounts), telmon-serve (every DAHS of the
site, read-only, in a browser) and iossim (a simulated I/O server with a demo
site).")
include(CPack)
