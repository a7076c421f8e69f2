#include "src/models/NextStart.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "lib/device_cmd.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/models/StoredImage.h"
#include "src/models/WrittenSettings.h"
#include "src/models/eeprom_device.h"

namespace kovgui {

using oabr::DeviceUse;
using settings::Bits;
using settings::DeviceImage;
using settings::GoOn;
using settings::Loss;
using settings::Prediction;
using settings::Reading;
using settings::Register;
using settings::Scope;

namespace {

constexpr uint16_t all_bits = 0xFFFF;
constexpr int turn_requests = 8;  // some 30 ms on a real device

/// What a request did to what is known of the device.
enum class Effect { none, register_read, register_written, eeprom_written, restarted, other };

struct Noted {
    Effect effect = Effect::none;
    Register at;
    uint16_t value = 0;
};

Noted notedOf(const comm_request& request, const hdlc_msg* reply) {
    const uint8_t* const payload = request.payload;
    if (writesEeprom(request)) return {Effect::eeprom_written, {}};
    // Of a table or the CAN controller nobody reads back here what was not answered.
    const Effect answered = reply ? Effect::other : Effect::none;
    if (request.type == msg_type::control_request) {
        const bool power = request.command == msg_cmd::power_on || request.command == msg_cmd::power_off;
        return {power ? Effect::restarted : Effect::none, {}};
    }
    if (request.type == msg_type::remote_request && request.command == msg_cmd::rmt_ind_tab_entry_write)
        return {answered, {}};
    if (request.type != msg_type::request) return {};
    switch (request.command) {
        case msg_cmd::mdio_write:
            return {Effect::register_written, {payload[0], payload[1]}};
        case msg_cmd::smi_write:
            return {Effect::register_written, {mdio_switch, payload[0]}};
        case msg_cmd::mdio_read:
            if (!reply) return {};
            return {Effect::register_read, {payload[0], payload[1]}, get_le16(reply->payload + 2)};
        case msg_cmd::smi_read:
            if (!reply) return {};
            return {Effect::register_read, {mdio_switch, payload[0]}, reply->payload[1]};
        case msg_cmd::can_set_speed:
        case msg_cmd::can_set_filter_mask:
        case msg_cmd::can_set_wakeup:
        case msg_cmd::set_eth_wakeup:
        case msg_cmd::can_set_lcmode:
            return {answered, {}};
        case msg_cmd::can_set_mode:  // never answered
            return {Effect::other, {}};
        case msg_cmd::can_reset:
        case msg_cmd::can_reinit:
            return {Effect::restarted, {}};
        default:
            return {};
    }
}

/// A place for a sequence of requests that lets others in between.
class Turns {
public:
    Turns(const std::function<bool()>& go_on, platform::Event* stop) : go_on_(go_on), stop_(stop) {}

    /// Before each request. @return whether to send it
    bool next() {
        if (sent_++ % turn_requests == 0) {
            use_.release();
            use_ = DeviceUse::takeHere("the look at the next start", stop_, DeviceUse::timeout_ms);
        }
        return use_ && go_on_();
    }
    GoOn goOn() {
        return [this](size_t, size_t) { return next(); };
    }

private:
    const std::function<bool()>& go_on_;
    platform::Event* const stop_;
    DeviceUse use_;
    int sent_ = 0;
};

/// Of a device that is away.
struct Kept {
    std::string serial;
    EepromImage eeprom;
    Prediction prediction;
    std::map<Register, Bits> lost;  ///< registers that a start sets otherwise than they were
};

}  // namespace

struct NextStart::State {
    mutable std::mutex mutex;  // guards the rest
    uint64_t revision = 1;
    uint64_t starts = 0;
    std::optional<settings::StartValues> learnt;
    std::optional<EepromImage> eeprom;     // what stood in StoredImage
    std::optional<Prediction> prediction;  // from both of them
    std::map<Register, uint16_t> seen;     // what registers held when they were read last
    std::set<Register> written;            // and since then were written
    DeviceImage base;                      // CAN block and tables as they were read
    WrittenSettings changes;               // of CAN block and tables since then
    std::optional<Kept> kept;

    void forget() {
        ++revision;
        ++starts;
        learnt.reset();
        forgetLive();
    }
    void forgetLive() {
        seen.clear();
        written.clear();
        base = {};
        changes = {};
    }
    /// Null while it is not known what is stored.
    const Prediction* predict() {
        const std::optional<EepromImage> stored = StoredImage::instance().image();
        if (!stored || !learnt) return nullptr;
        if (!prediction || eeprom != stored) {
            eeprom = stored;
            prediction = settings::predict(*stored, *learnt);
        }
        return &*prediction;
    }
    void learn(settings::StartValues values) {
        ++revision;
        learnt = std::move(values);
        prediction.reset();
    }

    /// The registers that are to be known and are not.
    std::set<Register> missing(const Prediction& next) const {
        std::set<Register> registers = settings::registersOf(next);
        std::erase_if(registers, [this](const Register& at) { return seen.contains(at); });
        registers.insert(written.begin(), written.end());
        return registers;
    }

    /// The device as far as it is known, and for the rest as it is predicted.
    DeviceImage live(const Prediction& next) const {
        DeviceImage image;
        image.vlan_sets = next.next.vlan_sets;
        for (const auto& [set, entries] : base.vlan_sets)
            image.vlan_sets[set] = entries;
        image.macs = next.next.macs;
        for (const auto& [index, entry] : base.macs)
            image.macs[index] = entry;
        image.can = base.can ? base.can : next.next.can;
        image.can_bytes = base.can_bytes;
        image.has_traffic_time = base.has_traffic_time;
        image = changes.over(std::move(image));
        image.registers.clear();
        for (const auto& [at, value] : seen)
            if (!written.contains(at)) image.registers[at] = {value, all_bits};
        return image;
    }
};

NextStart& NextStart::instance() {
    static auto* const next_start = new NextStart;
    return *next_start;
}

NextStart::NextStart() : state_(new State) {}

void NextStart::note(const comm_request& request, uint64_t length, const hdlc_msg* reply) {
    const Noted noted = notedOf(request, reply);
    if (noted.effect == Effect::none) return;
    const std::lock_guard lock(state_->mutex);
    switch (noted.effect) {
        case Effect::register_read: {
            const bool was_written = state_->written.erase(noted.at) > 0;
            const auto [seen, is_new] = state_->seen.try_emplace(noted.at, noted.value);
            if (!was_written && !is_new && seen->second == noted.value) return;
            seen->second = noted.value;
            break;
        }
        case Effect::register_written:
            state_->written.insert(noted.at);
            break;
        case Effect::eeprom_written:
            break;
        case Effect::restarted:
            ++state_->starts;
            state_->forgetLive();
            break;
        default:
            state_->changes.note(request, length, reply);
    }
    ++state_->revision;
}

void NextStart::forget() {
    const std::lock_guard lock(state_->mutex);
    state_->forget();
}

uint64_t NextStart::revision() const {
    const std::lock_guard lock(state_->mutex);
    return state_->revision;
}

bool NextStart::isComplete() const {
    const std::lock_guard lock(state_->mutex);
    const Prediction* const next = state_->predict();
    return next && state_->base.can && state_->missing(*next).empty();
}

std::optional<std::vector<Loss>> NextStart::losses() const {
    const std::lock_guard lock(state_->mutex);
    const Prediction* const next = state_->predict();
    if (!next) return std::nullopt;
    return lossesOf(*next, state_->live(*next));
}

std::optional<std::vector<Loss>> NextStart::lossesAfter(
    const ConfigLists& lists, const std::optional<std::vector<uint8_t>>& can_block) const {
    const std::lock_guard lock(state_->mutex);
    if (!state_->predict()) return std::nullopt;
    const Prediction after = settings::predict(withLists(*state_->eeprom, lists, can_block), *state_->learnt);
    return lossesOf(after, state_->live(after));
}

// ---- Reading ----

bool NextStart::catchUp(StateFolder& folder, const std::string& firmware, const std::function<bool()>& go_on,
                        platform::Event* stop) {
    Turns turns(go_on, stop);
    return catchUp(folder, firmware, turns.goOn());
}

bool NextStart::catchUp(StateFolder& folder, const std::string& firmware, const GoOn& go_on) {
    settings::StartValues learnt = settings::loadStartValues(folder, firmware);
    std::set<Register> missing;
    bool knows_can = false;
    uint64_t starts = 0;
    {
        const std::lock_guard lock(state_->mutex);
        if (!state_->learnt) state_->learn(std::move(learnt));
        const Prediction* const next = state_->predict();
        if (!next) return false;
        missing = state_->missing(*next);
        knows_can = state_->base.can.has_value();
        starts = state_->starts;
    }
    const comm_run run;  // whoever waits for the device waits for one timeout at most
    size_t done = 0;
    for (const auto& [phy, reg] : missing) {
        uint16_t value = 0;
        if ((go_on && !go_on(done++, missing.size())) || mdio_read(phy, reg, &value) != req_ok)
            return false;  // noted as everybody's
    }
    if (knows_can) return isComplete();
    Scope scope;
    scope.can = true;
    DeviceImage image;
    if (readFromDevice(scope, go_on, &image, nullptr) != Reading::finished) return false;
    {
        const std::lock_guard lock(state_->mutex);
        if (starts != state_->starts) return false;
        ++state_->revision;
        state_->base.can = image.can;
        state_->base.can_bytes = image.can_bytes;
        state_->base.has_traffic_time = image.has_traffic_time;
    }
    return isComplete();
}

Reading NextStart::readOutlook(StateFolder& folder, const std::string& firmware, const GoOn& go_on,
                               Outlook* outlook) {
    const settings::StartValues learnt = settings::loadStartValues(folder, firmware);
    Reading reading = StoredImage::instance().read(go_on);
    if (reading != Reading::finished) return reading;
    const EepromImage eeprom = StoredImage::instance().image().value_or(EepromImage(eeprom_size));
    const Prediction prediction = predict(eeprom, learnt);
    DeviceImage live;
    reading = readForPrediction(registersOf(prediction), go_on, &live);
    if (reading != Reading::finished) return reading;
    outlook->losses = lossesOf(prediction, live);
    outlook->after_store.reset();
    if (settings::describeStoreOverflow(settingsOf(live)).empty())
        outlook->after_store = lossesOf(predict(settings::eepromOf(live, eeprom), learnt), live);
    outlook->last_check = settings::loadLastCheck(folder, firmware);
    const std::lock_guard lock(state_->mutex);
    state_->learn(learnt);
    state_->base = live;
    state_->changes = {};
    return reading;
}

// ---- A device that goes and comes back ----

void NextStart::keep(const std::string& serial) {
    const std::lock_guard lock(state_->mutex);
    state_->kept.reset();
    const Prediction* const prediction = state_->predict();
    if (!prediction) return;
    Kept kept{serial, *state_->eeprom, *prediction, {}};
    for (const auto& [at, next] : kept.prediction.next.registers) {
        const auto seen = state_->seen.find(at);
        if (seen == state_->seen.end() || state_->written.contains(at)) continue;
        const auto differ = static_cast<uint16_t>((seen->second ^ next.value) & next.known);
        if (differ != 0) kept.lost[at] = {static_cast<uint16_t>(next.value & differ), differ};
    }
    if (!kept.lost.empty()) state_->kept = std::move(kept);
    state_->forget();
}

std::optional<settings::StartSeen> NextStart::lookAfterReturn(StateFolder& folder,
                                                              const std::string& firmware,
                                                              const GoOn& go_on) {
    std::optional<Kept> kept;
    {
        const std::lock_guard lock(state_->mutex);
        if (!state_->kept || state_->kept->serial != folder.serial()) return std::nullopt;
        kept = std::exchange(state_->kept, std::nullopt);
    }
    for (const auto& [at, next] : kept->lost) {
        uint16_t value = 0;
        if (mdio_read(at.first, at.second, &value) != req_ok) return std::nullopt;
        if (((value ^ next.value) & next.known) != 0) return std::nullopt;
    }
    if (StoredImage::instance().image() != kept->eeprom) return std::nullopt;
    return lookAtStart(folder, firmware, kept->prediction, settings::LookAt::without_empty_vlans,
                       settings::Since::somebody_may_have_changed_it, go_on);
}

}  // namespace kovgui
