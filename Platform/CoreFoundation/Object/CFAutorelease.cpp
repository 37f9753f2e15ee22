#include "Object.h"

#include <new>
#include <vector>

using namespace KXPlatform;

namespace {

/// What a thread gave up and still holds.
class Pool {
  public:
    ~Pool() {
        drain();
        isEnded = true;
    }

    void add(CFTypeRef cf) {
        try {
            held_.push_back(cf);
        } catch (const std::bad_alloc&) {
            // Kept for good: the caller goes on to use it, so it must not be released now.
        }
    }

    /// Ending an object may give up others; they are released as well.
    void drain() noexcept {
        while (!held_.empty()) {
            std::vector<CFTypeRef> batch;
            batch.swap(held_);
            for (auto at = batch.rbegin(); at != batch.rend(); ++at) CFRelease(*at);
        }
    }

    /// The thread has got so far in ending that its pool is gone; what other destructors give up now is kept.
    static thread_local bool isEnded;

  private:
    std::vector<CFTypeRef> held_;
};

thread_local bool Pool::isEnded = false;
thread_local Pool pool;

}  // namespace

CFTypeRef CFAutorelease(CFTypeRef arg) {
    if (arg && !(object(arg)->flags & Object::kImmortal) && !Pool::isEnded) pool.add(arg);
    return arg;
}

void KXPlatform::drainAutoreleased() noexcept {
    if (!Pool::isEnded) pool.drain();
}
