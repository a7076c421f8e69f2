// Requests of all kinds from three threads on a simulated device that answers twice, late and not at all by
// chance. A few thousand by default; OABR_STORM_REQUESTS asks for another number (tools/request-storm).

#include <gtest/gtest.h>
#include <wx/init.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/ksz.h"
#include "lib/ports.h"
#include "lib/rmt.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/support/sim_process.h"

namespace {

constexpr int second_ms = 50;
constexpr int threads = 3;
constexpr int tables_read = 24;  // entries of the VLAN table, all different; the threads' own ones follow

int requestsWanted() {
    const char* const text = std::getenv("OABR_STORM_REQUESTS");
    return text ? std::atoi(text) : 1500;
}

/// What the device holds that nobody changes in the storm.
struct Known {
    std::array<uint8_t, 0x60> switch_registers{};
    std::array<std::array<uint16_t, 16>, port_count> phy_registers{};
    std::array<uint8_t, 0x200> eeprom{};
    std::array<ksz_entry_data, tables_read> entries{};
    std::array<std::array<ksz_entry_data, 2>, threads> own_entries{};
    std::array<uint8_t, 4> firmware{}, date{}, bootloader{};
    std::array<char, bls_max_length> name{};
};
constexpr uint16_t own_eeprom = 0xA00;  // 0x100 for each thread; what nobody changes lies before

ksz_entry_data entryData(int number) {
    const auto vid = [&](int i) { return static_cast<uint16_t>(number * 5 + i); };
    ksz_entry_data data{};
    for (int i = 0; i < 4; ++i)
        put_le16(&data[static_cast<size_t>(2 * i)], vid(i));
    return data;
}

bool writeAndRead(int entry, int number, ksz_entry_data* stored) {
    return ksz_table_write(ksz_table::vlan, static_cast<uint16_t>(entry), entryData(number)) == 1 &&
           ksz_table_read(ksz_table::vlan, static_cast<uint16_t>(entry), stored) == 1;
}

/// Prepares the device and learns what it holds, before anything goes wrong.
bool learn(Known& known) {
    bool good = true;
    for (size_t i = 0; i < known.switch_registers.size(); ++i)
        good = good && smi_read(static_cast<uint8_t>(i), &known.switch_registers[i]) == 0;
    for (size_t phy = 0; phy < known.phy_registers.size(); ++phy)
        for (size_t i = 0; i < known.phy_registers[phy].size(); ++i)
            good = good && mdio_read(device_ports[phy].phy, static_cast<uint8_t>(i),
                                     &known.phy_registers[phy][i]) == 0;
    for (size_t i = 0; i < known.eeprom.size(); ++i)
        known.eeprom[i] = static_cast<uint8_t>(i * 7 + i / 256);
    const auto first = static_cast<uint16_t>(own_eeprom - known.eeprom.size());
    good = good && e2p_write_config_array(known.eeprom.data(), first, known.eeprom.size()) == 0;
    for (int i = 0; i < tables_read; ++i)
        good = good && writeAndRead(i, i, &known.entries[static_cast<size_t>(i)]);
    for (int i = 0; i < threads; ++i)
        for (int which : {0, 1})
            good =
                good && writeAndRead(tables_read + i, 100 + 2 * i + which,
                                     &known.own_entries[static_cast<size_t>(i)][static_cast<size_t>(which)]);
    return good && fwv_read(known.firmware.data()) == 0 && fwd_read(known.date.data()) == 0 &&
           blv_read(known.bootloader.data()) == 0 && bls_read(known.name.data()) == 0;
}

/// One thread's requests.
class Requester {
public:
    Requester(const Known& known, int number) : known_(known), number_(number), random_(number + 1U) {}

    /// @return  1 right, 0 no answer, -1 wrong, which is noted
    int one() {
        struct Kind {
            const char* name;
            int (Requester::*run)();
        };
        static constexpr Kind kinds[] = {{"switch register", &Requester::switchRegister},
                                         {"switch register", &Requester::switchRegister},
                                         {"PHY register", &Requester::phyRegister},
                                         {"scratch register", &Requester::scratch},
                                         {"EEPROM", &Requester::eeprom},
                                         {"EEPROM", &Requester::eeprom},
                                         {"written EEPROM", &Requester::ownEeprom},
                                         {"table entry", &Requester::tableEntry},
                                         {"table entry", &Requester::tableEntry},
                                         {"written table entry", &Requester::ownTableEntry},
                                         {"echo", &Requester::echo},
                                         {"counter", &Requester::counter},
                                         {"identity", &Requester::identity},
                                         {"ping", &Requester::pinged},
                                         {"CAN", &Requester::can}};
        const Kind& kind = kinds[below(std::size(kinds))];
        const int outcome = (this->*kind.run)();
        if (outcome < 0) wrong_.append(kind.name) += "; ";
        return outcome;
    }
    const std::string& wrong() const { return wrong_; }

private:
    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random_); }
    static int judged(bool answered, bool right) { return !answered ? 0 : right ? 1 : -1; }
    /// The same, for what is read by the call in front: arguments are computed in any order.
    static int lookedAt(int result, const std::function<bool()>& right) {
        return result != 0 ? 0 : right() ? 1 : -1;
    }
    static bool succeeded(int result) { return result == 0; }

    int switchRegister() {
        const size_t reg = below(2) ? below(3) : below(known_.switch_registers.size());
        uint8_t value = 0;
        uint16_t word = 0;
        if (below(2)) {
            const bool answered = succeeded(mdio_read(mdio_switch, static_cast<uint8_t>(reg), &word));
            return judged(answered, word == known_.switch_registers[reg]);
        }
        const bool answered = succeeded(smi_read(static_cast<uint8_t>(reg), &value));
        return judged(answered, value == known_.switch_registers[reg]);
    }

    int phyRegister() {
        const size_t phy = below(device_ports.size());
        const size_t reg = below(known_.phy_registers[phy].size());
        uint16_t value = 0;
        const bool answered = succeeded(mdio_read(device_ports[phy].phy, static_cast<uint8_t>(reg), &value));
        return judged(answered, value == known_.phy_registers[phy][reg]);
    }

    /// Writes a register of its own until that was acknowledged, and reads it back.
    int scratch() {
        constexpr uint8_t spare[threads] = {133, 134, 135};
        const uint8_t reg = spare[number_];
        const auto value = static_cast<uint8_t>(below(32));
        const bool byte = below(2) == 0;
        if (!succeeded(byte ? smi_write(reg, value) : mdio_write(mdio_switch, reg, value))) return 0;
        uint8_t now = 0;
        return lookedAt(smi_read(reg, &now), [&] { return now == value; });
    }

    int eeprom() {
        const size_t count = 1 + below(40);
        const size_t at = below(4) * 8 + below(known_.eeprom.size() - 80);
        uint8_t bytes[64] = {};
        unsigned long read = count;
        const auto first = static_cast<uint16_t>(own_eeprom - known_.eeprom.size());
        const bool answered = succeeded(e2p_read(static_cast<uint16_t>(first + at), bytes, &read));
        return judged(answered, read == count && std::equal(bytes, bytes + count, &known_.eeprom[at]));
    }

    int ownEeprom() {
        const auto at = static_cast<uint16_t>(own_eeprom + 0x100 * number_ + 4 * below(4));
        const size_t count = 1 + below(12);
        uint8_t bytes[12];
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(below(256));
        unsigned long written = count;
        if (!succeeded(e2p_write(at, bytes, &written))) return 0;
        if (written != count) return -1;
        uint8_t now[12] = {};
        unsigned long read = count;
        const bool answered = succeeded(e2p_read(at, now, &read));
        return judged(answered, read == count && std::equal(bytes, bytes + count, now));
    }

    int tableEntry() {
        const size_t entry = below(known_.entries.size());
        ksz_entry_data data{};
        const bool answered = ksz_table_read(ksz_table::vlan, static_cast<uint16_t>(entry), &data) == 1;
        return judged(answered, data == known_.entries[entry]);
    }

    int ownTableEntry() {
        const size_t which = below(2);
        const auto entry = static_cast<uint16_t>(tables_read + number_);
        const int number = 100 + 2 * number_ + static_cast<int>(which);
        if (ksz_table_write(ksz_table::vlan, entry, entryData(number)) != 1) return 0;
        ksz_entry_data data{};
        const bool answered = ksz_table_read(ksz_table::vlan, entry, &data) == 1;
        return judged(answered, data == known_.own_entries[static_cast<size_t>(number_)][which]);
    }

    int echo() {
        uint8_t sent[32];
        for (uint8_t& byte : sent)
            byte = static_cast<uint8_t>(below(256));
        uint8_t back[32] = {};
        const bool answered = rmt_echo(sent, back) == 1;
        return judged(answered, std::equal(sent, sent + sizeof sent, back));
    }

    int counter() {
        constexpr uint32_t quiet = 0x40000000;  // valid, and nothing counted
        uint32_t value = 0;
        const bool answered =
            rmt_mib_tab_entry_read({static_cast<uint16_t>(1 + below(4)), static_cast<uint8_t>(below(32))},
                                   &value) == 1;
        return judged(answered, (value & ~quiet) == 0);
    }

    int identity() {
        std::array<uint8_t, 4> bytes{};
        std::array<char, bls_max_length> name{};
        switch (below(4)) {
            case 0:
                return lookedAt(fwv_read(bytes.data()), [&] { return bytes == known_.firmware; });
            case 1:
                return lookedAt(fwd_read(bytes.data()), [&] { return bytes == known_.date; });
            case 2:
                return lookedAt(blv_read(bytes.data()), [&] { return bytes == known_.bootloader; });
            default:
                return lookedAt(bls_read(name.data()), [&] { return name == known_.name; });
        }
    }

    int pinged() {
        uint32_t microseconds = 0;
        return lookedAt(ping(&microseconds), [&] { return microseconds < 1'000'000; });
    }

    /// What the device has once is the first thread's.
    int can() {
        if (number_ != 0) return pinged();
        const auto number = static_cast<uint32_t>(below(1000));
        switch (below(3)) {
            case 0: {
                uint32_t id = 0;
                uint8_t flag = 0;
                if (!succeeded(can_set_wakeup(number, 1))) return 0;
                return lookedAt(can_get_wakeup(&id, &flag), [&] { return id == number && flag == 1; });
            }
            case 1: {
                can_speed record{}, back{};
                std::memset(&record, static_cast<int>(number % 256), sizeof record);
                if (!succeeded(can_set_speed(&record))) return 0;
                return lookedAt(can_get_speed(&back),
                                [&] { return std::memcmp(&record, &back, sizeof back) == 0; });
            }
            default: {
                const uint8_t line = number % 2 ? wup_on : wup_off;
                if (wup_ctl(line) < 0) return 0;
                const int level = wup_ctl(wup_get);
                return judged(level >= 0, (level == wup_ground) == (line == wup_off));
            }
        }
    }

    const Known& known_;
    const int number_;
    std::minstd_rand random_;
    std::string wrong_;
};

TEST(RequestStorm, GivesNoThreadAWrongValue) {
    const wxInitializer toolkit;
    auto simulated = sim_process::SimulatedDevice().turnaround(std::chrono::milliseconds(1)).quiet().start();
    setenv("OABR_VIRTUAL_DEVICES", simulated.directory().c_str(), 1);
    kovgui::oabr::OABRDevice& device = *kovgui::oabr::OABRDevice::instance();
    ASSERT_EQ(device.connectWithFirmwareParams(simulated.serial()), 0) << device.connectFailure();
    Known known;
    ASSERT_TRUE(learn(known));

    comm_set_second(second_ms);
    ASSERT_EQ(simulated.control("fault random-replies=1:" + std::to_string(second_ms)), "ok");
    const int wanted = requestsWanted();
    std::atomic<int> right = 0, lost = 0, wrong = 0;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    std::mutex mutex;
    std::string wrong_ones;
    std::vector<std::thread> requesters;
    for (int number = 0; number < threads; ++number)
        requesters.emplace_back([&, number] {
            Requester requester(known, number);
            while (right + lost + wrong < wanted) {
                const int outcome = requester.one();
                ++(outcome > 0 ? right : outcome == 0 ? lost : wrong);
            }
            const std::lock_guard lock(mutex);
            wrong_ones += requester.wrong();
        });
    for (std::thread& requester : requesters)
        requester.join();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    comm_set_second(1000);
    device.disconnect();
    std::printf("%d right, %d without an answer, %d wrong\n", right.load(), lost.load(), wrong.load());
    EXPECT_EQ(wrong, 0) << wrong_ones;
    EXPECT_GT(lost, 0) << "nothing went wrong";
    EXPECT_LT(lost, wanted / 4);
}

}  // namespace
