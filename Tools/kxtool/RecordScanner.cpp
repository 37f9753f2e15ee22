#include "RecordScanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Errors.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;
using KXCore::AuditRecordHeader;

/// More than any record of an agent has; a length beyond it is damage, and not memory to be had.
constexpr std::size_t kLargestRecord = std::size_t{1} << 26;

constexpr std::string_view kMagic(AuditRecordHeader::kMagic.data(), AuditRecordHeader::kMagic.size());

}  // namespace

std::string TextOf(const SkippedBytes& skipped) {
    const unsigned long long count = skipped.end - skipped.begin;
    const std::string range =
        count == 1 ? fmt::format("byte {}", skipped.begin) : fmt::format("bytes {}-{}", skipped.begin, skipped.end - 1);
    return fmt::format("skipped {} ({}): {}", range, Counted(static_cast<long long>(count), "byte"), skipped.why);
}

RecordScanner::RecordScanner(Source source, OnSkipped onSkipped, unsigned long long offset, std::size_t piece)
    : source_(std::move(source)), onSkipped_(std::move(onSkipped)), piece_(piece), base_(offset) {}

std::string_view RecordScanner::texts() const {
    return {reinterpret_cast<const char*>(buffer_.data()) + textsBegin_, textsEnd_ - textsBegin_};
}

bool RecordScanner::next(AuditRecord& record) {
    for (;;) {
        switch (look(record)) {
            case Finding::NeedsMore:
                fill();
                if (left() == 0 && atEnd_) {
                    if (skipping_) reportSkipped(base_ + at_);
                    return false;
                }
                break;
            case Finding::Record:
                if (skipping_) reportSkipped(recordOffset_);
                return true;
            case Finding::Damage:
                if (!skipping_) skipping_ = SkippedBytes{base_ + at_, 0, std::exchange(why_, {})};
                ++at_;
                seek();
                break;
        }
    }
}

RecordScanner::Finding RecordScanner::look(AuditRecord& record) {
    using Fault = AuditRecordHeader::Fault;
    const auto need = [this](std::size_t count) {
        wanted_ = count;
        return Finding::NeedsMore;
    };
    if (left() == 0) return need(piece_);
    AuditRecordHeader header{};
    const Fault fault = header.read(std::span(buffer_).subspan(at_));
    if (fault == Fault::CutOff && !atEnd_) return need(sizeof header);
    if (fault == Fault::RecordGoesPast && !atEnd_ && header.total <= kLargestRecord) return need(header.total);
    if (fault != Fault::None) {
        why_ = reason(fault, header);
        return Finding::Damage;
    }
    const std::size_t next = at_ + header.total;
    // Whether a record of unusual form is one depends on what follows it.
    if (!atEnd_ && buffer_.size() - next < kMagic.size()) return need(header.total + kMagic.size());
    record.read_from_buffer(buffer_, at_);
    if (!isWhole(record, next)) {
        why_ = "the record's texts do not fill it";
        return Finding::Damage;
    }
    recordOffset_ = base_ + at_;
    textsBegin_ = at_ + header.headerLength;
    textsEnd_ = next;
    at_ = next;
    return Finding::Record;
}

bool RecordScanner::isWhole(const AuditRecord& record, std::size_t next) const {
    // As it is written: fourteen texts and less than four zero bytes.
    const auto* const begin = reinterpret_cast<const char*>(buffer_.data()) + at_;
    const auto* const end = reinterpret_cast<const char*>(buffer_.data()) + next;
    const char* const last = record.get_extra_str();
    if (last >= begin && last < end) {
        const char* const rest = last + std::strlen(last) + 1;
        if (end - rest < 4 && std::all_of(rest, end, [](char c) { return c == '\0'; })) return true;
    }
    // Readers take fewer texts and more bytes too. Then nothing but the next record may follow, and none may begin
    // within: a damaged length would swallow it.
    const std::string_view body(begin + 1, static_cast<std::size_t>(end - begin) - 1);
    const std::string_view after(end, std::min(buffer_.size() - next, kMagic.size()));
    return (after.empty() || after == kMagic) && body.find(kMagic) == std::string_view::npos;
}

std::string RecordScanner::reason(AuditRecordHeader::Fault fault, const AuditRecordHeader& header) const {
    using Fault = AuditRecordHeader::Fault;
    switch (fault) {
        case Fault::NoMagic:
            return "no record starts there";
        case Fault::CutOff:
            return fmt::format("only {} left, a record has {} or more", Counted(static_cast<long long>(left()), "byte"),
                               sizeof header);
        case Fault::ShortHeader:
            return fmt::format("the record's header has {} bytes of {}", header.headerLength, sizeof header);
        case Fault::ShortRecord:
            return fmt::format("the record has {} bytes, its header {}", header.total, header.headerLength);
        case Fault::RecordGoesPast:
        case Fault::None:
            break;
    }
    if (!atEnd_) return fmt::format("the record has {} bytes, more than any", header.total);
    return fmt::format("the record has {} bytes, {} are left", header.total, left());
}

void RecordScanner::seek() {
    const std::string_view rest(reinterpret_cast<const char*>(buffer_.data()) + at_, left());
    const std::size_t found = rest.find(kMagic);
    if (found != std::string_view::npos) {
        at_ += found;
        return;
    }
    // A record may begin in the last bytes and go on in the next piece.
    const std::size_t kept = atEnd_ ? 0 : std::min(rest.size(), kMagic.size() - 1);
    at_ = buffer_.size() - kept;
}

void RecordScanner::fill() {
    if (atEnd_) return;
    const std::size_t kept = left();
    if (kept != 0) std::memmove(buffer_.data(), buffer_.data() + at_, kept);
    base_ += at_;
    at_ = 0;
    buffer_.resize(std::max(kept + piece_, wanted_));
    const std::size_t room = buffer_.size() - kept;
    const std::size_t count = source_(std::span(buffer_).subspan(kept));
    if (count < room) atEnd_ = true;
    buffer_.resize(kept + count);
}

void RecordScanner::reportSkipped(unsigned long long end) {
    skipping_->end = end;
    if (onSkipped_) onSkipped_(*skipping_);
    skipping_.reset();
}

}  // namespace kxtool
