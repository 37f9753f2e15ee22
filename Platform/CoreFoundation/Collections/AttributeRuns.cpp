#include "AttributeRuns.h"

#include <algorithm>
#include <new>
#include <utility>

namespace KXPlatform {

namespace {

/// Priorities only have to be as good as random: xorshift, of each thread its own.
std::uint32_t nextPriority() noexcept {
    static thread_local std::uint32_t state = 0x9E3779B9;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

CFIndex totalOf(const AttributeRun* tree) noexcept { return tree ? tree->total : 0; }

void update(AttributeRun* tree) noexcept { tree->total = totalOf(tree->left) + tree->length + totalOf(tree->right); }

bool haveEqualAttributes(const AttributeRun& a, const AttributeRun& b) noexcept {
    return a.attributes.get() == b.attributes.get() || CFEqual(a.attributes.get(), b.attributes.get());
}

AttributeRun* makeRun() noexcept {
    auto* const made = new (std::nothrow) AttributeRun;
    if (made) made->priority = nextPriority();
    return made;
}

}  // namespace

AttributeRuns::Spares::Spares() noexcept : one(makeRun()), other(makeRun()) {}

AttributeRuns::Place AttributeRuns::find(CFIndex at) const noexcept {
    const AttributeRun* run = root_;
    CFIndex start = 0;  // of all below `run`
    for (;;) {
        const CFIndex before = totalOf(run->left);
        if (at - start < before) {
            run = run->left;
        } else if (at - start < before + run->length) {
            return {run, start + before};
        } else {
            start += before + run->length;
            run = run->right;
        }
    }
}

bool AttributeRuns::append(CFIndex length, CFDictionaryRef attributes) noexcept {
    if (length == 0) return true;
    AttributeRun* const run = makeRun();
    if (!run) return false;
    run->length = run->total = length;
    run->attributes = Retained<const __CFDictionary>::retaining(attributes);
    root_ = join(root_, run);
    return true;
}

bool AttributeRuns::appendPart(const AttributeRuns& other, CFRange range) noexcept {
    const CFIndex end = range.location + range.length;
    for (CFIndex at = range.location; at < end;) {
        const Place place = other.find(at);
        const CFIndex behind = std::min(end, place.start + place.run->length);
        if (!append(behind - at, place.run->attributes.get())) return false;
        at = behind;
    }
    return true;
}

void AttributeRuns::replace(CFRange range, AttributeRuns&& replacement, Spares& spares) noexcept {
    AttributeRun *before = nullptr, *middle = nullptr, *behind = nullptr;
    split(root_, range.location, before, middle, spares.one);
    split(middle, range.length, middle, behind, spares.other);
    root_ = join(join(before, std::exchange(replacement.root_, nullptr)), behind);
    // Last: what ends with the old attributes may look at this string.
    destroy(middle);
}

void AttributeRuns::destroy(AttributeRun* tree) noexcept {
    while (tree) {
        destroy(tree->left);
        delete std::exchange(tree, tree->right);
    }
}

void AttributeRuns::split(AttributeRun* tree, CFIndex at, AttributeRun*& left, AttributeRun*& right,
                          std::unique_ptr<AttributeRun>& spare) noexcept {
    if (!tree) {
        left = right = nullptr;
        return;
    }
    const CFIndex before = totalOf(tree->left);
    // A part is put back with merge, for the second half of a run that was cut has a priority of its own.
    if (at <= before) {
        AttributeRun* part = nullptr;
        split(tree->left, at, left, part, spare);
        tree->left = nullptr;
        update(tree);
        right = merge(part, tree);
    } else if (at >= before + tree->length) {
        AttributeRun* part = nullptr;
        split(tree->right, at - before - tree->length, part, right, spare);
        tree->right = nullptr;
        update(tree);
        left = merge(tree, part);
    } else {
        AttributeRun* const second = spare.release();
        second->attributes = tree->attributes;
        second->length = second->total = tree->length - (at - before);
        tree->length = at - before;
        right = merge(second, std::exchange(tree->right, nullptr));
        update(left = tree);
    }
}

AttributeRun* AttributeRuns::merge(AttributeRun* left, AttributeRun* right) noexcept {
    if (!left || !right) return left ? left : right;
    if (left->priority >= right->priority) {
        left->right = merge(left->right, right);
        update(left);
        return left;
    }
    right->left = merge(left, right->left);
    update(right);
    return right;
}

AttributeRun* AttributeRuns::join(AttributeRun* left, AttributeRun* right) noexcept {
    if (!left || !right) return left ? left : right;
    AttributeRun* last = left;
    while (last->right) last = last->right;
    AttributeRun* first = right;
    while (first->left) first = first->left;
    if (!haveEqualAttributes(*last, *first)) return merge(left, right);
    // The first run of the right goes into the last one of the left.
    std::unique_ptr<AttributeRun> unused;
    AttributeRun* rest = nullptr;
    split(right, first->length, first, rest, unused);  // between two runs: none is cut
    for (AttributeRun* run = left; run; run = run->right) run->total += first->length;
    last->length += first->length;
    destroy(first);
    return merge(left, rest);
}

}  // namespace KXPlatform
