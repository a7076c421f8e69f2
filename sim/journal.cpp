#include "sim/journal.h"

namespace oabr_sim {

namespace {

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", byte);
            out += code;
        } else {
            if (c == '"' || c == '\\') out += '\\';
            out += c;
        }
    }
    return out;
}

}  // namespace

journal::~journal() {
    if (file_ != nullptr) std::fclose(file_);
}

bool journal::open(const std::string& path) {
    file_ = std::fopen(path.c_str(), "we");
    return file_ != nullptr;
}

void journal::note(const char* event, std::initializer_list<field> fields) {
    if (file_ == nullptr) return;
    const std::chrono::duration<double> since = std::chrono::steady_clock::now() - start_;
    std::fprintf(file_, "{\"t\":%.6f,\"event\":\"%s\"", since.count(), event);
    for (const field& each : fields) {
        if (const auto* number = std::get_if<int64_t>(&each.value))
            std::fprintf(file_, ",\"%s\":%lld", each.name, static_cast<long long>(*number));
        else
            std::fprintf(file_, ",\"%s\":\"%s\"", each.name,
                         escaped(std::get<std::string>(each.value)).c_str());
    }
    std::fputs("}\n", file_);
    std::fflush(file_);
}

std::string hex(const uint8_t* data, size_t length) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (size_t i = 0; i < length; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 0x0F];
    }
    return out;
}

}  // namespace oabr_sim
