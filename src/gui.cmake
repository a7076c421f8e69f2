# Floor 4: windows. Pages, controls and dialogs that the main window is made of.
set(pictures_dir ${CMAKE_SOURCE_DIR}/resources/pictures)
file(GLOB picture_files CONFIGURE_DEPENDS ${pictures_dir}/*.png)
set(embedded_source ${CMAKE_CURRENT_BINARY_DIR}/embedded.cpp)
add_custom_command(
    OUTPUT ${embedded_source}
    COMMAND ${CMAKE_COMMAND} "-DOUTPUT=${embedded_source}" "-DFILES=${picture_files};${CMAKE_SOURCE_DIR}/LICENSE"
            -P ${CMAKE_SOURCE_DIR}/cmake/embed.cmake
    DEPENDS ${picture_files} ${CMAKE_SOURCE_DIR}/LICENSE ${CMAKE_SOURCE_DIR}/cmake/embed.cmake
    VERBATIM)

add_library(oabr_gui STATIC
    ${embedded_source}
    window/HelpViewer.cpp
    window/LossWatch.cpp
    window/ModalBoxes.cpp
    window/NoticeBar.cpp
    window/ReadableStatusBar.cpp
    window/ResourceManager.cpp
    window/StartHint.cpp
    window/StoreSign.cpp
    window/accessible_content.cpp
    window/device_text.cpp
    window/file_choice.cpp
    window/links.cpp
    window/log_start.cpp
    window/remembered.cpp
    window/unstored_question.cpp
    window/while_painting.cpp
    cli/CLIDialog.cpp
    Controls/CheckedGrid.cpp
    Controls/MessageText.cpp
    Controls/OABRControl.cpp
    Controls/OABRControlFrame.cpp
    Controls/OABRRegCheckBox.cpp
    Controls/OABRRegComboBox.cpp
    Controls/OABRRegRadioButton.cpp
    Controls/OABRRegStaticText.cpp
    Controls/TabbedPage.cpp
    Controls/bound_rows.cpp
    Controls/RowList.cpp
    ConfigDlg/CanSettingsPanel.cpp
    ConfigDlg/CanTraceWindow.cpp
    ConfigDlg/CounterPanel.cpp
    ConfigDlg/CustomSettingsPanel.cpp
    ConfigDlg/DynamicMacTab.cpp
    ConfigDlg/PortBasedVlanTab.cpp
    ConfigDlg/PortConfigPage.cpp
    ConfigDlg/PortConfigPanel.cpp
    ConfigDlg/SniffingPanel.cpp
    ConfigDlg/StaticMacAdressTab.cpp
    ConfigDlg/VlanEntryDialog.cpp
    ConfigDlg/VlanPage.cpp
    ConfigDlg/VlanTab.cpp
    FlashDlg/FlashPanel.cpp
    ConfigManager/ConfigManager.cpp
    ConfigManager/DifferenceLoad.cpp
    ConfigManager/LoadDifferenceDialog.cpp
    ConfigManager/LossDialog.cpp
    ConfigManager/XmlConfigDialog.cpp
    Application.cpp
    MainFrame.cpp
    pages.cpp
)
target_link_libraries(oabr_gui PUBLIC oabr_host oabr_wx_gui)
target_precompile_headers(oabr_gui PRIVATE <wx/wx.h> <functional> <memory> <string> <vector>)

# Accessible names are the system's own business: GTK's accessible objects, Windows' window texts.
if(WIN32)
    target_sources(oabr_gui PRIVATE window/accessible_msw.cpp window/device_change_msw.cpp window/cancel_box_msw.cpp
        window/focus_msw.cpp window/hover_msw.cpp window/session_end_msw.cpp)
else()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(GTK3 REQUIRED IMPORTED_TARGET gtk+-3.0)
    pkg_check_modules(SM REQUIRED IMPORTED_TARGET sm ice)
    target_sources(oabr_gui PRIVATE
        window/accessible_content_gtk.cpp window/accessible_gtk.cpp window/cancel_box_gtk.cpp
        window/device_change_gtk.cpp window/focus_gtk.cpp window/hover_gtk.cpp window/session_end_gtk.cpp)
    target_link_libraries(oabr_gui PRIVATE PkgConfig::GTK3 PkgConfig::SM)
endif()
