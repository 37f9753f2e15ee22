// A service on a thread of its own: lines are handed in on any thread and printed on the service's.

#include <KXCoreLib/ThreadUtils.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace KXCore;

class Printer : public BackgroundThread {
  public:
    /// Hands a line in. Any thread, while the service runs.
    void print(std::string line) {
        {
            const std::lock_guard lock(mutex_);
            lines_.push_back(std::move(line));
        }
        arrival_.signal();  // any number of signals before the service wakes are one
    }

    void run() override {
        const auto source = boost::make_shared<Arrivals>(*this);
        RunLoopSourceEventPort::initialize(source);
        source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
        CFRunLoopRun();  // until the thread is stopped
        printAll();      // what came in between the last wake-up and the stop
    }

  private:
    struct Arrivals final : RunLoopSourceEventPort {
        explicit Arrivals(Printer& p) : RunLoopSourceEventPort(p.arrival_), printer(p) {}
        void callback() override { printer.printAll(); }
        Printer& printer;
    };

    void printAll() {
        std::vector<std::string> lines;
        {
            const std::lock_guard lock(mutex_);
            lines.swap(lines_);
        }
        for (const std::string& line : lines) std::printf("%s\n", line.c_str());
    }

    EventPort arrival_{0};
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace

int main() {
    auto* const printer = new Printer;  // belongs to the registry from its start on
    StartBackgroundThread("printer", printer);
    printer->print("a line");
    printer->print("another line");
    StopBackgroundThread("printer");  // returns when the thread has ended; the printer has gone with it
    std::puts("stopped");
}
