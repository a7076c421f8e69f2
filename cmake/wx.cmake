# wxWidgets twice: the base library alone for what runs without a display, and the window classes for the application.
# The find module leaves its findings in variables, so each finding is kept in a target of its own.

function(oabr_wx target)
    find_package(wxWidgets 3.2 REQUIRED COMPONENTS ${ARGN})
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
    list(FILTER wxWidgets_DEFINITIONS EXCLUDE REGEX wxUSE_GUI)
    target_compile_definitions(${target} INTERFACE ${wxWidgets_DEFINITIONS})
    target_compile_options(${target} INTERFACE ${wxWidgets_CXX_FLAGS})
    target_link_directories(${target} INTERFACE ${wxWidgets_LIBRARY_DIRS})
    target_link_libraries(${target} INTERFACE ${wxWidgets_LIBRARIES})
endfunction()

oabr_wx(oabr_wx_base base)
oabr_wx(oabr_wx_gui core html base)

# Who links the window classes, directly or through a library, sees the toolkit's headers with windows; others without.
set_target_properties(oabr_wx_gui PROPERTIES INTERFACE_OABR_WINDOWS ON COMPATIBLE_INTERFACE_BOOL OABR_WINDOWS)
target_compile_definitions(oabr_wx_base INTERFACE wxUSE_GUI=$<IF:$<BOOL:$<TARGET_PROPERTY:OABR_WINDOWS>>,1,0>)
