#include "src/models/CounterThread.h"

#include <utility>

#include "lib/comm_obj.h"

namespace kovgui {

CounterThread::CounterThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int port,
                             std::shared_ptr<CounterValues> counters)
    : WorkerThread(handler, panel, port), port_(port), counters_(std::move(counters)) {}

int CounterThread::init() {
    for (mib_counter& counter : *counters_)
        counter.raw = 0;
    return counters_->empty() ? finished : go_on;
}

int CounterThread::doStep() {
    const comm_run run;
    mib_counter_read(port_, &(*counters_)[next_]);
    if (run.timed_out()) {
        message_ = "The device does not answer. Counters that were not read are invalid.";
        return failed;
    }
    ++next_;
    progress_ = static_cast<int>(next_ * 100 / counters_->size());
    return next_ == counters_->size() ? finished : go_on;
}

}  // namespace kovgui
