#pragma once

// Audit records as text: what is printed, what is read from JSON, and which records a filter lets through.

#include <KXCoreLib/AuditRecord.h>

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxtool {

/// Where a record was found.
struct RecordPlace {
    std::optional<long long> item;  ///< of a stream
    unsigned long offset = 0;
};

enum class RecordFormat { Line, Long, Json, Csv };

/// A record as text, with a newline at its end. In Line, Json and Csv it has no other.
std::string RecordText(const KXCore::AuditRecord& record, const RecordPlace& place, RecordFormat format);

/// The line that names the columns of Csv.
std::string CsvHeader(bool withItems);

/// Texts that the records read from a JSON object borrow.
using RecordTexts = std::vector<std::string>;

/// Fills the record from an object with the names that RecordText() gives in JSON. Date, type and device type may be
/// numbers: seconds since 1970, the values of the library. Throws BadInput for other names and other kinds of value.
void ReadRecord(const nlohmann::json& object, KXCore::AuditRecord& record, RecordTexts& texts);

/// Milliseconds since 1970 that a text tells, in UTC: "2026-11-15", "2026-11-15T16:02", with seconds and their
/// fraction, with a Z, or "@" and seconds since 1970. No value for any other text.
std::optional<std::int64_t> TimeOf(std::string_view text);

/// Which records are wanted. What is empty lets all through; of several values any will do. Letter case is nothing.
struct RecordFilter {
    std::vector<std::string> types;    ///< a text or a value
    std::vector<std::string> users;    ///< name, with or without its domain, SID or UUID
    std::vector<std::string> devices;  ///< a kind's text or value
    std::vector<int> statuses;
    std::optional<std::int64_t> since;  ///< as TimeOf() has it; a record without a date is then not wanted
    std::optional<std::int64_t> until;

    bool admits(const KXCore::AuditRecord& record) const;
};

}  // namespace kxtool
