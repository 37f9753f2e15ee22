#pragma once

// Comparing and describing collections go down into what they hold. Property lists from outside nest to a bound, but
// the collections that a program builds may nest without end: a mutable array can hold itself. Both stop at a depth
// that a thread's stack allows.

#include <CoreFoundation/CFBase.h>

#include <cstdint>

namespace KXPlatform {

/// Collections within each other: twice what a property list may have.
inline constexpr int kMaximumNesting = 1024;

/// One level of the calling thread's comparison, for as long as it stands. Below the deepest, collections that are not
/// the same object count as unequal.
class ComparedLevel {
  public:
    ComparedLevel() noexcept { ++depth; }
    ~ComparedLevel() { --depth; }
    ComparedLevel(const ComparedLevel&) = delete;
    ComparedLevel& operator=(const ComparedLevel&) = delete;

    bool isTooDeep() const noexcept { return depth > kMaximumNesting; }

  private:
    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local int depth = 0;
};

/// One collection that the calling thread is describing, for as long as it stands. What is too deep, what holds itself,
/// and what comes after twenty thousand others (a few objects that share each other can stand for millions) is to be
/// described by its head alone.
class DescribedObject {
  public:
    explicit DescribedObject(CFTypeRef object) noexcept
        : object_(object), outer_(innermost), depth_(outer_ ? outer_->depth_ + 1 : 1) {
        described = outer_ ? described + 1 : 1;
        innermost = this;
    }
    ~DescribedObject() { innermost = outer_; }
    DescribedObject(const DescribedObject&) = delete;
    DescribedObject& operator=(const DescribedObject&) = delete;

    bool isByHeadOnly() const noexcept {
        if (depth_ > kMaximumNesting || described > kMaximumDescribed) return true;
        for (const DescribedObject* outer = outer_; outer; outer = outer->outer_)
            if (outer->object_ == object_) return true;
        return false;
    }

  private:
    static constexpr std::int64_t kMaximumDescribed = 20'000;

    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local const DescribedObject* innermost = nullptr;
    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local std::int64_t described = 0;

    const CFTypeRef object_;
    const DescribedObject* const outer_;
    const int depth_;
};

}  // namespace KXPlatform
