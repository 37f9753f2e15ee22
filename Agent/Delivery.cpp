#include "Delivery.h"

#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/SystemInfo.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace agent {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

/// Runs a function when a port is signalled.
class OnSignal final : public RunLoopSourceEventPort {
  public:
    OnSignal(const EventPort& arrivals, std::function<void()> function)
        : RunLoopSourceEventPort(arrivals), function_(std::move(function)) {}
    void callback() override { function_(); }

  private:
    std::function<void()> function_;
};

/// A text that somebody else chose, on one line.
std::string onOneLine(const char* text) {
    std::string line;
    for (; *text != '\0'; ++text) {
        const auto c = static_cast<unsigned char>(*text);
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, c < 0x20 || c == 0x7F ? "\\x%02x" : "%c", c);
        line += escaped;
    }
    return line;
}

void print(const AuditRecord& record) {
    std::printf("%s  %-8s  %-24s  %-8s %-14s %s: %s\n", onOneLine(record.get_date_str()).c_str(),
                onOneLine(record.get_type_str()).c_str(), onOneLine(record.get_user_name_str()).c_str(),
                onOneLine(record.get_action_str()).c_str(), onOneLine(record.get_device_type_str()).c_str(),
                onOneLine(record.get_name_str()).c_str(), onOneLine(record.get_reason_str()).c_str());
}

/// Prints the records that an item holds; one of another kind holds none.
void print(CFTypeRef item) {
    if (CFGetTypeID(item) != DataRef::getTypeID()) return;
    const std::vector<unsigned char> buffer = DataRef::retain(static_cast<CFDataRef>(item)).copyStdVector();
    AuditRecord record;
    for (unsigned long next = 0; (next = record.read_from_buffer(buffer, next)) != AuditRecord::kNoRecord;) {
        print(record);
    }
}

}  // namespace

Delivery::Delivery(StreamStorage& stream, const EventPort& arrivals) : stream_(stream), arrivals_(arrivals) {}

void Delivery::run() {
    const auto source = boost::make_shared<OnSignal>(arrivals_, [this] { deliver(); });
    OnSignal::initialize(source);
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopCommonModes, 0);
    // The computer's name follows its changes on this loop.
    const auto computer = GetSystemInfoUpdater();
    computer->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopCommonModes, 0);

    deliver();  // what an earlier process left
    CFRunLoopRun();
    deliver();  // what came in while the loop was being stopped
}

void Delivery::deliver() {
    const std::unique_ptr<StreamCursor> cursor(
        stream_.createStreamCursor(StreamCursorForward, stream_.getFirstItemID(), nullptr));
    PropertyListRef item;
    unsigned long long last = 0;
    while (const unsigned long long id = cursor->getNextItem(nullptr, item)) {
        last = id;
        print(item.get());
    }
    // Out of the process first, out of the stream after. What the reader did not take stays, for the next time.
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) stream_.discardItemsWithIDLessThanOrEqualTo(last);
    std::clearerr(stdout);
}

}  // namespace agent
