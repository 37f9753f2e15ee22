#include <KXCoreLib/CoreFoundation/AllocatorRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

using namespace KXCore::CoreFoundation;

template <>
AllocatorRef KXCore::CoreFoundation::sample() {
    return AllocatorRef::retain(kCFAllocatorSystemDefault);
}
INSTANTIATE_TYPED_TEST_SUITE_P(AllocatorRef, TypedWrapper, AllocatorRef);

FORWARDS(AllocatorRef, create, CFAllocatorCreate);
FORWARDS(AllocatorRef, getTypeID, CFAllocatorGetTypeID);
FORWARDS(AllocatorRef, setDefault, CFAllocatorSetDefault);
FORWARDS(AllocatorRef, getDefault, CFAllocatorGetDefault);
FORWARDS(AllocatorRef, allocate, CFAllocatorAllocate);
FORWARDS(AllocatorRef, reallocate, CFAllocatorReallocate);
FORWARDS(AllocatorRef, deallocate, CFAllocatorDeallocate);
FORWARDS(AllocatorRef, getPreferredSizeForSize, CFAllocatorGetPreferredSizeForSize);
FORWARDS(AllocatorRef, getContext, CFAllocatorGetContext);

TEST(AllocatorRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFAllocatorCreate",
         [](CFAllocatorRef allocator) {
             CFAllocatorContext context{};
             context.allocate = [](CFIndex, CFOptionFlags, void*) -> void* { return nullptr; };
             AllocatorRef::create(allocator, &context);
         }},
    });
}

TEST(AllocatorRef, AllocatesThroughItsCallBacks) {
    std::array<int, 4> calls{};
    CFAllocatorContext context{};
    context.info = &calls;
    context.allocate = [](CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[0];
        return std::malloc(static_cast<std::size_t>(size));
    };
    context.reallocate = [](void* memory, CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[1];
        return std::realloc(memory, static_cast<std::size_t>(size));
    };
    context.deallocate = [](void* memory, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[2];
        std::free(memory);
    };
    context.preferredSize = [](CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[3];
        return size + 1;
    };
    const AllocatorRef allocator = AllocatorRef::create(kCFAllocatorSystemDefault, &context);
    void* memory = allocator.allocate(10, 0);
    memory = allocator.reallocate(memory, 20, 0);
    allocator.deallocate(memory);
    EXPECT_EQ(allocator.getPreferredSizeForSize(10, 0), 11);
    EXPECT_EQ(calls, (std::array<int, 4>{1, 1, 1, 1}));
    CFAllocatorContext got{};
    allocator.getContext(&got);
    EXPECT_EQ(got.info, &calls);
    EXPECT_EQ(got.allocate, context.allocate);
}

TEST(AllocatorRef, IsCreatedInTheMemoryOfAnother) {
    CFAllocatorContext context{};
    context.allocate = [](CFIndex size, CFOptionFlags, void*) { return std::malloc(static_cast<std::size_t>(size)); };
    context.deallocate = [](void* memory, void*) { std::free(memory); };
    const AllocatorRef outer = AllocatorRef::create(kCFAllocatorSystemDefault, &context);
    const AllocatorRef inner = AllocatorRef::create(outer.get(), &context);
    EXPECT_EQ(CFGetAllocator(inner.get()), outer.get());
}

TEST(AllocatorRef, GetsAndSetsTheThreadsDefault) {
    const AllocatorRef before = AllocatorRef::getDefault();
    ASSERT_TRUE(before);
    AllocatorRef::retain(kCFAllocatorMalloc).setDefault();
    EXPECT_EQ(AllocatorRef::getDefault().get(), kCFAllocatorMalloc);
    before.setDefault();
    EXPECT_EQ(AllocatorRef::getDefault().get(), before.get());
}
