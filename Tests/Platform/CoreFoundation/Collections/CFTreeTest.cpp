#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Held;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

void* pointer(std::intptr_t value) { return reinterpret_cast<void*>(value); }

Holder<CFTreeRef> node(std::intptr_t name) {
    const CFTreeContext context{0, pointer(name), nullptr, nullptr, nullptr};
    return hold(CFTreeCreate(nullptr, &context));
}

std::intptr_t name(CFTreeRef tree) {
    CFTreeContext context{};
    CFTreeGetContext(tree, &context);
    return reinterpret_cast<std::intptr_t>(context.info);
}

/// The children's names, having seen that all ways to them agree.
std::vector<std::intptr_t> children(CFTreeRef tree) {
    const CFIndex count = CFTreeGetChildCount(tree);
    std::vector<CFTreeRef> all(static_cast<std::size_t>(count));
    CFTreeGetChildren(tree, all.data());
    std::vector<std::intptr_t> names;
    CFTreeRef walked = CFTreeGetFirstChild(tree);
    for (CFIndex i = 0; i < count; ++i) {
        const CFTreeRef child = all[static_cast<std::size_t>(i)];
        EXPECT_EQ(child, walked);
        EXPECT_EQ(child, CFTreeGetChildAtIndex(tree, i));
        EXPECT_EQ(CFTreeGetParent(child), tree);
        walked = CFTreeGetNextSibling(child);
        names.push_back(name(child));
    }
    EXPECT_EQ(walked, nullptr);
    return names;
}

Holder<CFTreeRef> tree(std::initializer_list<std::intptr_t> names) {
    auto made = node(0);
    for (const std::intptr_t each : names) CFTreeAppendChild(made, node(each));
    return made;
}

TEST(CFTree, TakesChildrenAtEitherEndAndAfterASibling) {
    const auto root = tree({2, 4});
    CFTreePrependChild(root, node(1));
    CFTreeInsertSibling(CFTreeGetChildAtIndex(root, 1), node(3));
    CFTreeInsertSibling(CFTreeGetChildAtIndex(root, 3), node(5));
    EXPECT_THAT(children(root), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(CFGetTypeID(root), CFTreeGetTypeID());
    EXPECT_EQ(CFTreeGetChildAtIndex(root, 5), nullptr);
    EXPECT_EQ(CFTreeGetChildAtIndex(root, -1), nullptr);
}

TEST(CFTree, RetainsAChildUntilItIsRemoved) {
    const auto root = tree({1});
    const auto child = node(2);
    CFTreeAppendChild(root, child);
    EXPECT_EQ(CFGetRetainCount(child), 2);
    CFTreeRemove(child);
    EXPECT_EQ(CFGetRetainCount(child), 1);
    EXPECT_EQ(CFTreeGetParent(child), nullptr);
    EXPECT_EQ(CFTreeGetNextSibling(child), nullptr);
    EXPECT_THAT(children(root), ElementsAre(1));
    CFTreeRemove(child);  // has no parent: no effect
    EXPECT_EQ(CFGetRetainCount(child), 1);
}

TEST(CFTree, RemovesTheFirstTheMiddleAndTheLast) {
    const auto root = tree({1, 2, 3, 4, 5});
    CFTreeRemove(CFTreeGetChildAtIndex(root, 2));
    CFTreeRemove(CFTreeGetChildAtIndex(root, 0));
    CFTreeRemove(CFTreeGetChildAtIndex(root, 2));
    EXPECT_THAT(children(root), ElementsAre(2, 4));
    CFTreeRemoveAllChildren(root);
    EXPECT_THAT(children(root), IsEmpty());
    CFTreeAppendChild(root, node(6));
    EXPECT_THAT(children(root), ElementsAre(6));
}

TEST(CFTree, DoesNotRetainItsParent) {
    auto root = tree({1});
    const auto child = hold(static_cast<CFTreeRef>(const_cast<void*>(CFRetain(CFTreeGetFirstChild(root)))));
    EXPECT_EQ(CFGetRetainCount(root), 1);
    root.reset();
    EXPECT_EQ(CFTreeGetParent(child), nullptr);
    EXPECT_EQ(CFTreeFindRoot(child), child.get());
}

TEST(CFTree, RefusesAChildThatHasAParentOrIsAnAncestor) {
    const auto root = tree({1}), other = tree({2});
    CFTreeAppendChild(root, CFTreeGetFirstChild(other));
    CFTreePrependChild(root, CFTreeGetFirstChild(other));
    CFTreeInsertSibling(CFTreeGetFirstChild(root), CFTreeGetFirstChild(other));
    CFTreeAppendChild(root, root);
    CFTreeAppendChild(CFTreeGetFirstChild(root), root);
    CFTreeInsertSibling(CFTreeGetFirstChild(root), root);
    CFTreeInsertSibling(root, node(3));  // a root has no siblings
    EXPECT_THAT(children(root), ElementsAre(1));
    EXPECT_THAT(children(other), ElementsAre(2));
    EXPECT_EQ(CFTreeGetParent(root), nullptr);
}

TEST(CFTree, FindsItsRootFromAnyDepth) {
    const auto root = node(0);
    CFTreeRef deepest = root;
    for (int i = 1; i < 10; ++i) {
        CFTreeAppendChild(deepest, node(i));
        deepest = CFTreeGetFirstChild(deepest);
    }
    EXPECT_EQ(CFTreeFindRoot(deepest), root.get());
    EXPECT_EQ(CFTreeFindRoot(root), root.get());
}

struct Counted {
    int retains = 0;
    int releases = 0;
    CFTreeContext context{0, this, retain, release, nullptr};

    static const void* retain(const void* info) {
        ++static_cast<Counted*>(const_cast<void*>(info))->retains;
        return info;
    }
    static void release(const void* info) { ++static_cast<Counted*>(const_cast<void*>(info))->releases; }
};

TEST(CFTree, RetainsTheInfoOfItsContextAndReleasesIt) {
    Counted first, second;
    auto root = hold(CFTreeCreate(nullptr, &first.context));
    EXPECT_EQ(first.retains, 1);
    CFTreeSetContext(root, &second.context);
    EXPECT_EQ(first.releases, 1);
    EXPECT_EQ(second.retains, 1);
    CFTreeSetContext(root, &second.context);  // its own: retained before it is released
    EXPECT_EQ(second.retains, 2);
    EXPECT_EQ(second.releases, 1);
    root.reset();
    EXPECT_EQ(second.releases, 2);
}

TEST(CFTree, KeepsWhatTheRetainCallbackReturns) {
    CFTreeContext context{0, pointer(1), nullptr, nullptr, nullptr};
    context.retain = [](const void*) -> const void* { return pointer(7); };
    const auto root = hold(CFTreeCreate(nullptr, &context));
    EXPECT_EQ(name(root), 7);
}

TEST(CFTree, RefusesAContextOfAnotherVersion) {
    CFTreeContext context{1, nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(CFTreeCreate(nullptr, &context), nullptr);
    EXPECT_EQ(CFTreeCreate(nullptr, nullptr), nullptr);
    const auto root = node(5);
    CFTreeSetContext(root, &context);
    EXPECT_EQ(name(root), 5);
}

TEST(CFTree, AppliesAFunctionToTheChildrenOfTheTimeOfTheCall) {
    const auto root = tree({1, 2, 3});
    struct Seen {
        CFTreeRef root;
        std::vector<std::intptr_t> names;
    } seen{root, {}};
    CFTreeApplyFunctionToChildren(
        root,
        [](const void* value, void* context) {
            auto& s = *static_cast<Seen*>(context);
            const auto child = static_cast<CFTreeRef>(const_cast<void*>(value));
            s.names.push_back(name(child));
            if (s.names.size() == 1) {
                CFTreeRemoveAllChildren(s.root);
                CFTreeAppendChild(s.root, node(9));
            }
        },
        &seen);
    EXPECT_THAT(seen.names, ElementsAre(1, 2, 3));
    EXPECT_THAT(children(root), ElementsAre(9));
}

TEST(CFTree, SortsItsChildrenAndKeepsTheOrderOfEqualOnes) {
    // Compared by tens: 12 and 17 are equal.
    const auto byTens = [](const void* a, const void* b, void* calls) {
        ++*static_cast<int*>(calls);
        const auto ten = [](const void* tree) { return name(static_cast<CFTreeRef>(const_cast<void*>(tree))) / 10; };
        return ten(a) < ten(b) ? kCFCompareLessThan : ten(a) > ten(b) ? kCFCompareGreaterThan : kCFCompareEqualTo;
    };
    const auto root = tree({31, 12, 25, 17, 2, 11, 30, 24});
    CFTreeAppendChild(CFTreeGetFirstChild(root), node(99));
    int calls = 0;
    CFTreeSortChildren(root, byTens, &calls);
    EXPECT_THAT(children(root), ElementsAre(2, 12, 17, 11, 25, 24, 31, 30));
    EXPECT_GT(calls, 0);
    EXPECT_THAT(children(CFTreeGetChildAtIndex(root, 6)), ElementsAre(99));
    CFTreeAppendChild(root, node(1));
    CFTreePrependChild(root, node(50));
    EXPECT_THAT(children(root), ElementsAre(50, 2, 12, 17, 11, 25, 24, 31, 30, 1));
}

TEST(CFTree, OfGreatDepthIsMadeWalkedSortedAndReleased) {
    constexpr std::intptr_t kDepth = 100'000;
    auto root = node(0);
    CFTreeRef at = root;
    for (std::intptr_t i = 1; i <= kDepth; ++i) {
        CFTreeAppendChild(at, node(i));
        CFTreePrependChild(at, node(-i));
        at = CFTreeGetChildAtIndex(at, 1);
    }
    EXPECT_EQ(name(at), kDepth);
    EXPECT_EQ(CFTreeFindRoot(at), root.get());
    std::intptr_t depth = 0;
    const auto byName = [](const void* a, const void* b, void*) {
        const auto of = [](const void* tree) { return name(static_cast<CFTreeRef>(const_cast<void*>(tree))); };
        return of(a) > of(b) ? kCFCompareLessThan : kCFCompareGreaterThan;
    };
    for (at = root; CFTreeGetFirstChild(at); ++depth) {
        CFTreeSortChildren(at, byName, nullptr);
        at = CFTreeGetFirstChild(at);
    }
    EXPECT_EQ(depth, kDepth);
    root.reset();
}

TEST(CFTree, BuiltFromTheLeavesUpIsMadeInLinearTime) {
    auto top = node(0);
    for (std::intptr_t i = 1; i <= 100'000; ++i) {
        auto parent = node(i);
        CFTreeAppendChild(parent, top);
        top = std::move(parent);
    }
    EXPECT_EQ(name(CFTreeGetFirstChild(top)), 99'999);
}

TEST(CFTree, DescribesItself) {
    const auto root = tree({1, 2});
    const std::string plain = utf8(hold(CFCopyDescription(root)));
    EXPECT_THAT(plain, testing::StartsWith("<CFTree 0x"));
    EXPECT_THAT(plain, testing::EndsWith("{children = 2, context = <CFTree context 0x0>}"));
    CFTreeContext context{0, pointer(3), nullptr, nullptr, nullptr};
    context.copyDescription = [](const void*) { return CFStringCreateCopy(nullptr, CFSTR("three")); };
    CFTreeSetContext(root, &context);
    EXPECT_THAT(utf8(hold(CFCopyDescription(root))), testing::EndsWith("{children = 2, context = three}"));
}

TEST(CFTree, IsEqualToItselfOnly) {
    const auto one = node(1), same = node(1);
    EXPECT_TRUE(CFEqual(one, one));
    EXPECT_FALSE(CFEqual(one, same));
}

TEST(CFTree, ComesFromItsAllocatorAndIsNullWithoutMemory) {
    TestAllocator allocator;
    Counted counted;
    {
        const auto root = hold(CFTreeCreate(allocator, &counted.context));
        EXPECT_EQ(CFGetAllocator(root), static_cast<CFAllocatorRef>(allocator));
        EXPECT_GT(allocator.blocks(), 0);
    }
    EXPECT_EQ(allocator.blocks(), 0);
    allocator.failAfter(0);
    EXPECT_EQ(CFTreeCreate(allocator, &counted.context), nullptr);
    EXPECT_EQ(counted.retains, counted.releases);
}

TEST(CFTree, SurvivesNullArgumentsAndForeignObjects) {
    const auto nothing = static_cast<CFTreeRef>(nullptr);
    const auto foreign = reinterpret_cast<CFTreeRef>(const_cast<__CFString*>(CFSTR("x")));
    const auto root = tree({1});
    const CFTreeContext context{};
    CFTreeContext out{};
    EXPECT_EQ(CFTreeCreate(nullptr, nullptr), nullptr);
    for (const CFTreeRef bad : {nothing, foreign}) {
        EXPECT_EQ(CFTreeGetParent(bad), nullptr);
        EXPECT_EQ(CFTreeGetNextSibling(bad), nullptr);
        EXPECT_EQ(CFTreeGetFirstChild(bad), nullptr);
        EXPECT_EQ(CFTreeGetChildCount(bad), 0);
        EXPECT_EQ(CFTreeGetChildAtIndex(bad, 0), nullptr);
        EXPECT_EQ(CFTreeFindRoot(bad), nullptr);
        CFTreeGetContext(bad, &out);
        CFTreeGetChildren(bad, nullptr);
        CFTreeApplyFunctionToChildren(bad, nullptr, nullptr);
        CFTreeSetContext(bad, &context);
        CFTreePrependChild(bad, root);
        CFTreeAppendChild(bad, root);
        CFTreeInsertSibling(bad, root);
        CFTreePrependChild(root, bad);
        CFTreeAppendChild(root, bad);
        CFTreeInsertSibling(CFTreeGetFirstChild(root), bad);
        CFTreeRemove(bad);
        CFTreeRemoveAllChildren(bad);
        CFTreeSortChildren(bad, nullptr, nullptr);
    }
    CFTreeGetContext(root, nullptr);
    CFTreeGetChildren(root, nullptr);
    CFTreeSetContext(root, nullptr);
    CFTreeApplyFunctionToChildren(root, nullptr, nullptr);
    CFTreeSortChildren(root, nullptr, nullptr);
    EXPECT_THAT(children(root), ElementsAre(1));
}

}  // namespace
