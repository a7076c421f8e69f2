#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <variant>

namespace oabr_sim {

/// One line of JSON for each event, written out at once: {"t": seconds since start, "event": name, ...}.
class journal {
public:
    struct field {
        const char* name;
        std::variant<int64_t, std::string> value;
    };

    journal() = default;
    ~journal();
    journal(const journal&) = delete;
    journal& operator=(const journal&) = delete;

    /// @return false when the file cannot be written
    bool open(const std::string& path);
    void note(const char* event, std::initializer_list<field> fields = {});

private:
    std::FILE* file_ = nullptr;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Bytes as hexadecimal digits, two for each.
std::string hex(const uint8_t* data, size_t length);

}  // namespace oabr_sim
