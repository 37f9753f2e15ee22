#include <KXCoreLib/Atomic.h>

#include "Log.h"

namespace KXCore {

using namespace detail::tagged_counter;

namespace {

constexpr std::uint32_t kLastIncarnation = kTagMask >> kTagShift;

/// States of an invalidateable reference with no thread inside get_pointer().
constexpr std::uint32_t kInvalid = kCookie;
constexpr std::uint32_t kValid = kTagMask | kCookie;

std::uint32_t Checked(std::uint32_t word) noexcept {
    if (!is_well_formed(word)) [[unlikely]]
        detail::fail_for_bad_cookie();
    return word;
}

}  // namespace

void detail::fail_for_bad_cookie() noexcept {
    LogLine("bad cookie in tagged atomic counter\n");
    FatalExit("KXCoreLib/Atomic", 44);
}

void detail::release_last_reference(const atomic_refcounted* object, std::uint32_t word) noexcept {
    Checked(word);
    const std::uint32_t incarnation = word >> kTagShift;
    if (incarnation == kLastIncarnation) {
        LogLine("maximum incarnation reached, object not disposed\n");
        return;
    }
    // A plain store will do: at count zero no other thread holds the object.
    object->count.store(((word + kTagUnit) & kTagMask) | kCookie, std::memory_order_relaxed);
    const_cast<atomic_refcounted*>(object)->dispose(static_cast<int>(incarnation));
}

void atomic_refcounted::dispose(int) { delete this; }

atomic_refcounted::~atomic_refcounted() = default;

namespace detail {

atomic_invalidateable_ref_impl::atomic_invalidateable_ref_impl(atomic_refcounted* object) noexcept
    : target(object), state(kInvalid) {
    if (!object) return;
    intrusive_ptr_add_ref(object);
    state.fetch_or(kTagMask, std::memory_order_release);
}

atomic_invalidateable_ref_impl::~atomic_invalidateable_ref_impl() { invalidate(); }

// Whoever clears `target` owns the reference that it stood for: invalidate() and the last reader to leave may both come
// here, and one of them succeeds.
void atomic_invalidateable_ref_impl::release_target(atomic_refcounted* expected) const noexcept {
    atomic_refcounted* const object = expected;
    if (target.compare_exchange_strong(expected, nullptr, std::memory_order_seq_cst)) intrusive_ptr_release(object);
}

atomic_refcounted* atomic_invalidateable_ref_impl::get_pointer() const noexcept {
    atomic_refcounted* const object = target.load(std::memory_order_acquire);
    atomic_refcounted* result = nullptr;
    // While a reader that found the reference valid is counted, nobody releases the target.
    if (Checked(state.fetch_add(1, std::memory_order_seq_cst) + 1) >= kTagUnit) {
        intrusive_ptr_add_ref(object);
        result = object;
    }
    // Release, so that the reference added above is in the target's count before any other reader's last step here can
    // release the target; acquire for being that other reader. Without an order the target could be disposed of first.
    const std::uint32_t left = Checked(state.fetch_sub(1, std::memory_order_acq_rel) - 1);
    if (object && left == kInvalid) release_target(object);
    // The analyzer does not know that the reference added above keeps the target alive through the release.
    return result;  // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

void atomic_invalidateable_ref_impl::invalidate() noexcept {
    atomic_refcounted* const object = target.load(std::memory_order_acquire);
    if (Checked(state.fetch_and(~kTagMask, std::memory_order_seq_cst)) == kValid) release_target(object);
}

}  // namespace detail
}  // namespace KXCore
