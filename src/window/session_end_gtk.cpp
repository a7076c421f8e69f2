#include <X11/SM/SMlib.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <wx/app.h>
#include <wx/utils.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "src/window/SessionEnd.h"

namespace kovgui {
namespace {

constexpr unsigned long callback_mask =
    SmcSaveYourselfProcMask | SmcDieProcMask | SmcSaveCompleteProcMask | SmcShutdownCancelledProcMask;

/// Of the session manager's addresses those on this computer.
std::string localAddresses() {
    const char* const all = std::getenv("SESSION_MANAGER");
    std::string local;
    for (std::string_view rest = all == nullptr ? "" : all; !rest.empty();) {
        const std::string_view one = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(one.size() + 1, rest.size()));
        if (one.starts_with("local/") || one.starts_with("unix/"))
            local.append(local.empty() ? "" : ",").append(one);
    }
    return local;
}

}  // namespace

/// The program as the X session manager sees it. What it says comes with the event loop.
class SessionEnd::Client : public wxEvtHandler {
public:
    Client(std::function<bool()> may_end, std::function<void()> end)
        : may_end_(std::move(may_end)), end_(std::move(end)) {
        std::string addresses = localAddresses();
        if (addresses.empty()) return;
        // The library's own handlers end the process.
        IceSetIOErrorHandler([](IceConn) {});
        IceSetErrorHandler([](IceConn, Bool, int, unsigned long, int, int, IcePointer) {});
        SmcSetErrorHandler([](SmcConn, Bool, int, unsigned long, int, int, SmPointer) {});
        SmcCallbacks callbacks = {
            {onSaveYourself, this}, {onDie, this}, {onNothing, this}, {onCancelled, this}};
        char* id = nullptr;
        char error[256];
        connection_ = SmcOpenConnection(addresses.data(), nullptr, SmProtoMajor, SmProtoMinor, callback_mask,
                                        &callbacks, nullptr, &id, sizeof error, error);
        std::free(id);
        if (connection_ == nullptr) return;
        describe();
        const int descriptor = IceConnectionNumber(SmcGetIceConnection(connection_));
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        source_ = g_unix_fd_add(descriptor, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), onInput, this);
    }
    ~Client() override { close(); }

private:
    static Client* of(SmPointer self) { return static_cast<Client*>(self); }

    static void onSaveYourself(SmcConn connection, SmPointer self, int, Bool shutdown, int interact, Bool) {
        of(self)->saving_ = true;
        const bool may_ask = shutdown && interact == SmInteractStyleAny;
        if (!may_ask || !SmcInteractRequest(connection, SmDialogNormal, onInteract, self)) of(self)->saved();
    }
    static void onInteract(SmcConn, SmPointer self) { of(self)->CallAfter(&Client::ask); }
    static void onDie(SmcConn, SmPointer self) {
        of(self)->CallAfter([self] { of(self)->end_(); });
    }
    static void onNothing(SmcConn, SmPointer) {}
    static void onCancelled(SmcConn, SmPointer self) {
        if (of(self)->saving_) of(self)->saved();
    }
    static gboolean onInput(gint, GIOCondition, gpointer self) {
        IceConn const ice = SmcGetIceConnection(of(self)->connection_);
        if (IceProcessMessages(ice, nullptr, nullptr) == IceProcessMessagesSuccess) return G_SOURCE_CONTINUE;
        IceSetShutdownNegotiation(ice, False);
        of(self)->close();
        return G_SOURCE_REMOVE;
    }

    void ask() {
        const bool may_end = may_end_();
        if (connection_ == nullptr || !saving_)
            return;  // the manager went, or somebody else kept the session
        SmcInteractDone(connection_, !may_end);
        saved();
    }

    void saved() {
        saving_ = false;
        SmcSaveYourselfDone(connection_, True);
    }

    /// The manager wants to know who it is; a new session does not start it again.
    void describe() {
        const std::string program = wxTheApp->argv[0].utf8_string();
        const struct {
            const char *name, *type;
            std::string value;
        } properties[] = {{SmProgram, SmARRAY8, program},
                          {SmUserID, SmARRAY8, wxGetUserId().utf8_string()},
                          {SmRestartCommand, SmLISTofARRAY8, program},
                          {SmCloneCommand, SmLISTofARRAY8, program},
                          {SmRestartStyleHint, SmCARD8, std::string(1, SmRestartNever)}};
        for (const auto& [name, type, text] : properties) {
            SmPropValue value = {static_cast<int>(text.size()), const_cast<char*>(text.data())};
            SmProp property = {const_cast<char*>(name), const_cast<char*>(type), 1, &value};
            SmProp* one = &property;
            SmcSetProperties(connection_, 1, &one);
        }
    }

    void close() {
        if (connection_ == nullptr) return;
        g_source_remove(std::exchange(source_, 0));
        SmcCloseConnection(std::exchange(connection_, nullptr), 0, nullptr);
    }

    const std::function<bool()> may_end_;
    const std::function<void()> end_;
    SmcConn connection_ = nullptr;
    guint source_ = 0;
    bool saving_ = false;  // the manager waits for an answer
};

SessionEnd::SessionEnd(std::function<bool()> may_end, std::function<void()> end)
    : client_(std::make_unique<Client>(std::move(may_end), std::move(end))) {}
SessionEnd::~SessionEnd() = default;

}  // namespace kovgui
