#include <KXCoreLib/Singleton.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <latch>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include "KXCoreLib/SingletonTestLibrary.h"

using namespace KXCore;

namespace {

struct Plain {
    int value = 7;
};

TEST(Singleton, IsBuiltByItsDefaultConstructorAndStaysTheSame) {
    Plain& first = GetSingletonInstance<Plain, int>();
    EXPECT_EQ(first.value, 7);
    first.value = 8;
    EXPECT_EQ(&(GetSingletonInstance<Plain, int>()), &first);
    EXPECT_EQ((GetSingletonInstance<Plain, int>().value), 8);
}

TEST(Singleton, TagsTellInstancesApart) {
    EXPECT_NE(&(GetSingletonInstance<Plain, int>()), &(GetSingletonInstance<Plain, long>()));
}

/// Lets no constructor finish before all threads have begun theirs: each thread has found nothing published.
struct Contested {
    static constexpr int kThreads = 4;
    static inline std::latch allInside{kThreads};
    static inline std::atomic<int> made{0};
    static inline std::atomic<int> destroyed{0};

    Contested() {
        ++made;
        allInside.arrive_and_wait();
    }
    ~Contested() { ++destroyed; }
};

TEST(Singleton, RacingThreadsGetTheSameObjectAndTheOthersAreDestroyed) {
    std::vector<Contested*> found(Contested::kThreads);
    std::vector<std::thread> threads;
    for (Contested*& place : found) {
        threads.emplace_back([&place] { place = &GetSingletonInstance<Contested, int>(); });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(std::count(found.begin(), found.end(), &(GetSingletonInstance<Contested, int>())), Contested::kThreads);
    EXPECT_EQ(Contested::made, Contested::kThreads);
    EXPECT_EQ(Contested::destroyed, Contested::kThreads - 1);
}

/// What the constructor wrote must be seen by every thread that gets the object.
struct Filled {
    Filled() : values(100, 1) {}
    std::vector<int> values;
};

TEST(Singleton, ThreadsSeeTheWholeObject) {
    std::latch start{4};
    std::atomic<int> sum{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (const int value : GetSingletonInstance<Filled, int>().values) sum += value;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(sum, 400);
}

struct FailsAtFirst {
    static inline int attempts = 0;
    static inline int allocated = 0;

    FailsAtFirst() {
        if (++attempts < 3) throw std::runtime_error("not yet");
    }
    static void* operator new(std::size_t size) {
        ++allocated;
        return ::operator new(size);
    }
    static void operator delete(void* object) {
        --allocated;
        ::operator delete(object);
    }
};

TEST(Singleton, ConstructorThatThrowsLeavesNothingBehindAndIsTriedAgain) {
    EXPECT_THROW((GetSingletonInstance<FailsAtFirst, int>()), std::runtime_error);
    EXPECT_EQ(FailsAtFirst::allocated, 0);
    EXPECT_THROW((GetSingletonInstance<FailsAtFirst, int>()), std::runtime_error);
    EXPECT_EQ(FailsAtFirst::allocated, 0);
    FailsAtFirst& made = GetSingletonInstance<FailsAtFirst, int>();
    EXPECT_EQ(&(GetSingletonInstance<FailsAtFirst, int>()), &made);
    EXPECT_EQ(FailsAtFirst::attempts, 3);
    EXPECT_EQ(FailsAtFirst::allocated, 1);
}

class OnlyForTheAccessor {
    OnlyForTheAccessor() = default;
    ~OnlyForTheAccessor() = default;
    friend OnlyForTheAccessor& KXCore::GetSingletonInstance<OnlyForTheAccessor, int>();
};

TEST(Singleton, TypeMayKeepItsConstructorToTheAccessor) {
    EXPECT_EQ(&(GetSingletonInstance<OnlyForTheAccessor, int>()), &(GetSingletonInstance<OnlyForTheAccessor, int>()));
}

struct ExitsWhenDestroyed {
    ~ExitsWhenDestroyed() { _exit(9); }
};

TEST(SingletonDeathTest, IsNeverDestroyed) {
    EXPECT_EXIT(
        {
            (void)(GetSingletonInstance<ExitsWhenDestroyed, int>());
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

TEST(Singleton, IsOneForAllSharedLibrariesOfTheProcess) {
    EXPECT_EQ(&(GetSingletonInstance<SharedService, int>()), SharedServiceOfLibrary());
}

TEST(Singleton, IsTheLibrarysOwnWhereTheLibraryInstantiatesIt) {
    EXPECT_EQ(&(GetSingletonInstance<LibraryService, int>()), LibraryServiceOfLibrary());
}

}  // namespace
