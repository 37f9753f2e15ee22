#include <StreamFollower.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "AuditOptions.h"
#include "Checkpoint.h"
#include "Command.h"
#include "FileWatch.h"
#include "Interruption.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::StreamError;
using KXCore::StreamFollower;
using KXCore::StreamItem;
using KXCore::StreamPosition;

/// Short: a look that comes too late misses items.
constexpr std::chrono::milliseconds kPatience{20};
constexpr int kRetryMilliseconds = 2;
constexpr int kLongestRetryMilliseconds = 100;

constexpr long long kFromTheFirst = 0;

StreamFollower Opened(const AuditOptions& options, const std::optional<StreamPosition>& position) {
    // Somebody may just hold it locked; then it is opened with more patience.
    if (position) return StreamFollower(options.file, *position);
    return StreamFollower(options.file, kFromTheFirst);
}

/// Prints the wanted records of the items that are handed to it, and keeps how far it came.
class Printer {
  public:
    explicit Printer(const AuditOptions& options)
        : options_(options), filter_(options.filter), style_(StyleOf(options)) {}

    bool wantsMore() const { return !options_.filter.limit || found_ < *options_.filter.limit; }
    unsigned long long found() const { return found_; }

    bool print(const StreamItem& item) {
        const auto print = [this](const KXCore::AuditRecord& record, const RecordPlace& place) {
            if (!filter_.admits(record, place.texts)) return true;
            Write(RecordText(record, place, style_));
            ++found_;
            return wantsMore();
        };
        VisitRecordsInItem(item.id, item.bytes, RecordSource::Order::Forward, options_.file, print);
        return wantsMore();
    }

  private:
    const AuditOptions& options_;
    RecordFilter filter_;
    RecordStyle style_;
    unsigned long long found_ = 0;
};

}  // namespace

void RunAuditFollow(const AuditOptions& options) {
    if (options.reverse || options.count) throw BadUsage("what is followed has no end to count or to begin from");
    const Interruption interruption;
    Printer printer(options);
    FileWatch watch(options.file);
    std::optional<StreamPosition> kept;
    if (!options.checkpoint.empty()) kept = ReadCheckpoint(options.checkpoint);
    StreamFollower follower = Opened(options, kept);
    follower.onMissed([](long long count) { Warn(fmt::format("missed {} items", count)); });
    if (StyleOf(options).format == RecordFormat::Csv) Write(CsvHeader(true));

    const auto keep = [&] {
        Flush();  // what the checkpoint says was printed has been
        if (options.checkpoint.empty() || !follower.position() || follower.position() == kept) return;
        kept = follower.position();
        WriteCheckpoint(options.checkpoint, *kept);
    };
    int retry = 0;
    bool told = false;  // what it waits for
    FileWatch::Event event = FileWatch::Event::Changed;
    while (event != FileWatch::Event::Interrupted && printer.wantsMore()) {
        try {
            follower.poll([&](StreamItem&& item) { return printer.print(item) && !interruption.wait(0); });
            keep();
            retry = 0;
            told = false;
            if (!options.follow) break;
        } catch (const StreamError& error) {
            keep();
            if (!error.passes()) throw;
            if (retry == kLongestRetryMilliseconds && !std::exchange(told, true)) {
                Warn(fmt::format("{}; waiting", error.what()));
            }
            retry = std::clamp(2 * retry, kRetryMilliseconds, kLongestRetryMilliseconds);
        }
        if (printer.wantsMore()) event = watch.wait(interruption, retry == 0 ? -1 : retry);
    }
    if (!options.follow && printer.found() == 0) throw AnswerIsNo();
}

}  // namespace kxtool
