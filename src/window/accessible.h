#pragma once

#include <wx/window.h>

#include <initializer_list>
#include <memory>

#include "src/window/AccessibleContent.h"

class wxHtmlWindow;
class wxListCtrl;
class wxProgressDialog;
class wxStaticText;

/// What a screen reader says: names for what the toolkit leaves without one, the content of windows that draw
/// it themselves, and what is said without being asked for.
namespace kovgui {

/// Gives a control its name, for controls without a mnemonic label before them or with one that another
/// control of the page has too. What other windows stand in the control keep theirs.
void setAccessibleName(wxWindow* control, const wxString& name);

/// Names the texts that together label a control, in place of the one before it: a box's title and its own.
void setAccessibleLabels(wxWindow* control, std::initializer_list<wxWindow*> labels);

/// A text, or a box's title, that says nothing of the control behind it; the toolkit takes it for its label.
void setNoLabel(wxWindow* text);

/// Gives each tool of a realised tool bar the name that its tooltip says, for the tools without a label.
void nameToolsByHelp(wxWindow* tool_bar);

/// Says a text now.
/// @param about  a window of the top-level window that it is about
void readOut(wxWindow* about, const wxString& text);

/// Says what a text tells whenever that changes while it is seen: how things stand, what went wrong. Such a
/// text is no label.
void readOutChanges(wxStaticText* text);

/// The same of the message of a progress dialog, whose gauge gets a name.
void readOutProgress(wxProgressDialog* dialog);

/// Shows the content of a window that draws it itself.
/// @param drawn  the window that draws and takes the focus
void describeContent(wxWindow* drawn, const wxString& name, std::unique_ptr<AccessibleContent> content);
/// The same of a list, whose rows are its content.
void describeList(wxListCtrl* list, const wxString& name);
/// The same of a page, whose paragraphs are its content.
void describePage(wxHtmlWindow* page, const wxString& name);
/// Tells that the content's cursor has moved.
void contentCursorMoved(wxWindow* drawn);
/// Tells that a cell of the content shows something else.
void contentChanged(wxWindow* drawn, const AccessibleContent::Cell& cell);

}  // namespace kovgui
