#pragma once

#include <sys/types.h>

#include <vector>

/// A display of its own for a test program: an Xvfb with a small window manager, which end with it. Nothing
/// shows up on the screen of whoever runs the tests, and tests that run side by side do not take each other's
/// focus.
class TestDisplay {
public:
    enum class Manager { openbox, none };

    /// Starts both and puts the display into the environment; ends the program with a message where that
    /// fails.
    explicit TestDisplay(Manager manager = Manager::openbox);
    ~TestDisplay();
    TestDisplay(const TestDisplay&) = delete;
    TestDisplay& operator=(const TestDisplay&) = delete;

private:
    pid_t server_ = -1;
    pid_t manager_ = -1;
};

/// What the display shows there now: red, green and blue of each pixel, row by row. Asks the server: the
/// toolkit keeps an old copy of the screen.
std::vector<unsigned char> shownPixels(int x, int y, int width, int height);
