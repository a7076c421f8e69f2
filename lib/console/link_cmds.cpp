#include <cctype>
#include <cstdio>
#include <cstring>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/hdlc.h"
#include "lib/rmt.h"
#include "lib/text.h"

namespace {

constexpr int echo_size = 32;
constexpr int bytes_per_line = 80;

/// Reads pairs of hexadecimal digits, with or without blanks between them and "0x" before them.
/// @return the number of bytes, or -1 when the text is none or longer than `room` bytes
int parse_hex_bytes(const char* argument, uint8_t* out, int room) {
    const argument_words words(argument, " \t,");
    int count = 0;
    for (size_t i = 0; i < words.size(); ++i) {
        std::string_view word = words[i];
        if (word.starts_with("0x") || word.starts_with("0X")) word.remove_prefix(2);
        if (word.empty() || (word.size() % 2 != 0 && word.size() != 1)) return -1;
        while (!word.empty()) {
            const std::string_view digits = word.substr(0, 2);
            unsigned value = 0;
            for (const char c : digits) {
                if (!isxdigit(static_cast<unsigned char>(c))) return -1;
                value = value * 16 +
                        static_cast<unsigned>(isdigit(static_cast<unsigned char>(c))
                                                  ? c - '0'
                                                  : tolower(static_cast<unsigned char>(c)) - 'a' + 10);
            }
            if (count == room) return -1;
            out[count++] = static_cast<uint8_t>(value);
            word.remove_prefix(digits.size());
        }
    }
    return words.overflow() ? -1 : count;
}

}  // namespace

int process_cmd_echo(char* argument) {
    uint8_t sent[echo_size] = {};
    const size_t length = argument ? strlen(argument) : 0;
    if (length > sizeof sent) return console_usage("echo [text of at most 32 characters]");
    if (length > 0) {
        memcpy(sent, argument, length);
    } else {
        for (int i = 0; i < echo_size; ++i)
            sent[i] = static_cast<uint8_t>(i);
    }
    uint8_t received[echo_size] = {};
    if (rmt_echo(sent, received) != 1) return console_failure("echo failed");
    dump_hex(received, echo_size, bytes_per_line, " ");
    if (memcmp(sent, received, sizeof sent) == 0) return cmd_ok;
    return console_failure("echo differs from what was sent");
}

int process_cmd_hdlc(char* argument) {
    uint8_t frame[hdlc_max_contents];
    const int length = parse_hex_bytes(argument, frame, sizeof frame);
    if (length <= 0) return console_usage("hdlc <hex data>, at most 62 bytes, e.g. hdlc F0 04 01 02 03");
    hdlc_tx_frame(frame, static_cast<uint8_t>(length));
    return cmd_ok;
}
