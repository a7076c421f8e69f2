#include "sim/timeline.h"

#include <algorithm>

namespace oabr_sim {

timeline::ticket timeline::at(time_point when, action what) {
    when = std::max(when, now_);
    ++last_;
    waiting_.emplace(std::pair(when, last_), std::move(what));
    times_.emplace(last_, when);
    return last_;
}

void timeline::cancel(ticket& waiting) {
    if (const auto found = times_.find(waiting); found != times_.end()) {
        waiting_.erase({found->second, waiting});
        times_.erase(found);
    }
    waiting = 0;
}

std::optional<time_point> timeline::next() const {
    if (waiting_.empty()) return std::nullopt;
    return waiting_.begin()->first.first;
}

void timeline::run_until(time_point moment) {
    while (!waiting_.empty() && waiting_.begin()->first.first <= moment) {
        auto due = waiting_.extract(waiting_.begin());
        now_ = due.key().first;
        times_.erase(due.key().second);
        due.mapped()();
    }
    now_ = std::max(now_, moment);
}

}  // namespace oabr_sim
