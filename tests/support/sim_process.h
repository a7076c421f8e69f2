#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.h"

// The built programs as child processes: simulated devices, and whatever runs against them. Each device has a
// device directory of its own unless told otherwise, so tests see neither each other nor a real converter.
// Nothing outlives the objects here, and a simulated device also ends by itself when the test program dies.
//
//     auto device = SimulatedDevice("OKVX0001").speed("fast").fault("drop-reply=3").start();
//     auto result = Program("oabr-console").in(device).input("ping\n").run();
//     EXPECT_EQ(result.status, 0) << result;

namespace sim_process {

/// How long anything may take that should be quick; many times what an idle machine needs.
constexpr std::chrono::seconds patience{30};

/// Where a program of this build stands.
std::string program_path(const std::string& name);

/// What a program left behind.
struct Result {
    int status = -1;         ///< exit status; 128 + the number of the signal that ended it
    bool timed_out = false;  ///< it had to be killed at the deadline
    std::string out;
    std::string err;
};
/// For the message of a failed expectation.
std::ostream& operator<<(std::ostream& stream, const Result& result);

/// A program that runs. Killed by its destructor.
class Running {
public:
    Running(Running&&) noexcept;
    Running& operator=(Running&&) noexcept;
    ~Running();

    /// Writes to its standard input; what it does not take any more is dropped.
    void write(const std::string& text);
    /// Ends its standard input.
    void close_input();
    void signal(int number);
    /// SIGKILL, and waits until it is gone.
    void kill();

    /// What it has printed so far.
    std::string out() const;
    std::string err() const;
    /// Waits until its output holds the text, from the given position on.
    /// @return whether it came before the deadline or the end of the program
    bool wait_out(const std::string& text, size_t from = 0, std::chrono::milliseconds limit = patience);
    bool wait_err(const std::string& text, size_t from = 0, std::chrono::milliseconds limit = patience);
    /// Whether it has not ended yet.
    bool running() const;
    /// Waits for its end; kills it at the deadline.
    Result wait(std::chrono::milliseconds limit = patience);

private:
    friend class Program;
    struct Child;
    explicit Running(std::unique_ptr<Child> child);
    bool wait_text(const std::string& file, const std::string& text, size_t from,
                   std::chrono::milliseconds limit);
    std::unique_ptr<Child> child_;
};

class Device;

/// A program to run, described in one expression. `OABR_VIRTUAL_ONLY=1` is always set; without `in` the
/// program gets an empty device directory of its own. What programs remember of devices goes beside them.
class Program {
public:
    explicit Program(const std::string& name);

    Program& arg(const std::string& text) { return args({text}); }
    Program& args(const std::vector<std::string>& texts) {
        arguments_.insert(arguments_.end(), texts.begin(), texts.end());
        return *this;
    }
    /// Sees this device, or what is announced in this directory.
    Program& in(const Device& device);
    Program& in(const std::string& device_directory) { return env("OABR_VIRTUAL_DEVICES", device_directory); }
    Program& env(const std::string& name, const std::string& value) { return set(environment_[name], value); }
    Program& working_directory(const std::string& path) { return set(working_directory_, path); }
    /// All of its standard input; without it the input is empty for `run`, and stays open for `start`.
    Program& input(const std::string& text) {
        has_input_ = true;
        return set(input_, text);
    }
    Program& deadline(std::chrono::milliseconds limit) { return set(deadline_, limit); }

    /// Runs it to its end.
    Result run();
    Running start();

private:
    template <class Value>
    Program& set(Value& member, const Value& value) {
        member = value;
        return *this;
    }
    std::string path_;
    std::vector<std::string> arguments_;
    std::map<std::string, std::string> environment_;
    std::string working_directory_;
    std::string input_;
    bool has_input_ = false;
    std::chrono::milliseconds deadline_ = patience;
};

/// A simulated device to start, described in one expression. Its turn-around is 10 ms unless told otherwise,
/// so that no reply is lost on a busy machine.
class SimulatedDevice {
public:
    explicit SimulatedDevice(const std::string& serial = "OKVX0001") : serial_(serial) {}

    /// "real" (the default) or "fast".
    SimulatedDevice& speed(const std::string& which) { return option("--speed").option(which); }
    SimulatedDevice& turnaround(std::chrono::microseconds time) {
        turnaround_ = std::to_string(time.count());
        return *this;
    }
    SimulatedDevice& fault(const std::string& text) { return option("--fault").option(text); }
    /// No simulated traffic: counters stand still and nothing is learned.
    SimulatedDevice& quiet() { return option("--quiet"); }
    /// Any other option of oabr-sim, in order.
    SimulatedDevice& option(const std::string& text) {
        options_.push_back(text);
        return *this;
    }
    /// Announces itself there, beside other devices, instead of in a directory of its own.
    SimulatedDevice& in(const std::string& device_directory) {
        directory_ = device_directory;
        return *this;
    }
    SimulatedDevice& in(const Device& other);

    /// Starts it and waits until it is announced; throws with what it printed when it is not.
    Device start();

private:
    friend class Device;
    std::string serial_;
    std::vector<std::string> options_;
    std::string turnaround_ = "10000";
    std::string directory_;
};

/// A simulated device that runs. Its EEPROM and flash are in a state file, so they survive `stop` and
/// `restart`.
class Device {
public:
    Device(Device&&) = default;
    Device& operator=(Device&&) = default;

    const std::string& serial() const { return serial_; }
    const std::string& directory() const { return directory_; }                          ///< device directory
    std::string announcement() const { return directory_ + "/" + serial_ + ".device"; }  ///< the file

    /// Gives a line to the device's control (see `oabr-sim --help`) and waits until it was done.
    /// @return the answer, "ok" with what it says, or "error: ..."
    std::string control(const std::string& line);
    void unplug() { control("unplug"); }
    void plug() { control("plug"); }

    /// Lines of the journal, each an event in JSON, that hold the text, e.g. R"("event":"request")".
    std::vector<std::string> journal(const std::string& text) const;
    /// Waits until the journal has that many lines with the text.
    bool wait_journal(const std::string& text, size_t lines = 1,
                      std::chrono::milliseconds limit = patience) const;

    /// The contents of its memories now.
    std::string eeprom() { return read_file("dump-eeprom", "eeprom.bin"); }
    std::string flash() { return read_file("dump-flash", "flash.bin"); }

    /// Ends it in the orderly way (SIGTERM).
    Result stop();
    /// As a crash or a power failure would: SIGKILL.
    void kill() { running_->kill(); }
    /// Starts it again with the same options and state, adding some; ends it first when it runs.
    void restart(const std::vector<std::string>& more_options = {});

private:
    friend class SimulatedDevice;
    Device() = default;
    void launch();
    std::string read_file(const std::string& command, const std::string& name);

    struct Home {
        TemporaryDirectory files;  ///< state, journal, dumps
        TemporaryDirectory announcements;
    };
    std::string serial_;
    std::string directory_;
    std::vector<std::string> options_;
    std::unique_ptr<Home> home_;
    std::unique_ptr<Running> running_;
};

}  // namespace sim_process
