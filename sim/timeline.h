#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace oabr_sim {

using sim_clock = std::chrono::steady_clock;
using time_point = sim_clock::time_point;

/// What happens when. Everything in the device that takes time goes through here, and each action sees as
/// `now` the moment it was set for, however late it is run: delays never add up, and a test can let time pass
/// by itself.
class timeline {
public:
    using action = std::function<void()>;
    /// Names an action that waits; 0 names none.
    using ticket = uint64_t;

    explicit timeline(time_point start) : now_(start) {}

    time_point now() const { return now_; }
    /// Lets the action happen; one set for the past happens next. Those of one moment happen in the order
    /// they were set.
    ticket at(time_point when, action what);
    ticket after(sim_clock::duration delay, action what) { return at(now_ + delay, std::move(what)); }
    /// Forgets an action that still waits, and its ticket.
    void cancel(ticket& waiting);
    /// When the next action is due.
    std::optional<time_point> next() const;
    /// Runs what is due, in order, and ends at that moment.
    void run_until(time_point moment);

private:
    time_point now_;
    ticket last_ = 0;
    std::map<std::pair<time_point, ticket>, action> waiting_;
    std::map<ticket, time_point> times_;
};

}  // namespace oabr_sim
