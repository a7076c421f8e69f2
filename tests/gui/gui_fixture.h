#pragma once

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/modalhook.h>

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <vector>

/// Long enough for a busy machine under sanitizers; a test that works needs none of it.
constexpr std::chrono::seconds gui_deadline{60};

/// Runs the toolkit's event loop until the condition holds.
/// @return false when the deadline came first
bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds deadline = gui_deadline);

/// Lets everything that is queued now happen.
void drainEvents();

/// Answers the modal boxes that come up, so that none waits for somebody, and remembers them. A box that no
/// answer was given for is cancelled.
class Answers : private wxModalDialogHook {
public:
    struct Box {
        std::string title;
        std::string text;
    };

    Answers() { Register(); }
    ~Answers() override { Unregister(); }

    /// The result of the next box, wxID_YES and so on; several are used one after the other.
    void next(int result) {
        next([result](wxDialog*) { return result; });
    }
    /// The same of what is done with the box.
    void next(std::function<int(wxDialog*)> answer) { answers_.push_back(std::move(answer)); }
    const std::vector<Box>& boxes() const { return boxes_; }
    bool shown(const std::string& title) const;

private:
    int Enter(wxDialog* dialog) override;

    std::deque<std::function<int(wxDialog*)>> answers_;
    std::vector<Box> boxes_;
};

/// Sends the event that the operator causes at a control.
void send(wxEventType type, wxWindow* from, int value = 0);

/// Presses a tool or menu item as soon as the window takes it: sends its command to the window when the tool
/// is enabled and no work of the window's runs, and returns when it is done.
void command(wxFrame& frame, int id);
