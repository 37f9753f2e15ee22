#pragma once

// The runs of an attributed string, in a tree that is balanced by random priorities (a treap): each node knows how much
// text is below it, so that the run of a place is found, cut and joined in logarithmic time. Adjacent runs are never
// equal.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFDictionary.h>

#include <cstdint>
#include <memory>

namespace KXPlatform {

/// A run of characters with the same attributes, which is a node of the tree.
struct AttributeRun {
    AttributeRun* left = nullptr;
    AttributeRun* right = nullptr;
    CFIndex length = 0;
    CFIndex total = 0;  ///< of this run and all below it
    Retained<const __CFDictionary> attributes;
    std::uint32_t priority = 0;
};

class AttributeRuns {
  public:
    /// A run and where it begins.
    struct Place {
        const AttributeRun* run;
        CFIndex start;
    };

    AttributeRuns() noexcept = default;
    AttributeRuns(AttributeRuns&& other) noexcept : root_(std::exchange(other.root_, nullptr)) {}
    AttributeRuns& operator=(AttributeRuns&& other) noexcept {
        std::swap(root_, other.root_);
        return *this;
    }
    ~AttributeRuns() { destroy(root_); }

    /// Length of all runs.
    CFIndex length() const noexcept { return root_ ? root_->total : 0; }
    /// The run of a place, which is within the length.
    Place find(CFIndex at) const noexcept;

    /// Appends a run, joined to the last one where it is equal; nothing for a length of 0. False without memory.
    bool append(CFIndex length, CFDictionaryRef attributes) noexcept;
    /// Appends the runs of a range of `other`. False, with some of them appended, without memory.
    bool appendPart(const AttributeRuns& other, CFRange range) noexcept;

    /// Memory that a replacement takes, so that it cannot fail half-way.
    struct Spares {
        Spares() noexcept;
        explicit operator bool() const noexcept { return one && other; }
        std::unique_ptr<AttributeRun> one, other;
    };
    /// Puts `replacement` in the place of a range.
    void replace(CFRange range, AttributeRuns&& replacement, Spares& spares) noexcept;

  private:
    static void destroy(AttributeRun* tree) noexcept;
    /// Cuts a tree in two; a run that `at` lies within is cut as well, with the help of `spare`.
    static void split(AttributeRun* tree, CFIndex at, AttributeRun*& left, AttributeRun*& right,
                      std::unique_ptr<AttributeRun>& spare) noexcept;
    static AttributeRun* merge(AttributeRun* left, AttributeRun* right) noexcept;
    /// The same; the runs that meet become one where they are equal.
    static AttributeRun* join(AttributeRun* left, AttributeRun* right) noexcept;

    AttributeRun* root_ = nullptr;
};

}  // namespace KXPlatform
