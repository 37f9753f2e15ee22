#pragma once

// A process that runs out of memory at a place of the test's choosing. A program that is built with FailingMalloc.cpp
// has malloc and its kin of its own, which stand before the C library's for every library it uses, operator new
// included. Not under the sanitizers, which bring a malloc themselves.

#include <gtest/gtest.h>

#include <exception>

namespace FailingMalloc {

/// Whether it is this malloc that is called; a sanitizer or valgrind may have one of its own in its place.
bool isAvailable();

/// The calling thread's requests of memory are counted from now on, and the one after `allowed` is not granted; with
/// `forGood` none after it is either.
void begin(long allowed, bool forGood);

/// Counts and refuses no more. Whether a request has been refused.
bool end();

/// Blocks that the calling thread took less those that it gave back since begin().
long blocks();

/// While it lives, the calling thread's requests are neither counted nor refused.
class Pause {
  public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

  private:
    bool wasOn_;
};

namespace detail {

struct Outcome {
    bool failed;  ///< a request was refused
    bool threw;
    long left;  ///< blocks
};

template <class Work>
Outcome runOnce(long allowed, bool forGood, Work& work) {
    begin(allowed, forGood);
    bool threw = false;
    try {
        work();
    } catch (const std::exception&) {
        threw = true;
    }
    const bool failed = end();
    return {failed, threw, blocks()};
}

template <class Run>
void forEachRequest(Run run) {
    for (const bool forGood : {false, true}) {
        for (long allowed = 0;; ++allowed) {
            ASSERT_LT(allowed, 100000);
            const Outcome outcome = run(allowed, forGood);
            ASSERT_FALSE(outcome.threw) << "request " << allowed << (forGood ? " and all after it" : "");
            if (!outcome.failed) break;
        }
    }
}

}  // namespace detail

/// Runs `work` so often that each of its requests is refused once, alone and together with all after it; it must come
/// back each time, and without an exception. What it leaves behind is not looked at: ICU and the C
/// library's regcomp lose some of their own.
template <class Work>
void refuseEachRequest(const char* name, Work work) {
    SCOPED_TRACE(name);
    detail::forEachRequest([&](long allowed, bool forGood) { return detail::runOnce(allowed, forGood, work); });
}

/// The same, and `work` must leave nothing behind. What a library takes once and keeps does not count: only what is
/// left each time does.
template <class Work>
void failEachRequest(const char* name, Work work) {
    SCOPED_TRACE(name);
    detail::forEachRequest([&](long allowed, bool forGood) {
        detail::Outcome outcome = detail::runOnce(allowed, forGood, work);
        for (int again = 0; outcome.left > 0 && again < 2; ++again) outcome = detail::runOnce(allowed, forGood, work);
        EXPECT_LE(outcome.left, 0) << "request " << allowed << (forGood ? " and all after it" : "");
        return outcome;
    });
}

}  // namespace FailingMalloc
