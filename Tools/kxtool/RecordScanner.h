#pragma once

// Audit records that stand one after another, read in pieces: a file of any size takes the memory of a piece. Where the
// bytes are damaged, the scanner goes on at the next record that checks and reports what it passed over.

#include <AuditRecordHeader.h>
#include <KXCoreLib/AuditRecord.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxtool {

/// Bytes that hold no record, from `begin` to before `end`.
struct SkippedBytes {
    unsigned long long begin = 0;
    unsigned long long end = 0;
    std::string why;  ///< no record starts at `begin`
};

/// "skipped bytes 56-95 (40 bytes): no record starts there"
std::string TextOf(const SkippedBytes& skipped);

class RecordScanner {
  public:
    /// Fills as much as it can of the bytes, and returns how much that was; less than asked only at the end.
    using Source = std::function<std::size_t(std::span<unsigned char>)>;
    using OnSkipped = std::function<void(const SkippedBytes&)>;

    static constexpr std::size_t kPiece = std::size_t{1} << 20;

    /// `offset` is where the source's first byte stands in its file; about `piece` bytes are read at a time.
    RecordScanner(Source source, OnSkipped onSkipped, unsigned long long offset = 0, std::size_t piece = kPiece);

    /// Fills the record, whose texts are valid until the next call. False at the end.
    bool next(KXCore::AuditRecord& record);

    /// Of the record that next() returned: where it begins in the file, and its bytes after the header.
    unsigned long long offset() const { return recordOffset_; }
    std::string_view texts() const;

  private:
    enum class Finding { Record, Damage, NeedsMore };

    /// What stands at `at_`. For Damage `why_` says why it is no record.
    Finding look(KXCore::AuditRecord& record);
    bool isWhole(const KXCore::AuditRecord& record, std::size_t next) const;
    std::string reason(KXCore::AuditRecordHeader::Fault fault, const KXCore::AuditRecordHeader& header) const;

    /// Moves `at_` to the next place where a record may begin, or to the end of what is there.
    void seek();
    /// Makes `wanted_` bytes available from `at_` on, or all that is left.
    void fill();
    std::size_t left() const { return buffer_.size() - at_; }
    void reportSkipped(unsigned long long end);

    Source source_;
    OnSkipped onSkipped_;
    std::size_t piece_;
    std::vector<unsigned char> buffer_;
    std::size_t at_ = 0;
    unsigned long long base_;  ///< where the buffer stands in the file
    bool atEnd_ = false;
    std::size_t wanted_ = 0;

    std::string why_;
    std::optional<SkippedBytes> skipping_;

    unsigned long long recordOffset_ = 0;
    std::size_t textsBegin_ = 0;
    std::size_t textsEnd_ = 0;
};

}  // namespace kxtool
