#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "src/platform/event.h"

namespace kovgui::oabr {

/// Who has the device: a page, a console command, a job, the window while it connects, closes or resets. One
/// at a time, so nobody's requests get between another's, and nobody connects under them. It keeps order
/// among whoever asks for it and locks nothing. Moves, does not copy; the destructor gives the device back.
///
/// Who asks while another thread has the device for what it does itself waits a moment, in the order of
/// asking: a page's reading or a console command is mostly over by then. A job takes long, shows what it does
/// and can be stopped: while one has the device nobody waits. Who gets nothing is told who has it.
///
/// May be used from any thread.
class DeviceUse {
public:
    static constexpr int patience_ms = 1000;
    static constexpr int timeout_ms = 2500;  ///< a request that gets no answer is over by then

    /// Holds nothing.
    DeviceUse() = default;
    /// For what the calling thread does until the object goes; what it does within may take the device again,
    /// for itself or for a job.
    /// @param user      who has the device, as the operator reads it: "the reset"
    /// @param stop      ends the waiting when it is set, and stays set; null for none
    /// @param patience  how long whoever asks meanwhile waits, in milliseconds
    [[nodiscard]] static DeviceUse takeHere(std::string user, platform::Event* stop = nullptr,
                                            int patience = patience_ms);
    /// For a job of another thread: everybody else is refused until the object goes, the calling thread,
    /// which goes on meanwhile, as well. What the job does takes nothing.
    [[nodiscard]] static DeviceUse take(std::string user, platform::Event* stop = nullptr);

    DeviceUse(DeviceUse&& other) noexcept;
    DeviceUse& operator=(DeviceUse&& other) noexcept;
    ~DeviceUse();

    /// Whether the device was to be had.
    explicit operator bool() const { return id_ != 0; }
    /// Why not, for the operator: "The device is in use by the reset."; empty when it was.
    const std::string& refusal() const { return refusal_; }
    /// Gives it back before its time.
    void release();

    /// Who has the device now; empty when nobody.
    static std::string user();
    /// Whether a job has it.
    static bool byJob();
    /// Has `changed` called, on the thread that took or gave back, after each change; null ends that. One
    /// listener.
    static void listen(std::function<void()> changed);

private:
    static DeviceUse ask(std::string user, bool job, platform::Event* stop, int patience);

    uint64_t id_ = 0;  // of its entry among the holders
    std::string refusal_;
};

}  // namespace kovgui::oabr
