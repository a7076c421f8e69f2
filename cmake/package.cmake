# What is installed beside the programs, the Debian package that `cpack` makes of it and the source archive that
# `cpack --config CPackSourceConfig.cmake` makes. Programs are installed where they are built.

include(GNUInstallDirs)

install(FILES packaging/70-oabr-korvex.rules DESTINATION lib/udev/rules.d)
configure_file(packaging/io.github.oabr_korvex.oabr_switch.metainfo.xml.in
               ${CMAKE_BINARY_DIR}/generated/io.github.oabr_korvex.oabr_switch.metainfo.xml @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/generated/io.github.oabr_korvex.oabr_switch.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

install(FILES resources/completion/oabr DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES resources/schemas/oabr-1.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/oabr-korvex/schemas)

# Debian wants man pages and change logs compressed, without a time stamp inside.
find_program(OABR_GZIP gzip REQUIRED)
set(compressed)
function(oabr_install_compressed input output destination)
    set(packed ${CMAKE_BINARY_DIR}/generated/${output})
    add_custom_command(OUTPUT ${packed} COMMAND ${OABR_GZIP} -9nc ${input} > ${packed} DEPENDS ${input} VERBATIM)
    install(FILES ${packed} DESTINATION ${destination})
    set(compressed ${compressed} ${packed} PARENT_SCOPE)
endfunction()
foreach(program oabr oabr-switch oabr-console oabr-flash oabr-sim)
    configure_file(docs/man/${program}.1 ${CMAKE_BINARY_DIR}/generated/${program}.1 @ONLY)
    oabr_install_compressed(${CMAKE_BINARY_DIR}/generated/${program}.1 ${program}.1.gz ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
execute_process(COMMAND date -u -R -d ${OABR_RELEASE_DATE} OUTPUT_VARIABLE changelog_date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
configure_file(packaging/changelog.in ${CMAKE_BINARY_DIR}/generated/changelog @ONLY)
oabr_install_compressed(${CMAKE_BINARY_DIR}/generated/changelog changelog.gz ${CMAKE_INSTALL_DOCDIR})
oabr_install_compressed(${CMAKE_SOURCE_DIR}/CHANGELOG.md CHANGELOG.md.gz ${CMAKE_INSTALL_DOCDIR})
add_custom_target(oabr_compressed ALL DEPENDS ${compressed})
install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_PACKAGE_NAME oabr-korvex)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "the OABR Korvex developers")
set(CPACK_PACKAGE_CONTACT "the OABR Korvex developers <developers@oabr-korvex.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configure and diagnose the OABR Korvex automotive Ethernet switch")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Finds OABR Korvex switches on USB, changes their port, mirroring, VLAN, MAC
table, CAN and life-cycle settings, stores them in the device, shows its
counters, runs a management console and replaces the firmware. A simulated
device is included, so all of it can be tried without hardware.")
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS xterm)  # a terminal for the management console
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# A change of the udev rule reaches converters that are plugged in already.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/postinst ${CMAKE_SOURCE_DIR}/packaging/postrm)

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME oabr-korvex-${PROJECT_VERSION})
set(CPACK_VERBATIM_VARIABLES ON)
string(REGEX REPLACE "([][+.*?()^$|\\])" "\\\\\\1" source "${CMAKE_SOURCE_DIR}")
string(REGEX REPLACE "([][+.*?()^$|\\])" "\\\\\\1" binary "${CMAKE_BINARY_DIR}")
set(CPACK_SOURCE_IGNORE_FILES "^${source}/(build|\\.cache)/" "^${source}/\\.git(/|$)" "^${binary}/"
    "/compile_commands\\.json$" "\\.swp$")
include(CPack)
