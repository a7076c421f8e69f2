#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

/// A pipe in the place of standard input.
class TypedInput {
public:
    TypedInput() : saved_(dup(STDIN_FILENO)) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        keyboard_ = ends[1];
    }
    ~TypedInput() {
        end();
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }
    void type(std::string_view text) const {
        ASSERT_EQ(write(keyboard_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end() {
        if (keyboard_ >= 0) close(keyboard_);
        keyboard_ = -1;
    }

private:
    const int saved_;
    int keyboard_ = -1;
};
