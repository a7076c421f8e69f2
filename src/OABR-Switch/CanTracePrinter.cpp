#include "src/OABR-Switch/CanTracePrinter.h"

#include <cstdio>

#include "lib/can.h"
#include "src/platform/terminal.h"

namespace kovgui::oabr {

CanTracePrinter::CanTracePrinter() = default;

CanTracePrinter::~CanTracePrinter() {
    end_.set();
    thread_.join();
}

void CanTracePrinter::run() {
    platform::Waitable* const both[] = {&end_, &arrived_};
    bool ending = false;
    while (!ending) {
        ending = platform::waitAny(both, -1) == 0;
        for (const CanTraceRecord& record : records_.take()) {
            if (!platform::waitUntilTaken(stdout, ending ? nullptr : &end_)) return;
            process_can_msg(record.frame.data(), record.length);
        }
    }
}

}  // namespace kovgui::oabr
