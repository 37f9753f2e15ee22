#include "Watcher.h"

#include <KXCoreLib/RunLoop.h>
#include <KXCoreLib/SystemInfo.h>

#include <functional>
#include <utility>

namespace agent {

using namespace KXCore;

namespace {

constexpr double kLookEvery = 1;  // second

/// Runs a function when a descriptor can be read, again and again.
class OnReadable final : public RunLoopSourceFileDescriptor {
  public:
    OnReadable(int descriptor, std::function<void()> function)
        : RunLoopSourceFileDescriptor(descriptor), function_(std::move(function)) {}
    void enable() { fileDescriptor_.enableCallBacks(kCFFileDescriptorReadCallBack); }
    void callback() override {
        function_();
        enable();
    }

  private:
    std::function<void()> function_;
};

/// Runs a function every so often.
class Every final : public RunLoopSourceTimer {
  public:
    Every(double seconds, std::function<void()> function)
        : RunLoopSourceTimer(CFAbsoluteTimeGetCurrent() + seconds, seconds), function_(std::move(function)) {}
    void callback() override { function_(); }

  private:
    std::function<void()> function_;
};

}  // namespace

Watcher::Watcher(Sources sources, Presence::Devices reported, Auditor& auditor, std::unique_ptr<StatusSocket> status,
                 std::function<void()> begun)
    : sources_(std::move(sources)),
      reported_(std::move(reported)),
      auditor_(auditor),
      status_(std::move(status)),
      begun_(std::move(begun)) {}

void Watcher::run() {
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    std::vector<boost::shared_ptr<OnReadable>> readers;
    const auto onReadable = [&](int descriptor, std::function<void()> function) {
        readers.push_back(boost::make_shared<OnReadable>(descriptor, std::move(function)));
        OnReadable::initialize(readers.back());
        readers.back()->enable();
        readers.back()->scheduleWithRunLoop(loop, kCFRunLoopCommonModes, 0);
    };
    for (const auto& source : sources_) {
        onReadable(source->descriptor(), [this, &source] { source->read(auditor_); });
    }
    if (status_) onReadable(status_->descriptor(), [this] { status_->serve(); });

    const auto timer = boost::make_shared<Every>(kLookEvery, [this] {
        lastSeen_ = std::chrono::steady_clock::now();
        for (const auto& source : sources_) source->look(auditor_);
    });
    Every::initialize(timer);
    timer->scheduleWithRunLoop(loop, kCFRunLoopCommonModes, 0);
    // The computer's name follows its changes on this loop.
    const auto computer = GetSystemInfoUpdater();
    computer->scheduleWithRunLoop(loop, kCFRunLoopCommonModes, 0);

    for (const auto& source : sources_) source->begin(auditor_, reported_);
    begun_();
    CFRunLoopRun();
}

}  // namespace agent
