#include "src/platform/TextConsole.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "src/platform/ConsoleControl.h"
#include "src/platform/OutputRelay.h"
#include "src/platform/UnblockedOutput.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/typed_input.h"

namespace kovgui::platform {

namespace fs = std::filesystem;
using Input = TextConsole::Input;

class StandardConsole : public testing::Test {
protected:
    std::string line() {
        std::string text;
        EXPECT_EQ(console->readLine(&text, stop), Input::line);
        return text;
    }

    TypedInput input;
    Event stop;
    std::unique_ptr<TextConsole> console = TextConsole::standard();
};

TEST_F(StandardConsole, GivesLinesAndThenTheEnd) {
    input.type("ping\n\nmreg 0x1800\r\nlast");
    input.end();
    EXPECT_EQ(line(), "ping");
    EXPECT_EQ(line(), "");
    EXPECT_EQ(line(), "mreg 0x1800");
    EXPECT_EQ(line(), "last");
    std::string text;
    EXPECT_EQ(console->readLine(&text, stop), Input::ended);
    EXPECT_EQ(console->readLine(&text, stop), Input::ended);
    EXPECT_FALSE(console->isTerminal());
    EXPECT_FALSE(console->show(true));
}

TEST_F(StandardConsole, CutsALongLineAndDropsItsTail) {
    input.type(std::string(512, 'a') + "\n" + std::string(512, 'b') + "\r\n" + std::string(513, 'c') +
               "\nnext\n");
    EXPECT_EQ(line(), std::string(512, 'a'));
    EXPECT_EQ(line(), std::string(512, 'b'));
    EXPECT_EQ(line(), std::string(512, 'c'));
    EXPECT_EQ(line(), "next");
    std::thread typist([this] { input.type(std::string(100000, 'd') + "\nafter\n"); });
    EXPECT_EQ(line(), std::string(512, 'd'));
    EXPECT_EQ(line(), "after");
    typist.join();
}

TEST_F(StandardConsole, AStopEndsTheWaitAndGoesBeforeLines) {
    std::string text;
    std::thread stopper([this] {
        input.type("half a line");
        stop.set();
    });
    EXPECT_EQ(console->readLine(&text, stop), Input::stopped);
    stopper.join();
    input.type(", the other half\n");
    stop.set();
    EXPECT_EQ(console->readLine(&text, stop), Input::stopped);
    EXPECT_EQ(line(), "half a line, the other half");
}

TEST_F(StandardConsole, AClosedInputHasEnded) {
    close(STDIN_FILENO);
    std::string text;
    EXPECT_EQ(console->readLine(&text, stop), Input::ended);
}

namespace {

/// What a program with windows does with its console: greets, and answers each line.
[[noreturn]] void runProgram() {
    auto console = TextConsole::open("Bench");
    if (!console) _exit(2);
    Event stop;
    std::printf("hello\n");
    std::fflush(stdout);
    for (std::string line; console->readLine(&line, stop) == Input::line;) {
        std::printf("<%s>\n", line.c_str());
        std::fflush(stdout);
        if (line != "bye") continue;
        const bool hidden = console->show(false);
        console.reset();  // takes its window along
        _exit(hidden ? 1 : 0);
    }
    _exit(3);
}

/// Reads from a terminal until the text has come.
bool waitText(int terminal, const std::string& wanted) {
    std::string seen;
    char byte;
    while (seen.find(wanted) == std::string::npos)
        if (read(terminal, &byte, 1) == 1)
            seen += byte;
        else
            return false;
    return true;
}

int exitStatus(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(ConsoleOfAWindowProgram, IsTheTerminalItWasStartedFrom) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0) {
        // What is printed goes to the terminal even where the output was redirected.
        dup2(::open("/dev/null", O_RDWR), STDOUT_FILENO);
        runProgram();
    }
    EXPECT_TRUE(waitText(terminal, "hello"));
    EXPECT_EQ(write(terminal, "bye\n", 4), 4);
    EXPECT_TRUE(waitText(terminal, "<bye>"));
    EXPECT_EQ(exitStatus(child), 0);
    close(terminal);
}

TEST(ConsoleOfAWindowProgram, WaitsForNothingThatAStoppedTerminalDoesNotTake) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(20);
        auto console = TextConsole::open("Bench");
        tcflow(STDIN_FILENO, TCOOFF);  // as Ctrl-S does
        const std::string text(2 * OutputRelay::limit, 'x');
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        console.reset();
        _exit(0);
    }
    EXPECT_EQ(exitStatus(child), 0);
    close(terminal);
}

TEST(UnblockedOutputOfAProgram, ReachesItsTerminalAndNeverWaitsForIt) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(20);
        for (const bool stopped : {false, true}) {
            const UnblockedOutput unblocked;
            std::fputs("said\n", stderr);
            if (!stopped) continue;
            tcflow(STDIN_FILENO, TCOOFF);  // as Ctrl-S does
            const std::string text(2 * OutputRelay::limit, 'x');
            std::fputs(text.c_str(), stderr);
            std::puts(text.c_str());
        }
        _exit(0);
    }
    EXPECT_TRUE(waitText(terminal, "said"));
    EXPECT_EQ(exitStatus(child), 0);
    close(terminal);
}

std::atomic<int> keys{0};

TEST(ConsoleControl, HearsTheKeysThatWouldEndTheProcess) {
    static Event heard;
    {
        const ConsoleControl control([](unsigned long type) {
            keys += type == 0 ? 1 : 100;
            heard.set();
            return 1;
        });
        raise(SIGINT);
        EXPECT_TRUE(heard.wait(5000));
        raise(SIGQUIT);
        EXPECT_TRUE(heard.wait(5000));
        EXPECT_EQ(keys, 101);
    }
    EXPECT_EXIT(raise(SIGINT), testing::KilledBySignal(SIGINT), "");
}

/// A program without a terminal, and what its search path offers as terminal window.
class ConsoleWindow : public testing::Test {
protected:
    void install(const std::string& script) {
        std::ofstream(root / "xterm") << "#!/bin/sh\ncd " << root << "\n" << script;
        chmod((root / "xterm").c_str(), 0755);
    }
    int run() {
        const pid_t child = fork();
        if (child == 0) {
            setsid();
            setenv("PATH", (root.string() + ":/usr/bin:/bin").c_str(), 1);
            unsetenv("DISPLAY");
            runProgram();
        }
        return exitStatus(child);
    }

    const sim_process::TemporaryDirectory directory;
    const fs::path root = directory.path();
};

TEST_F(ConsoleWindow, OpensOnAPseudoTerminal) {
    install(
        "echo \"$1 $2\" > title\nprintf '4194314\\nping\\nbye\\n' >&3\nhead -n 3 <&3 > seen\nexec sleep "
        "1000\n");
    EXPECT_EQ(run(), 1);  // 1: it has a window that could be hidden
    std::string title;
    std::getline(std::ifstream(root / "title"), title);
    EXPECT_EQ(title, "-T Bench");
}

TEST_F(ConsoleWindow, CannotBeHadWhenTheWindowFailsAndEndsWhenItIsClosed) {
    install("exit 1\n");
    EXPECT_EQ(run(), 2);
    install("printf '4194314\\n' >&3\nhead -n 1 <&3 > seen\n");
    EXPECT_EQ(run(), 3);
    std::string seen;
    std::getline(std::ifstream(root / "seen"), seen);
    EXPECT_EQ(seen, "hello\r");
}

}  // namespace kovgui::platform
