#include <KXCoreLib/CoreFoundation/TreeRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

TreeRef node(std::intptr_t name) {
    const CFTreeContext context{0, reinterpret_cast<void*>(name), nullptr, nullptr, nullptr};
    return TreeRef::create(kCFAllocatorDefault, &context);
}

std::intptr_t nameOf(const TreeRef& tree) {
    CFTreeContext context{};
    tree.getContext(&context);
    return reinterpret_cast<std::intptr_t>(context.info);
}

}  // namespace

template <>
TreeRef KXCore::CoreFoundation::sample() {
    return node(0);
}
INSTANTIATE_TYPED_TEST_SUITE_P(TreeRef, TypedWrapper, TreeRef);

FORWARDS(TreeRef, getTypeID, CFTreeGetTypeID);
FORWARDS(TreeRef, create, CFTreeCreate);
FORWARDS(TreeRef, getParent, CFTreeGetParent);
FORWARDS(TreeRef, getNextSibling, CFTreeGetNextSibling);
FORWARDS(TreeRef, getFirstChild, CFTreeGetFirstChild);
FORWARDS(TreeRef, getContext, CFTreeGetContext);
FORWARDS(TreeRef, getChildCount, CFTreeGetChildCount);
FORWARDS(TreeRef, getChildAtIndex, CFTreeGetChildAtIndex);
FORWARDS(TreeRef, getChildren, CFTreeGetChildren);
FORWARDS(TreeRef, applyFunctionToChildren, CFTreeApplyFunctionToChildren);
FORWARDS(TreeRef, findRoot, CFTreeFindRoot);
FORWARDS(TreeRef, setContext, CFTreeSetContext);
FORWARDS(TreeRef, prependChild, CFTreePrependChild);
FORWARDS(TreeRef, appendChild, CFTreeAppendChild);
FORWARDS(TreeRef, insertSibling, CFTreeInsertSibling);
FORWARDS(TreeRef, remove, CFTreeRemove);
FORWARDS(TreeRef, removeAllChildren, CFTreeRemoveAllChildren);
FORWARDS(TreeRef, sortChildren, CFTreeSortChildren);

TEST(TreeRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({{"CFTreeCreate", [](CFAllocatorRef a) {
                                      const CFTreeContext context{};
                                      TreeRef::create(a, &context);
                                  }}});
    expectFailsToCreate("CFTreeCreate", [] { TreeRef::create(nullptr, nullptr); });
}

TEST(TreeRef, GrowsAndIsWalked) {
    const TreeRef root = node(1), child = node(2);
    root.appendChild(child.get());
    root.prependChild(node(3).get());
    child.insertSibling(node(4).get());
    EXPECT_EQ(root.getChildCount(), 3);
    EXPECT_EQ(nameOf(root.getFirstChild()), 3);
    EXPECT_EQ(root.getFirstChild().getNextSibling(), child);
    EXPECT_EQ(nameOf(root.getChildAtIndex(2)), 4);
    EXPECT_FALSE(root.getChildAtIndex(3));
    EXPECT_EQ(child.getParent(), root);
    EXPECT_EQ(child.findRoot(), root);
    EXPECT_FALSE(root.getParent());
    CFTreeRef children[3] = {};
    root.getChildren(children);
    EXPECT_EQ(children[1], child.get());
    int calls = 0;
    root.applyFunctionToChildren([](const void*, void* context) { ++*static_cast<int*>(context); }, &calls);
    EXPECT_EQ(calls, 3);
}

TEST(TreeRef, IsChanged) {
    const TreeRef root = node(1);
    for (const std::intptr_t name : {5, 2, 9}) root.appendChild(node(name).get());
    root.sortChildren(
        [](const void* a, const void* b, void*) {
            const auto name = [](const void* tree) {
                CFTreeContext context{};
                CFTreeGetContext(static_cast<CFTreeRef>(const_cast<void*>(tree)), &context);
                return reinterpret_cast<std::intptr_t>(context.info);
            };
            return name(a) < name(b) ? kCFCompareLessThan : kCFCompareGreaterThan;
        },
        nullptr);
    EXPECT_EQ(nameOf(root.getFirstChild()), 2);
    root.getFirstChild().remove();
    EXPECT_EQ(nameOf(root.getFirstChild()), 5);
    root.removeAllChildren();
    EXPECT_EQ(root.getChildCount(), 0);
    const CFTreeContext context{0, reinterpret_cast<void*>(7), nullptr, nullptr, nullptr};
    root.setContext(&context);
    EXPECT_EQ(nameOf(root), 7);
}
