#include "Delivery.h"

#include "Report.h"

#include <KXCoreLib/AuditRecord.h>

#include <cstdio>
#include <vector>

namespace agent {

using namespace KXCore;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kItemsAtOnce = 2000;
constexpr auto kLastTries = 600ms;
constexpr auto kRetry = 500ms;
constexpr auto kTellEvery = 60s;

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

std::string lineOf(const AuditRecord& record) {
    return onOneLine(record.get_date_str()) + "  " + padded(onOneLine(record.get_type_str()), 8) + "  " +
           padded(onOneLine(record.get_user_name_str()), 24) + "  " + padded(onOneLine(record.get_action_str()), 8) +
           " " + padded(onOneLine(record.get_device_type_str()), 14) + " " + onOneLine(record.get_name_str()) + ": " +
           onOneLine(record.get_reason_str()) + "\n";
}

/// The lines of the records in an item; one of another kind has none.
std::string linesOf(const std::vector<unsigned char>& item, std::uint64_t& records) {
    std::string lines;
    AuditRecord record;
    for (unsigned long next = 0; (next = record.read_from_buffer(item, next)) != AuditRecord::kNoRecord; ++records) {
        lines += lineOf(record);
    }
    return lines;
}

}  // namespace

Delivery::Delivery(Journal& journal, Counters& counters, const Settings& settings)
    : journal_(journal), counters_(counters), settings_(settings) {}

void Delivery::wake() {
    const std::lock_guard lock(mutex_);
    woken_ = true;
    changed_.notify_one();
}

void Delivery::reopenOutput() {
    reopens_ = true;
    output_.wake();
    wake();
}

void Delivery::stop() {
    stopping_ = true;
    output_.wake();
    wake();
}

void Delivery::run() {
    for (bool stopped = false; !stopped;) {
        stopped = stopping_;
        if (stopped) giveUp_ = Clock::now() + kLastTries;
        if (reopens_.exchange(false)) output_.reopen();
        Progress progress = Progress::AllDelivered;
        if (settings_.get()->delivers) progress = deliver();
        std::unique_lock lock(mutex_);
        const auto isDue = [this] { return woken_ || stopping_ || reopens_; };
        if (stopped) break;
        if (progress == Progress::Stuck) {
            changed_.wait_for(lock, kRetry, [this] { return stopping_ || reopens_; });
        } else {
            changed_.wait(lock, isDue);
        }
        woken_ = false;
    }
}

Delivery::Progress Delivery::deliver() {
    for (;;) {
        const std::vector<Journal::Item> items = journal_.read(printedThrough_, kItemsAtOnce);
        bool goesOn = true;
        for (const Journal::Item& item : items) {
            if (item.id <= linesThrough_) continue;  // waits to go out already
            std::uint64_t records = 0;
            const std::string lines = linesOf(item.bytes, records);
            if (!lines_.empty() && lines_.size() + lines.size() > Output::kMostAtOnce) goesOn = writeOut();
            if (!goesOn) break;
            lines_ += lines;
            linesRecords_ += records;
            linesThrough_ = item.id;
        }
        if (goesOn) goesOn = writeOut();
        // Out of the process first, out of the stream after.
        if (printedThrough_ != 0 && journal_.discardThrough(printedThrough_)) {
            onRoom_();
            // A stream that was discarded down to nothing counts from 1 again.
            if (lines_.empty()) printedThrough_ = linesThrough_ = 0;
        }
        if (!goesOn) return Progress::Stuck;
        if (items.empty()) return Progress::AllDelivered;
    }
}

/// Writes the lines that wait; whether they are out.
bool Delivery::writeOut() {
    for (;;) {
        const auto patience = stopping_ ? std::chrono::duration_cast<std::chrono::milliseconds>(giveUp_ - Clock::now())
                                        : std::chrono::milliseconds(kTellEvery);
        if (stopping_ && patience < 0ms) return false;
        switch (output_.write(lines_, patience)) {
            case Output::Outcome::Written:
                counters_.delivered += std::exchange(linesRecords_, 0);
                printedThrough_ = linesThrough_;
                lines_.clear();
                if (std::exchange(isFailing_, false)) report("the standard output can be written again");
                return true;
            case Output::Outcome::Interrupted:
                if (reopens_) return false;
                if (!stopping_) tell("standard output: its reader takes nothing");
                break;
            case Output::Outcome::Failed:
                tell(output_.error());
                return false;
        }
    }
}

void Delivery::tell(const std::string& why) {
    counters_.setLastError(why);
    if (isFailing_ && Clock::now() < lastTold_ + kTellEvery) return;
    isFailing_ = true;
    lastTold_ = Clock::now();
    report(why + "; what is not delivered stays in the stream");
}

}  // namespace agent
