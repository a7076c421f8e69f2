# The desktop application, what it reads beside itself, its entry in the desktop's menu and its icons.
include(GNUInstallDirs)

add_executable(oabr-switch oabr_switch.cpp)
target_link_libraries(oabr-switch PRIVATE oabr_gui)
configure_file(${CMAKE_SOURCE_DIR}/resources/links.ini ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/links.ini COPYONLY)
file(GLOB manual_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/manual/*.html)
file(COPY ${manual_files} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/manual)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${manual_files})

install(TARGETS oabr-switch DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/resources/links.ini DESTINATION ${CMAKE_INSTALL_DATADIR}/oabr-korvex)
install(FILES ${manual_files} DESTINATION ${CMAKE_INSTALL_DATADIR}/oabr-korvex/manual)
if(UNIX)
    set(desktop_entry oabr-switch.desktop)
    install(FILES ${CMAKE_SOURCE_DIR}/resources/${desktop_entry} DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES ${CMAKE_SOURCE_DIR}/resources/pictures/LOGO.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME oabr-switch.svg)
    foreach(size 16 32 48 128 256)
        install(FILES ${CMAKE_SOURCE_DIR}/resources/icons/${size}x${size}/oabr-switch.png
                DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
    endforeach()
endif()
