#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/can.h"
#include "src/OABR-Switch/CanTraceQueue.h"

namespace kovgui::oabr {

/// One line of the trace.
struct CanTraceLine {
    using Kind = can_trace_kind;

    int64_t time_us;      ///< since 1970, by the device's clock from the first record on
    int64_t host_us;      ///< since 1970, when it reached this computer
    uint32_t stamp;       ///< the device's own time, in milliseconds
    uint32_t identifier;  ///< all 29 bits of an extended one
    Kind kind;
    bool extended;
    bool remote;     ///< asks for data and carries none
    uint8_t length;  ///< bytes of data that there are; of a remote frame, that are asked for
    uint8_t error;   ///< code of a CAN error
    uint8_t data[8];

    /// "123", "18FF50E5"; empty for an error.
    std::string identifierText() const;
    /// "11 22 33", "remote request", or what the error says.
    std::string dataText() const;
    /// "(1436509052.249713) can0 123#1122334455667788"; "123#R8" for a remote frame
    std::string candumpText() const;
};

/// Which identifiers are shown. Written as hexadecimal identifiers and ranges, "123, 200-2FF 18FF50E5"; one
/// with up to three digits is a standard identifier, a longer one an extended one.
class CanTraceFilter {
public:
    /// @param error  becomes what is wrong with the text, when the result is none
    [[nodiscard]] static std::optional<CanTraceFilter> parse(std::string_view text, std::string* error);

    /// An empty filter shows everything; another one leaves the errors out.
    bool shows(const CanTraceLine& line) const;

private:
    struct Range {
        uint32_t first, last;
        bool extended;
    };
    std::vector<Range> ranges_;
};

/// The newest lines of a trace: as many as it has room for, older ones are forgotten. All operations but
/// changing the filter take the same short time however many there are.
class CanTraceLog {
public:
    static constexpr size_t default_capacity = 1'000'000;  ///< some 40 MB

    explicit CanTraceLog(size_t capacity = default_capacity) : capacity_(capacity) {}

    /// Takes a record in; one that is cut short or of an unknown kind is left out.
    /// @param now_us  when it arrived, since 1970; dates the first record, and the first after a restart of
    /// the device
    /// @return        the line, whether it shows or not; none where it was left out
    std::optional<CanTraceLine> add(const CanTraceRecord& record, int64_t now_us);
    /// While it is paused what is shown stays as it is; what arrives is kept back, within the same bounds.
    void setPaused(bool paused);
    void setFilter(CanTraceFilter filter);
    const CanTraceFilter& filter() const { return filter_; }
    void clear();

    size_t shown() const { return shown_.size(); }
    const CanTraceLine& line(size_t row) const { return lines_[static_cast<size_t>(shown_[row] - first_)]; }
    uint64_t received() const { return received_; }    ///< since the last clear
    uint64_t forgotten() const { return forgotten_; }  ///< received and no longer there

    /// The lines shown, one a line, as bus tools read them. While it is paused another thread may ask for
    /// them, beside one that adds.
    /// @param go_on  asked now and then; false ends it. Empty for none
    /// @return       nothing when that has ended it
    std::optional<std::string> candump(
        const std::function<bool(size_t done, size_t total)>& go_on = {}) const;

private:
    void append(const CanTraceLine& line);
    /// The time of a CAN error, whose code stands in the highest byte.
    uint32_t mendedStamp(uint32_t stamp) const;
    int64_t timeOf(uint32_t stamp, int64_t now_us);

    const size_t capacity_;
    std::deque<CanTraceLine> lines_;  // numbered from first_ on
    uint64_t first_ = 0;
    std::deque<uint64_t> shown_;  // numbers of the lines that the filter shows
    std::deque<CanTraceLine> held_;
    bool paused_ = false;
    CanTraceFilter filter_;
    uint64_t received_ = 0;
    uint64_t forgotten_ = 0;

    bool dated_ = false;
    int64_t base_us_ = 0;  // of the device's time 0
    uint32_t last_stamp_ = 0;
};

}  // namespace kovgui::oabr
