#include "FailingMalloc.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KX_MALLOC_IS_TAKEN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KX_MALLOC_IS_TAKEN 1
#endif
#endif

namespace FailingMalloc {
namespace {

// In the thread's own block from its start: malloc may not be needed to find them.
struct State {
    bool isOn = false;
    bool forGood = false;
    bool hasFailed = false;
    long allowed = 0;
    long blocks = 0;
};
[[gnu::tls_model("initial-exec")]] thread_local State state;

[[maybe_unused]] bool refuses() noexcept {
    if (!state.isOn) return false;
    if (state.hasFailed ? !state.forGood : state.allowed-- > 0) return false;
    state.hasFailed = true;
    errno = ENOMEM;
    return true;
}

[[maybe_unused]] void* counted(void* memory) noexcept {
    if (memory && state.isOn) ++state.blocks;
    return memory;
}

}  // namespace

void begin(long allowed, bool forGood) {
    state = {.isOn = true, .forGood = forGood, .hasFailed = false, .allowed = allowed, .blocks = 0};
}

bool end() {
    state.isOn = false;
    return state.hasFailed;
}

Pause::Pause() : wasOn_(state.isOn) { state.isOn = false; }
Pause::~Pause() { state.isOn = wasOn_; }

long blocks() { return state.blocks; }

bool isAvailable() {
    begin(0, false);
    void* volatile const memory = std::malloc(1);
    const bool refused = end() && !memory;
    std::free(memory);
    return refused;
}

}  // namespace FailingMalloc

#if !defined(KX_MALLOC_IS_TAKEN)

// NOLINTBEGIN(bugprone-reserved-identifier): glibc's own names of what stands behind these
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);

#define EXPORTED __attribute__((visibility("default"))) __attribute__((noinline))

EXPORTED void* malloc(std::size_t size) noexcept {
    return FailingMalloc::refuses() ? nullptr : FailingMalloc::counted(__libc_malloc(size));
}
EXPORTED void* calloc(std::size_t count, std::size_t size) noexcept {
    return FailingMalloc::refuses() ? nullptr : FailingMalloc::counted(__libc_calloc(count, size));
}
EXPORTED void* realloc(void* memory, std::size_t size) noexcept {
    if (FailingMalloc::refuses()) return nullptr;
    void* const moved = __libc_realloc(memory, size);
    return memory ? moved : FailingMalloc::counted(moved);
}
EXPORTED void free(void* memory) noexcept {
    if (memory && FailingMalloc::state.isOn) --FailingMalloc::state.blocks;
    __libc_free(memory);
}
}
// NOLINTEND(bugprone-reserved-identifier)

#endif
