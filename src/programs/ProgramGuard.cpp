#include "src/programs/ProgramGuard.h"

#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/log.h"
#include "src/platform/Interrupts.h"

namespace kovgui {

ProgramGuard::ProgramGuard() {
    platform::ignoreBrokenPipes();
    adoptToolkitLog();
}

ProgramGuard::~ProgramGuard() {
    oabr::OABRDevice::instance()->setReceiverEndedEvent(nullptr);
    oabr::OABRDevice::instance()->disconnect();
}

}  // namespace kovgui
