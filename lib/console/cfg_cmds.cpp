#include <cstdint>
#include <span>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/default_cfg.h"
#include "lib/e2p.h"

namespace {

struct default_area {
    std::span<const e2p_cfg_cmd> records;
    e2p_area area;
};

/// Whether the area holds these records: the writer looks at no results.
bool holds(const default_area& wanted) {
    uint16_t address = wanted.area.address;
    for (const e2p_cfg_cmd& record : wanted.records) {
        e2p_cfg_cmd found{};
        if (e2p_read_cfg_cmd(address, &found, wanted.area.limit) != record.length()) return false;
        for (int i = 0; i < record.length() - 1; ++i)
            if (found.body[i] != record.body[i]) return false;
        if (found.header != record.header) return false;
        address = static_cast<uint16_t>(address + record.length());
    }
    return true;
}

int write_default_config() {
    for (const default_area& each :
         {default_area{default_cfg_switch, e2p_switch_area}, default_area{default_cfg_phy1, e2p_phy1_area},
          default_area{default_cfg_phy2, e2p_phy2_area}}) {
        e2p_write_config(each.records.data(), each.area.address, each.area.limit);
        if (!holds(each)) return console_failure("writing the default configuration failed");
    }
    return cmd_ok;
}

}  // namespace

int process_cmd_cfg(char* argument) {
    const argument_words words(argument);
    if (words.size() == 1 && equals_ignoring_case(words[0], "write")) return write_default_config();
    return console_usage("cfg write");
}
