#include "sim/bootloader.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace oabr_sim {

namespace {

constexpr size_t longest_line = 600;  ///< a record of 255 bytes takes 521 characters

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

/// The bytes of an Intel HEX record, its checksum included.
/// @return empty when it is not one: no hexadecimal pairs, wrong length, wrong checksum
std::vector<uint8_t> decode_record(const std::string& line) {
    constexpr size_t frame_bytes = 5;  // count, address, type, checksum
    std::vector<uint8_t> bytes;
    for (size_t i = 1; i + 1 < line.size(); i += 2) {
        const int high = hex_digit(line[i]);
        const int low = hex_digit(line[i + 1]);
        if (high < 0 || low < 0) return {};
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    if (line.size() % 2 == 0 || bytes.size() < frame_bytes || bytes.size() != bytes[0] + frame_bytes)
        return {};
    uint8_t sum = 0;
    for (const uint8_t byte : bytes)
        sum = static_cast<uint8_t>(sum + byte);
    return sum == 0 ? bytes : std::vector<uint8_t>{};
}

}  // namespace

bootloader::bootloader(hardware& device, fault_plan& faults, std::string description)
    : device_(device), faults_(faults), description_(std::move(description)) {}

void bootloader::start() {
    greeted_ = programming_ = page_open_ = false;
    line_.clear();
}

bootloader_step bootloader::receive(uint8_t byte) {
    if (byte == '\r' || byte == '\n') {
        const std::string line = std::exchange(line_, {});
        if (line.empty()) return {};
        bootloader_step step = take_line(line);
        step.line = line;
        return step;
    }
    if (line_.size() < longest_line) line_.push_back(static_cast<char>(byte));
    return {};
}

bootloader_step bootloader::take_line(const std::string& line) {
    constexpr const char* greeting = "UUUUUU";
    if (programming_) return line[0] == ':' ? take_record(line) : end_programming("-");
    // Whatever noise came before the greeting does not spoil it.
    if (greeted_ ? line == greeting : line.ends_with(greeting)) {
        if (faults_.silent_greetings > 0) {
            --faults_.silent_greetings;
            return {};
        }
        greeted_ = true;
        return {"c45b2 v2.1 " + description_ + "\r\n>"};
    }
    if (!greeted_) return {};
    if (line == "pf") {
        programming_ = true;
        page_open_ = false;
        segment_ = 0;
        return {"pf+\r\n"};
    }
    if (line == "g") {
        bootloader_step step{"g+"};
        step.start_firmware = true;
        return step;
    }
    return {line + "-"};
}

bootloader_step bootloader::end_programming(const char* reply) {
    programming_ = false;
    return {reply};
}

/// Writes the open page to the flash: the bytes that no record named keep what the flash held.
bool bootloader::write_page() {
    if (!page_open_) return false;
    page_open_ = false;
    std::copy(std::begin(page_), std::end(page_), device_.memory.flash.begin() + page_at_);
    device_.memory.firmware_whole = false;  // until the end-of-file record
    device_.memory_changed = true;
    return true;
}

bool bootloader::store(uint32_t address, uint8_t byte) {
    const uint32_t page = address / flash_page_size * flash_page_size;
    bool written = false;
    if (page_open_ && page != page_at_) written = write_page();
    if (!page_open_) {
        page_open_ = true;
        page_at_ = page;
        std::copy_n(device_.memory.flash.begin() + page, flash_page_size, page_);
    }
    page_[address - page] = byte;
    if (address - page == flash_page_size - 1) written = write_page();
    return written;
}

bootloader_step bootloader::take_record(const std::string& line) {
    enum : uint8_t { data = 0, end_of_file = 1, extended_segment = 2 };
    bootloader_step step;
    if (faults_.flash_power_loss.strikes()) {
        step.power_lost = true;
        return step;
    }
    const std::vector<uint8_t> bytes = decode_record(line);
    if (bytes.empty() || faults_.reject_record.strikes()) return end_programming("-");
    const uint8_t count = bytes[0];
    const uint32_t address = segment_ * 16 + static_cast<uint32_t>(bytes[1] << 8 | bytes[2]);
    switch (bytes[3]) {
        case data:
            if (address + count > flash_size) return end_programming("-");
            for (uint32_t i = 0; i < count; ++i)
                step.page_written |= store(address + i, bytes[4 + i]);
            step.reply = ".";
            break;
        case extended_segment:
            if (count != 2) return end_programming("-");
            segment_ = static_cast<uint32_t>(bytes[4] << 8 | bytes[5]);
            step.reply = ".";
            break;
        case end_of_file:
            if (faults_.reject_last_record) {
                faults_.reject_last_record = false;
                return end_programming("-");
            }
            step.page_written = write_page();
            device_.memory.firmware_whole = !is_blank(device_.memory.flash);
            device_.memory_changed = true;
            step.reply = ".";
            programming_ = false;
            break;
        default:
            return end_programming("-");
    }
    if (step.page_written) step.reply += "*";
    return step;
}

}  // namespace oabr_sim
