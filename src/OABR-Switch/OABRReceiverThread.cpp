#include "src/OABR-Switch/OABRReceiverThread.h"

#include "src/OABR-Switch/OABRDevice.h"

namespace kovgui::oabr {

wxThread::ExitCode OABRReceiverThread::Entry() {
    OABRDevice::instance()->receiverThreadFnc();
    return nullptr;
}

}  // namespace kovgui::oabr
