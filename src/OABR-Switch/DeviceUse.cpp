#include "src/OABR-Switch/DeviceUse.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace kovgui::oabr {
namespace {

struct Holder {
    uint64_t id;
    std::string user;
    std::thread::id thread;  // of nobody: a job
    int patience;            // of whoever asks meanwhile

    bool isJob() const { return thread == std::thread::id(); }
};

struct Waiter {
    explicit Waiter(Holder holder) : wanted(std::move(holder)) {}
    const Holder wanted;
    platform::Event granted;
};

struct Shared {
    std::mutex mutex;             // guards the rest
    std::vector<Holder> holders;  // each took the device within the one before it; the last one has it
    std::vector<std::shared_ptr<Waiter>> waiters;
    uint64_t last_id = 0;
    std::function<void()> changed;
};

Shared& shared() {
    static auto* const state = new Shared;  // threads may outlive main's statics
    return *state;
}

void tellListener() {
    std::function<void()> changed;
    {
        const std::lock_guard lock(shared().mutex);
        changed = shared().changed;
    }
    if (changed) changed();
}

bool holds(uint64_t id) {
    return std::any_of(shared().holders.begin(), shared().holders.end(),
                       [id](const Holder& holder) { return holder.id == id; });
}

/// Waits for its turn. @return whether it came; else the waiter is out of the queue again
bool waitFor(const std::shared_ptr<Waiter>& waiter, platform::Event* stop, int patience) {
    platform::Waitable* const both[] = {&waiter->granted, stop};
    const int woken = platform::waitAny({both, stop ? size_t{2} : size_t{1}}, patience);
    if (woken == 1) stop->set();  // whoever waits for it next is meant as well
    const std::lock_guard lock(shared().mutex);
    std::erase(shared().waiters, waiter);
    return holds(waiter->wanted.id);
}

}  // namespace

DeviceUse DeviceUse::ask(std::string user, bool job, platform::Event* stop, int patience) {
    const std::thread::id here = std::this_thread::get_id();
    DeviceUse use;
    Holder wanted{0, std::move(user), job ? std::thread::id() : here, patience};
    std::shared_ptr<Waiter> waiter;
    int wait = 0;
    {
        const std::lock_guard lock(shared().mutex);
        std::vector<Holder>& holders = shared().holders;
        const uint64_t id = wanted.id = ++shared().last_id;
        if (holders.empty() || holders.back().thread == here) {
            holders.push_back(std::move(wanted));
            use.id_ = id;
        } else {
            use.refusal_ = "The device is in use by " + holders.back().user + ".";
            if (!holders.back().isJob()) {
                wait = holders.back().patience;
                waiter = std::make_shared<Waiter>(std::move(wanted));
                shared().waiters.push_back(waiter);
            }
        }
    }
    if (waiter && waitFor(waiter, stop, wait)) {
        use.id_ = waiter->wanted.id;
        use.refusal_.clear();
    }
    if (use) tellListener();
    return use;
}

DeviceUse DeviceUse::takeHere(std::string user, platform::Event* stop, int patience) {
    return ask(std::move(user), false, stop, patience);
}

DeviceUse DeviceUse::take(std::string user, platform::Event* stop) {
    return ask(std::move(user), true, stop, patience_ms);
}

DeviceUse::DeviceUse(DeviceUse&& other) noexcept
    : id_(std::exchange(other.id_, 0)), refusal_(std::move(other.refusal_)) {}

DeviceUse& DeviceUse::operator=(DeviceUse&& other) noexcept {
    if (this != &other) {
        release();
        id_ = std::exchange(other.id_, 0);
        refusal_ = std::move(other.refusal_);
    }
    return *this;
}

DeviceUse::~DeviceUse() {
    release();
}

void DeviceUse::release() {
    if (id_ == 0) return;
    {
        const std::lock_guard lock(shared().mutex);
        std::erase_if(shared().holders, [this](const Holder& holder) { return holder.id == id_; });
        if (shared().holders.empty() && !shared().waiters.empty()) {
            // Handed on at once: whoever takes it again and again must not starve the others.
            const std::shared_ptr<Waiter> next = shared().waiters.front();
            shared().waiters.erase(shared().waiters.begin());
            shared().holders.push_back(next->wanted);
            next->granted.set();
        }
    }
    id_ = 0;
    tellListener();
}

std::string DeviceUse::user() {
    const std::lock_guard lock(shared().mutex);
    return shared().holders.empty() ? std::string() : shared().holders.back().user;
}

bool DeviceUse::byJob() {
    const std::lock_guard lock(shared().mutex);
    return !shared().holders.empty() && shared().holders.back().isJob();
}

void DeviceUse::listen(std::function<void()> changed) {
    const std::lock_guard lock(shared().mutex);
    shared().changed = std::move(changed);
}

}  // namespace kovgui::oabr
