#pragma once

// An allocator that counts what is out, gives no block that no computer has room for, and can be told to give no more.

#include <CoreFoundation/CFBase.h>

#include <cstdlib>
#include <limits>

class TestAllocator {
  public:
    TestAllocator() {
        CFAllocatorContext context{};
        context.info = this;
        context.allocate = [](CFIndex size, CFOptionFlags, void* info) {
            return static_cast<TestAllocator*>(info)->allocate(size);
        };
        context.reallocate = [](void* memory, CFIndex size, CFOptionFlags, void* info) {
            return static_cast<TestAllocator*>(info)->reallocate(memory, size);
        };
        context.deallocate = [](void* memory, void* info) { static_cast<TestAllocator*>(info)->deallocate(memory); };
        reference_ = CFAllocatorCreate(kCFAllocatorSystemDefault, &context);
    }
    ~TestAllocator() { CFRelease(reference_); }
    TestAllocator(const TestAllocator&) = delete;
    TestAllocator& operator=(const TestAllocator&) = delete;

    operator CFAllocatorRef() const { return reference_; }

    /// Gives memory `count` more times, then none.
    void failAfter(long count) { left_ = count; }
    /// Blocks given and not yet taken back.
    long blocks() const { return blocks_; }
    /// Times memory was asked for.
    long requests() const { return requests_; }

  private:
    static constexpr CFIndex kLargest = CFIndex{1} << 40;

    bool mayGive(CFIndex size) {
        ++requests_;
        return size <= kLargest && left_ > 0 && left_-- > 0;
    }
    void* allocate(CFIndex size) {
        if (!mayGive(size)) return nullptr;
        ++blocks_;
        return std::malloc(static_cast<std::size_t>(size));
    }
    void* reallocate(void* memory, CFIndex size) {
        return mayGive(size) ? std::realloc(memory, static_cast<std::size_t>(size)) : nullptr;
    }
    void deallocate(void* memory) {
        --blocks_;
        std::free(memory);
    }

    CFAllocatorRef reference_;
    long left_ = std::numeric_limits<long>::max();
    long blocks_ = 0;
    long requests_ = 0;
};
