#pragma once

// Audit records as text: what is printed, and what is read from JSON.

#include <KXCoreLib/AuditRecord.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "AuditTime.h"
#include "RecordSource.h"

namespace kxtool {

enum class RecordFormat { Line, Long, Json, Csv };

struct RecordStyle {
    RecordFormat format = RecordFormat::Line;
    Zone zone = Zone::Local;  ///< of Line and Long; the others are in UTC
    bool safeCells = false;   ///< Csv: no cell begins as a formula does
};

/// A record as text, with the end of its line. In Line and Json it is one line; in Csv a text may hold line ends.
std::string RecordText(const KXCore::AuditRecord& record, const RecordPlace& place, const RecordStyle& style);

/// The line that names the columns of Csv.
std::string CsvHeader(bool withItems);

/// `text` as a string of JSON; bytes that are no UTF-8 become U+FFFD.
std::string JsonString(std::string_view text);

/// Texts that the records read from a JSON object borrow.
using RecordTexts = std::vector<std::string>;

/// Fills the record from an object with the names that RecordText() gives in JSON. Date, type and device type may be
/// numbers: seconds since 1970, the values of the library. Throws BadInput for other names and other kinds of value.
void ReadRecord(const nlohmann::json& object, KXCore::AuditRecord& record, RecordTexts& texts);

}  // namespace kxtool
