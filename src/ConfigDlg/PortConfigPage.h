#pragma once

#include "src/Controls/TabbedPage.h"

namespace kovgui {

/// The page "Port Config": the port settings and the custom settings, a tab each.
class PortConfigPage : public controls::TabbedPage {
public:
    explicit PortConfigPage(wxWindow* parent);
};

}  // namespace kovgui
