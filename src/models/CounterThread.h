#pragma once

#include <memory>
#include <vector>

#include "lib/ksz.h"
#include "src/base/WorkerThread.h"

namespace kovgui {

/// The counters of one port, in the order of its table.
using CounterValues = std::vector<mib_counter>;

/// Reads the counters of one port, one a step, and ends at the first that times out.
class CounterThread : public WorkerThread {
public:
    /// @param counters  takes what is read; the owner may look at it when the loop has ended. What is not
    /// read stays invalid
    CounterThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int port,
                  std::shared_ptr<CounterValues> counters);

protected:
    int init() override;
    int doStep() override;

private:
    const int port_;
    const std::shared_ptr<CounterValues> counters_;
    size_t next_ = 0;
};

}  // namespace kovgui
