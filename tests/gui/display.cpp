#include "tests/gui/display.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

constexpr int deadline_ms = 60'000;

pid_t start(const char* const arguments[]) {
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execvp(arguments[0], const_cast<char* const*>(arguments));
    _exit(127);
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "no display for the test: %s\n", what);
    std::exit(1);
}

/// A window that is shown before there is a manager never gets the focus.
void waitForManager() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadline_ms);
    Display* const display = XOpenDisplay(nullptr);
    if (display == nullptr) fail("Xvfb cannot be reached");
    const Atom check = XInternAtom(display, "_NET_SUPPORTING_WM_CHECK", False);
    Atom type = None;
    while (type == None && std::chrono::steady_clock::now() < end) {
        int format;
        unsigned long count, rest;
        unsigned char* value = nullptr;
        XGetWindowProperty(display, DefaultRootWindow(display), check, 0, 1, False, XA_WINDOW, &type, &format,
                           &count, &rest, &value);
        if (value != nullptr) XFree(value);
        if (type == None) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    XCloseDisplay(display);
    if (type == None) fail("the window manager did not start");
}

/// Now and then Xvfb does not end at the first signal.
void stop(pid_t child) {
    if (child <= 0) return;
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (waitpid(child, nullptr, WNOHANG) == 0) {
        kill(child, std::chrono::steady_clock::now() < patience ? SIGTERM : SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

TestDisplay::TestDisplay(Manager manager) {
    int ready[2];
    if (pipe(ready) != 0) fail("no pipe");
    const std::string descriptor = std::to_string(ready[1]);
    const char* const server[] = {"Xvfb",      "-displayfd", descriptor.c_str(),
                                  "-screen",   "0",          "1400x1000x24",
                                  "-nolisten", "tcp",        nullptr};
    server_ = start(server);
    close(ready[1]);
    std::string number;
    pollfd wanted = {ready[0], POLLIN, 0};
    char byte;
    while (poll(&wanted, 1, deadline_ms) == 1 && read(ready[0], &byte, 1) == 1 && byte != '\n')
        number += byte;
    close(ready[0]);
    if (number.empty()) fail("Xvfb did not start");
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("GDK_BACKEND", "x11", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
    setenv("GSETTINGS_BACKEND", "memory", 1);
    if (manager == Manager::none) return;
    const char* const openbox[] = {"openbox", "--sm-disable", nullptr};
    manager_ = start(openbox);
    waitForManager();
}

TestDisplay::~TestDisplay() {
    stop(manager_);
    stop(server_);
}

std::vector<unsigned char> shownPixels(int x, int y, int width, int height) {
    Display* const display = XOpenDisplay(nullptr);
    XImage* const image = XGetImage(display, DefaultRootWindow(display), x, y, static_cast<unsigned>(width),
                                    static_cast<unsigned>(height), AllPlanes, ZPixmap);
    std::vector<unsigned char> pixels;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const unsigned long pixel = XGetPixel(image, column, row);
            for (const int shift : {16, 8, 0})
                pixels.push_back(static_cast<unsigned char>(pixel >> shift));
        }
    }
    XDestroyImage(image);
    XCloseDisplay(display);
    return pixels;
}
