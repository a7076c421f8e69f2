# wxWidgets twice: the base library alone for what runs without a display, and the window classes for the application.
# The find module leaves its findings in variables, so each finding is kept in a target of its own.

function(oabr_wx target gui)
    find_package(wxWidgets 3.2 REQUIRED COMPONENTS ${ARGN})
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
    target_compile_definitions(${target} INTERFACE ${wxWidgets_DEFINITIONS} wxUSE_GUI=${gui})
    target_compile_options(${target} INTERFACE ${wxWidgets_CXX_FLAGS})
    target_link_directories(${target} INTERFACE ${wxWidgets_LIBRARY_DIRS})
    target_link_libraries(${target} INTERFACE ${wxWidgets_LIBRARIES})
endfunction()

oabr_wx(oabr_wx_base 0 base)
oabr_wx(oabr_wx_gui 1 core html base)
