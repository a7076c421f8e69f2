#include <cstdio>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/device_cmd.h"

namespace {

/// "register" or "register=value".
struct assignment {
    bool valid;
    bool has_value;
    unsigned long target;
    unsigned long value;
};

assignment parse_assignment(const char* argument, unsigned long highest_target, unsigned long highest_value) {
    const argument_words words(argument, assignment_separators);
    assignment out{};
    out.has_value = words.size() == 2;
    out.valid = (words.size() == 1 || out.has_value) && !lacks_value(argument) &&
                parse_number(words[0], highest_target, &out.target) &&
                (!out.has_value || parse_number(words[1], highest_value, &out.value));
    return out;
}

constexpr uint8_t high_byte(unsigned long value) {
    return static_cast<uint8_t>(value >> 8);
}
constexpr uint8_t low_byte(unsigned long value) {
    return static_cast<uint8_t>(value);
}

}  // namespace

int process_cmd_smi_reg(char* argument) {
    const assignment given = parse_assignment(argument, 0xFF, 0xFF);
    if (!given.valid) return console_usage("sreg <switch register address>[=<register value>]");
    const auto reg = static_cast<uint8_t>(given.target);
    if (given.has_value) {
        if (smi_write(reg, static_cast<uint8_t>(given.value)) == 0) return cmd_ok;
        return console_failure("writing switch register 0x%02X failed", reg);
    }
    uint8_t value = 0;
    if (smi_read(reg, &value) != 0) return console_failure("reading switch register 0x%02X failed", reg);
    printf("0x%02X\n", value);
    fflush(stdout);
    return cmd_ok;
}

int process_cmd_mdio_reg(char* argument) {
    const assignment given = parse_assignment(argument, 0xFFFF, 0xFFFF);
    if (!given.valid) return console_usage("mreg <phy address><register address>[=<register value>]");
    const uint8_t phy = high_byte(given.target);
    const uint8_t reg = low_byte(given.target);
    if (given.has_value) {
        if (mdio_write(phy, reg, static_cast<uint16_t>(given.value)) == 0) return cmd_ok;
        return console_failure("writing register 0x%02X of PHY 0x%02X failed", reg, phy);
    }
    uint16_t value = 0;
    if (mdio_read(phy, reg, &value) != 0)
        return console_failure("reading register 0x%02X of PHY 0x%02X failed", reg, phy);
    printf("0x%04X\n", value);
    fflush(stdout);
    return cmd_ok;
}
