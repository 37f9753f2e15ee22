#include "CoreFoundation/Object/Object.h"

#include <memory>
#include <new>
#include <optional>
#include <vector>

#include <pthread.h>

using namespace KXPlatform;

namespace {

/// What a thread gave up and still holds.
using Pool = std::vector<CFTypeRef>;

// By a key of pthreads and not by a thread's variable with a destructor: the C library ends a process that has no
// memory to note such a destructor down. Where something that ends after the pool gives objects up, the thread gets
// another pool, which ends in its turn.
thread_local Pool* poolOfThread = nullptr;

/// Ending an object may give up others; they are released as well.
void drain(Pool& pool) noexcept {
    while (!pool.empty()) {
        Pool batch;
        batch.swap(pool);
        for (auto at = batch.rbegin(); at != batch.rend(); ++at) CFRelease(*at);
    }
}

void endPool(void* pool) {
    const std::unique_ptr<Pool> ending(static_cast<Pool*>(pool));
    drain(*ending);
    poolOfThread = nullptr;
}

std::optional<pthread_key_t> poolKey() noexcept {
    static const std::optional<pthread_key_t> key = []() -> std::optional<pthread_key_t> {
        pthread_key_t made{};
        if (::pthread_key_create(&made, endPool) != 0) return std::nullopt;
        return made;
    }();
    return key;
}

/// The calling thread's pool; null when there is no memory for one.
Pool* currentPool() noexcept {
    if (poolOfThread) return poolOfThread;
    const std::optional<pthread_key_t> key = poolKey();
    std::unique_ptr<Pool> made(new (std::nothrow) Pool);
    if (!key || !made || ::pthread_setspecific(*key, made.get()) != 0) return nullptr;
    return poolOfThread = made.release();
}

}  // namespace

CFTypeRef CFAutorelease(CFTypeRef arg) {
    if (!arg || (object(arg)->flags & Object::kImmortal)) return arg;
    try {
        if (Pool* const pool = currentPool()) pool->push_back(arg);
    } catch (const std::bad_alloc&) {
        // Kept for good: the caller goes on to use it, so it must not be released now.
    }
    return arg;
}

void KXPlatform::drainAutoreleased() noexcept {
    if (poolOfThread) drain(*poolOfThread);
}
