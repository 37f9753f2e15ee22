#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/RunLoop.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

/// Throws as a wrapper does when the platform gives it nothing.
class Trouble : public CFException {
  public:
    const char* what() const noexcept override { return "there is trouble"; }
};

void schedule(const boost::shared_ptr<RunLoopSourceTimer>& source) {
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
}
void runOnce() { CFRunLoopRunInMode(kCFRunLoopDefaultMode, 20, true); }

TEST(RunLoopHandlers, ALambdaWithCapturesIsAHandler) {
    int calls = 0;
    const auto tick = [&calls] { ++calls; };
    const auto source = boost::make_shared<bind_run_loop_source<RunLoopSourceTimer, decltype(tick)>>(
        tick, CFAbsoluteTimeGetCurrent(), 0.0);
    RunLoopSourceTimer::initialize(source);
    schedule(source);
    while (calls == 0) runOnce();
    EXPECT_EQ(calls, 1);
}

TEST(RunLoopHandlers, AHandlerLivesAsLongAsItsSource) {
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = owned;
    auto source = MakeRunLoopSource<RunLoopSourceTimer>([owned] { ++*owned; }, CFAbsoluteTimeGetCurrent(), 0.0);
    owned.reset();
    schedule(source);
    while (*watched.lock() == 0) runOnce();
    source.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(RunLoopHandlers, LogsTheTextOfACFExceptionThatLeavesACallbackAndLetsItPass) {
    const auto source = MakeRunLoopSource<RunLoopSourceTimer>([] { throw Trouble(); }, CFAbsoluteTimeGetCurrent(), 0.0);
    schedule(source);
    testing::internal::CaptureStderr();
    EXPECT_THROW(for (;;) runOnce(), CFException);
    EXPECT_NE(
        testing::internal::GetCapturedStderr().find("]a CFException leaves a run-loop callback (there is trouble)\n"),
        std::string::npos);
}

TEST(RunLoopHandlersDeathTest, LogsTheTextBeforeTheProcessEnds) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const auto source =
                MakeRunLoopSource<RunLoopSourceTimer>([] { throw Trouble(); }, CFAbsoluteTimeGetCurrent(), 0.0);
            schedule(source);
            [&]() noexcept {
                for (;;) runOnce();
            }();
        },
        "a CFException leaves a run-loop callback \\(there is trouble\\)");
}

TEST(RunLoopHandlers, SaysThatASourceWasNotInitialized) {
    const auto nothing = [] {};
    const auto source =
        boost::make_shared<bind_run_loop_source<RunLoopSourceTimer, decltype(nothing)>>(nothing, 0.0, 0.0);
    testing::internal::CaptureStderr();
    schedule(source);
    const auto descriptor =
        boost::make_shared<bind_run_loop_source<RunLoopSourceFileDescriptor, decltype(nothing)>>(nothing, 0);
    descriptor->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("]RunLoopSourceTimer::scheduleWithRunLoop: the source was not initialized"), std::string::npos);
    EXPECT_NE(said.find("]RunLoopSourceFileDescriptor::scheduleWithRunLoop: the source was not initialized"),
              std::string::npos);
}

}  // namespace
