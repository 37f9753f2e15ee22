#pragma once

// Shared objects that count their own references, and a reference to one that can be taken back.
//
// Who owns what: whoever holds a counted reference keeps the object alive and gives the reference up once. Objects are
// held by boost::intrusive_ptr, which calls the two hooks below:
//
//     class Session : public KXCore::atomic_refcounted { ... };
//     boost::intrusive_ptr<Session> session(new Session, /*add_ref=*/false);   // takes over the one it is born with
//
// All operations may be called from any thread and take no lock. A count that runs over or under, a freed object or a
// pointer to something else is noticed by the cookie beside the count, and ends the process: see tagged_counter below.

#include <atomic>
#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>

#include <KXCoreLib/Export.h>

namespace KXCore {

class atomic_refcounted;
void intrusive_ptr_add_ref(const atomic_refcounted* object) noexcept;
void intrusive_ptr_release(const atomic_refcounted* object) noexcept;

namespace detail {

/// A count and what guards it, in one 32-bit word:
///
///     31       26 25  24 23                     0
///    +-----------+------+------------------------+
///    |    tag    |  10  |         count          |
///    +-----------+------+------------------------+
///                 cookie
///
/// The cookie lies right above the count, so a count that leaves its 24 bits carries into it or borrows from it. A word
/// is well-formed while its cookie is. What the tag means is up to the owner of the counter.
namespace tagged_counter {

inline constexpr std::uint32_t kCountMask = 0x00FFFFFF;
inline constexpr std::uint32_t kCookieMask = 0x03000000;
inline constexpr std::uint32_t kCookie = 0x02000000;
inline constexpr std::uint32_t kTagMask = 0xFC000000;
inline constexpr std::uint32_t kTagUnit = 0x04000000;
inline constexpr int kTagShift = 26;

constexpr bool is_well_formed(std::uint32_t word) noexcept { return (word & kCookieMask) == kCookie; }

}  // namespace tagged_counter

/// Reports a word that is not well-formed and ends the process.
[[noreturn, gnu::cold]] KX_EXPORT void fail_for_bad_cookie() noexcept;

/// The rest of intrusive_ptr_release, for a `word` that is not a well-formed count above 0.
[[gnu::cold]] KX_EXPORT void release_last_reference(const atomic_refcounted* object, std::uint32_t word) noexcept;

}  // namespace detail

/// Base of objects that count their own references. An object is born with one reference, which belongs to whoever made
/// it. When the last reference is given up the object is disposed of.
///
/// A derived class may park the object in dispose() instead of deleting it, and bring it back later by adding a
/// reference. How often the count fell to zero is the object's incarnation. It is disposed of 63 times at most; the
/// next time it is left alone with a line in the log, as its incarnation could no longer be told from an earlier one.
class KX_EXPORT atomic_refcounted : private boost::noncopyable {
  public:
    atomic_refcounted() noexcept = default;

    /// Called by the thread that gave up the last reference, with the incarnation that ends. Deletes the object; an
    /// override may keep it. Must not throw.
    virtual void dispose(int incarnation);

    virtual ~atomic_refcounted();

  private:
    friend void intrusive_ptr_add_ref(const atomic_refcounted* object) noexcept;
    friend void intrusive_ptr_release(const atomic_refcounted* object) noexcept;
    friend void detail::release_last_reference(const atomic_refcounted* object, std::uint32_t word) noexcept;

    mutable std::atomic<std::uint32_t> count{detail::tagged_counter::kCookie + 1};  // the tag is the incarnation
};

static_assert(sizeof(atomic_refcounted) == 2 * sizeof(void*), "a class pointer and one word, nothing else");
static_assert(std::atomic<std::uint32_t>::is_always_lock_free && std::atomic<void*>::is_always_lock_free);

/// Adds a reference to `object`, which is not null. The caller holds one already, or knows that the object is parked.
inline void intrusive_ptr_add_ref(const atomic_refcounted* object) noexcept {
    // No order is needed: whoever adds a reference got the pointer through one that exists.
    const std::uint32_t word = object->count.fetch_add(1, std::memory_order_relaxed) + 1;
    if (!detail::tagged_counter::is_well_formed(word)) [[unlikely]]
        detail::fail_for_bad_cookie();
}

/// Gives up a reference to `object`, which is not null; the last one disposes of the object.
inline void intrusive_ptr_release(const atomic_refcounted* object) noexcept {
    using namespace detail::tagged_counter;
    // Release, so that what this thread did with the object comes before its end; acquire, so that the thread that ends
    // it sees what all others did. A decrement without order would let dispose() run ahead of their last writes.
    const std::uint32_t word = object->count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    // One comparison for both: a well-formed word with a count of 1 or more.
    const bool isHeld = (word & (kCookieMask | kCountMask)) - (kCookie + 1) < kCountMask;
    if (!isHeld) [[unlikely]]
        detail::release_last_reference(object, word);
}

namespace detail {

/// A reference that can be taken back: it holds one counted reference to its target until it is invalidated, and until
/// then hands out further ones. Threads may ask for the target and invalidate at the same time; only making and
/// destroying the object must not overlap with other calls on it.
class KX_EXPORT atomic_invalidateable_ref_impl {
  public:
    /// Adds a reference to `target`. With null the reference is invalid from the start.
    explicit atomic_invalidateable_ref_impl(atomic_refcounted* target) noexcept;

    /// Invalidates.
    ~atomic_invalidateable_ref_impl();

    atomic_invalidateable_ref_impl(const atomic_invalidateable_ref_impl&) = delete;
    atomic_invalidateable_ref_impl& operator=(const atomic_invalidateable_ref_impl&) = delete;

    /// The target, with a reference added that the caller gives up; null once the reference is invalid.
    atomic_refcounted* get_pointer() const noexcept;

    /// From now on get_pointer() returns null. The reference to the target is given up here, or by the last thread that
    /// is inside get_pointer() at this moment when it leaves.
    void invalidate() noexcept;

  private:
    void release_target(atomic_refcounted* expected) const noexcept;

    mutable std::atomic<atomic_refcounted*> target;
    // Counts the threads inside get_pointer(); the tag is all ones while the reference is valid, then all zeros.
    mutable std::atomic<std::uint32_t> state;
};

static_assert(sizeof(atomic_invalidateable_ref_impl) == 2 * sizeof(void*));

}  // namespace detail
}  // namespace KXCore
