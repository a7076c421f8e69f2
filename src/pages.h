#pragma once

#include <wx/window.h>

#include <span>

namespace kovgui {

class ConfigManager;

/// One page of the main window's book.
struct PageRow {
    const char* title;
    const char* picture;
    wxWindow* (*create)(wxWindow* book);
    const char* chapter;  ///< of the manual
};

/// The pages in the order of the book.
std::span<const PageRow> pageRows();

/// Gives the manager the living pages that configuration files hold.
void connectPages(ConfigManager* manager);

}  // namespace kovgui
