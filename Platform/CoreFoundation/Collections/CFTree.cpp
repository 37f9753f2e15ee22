#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFTree.h>

#include <array>
#include <new>
#include <utility>
#include <vector>

using namespace KXPlatform;

namespace {

void finalizeTree(Object* object) noexcept;
CFStringRef describeTree(const Object* object);

constexpr Class kTreeClass{TypeID::Tree, finalizeTree, nullptr, nullptr, describeTree};

/// `given` with its info retained, as the tree is to keep it.
CFTreeContext kept(const CFTreeContext& given) noexcept {
    CFTreeContext context = given;
    if (context.info && context.retain) context.info = const_cast<void*>(context.retain(context.info));
    return context;
}

void giveUp(const CFTreeContext& context) noexcept {
    if (context.info && context.release) context.release(context.info);
}

}  // namespace

/// The children are a list, linked both ways so that a child leaves it in constant time.
struct __CFTree : Object {
    explicit __CFTree(const CFTreeContext& given) noexcept : Object(kTreeClass), context(kept(given)) {}
    ~__CFTree() {
        removeAll();
        giveUp(context);
    }

    /// Whether `child` may become a child of this tree. Only a tree that has children can be an ancestor: without
    /// them no walk up is needed, and a deep tree that grows leaf by leaf stays linear.
    bool mayTake(const __CFTree* child) const noexcept {
        if (child->parent || child == this) return false;
        if (!child->first) return true;
        const __CFTree* top = this;
        while (top->parent) top = top->parent;
        return top != child;
    }

    /// Links `child`, retained, after `before`; as the first where that is null.
    void link(__CFTree* before, __CFTree* child) noexcept {
        retain(child);
        child->parent = this;
        child->previous = before;
        child->next = std::exchange(before ? before->next : first, child);
        (child->next ? child->next->previous : last) = child;
        ++count;
    }

    /// Takes `child` out of the list; its reference goes over to the caller.
    void unlink(__CFTree* child) noexcept {
        (child->previous ? child->previous->next : first) = child->next;
        (child->next ? child->next->previous : last) = child->previous;
        child->parent = child->previous = child->next = nullptr;
        --count;
    }

    void removeAll() noexcept {
        while (__CFTree* const child = first) {
            unlink(child);
            release(child);
        }
    }

    __CFTree* parent = nullptr;
    __CFTree* previous = nullptr;
    __CFTree* next = nullptr;
    __CFTree* first = nullptr;
    __CFTree* last = nullptr;
    CFIndex count = 0;
    CFTreeContext context;
};

namespace {

__CFTree* checked(CFTreeRef tree) noexcept { return tree && tree->cls == &kTreeClass ? tree : nullptr; }

void finalizeTree(Object* object) noexcept { finalizeAs<__CFTree>(object); }

CFStringRef describeTree(const Object* object) {
    const auto* const tree = static_cast<const __CFTree*>(object);
    Description description;
    description.appendHeading(tree);
    description.format("{children = %ld, context = ", tree->count);
    const auto info = Retained<const __CFString>::adopting(
        tree->context.copyDescription ? tree->context.copyDescription(tree->context.info) : nullptr);
    if (info)
        description.append(info.get());
    else
        description.format("<CFTree context 0x%lx>", reinterpret_cast<std::uintptr_t>(tree->context.info));
    description.format("}");
    return description.take();
}

/// Joins two sorted lists, linked by `next` alone. Of equal children those of `a` come first.
__CFTree* merge(__CFTree* a, __CFTree* b, CFComparatorFunction comparator, void* context) {
    __CFTree* head = nullptr;
    __CFTree** end = &head;
    while (a && b) {
        __CFTree*& smaller = comparator(b, a, context) == kCFCompareLessThan ? b : a;
        *end = smaller;
        end = &smaller->next;
        smaller = smaller->next;
    }
    *end = a ? a : b;
    return head;
}

}  // namespace

CFTypeID CFTreeGetTypeID() { return number(TypeID::Tree); }

CFTreeRef CFTreeCreate(CFAllocatorRef allocator, const CFTreeContext* context) {
    return context && context->version == 0 ? make<__CFTree>(allocator, 0, *context) : nullptr;
}

// ---- Reading

CFTreeRef CFTreeGetParent(CFTreeRef tree) { return checked(tree) ? tree->parent : nullptr; }

CFTreeRef CFTreeGetNextSibling(CFTreeRef tree) { return checked(tree) ? tree->next : nullptr; }

CFTreeRef CFTreeGetFirstChild(CFTreeRef tree) { return checked(tree) ? tree->first : nullptr; }

void CFTreeGetContext(CFTreeRef tree, CFTreeContext* context) {
    if (checked(tree) && context) *context = tree->context;
}

CFIndex CFTreeGetChildCount(CFTreeRef tree) { return checked(tree) ? tree->count : 0; }

CFTreeRef CFTreeGetChildAtIndex(CFTreeRef tree, CFIndex idx) {
    if (!checked(tree) || idx < 0 || idx >= tree->count) return nullptr;
    __CFTree* child;
    if (idx < tree->count / 2) {
        child = tree->first;
        for (CFIndex i = 0; i < idx; ++i) child = child->next;
    } else {
        child = tree->last;
        for (CFIndex i = tree->count - 1; i > idx; --i) child = child->previous;
    }
    return child;
}

void CFTreeGetChildren(CFTreeRef tree, CFTreeRef* children) {
    if (!checked(tree) || !children) return;
    for (__CFTree* child = tree->first; child; child = child->next) *children++ = child;
}

void CFTreeApplyFunctionToChildren(CFTreeRef tree, CFTreeApplierFunction applier, void* context) {
    if (!checked(tree) || !applier) return;
    // The applier may remove children, this one's next among them, and the tree itself: what is walked is a copy.
    std::vector<Retained<__CFTree>> children;
    try {
        children.reserve(static_cast<std::size_t>(tree->count));
    } catch (const std::bad_alloc&) {
        return;
    }
    for (__CFTree* child = tree->first; child; child = child->next)
        children.push_back(Retained<__CFTree>::retaining(child));
    for (const auto& child : children) applier(child.get(), context);
}

CFTreeRef CFTreeFindRoot(CFTreeRef tree) {
    if (!checked(tree)) return nullptr;
    while (tree->parent) tree = tree->parent;
    return tree;
}

// ---- Changing

void CFTreeSetContext(CFTreeRef tree, const CFTreeContext* context) {
    if (!checked(tree) || !context || context->version != 0) return;
    giveUp(std::exchange(tree->context, kept(*context)));
}

void CFTreePrependChild(CFTreeRef tree, CFTreeRef newChild) {
    if (checked(tree) && checked(newChild) && tree->mayTake(newChild)) tree->link(nullptr, newChild);
}

void CFTreeAppendChild(CFTreeRef tree, CFTreeRef newChild) {
    if (checked(tree) && checked(newChild) && tree->mayTake(newChild)) tree->link(tree->last, newChild);
}

void CFTreeInsertSibling(CFTreeRef tree, CFTreeRef newSibling) {
    if (checked(tree) && checked(newSibling) && tree->parent && tree->parent->mayTake(newSibling))
        tree->parent->link(tree, newSibling);
}

void CFTreeRemove(CFTreeRef tree) {
    if (!checked(tree) || !tree->parent) return;
    tree->parent->unlink(tree);
    release(tree);
}

void CFTreeRemoveAllChildren(CFTreeRef tree) {
    if (!checked(tree)) return;
    // What the children's contexts release may hold the last reference to the tree.
    const auto held = Retained<__CFTree>::retaining(tree);
    tree->removeAll();
}

void CFTreeSortChildren(CFTreeRef tree, CFComparatorFunction comparator, void* context) {
    if (!checked(tree) || !comparator || tree->count < 2) return;
    // Merging sorted lists of 1, 2, 4, ... children: lists[i] is empty or holds 2^i of them.
    std::array<__CFTree*, 64> lists{};
    for (__CFTree* child = tree->first; child;) {
        __CFTree* list = child;
        child = std::exchange(list->next, nullptr);
        std::size_t i = 0;
        for (; lists[i]; ++i) list = merge(std::exchange(lists[i], nullptr), list, comparator, context);
        lists[i] = list;
    }
    __CFTree* sorted = nullptr;
    for (__CFTree* const list : lists)
        if (list) sorted = merge(list, sorted, comparator, context);
    tree->first = sorted;
    __CFTree* previous = nullptr;
    for (__CFTree* child = sorted; child; child = child->next) child->previous = std::exchange(previous, child);
    tree->last = previous;
}
