#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "src/models/StateFolder.h"
#include "src/models/eeprom_image.h"
#include "src/models/settings_device.h"

// What a device holds after its next start: the stored records, replayed on what its chips start with. Bits
// that change by themselves (links, negotiated results, addresses that were learnt) take no part.

namespace kovgui::settings {

/// How sure a value of the next start is.
enum class Certainty {
    certain,  ///< a stored record, or the stored CAN block, determines it
    learnt,   ///< the device was seen to start so with this firmware
    assumed,  ///< the chip's data sheet says so
};
const char* nameOf(Certainty certainty);

/// What registers start with where no record touches them.
struct StartValues {
    std::map<Register, Bits> registers;
    /// Whether entries of tables that no record sets were seen to be empty; nothing while nobody looked.
    std::optional<bool> tables_empty;
};

/// The bits of a register that hold what was written to them.
uint16_t steadyBits(Register at);

struct Prediction {
    DeviceImage next;  ///< registers as far as they are known; every entry of the tables; the CAN block
    std::map<Register, uint16_t> certain, learnt;  ///< the bits of them that are
    std::set<int> certain_sets, certain_macs;      ///< entries of tables that a record sets
    bool certain_can = false;
    bool learnt_tables = false;
    int unknown_records = 0;  ///< that the replay passed over
    Settings stored;          ///< what the records and the block set

    Certainty of(Register at, uint16_t mask) const;
};
/// @param learnt  overrides the data sheet
Prediction predict(const EepromImage& eeprom, const StartValues& learnt);

/// One thing that will be different.
struct Loss {
    std::string path;  ///< of a setting, or "/raw/PHY/REGISTER", "/raw/vlan/NUMBER"
    Data live, next;
    Data stored;  ///< null where the EEPROM says nothing of it
    Certainty certainty;
    std::string because, remedy;
};
/// What of a device's present state a start changes, by path.
/// @param live  all of it, see readForPrediction
std::vector<Loss> lossesOf(const Prediction& prediction, const DeviceImage& live);

/// The registers that have to be read to compare a device with a prediction.
std::set<Register> registersOf(const Prediction& prediction);
/// All that can be learnt of after a start.
std::set<Register> registersToLearn();
/// Reads them and everything else that a start sets.
/// @param vlan_sets  null for all of them
[[nodiscard]] Reading readForPrediction(const std::set<Register>& registers, const GoOn& go_on,
                                        DeviceImage* image, const std::set<int>* vlan_sets = nullptr);

// --- What was learnt, and how well it was predicted

/// How a prediction compared with the start that followed.
struct PredictionCheck {
    std::string at;
    int64_t bits = 0, right = 0;
    std::vector<std::string> wrong;  ///< registers and tables
};
/// Compares each bit of the prediction that is known with what a start left.
PredictionCheck checkOf(const Prediction& prediction, const DeviceImage& after);
/// What a start shows of the registers that the prediction's records leave alone.
StartValues learnFrom(const Prediction& prediction, const DeviceImage& after);

StartValues loadStartValues(StateFolder& folder, const std::string& firmware);
/// @return why it could not be kept, a sentence; empty when it was
[[nodiscard]] std::string saveLearnt(StateFolder& folder, const std::string& firmware,
                                     const StartValues& values, const PredictionCheck& check);
std::optional<PredictionCheck> loadLastCheck(StateFolder& folder, const std::string& firmware);
/// "Last start: 1204 of 1204 bits as predicted."
std::string textOf(const PredictionCheck& check);

// --- Starts that the tool sees

enum class LookAt {
    everything,
    /// Of the VLAN table only what a record sets: the rest takes seconds.
    without_empty_vlans,
};
enum class Since { nobody_had_it, somebody_may_have_changed_it };
struct StartSeen {
    Reading reading;
    PredictionCheck check;
    std::string failure;  ///< why it could not be kept, a sentence
};
/// Compares what a restart left with what was expected, and keeps how well it was predicted and what was
/// learnt; of a device that somebody may have changed since, only when all of it is as expected.
StartSeen lookAtStart(StateFolder& folder, const std::string& firmware, const Prediction& expected,
                      LookAt look_at, Since since, const GoOn& go_on);
/// Looks at what is stored, has the device restarted and looks at that start. For whoever has the device and
/// keeps it meanwhile.
/// @param restart  whether it did
/// @return         nothing when the device did not answer before, or did not restart
std::optional<StartSeen> lookAtRestart(StateFolder& folder, const std::string& firmware,
                                       const std::function<bool()>& restart);

}  // namespace kovgui::settings
