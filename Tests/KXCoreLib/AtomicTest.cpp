#include <KXCoreLib/Atomic.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <latch>
#include <new>
#include <thread>
#include <type_traits>
#include <vector>

using namespace KXCore;
using KXCore::detail::atomic_invalidateable_ref_impl;

namespace {

/// The word behind the first pointer of an object, where both classes keep their counter.
std::uint32_t* WordOf(const void* object) {
    auto* const bytes = static_cast<unsigned char*>(const_cast<void*>(object));
    return reinterpret_cast<std::uint32_t*>(bytes + sizeof(void*));
}

/// What the death of a bad cookie looks like, from the first byte to the last.
const char* const kTwoLines =
    "^\\[[^]]{24}\\]bad cookie in tagged atomic counter\n"
    "\\[[^]]{24}\\]KXCoreLib/Atomic:44: abort\\(\\) called\n$";

/// Says when it is destroyed.
class Counted : public atomic_refcounted {
  public:
    explicit Counted(int& destroyed) : destroyed_(destroyed) {}
    ~Counted() override { ++destroyed_; }

  private:
    int& destroyed_;
};

/// Stays when it is disposed of, and keeps the incarnations.
class Parked : public atomic_refcounted {
  public:
    void dispose(int incarnation) override {
        incarnations.push_back(incarnation);
        wordsAtDisposal.push_back(*WordOf(this));
    }

    std::vector<int> incarnations;
    std::vector<std::uint32_t> wordsAtDisposal;
};

// ------------------------------------------------------------------------------------------------------ the counter

static_assert(!std::is_copy_constructible_v<atomic_refcounted> && !std::is_copy_assignable_v<atomic_refcounted>);
static_assert(std::is_base_of_v<boost::noncopyable, atomic_refcounted>);
static_assert(std::has_virtual_destructor_v<atomic_refcounted>);
static_assert(!std::is_copy_constructible_v<atomic_invalidateable_ref_impl>);

TEST(AtomicRefcounted, IsBornWithOneReference) {
    Parked object;
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
}

TEST(AtomicRefcounted, LastReleaseDeletes) {
    int destroyed = 0;
    const auto* const object = new Counted(destroyed);
    intrusive_ptr_release(object);
    EXPECT_EQ(destroyed, 1);
}

TEST(AtomicRefcounted, EachReferenceKeepsItAlive) {
    int destroyed = 0;
    const auto* const object = new Counted(destroyed);
    intrusive_ptr_add_ref(object);
    intrusive_ptr_add_ref(object);
    EXPECT_EQ(*WordOf(object), 0x02000003u);
    intrusive_ptr_release(object);
    intrusive_ptr_release(object);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(*WordOf(object), 0x02000001u);
    intrusive_ptr_release(object);
    EXPECT_EQ(destroyed, 1);
}

TEST(AtomicRefcounted, IsHeldByIntrusivePtr) {
    int destroyed = 0;
    {
        const boost::intrusive_ptr<Counted> held(new Counted(destroyed), false);
        const boost::intrusive_ptr<atomic_refcounted> other = held;
        EXPECT_EQ(*WordOf(held.get()), 0x02000002u);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(AtomicRefcounted, DisposeGetsTheIncarnationThatEnds) {
    Parked object;
    intrusive_ptr_release(&object);
    EXPECT_EQ(object.incarnations, (std::vector<int>{0}));
    EXPECT_EQ(object.wordsAtDisposal, (std::vector<std::uint32_t>{0x06000000u}));  // already the next one, count 0
}

TEST(AtomicRefcounted, ParkedObjectComesBackByAddingAReference) {
    Parked object;
    intrusive_ptr_release(&object);
    intrusive_ptr_add_ref(&object);
    EXPECT_EQ(*WordOf(&object), 0x06000001u);
    intrusive_ptr_add_ref(&object);
    intrusive_ptr_release(&object);
    EXPECT_EQ(object.incarnations.size(), 1u);
    intrusive_ptr_release(&object);
    EXPECT_EQ(object.incarnations, (std::vector<int>{0, 1}));
}

TEST(AtomicRefcounted, IsDisposedOf63TimesAndThenLeftAliveWithALine) {
    Parked object;
    intrusive_ptr_release(&object);
    for (int incarnation = 1; incarnation <= 62; ++incarnation) {
        intrusive_ptr_add_ref(&object);
        intrusive_ptr_release(&object);
        ASSERT_EQ(object.incarnations.back(), incarnation);
    }
    EXPECT_EQ(object.incarnations.size(), 63u);
    EXPECT_EQ(*WordOf(&object), 0xFE000000u);

    for (int again = 0; again < 2; ++again) {
        intrusive_ptr_add_ref(&object);
        testing::internal::CaptureStderr();
        intrusive_ptr_release(&object);
        const std::string line = testing::internal::GetCapturedStderr();
        EXPECT_EQ(object.incarnations.size(), 63u);
        EXPECT_EQ(*WordOf(&object), 0xFE000000u);
        ASSERT_GT(line.size(), 26u);
        EXPECT_EQ(line[0], '[');
        EXPECT_EQ(line.substr(25), "]maximum incarnation reached, object not disposed\n");
    }
}

TEST(AtomicRefcounted, HoldsTheGreatestCount) {
    Parked object;
    *WordOf(&object) = 0x02FFFFFE;
    intrusive_ptr_add_ref(&object);
    EXPECT_EQ(*WordOf(&object), 0x02FFFFFFu);
    intrusive_ptr_release(&object);
    EXPECT_EQ(*WordOf(&object), 0x02FFFFFEu);
    EXPECT_TRUE(object.incarnations.empty());
}

TEST(AtomicRefcounted, IncarnationDoesNotDisturbTheCount) {
    Parked object;
    *WordOf(&object) = 0xFA000001;
    intrusive_ptr_add_ref(&object);
    EXPECT_EQ(*WordOf(&object), 0xFA000002u);
    intrusive_ptr_release(&object);
    intrusive_ptr_release(&object);
    EXPECT_EQ(object.incarnations, (std::vector<int>{62}));
    EXPECT_EQ(*WordOf(&object), 0xFE000000u);
}

/// Calls a slot of the class's table as the platform's C++ ABI lays it out.
__attribute__((no_sanitize("undefined"))) void CallSlot(atomic_refcounted* object, int slot, int argument) {
    using Method = void (*)(atomic_refcounted*, int);
    Method* table = nullptr;
    std::memcpy(&table, static_cast<void*>(object), sizeof table);
    table[slot](object, argument);
}

TEST(AtomicRefcounted, SlotsAreDisposeThenTheDestructors) {
    Parked parked;
    CallSlot(&parked, 0, 17);
    EXPECT_EQ(parked.incarnations, (std::vector<int>{17}));

    int destroyed = 0;
    alignas(Counted) unsigned char place[sizeof(Counted)];
    CallSlot(new (place) Counted(destroyed), 1, 0);
    EXPECT_EQ(destroyed, 1);
    CallSlot(new Counted(destroyed), 2, 0);
    EXPECT_EQ(destroyed, 2);
}

TEST(AtomicRefcountedDeathTest, ReleaseOfAnObjectWithoutReferencesEndsTheProcess) {
    Parked object;
    *WordOf(&object) = 0x02000000;
    EXPECT_EXIT(intrusive_ptr_release(&object), testing::KilledBySignal(SIGABRT), kTwoLines);
}

TEST(AtomicRefcountedDeathTest, ReleaseAfterDisposalEndsTheProcess) {
    Parked object;
    intrusive_ptr_release(&object);
    EXPECT_EXIT(intrusive_ptr_release(&object), testing::KilledBySignal(SIGABRT), kTwoLines);
}

TEST(AtomicRefcountedDeathTest, OneReferenceTooManyEndsTheProcess) {
    Parked object;
    EXPECT_EXIT(
        {
            for (int reference = 2; reference <= 16777215; ++reference) intrusive_ptr_add_ref(&object);
            if (*WordOf(&object) != 0x02FFFFFF) _exit(1);
            intrusive_ptr_add_ref(&object);  // the 16,777,216th
        },
        testing::KilledBySignal(SIGABRT), kTwoLines);
}

TEST(AtomicRefcountedDeathTest, EveryOtherCookieIsBad) {
    Parked object;
    for (const std::uint32_t word : {0x00000001u, 0x01000001u, 0x03000001u, 0xFC000005u, 0xFFFFFFF0u}) {
        *WordOf(&object) = word;
        EXPECT_EXIT(intrusive_ptr_add_ref(&object), testing::KilledBySignal(SIGABRT), kTwoLines) << word;
        EXPECT_EXIT(intrusive_ptr_release(&object), testing::KilledBySignal(SIGABRT), kTwoLines) << word;
    }
    *WordOf(&object) = 0x02000001;
}

TEST(AtomicRefcounted, ThreadsThatShareItDisposeOfItOnceAndSeeEachOthersWork) {
    struct Shared : atomic_refcounted {
        explicit Shared(int& total) : total_(total) {}
        ~Shared() override { total_ = work[0] + work[1] + work[2] + work[3]; }  // plain reads of what threads wrote
        int work[4] = {};
        int& total_;
    };
    for (int round = 0; round < 200; ++round) {
        int total = 0;
        auto* const object = new Shared(total);
        std::latch start{4};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            intrusive_ptr_add_ref(object);
            threads.emplace_back([object, i, &start] {
                start.arrive_and_wait();
                for (int n = 0; n < 10; ++n) {
                    intrusive_ptr_add_ref(object);
                    intrusive_ptr_release(object);
                }
                object->work[i] = i + 1;
                intrusive_ptr_release(object);
            });
        }
        intrusive_ptr_release(object);
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(total, 10);
    }
}

// ---------------------------------------------------------------------------------------- the invalidateable reference

TEST(AtomicInvalidateableRef, HoldsOneReferenceUntilInvalidated) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    EXPECT_EQ(*WordOf(&object), 0x02000002u);
    EXPECT_EQ(*WordOf(&reference), 0xFE000000u);
    reference.invalidate();
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
    EXPECT_EQ(*WordOf(&reference), 0x02000000u);
}

TEST(AtomicInvalidateableRef, TargetComesBeforeTheState) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    void* target = nullptr;
    std::memcpy(&target, static_cast<void*>(&reference), sizeof target);
    EXPECT_EQ(target, static_cast<atomic_refcounted*>(&object));
    reference.invalidate();
    std::memcpy(&target, static_cast<void*>(&reference), sizeof target);
    EXPECT_EQ(target, nullptr);
}

TEST(AtomicInvalidateableRef, GetPointerAddsAReferenceForTheCaller) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    EXPECT_EQ(reference.get_pointer(), &object);
    EXPECT_EQ(*WordOf(&object), 0x02000003u);
    EXPECT_EQ(*WordOf(&reference), 0xFE000000u);
    intrusive_ptr_release(&object);
}

TEST(AtomicInvalidateableRef, GetPointerAnswersNullOnceInvalidated) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    reference.invalidate();
    EXPECT_EQ(reference.get_pointer(), nullptr);
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
    EXPECT_EQ(*WordOf(&reference), 0x02000000u);
}

TEST(AtomicInvalidateableRef, WithoutATargetItIsInvalidFromTheStart) {
    atomic_invalidateable_ref_impl reference(nullptr);
    EXPECT_EQ(*WordOf(&reference), 0x02000000u);
    EXPECT_EQ(reference.get_pointer(), nullptr);
    reference.invalidate();
    EXPECT_EQ(reference.get_pointer(), nullptr);
    EXPECT_EQ(*WordOf(&reference), 0x02000000u);
}

TEST(AtomicInvalidateableRef, SecondInvalidateDoesNothing) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    reference.invalidate();
    reference.invalidate();
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
}

TEST(AtomicInvalidateableRef, DestructionInvalidates) {
    Parked object;
    { const atomic_invalidateable_ref_impl reference(&object); }
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
}

TEST(AtomicInvalidateableRef, ReferenceThatOwnsTheLastCountDisposesOfTheTarget) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    intrusive_ptr_release(&object);
    EXPECT_TRUE(object.incarnations.empty());
    reference.invalidate();
    EXPECT_EQ(object.incarnations, (std::vector<int>{0}));
}

// A reader inside get_pointer() is one more in the state's count: the tests put it there and take it out by hand.

TEST(AtomicInvalidateableRef, InvalidateWithAReaderInsideLeavesTheTargetToTheLastReaderOut) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    *WordOf(&reference) += 1;  // enters
    reference.invalidate();
    EXPECT_EQ(*WordOf(&reference), 0x02000001u);
    EXPECT_EQ(*WordOf(&object), 0x02000002u);  // still owned
    reference.invalidate();
    EXPECT_EQ(*WordOf(&object), 0x02000002u);
    EXPECT_EQ(reference.get_pointer(), nullptr);  // a second reader comes and goes before the first has left
    EXPECT_EQ(*WordOf(&object), 0x02000002u);
    *WordOf(&reference) -= 1;                     // leaves, short of its last step
    EXPECT_EQ(reference.get_pointer(), nullptr);  // which the next one out does
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
    EXPECT_EQ(reference.get_pointer(), nullptr);
    EXPECT_EQ(*WordOf(&object), 0x02000001u);
}

// A reader can be halted between the test and its leaving: its next step there is to add a reference to the target, and
// a target on a page that may not be touched makes that step fault. The handler is then what other threads do
// meanwhile.

class HaltedReader : public testing::Test {
  protected:
    void SetUp() override {
        size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        page_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(page_, MAP_FAILED);
        object = new (page_) Parked;
        running_ = this;
    }
    void TearDown() override {
        object->~Parked();
        munmap(page_, size_);
    }

    /// get_pointer(), with `meanwhile` run once it has found the reference valid.
    atomic_refcounted* getPointer(const atomic_invalidateable_ref_impl& reference, std::function<void()> meanwhile) {
        meanwhile_ = std::move(meanwhile);
        struct sigaction action {};
        action.sa_handler = [](int) {
            mprotect(running_->page_, running_->size_, PROT_READ | PROT_WRITE);
            running_->isHalted = true;
            running_->meanwhile_();
        };
        struct sigaction before {};
        sigaction(SIGSEGV, &action, &before);
        mprotect(page_, size_, PROT_NONE);
        atomic_refcounted* const found = reference.get_pointer();
        mprotect(page_, size_, PROT_READ | PROT_WRITE);
        sigaction(SIGSEGV, &before, nullptr);
        return found;
    }

    Parked* object = nullptr;
    bool isHalted = false;

  private:
    inline static HaltedReader* running_ = nullptr;
    std::size_t size_ = 0;
    void* page_ = nullptr;
    std::function<void()> meanwhile_;
};

using AtomicInvalidateableRefWithAReaderPastTheTest = HaltedReader;

TEST_F(AtomicInvalidateableRefWithAReaderPastTheTest, InvalidateLeavesItTheTargetAndTheLastRelease) {
    atomic_invalidateable_ref_impl reference(object);
    intrusive_ptr_release(object);  // the reference is the only owner
    atomic_refcounted* const found = getPointer(reference, [&] {
        reference.invalidate();
        EXPECT_EQ(*WordOf(&reference), 0x02000001u);
        EXPECT_EQ(*WordOf(object), 0x02000001u);  // still owned by the reference
        reference.invalidate();
        EXPECT_EQ(*WordOf(object), 0x02000001u);
    });
    ASSERT_TRUE(isHalted);
    EXPECT_EQ(found, object);
    EXPECT_TRUE(object->incarnations.empty());
    EXPECT_EQ(*WordOf(object), 0x02000001u);  // the reader's own; it has released the other
    EXPECT_EQ(*WordOf(&reference), 0x02000000u);
    EXPECT_EQ(reference.get_pointer(), nullptr);
    intrusive_ptr_release(found);
    EXPECT_EQ(object->incarnations, (std::vector<int>{0}));
}

TEST_F(AtomicInvalidateableRefWithAReaderPastTheTest, ReadersThatComeAndGoMeanwhileReleaseNothing) {
    atomic_invalidateable_ref_impl reference(object);
    atomic_refcounted* const found = getPointer(reference, [&] {
        reference.invalidate();
        EXPECT_EQ(reference.get_pointer(), nullptr);
        EXPECT_EQ(*WordOf(&reference), 0x02000001u);
        EXPECT_EQ(*WordOf(object), 0x02000002u);
    });
    ASSERT_TRUE(isHalted);
    EXPECT_EQ(found, object);
    EXPECT_EQ(*WordOf(object), 0x02000002u);
    intrusive_ptr_release(found);
    intrusive_ptr_release(object);
    EXPECT_EQ(object->incarnations, (std::vector<int>{0}));
}

TEST(AtomicInvalidateableRefDeathTest, BadStateEndsTheProcess) {
    Parked object;
    atomic_invalidateable_ref_impl reference(&object);
    *WordOf(&reference) = 0xFC000000;
    EXPECT_EXIT(reference.get_pointer(), testing::KilledBySignal(SIGABRT), kTwoLines);
    EXPECT_EXIT(reference.invalidate(), testing::KilledBySignal(SIGABRT), kTwoLines);
    *WordOf(&reference) = 0x01FFFFFF;  // well-formed only while the reader is inside
    EXPECT_EXIT(reference.get_pointer(), testing::KilledBySignal(SIGABRT), kTwoLines);
    *WordOf(&reference) = 0xFEFFFFFF;  // one reader too many
    EXPECT_EXIT(reference.get_pointer(), testing::KilledBySignal(SIGABRT), kTwoLines);
    *WordOf(&reference) = 0xFE000000;
}

TEST(AtomicInvalidateableRefDeathTest, BadTargetEndsTheProcess) {
    Parked object;
    *WordOf(&object) = 0;
    EXPECT_EXIT(atomic_invalidateable_ref_impl reference(&object), testing::KilledBySignal(SIGABRT), kTwoLines);
    *WordOf(&object) = 0x02000001;
}

TEST(AtomicInvalidateableRef, ReadersAndInvalidatorsRaceAndTheTargetIsReleasedOnce) {
    constexpr int kReaders = 3;
    constexpr int kInvalidators = 2;
    for (int round = 0; round < 300; ++round) {
        int destroyed = 0;
        auto* const object = new Counted(destroyed);
        auto* const reference = new atomic_invalidateable_ref_impl(object);
        intrusive_ptr_release(object);  // the reference is now the only owner

        std::latch start{kReaders + kInvalidators};
        std::vector<std::thread> threads;
        for (int i = 0; i < kReaders; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                while (atomic_refcounted* const found = reference->get_pointer()) {
                    EXPECT_EQ(found, object);
                    intrusive_ptr_release(found);
                }
                EXPECT_EQ(reference->get_pointer(), nullptr);  // there is no way back
            });
        }
        for (int i = 0; i < kInvalidators; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                reference->invalidate();
            });
        }
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(destroyed, 1);
        ASSERT_EQ(*WordOf(reference), 0x02000000u);
        delete reference;
    }
}

}  // namespace
