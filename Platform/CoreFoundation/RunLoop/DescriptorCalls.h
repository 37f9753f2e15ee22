#pragma once

// When a descriptor that callbacks may be using is closed.
//
// An object that becomes invalid on one thread while its callback runs on another leaves the descriptor open until that
// callback has returned: its number must not go to another file under the callback's hands. A callback on the
// invalidating thread knows what it does.

#include "RunLoop.h"

#include "Support/Descriptor.h"

#include <mutex>

namespace KXPlatform {

class DescriptorCalls {
  public:
    /// A callback under way, on its thread's stack.
    struct Call {
        pid_t thread;
        Call* next;
    };

    /// With the owner's mutex held.
    void begin(Call& call) noexcept {
        call = {currentThread(), first_};
        first_ = &call;
    }

    /// Without it: closes the descriptor where that has waited for this call.
    void end(std::mutex& mutex, const Call& call, int descriptor) noexcept {
        bool closes;
        {
            const std::lock_guard lock(mutex);
            Call** place = &first_;
            while (*place != &call) place = &(*place)->next;
            *place = call.next;
            closes = !first_ && closesAfter_;
        }
        if (closes) Descriptor(descriptor).close();
    }

    /// Without it, once no loop watches the descriptor: closes it now or after the last call on another thread.
    void close(std::mutex& mutex, int descriptor) noexcept {
        {
            const std::lock_guard lock(mutex);
            for (const Call* call = first_; call; call = call->next)
                if (call->thread != currentThread()) closesAfter_ = true;
            if (closesAfter_) return;
        }
        Descriptor(descriptor).close();
    }

  private:
    Call* first_ = nullptr;
    bool closesAfter_ = false;
};

}  // namespace KXPlatform
