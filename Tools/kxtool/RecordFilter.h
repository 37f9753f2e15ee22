#pragma once

// Which audit records are wanted. Letter case is nothing; `*` and `?` stand for any letters and for one.

#include <KXCoreLib/AuditRecord.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AuditTime.h"

namespace kxtool {

/// The fields that can be asked for, as the command line names them.
enum class FilterField { Name, Action, Process, Pid, Event, Reason, Computer, Text, User, Device, Type, Status };

/// What the command line says: of several values of one field any will do, and none of those after --not-.
struct FilterOptions {
    struct Values {
        FilterField field;
        std::vector<std::string> wanted;
        std::vector<std::string> unwanted;
    };

    FilterOptions();

    std::vector<Values> fields;  ///< one for each field
    std::string since;
    std::string until;
    bool utc = false;
    std::optional<unsigned long long> limit;

    Zone zone() const { return utc ? Zone::UTC : Zone::Local; }
};

/// "--name", "--not-name" without the dashes, and what the help says of it.
struct FilterFieldName {
    FilterField field;
    const char* name;
    const char* help;
};
const std::vector<FilterFieldName>& FilterFieldNames();

/// A test of one value of one field.
class FilterTest {
  public:
    virtual ~FilterTest() = default;
    virtual bool matches(const KXCore::AuditRecord& record, std::string_view texts) const = 0;
};

class RecordFilter {
  public:
    /// Throws BadUsage for a value that no record could have, and for a time that is none.
    explicit RecordFilter(const FilterOptions& options);

    /// Whether the record is wanted; `texts` are its bytes after the header.
    bool admits(const KXCore::AuditRecord& record, std::string_view texts);

    /// How many records were left out only because their date is not understood.
    unsigned long long undated() const { return undated_; }

  private:
    using Tests = std::vector<std::unique_ptr<FilterTest>>;
    struct Condition {
        Tests wanted;
        Tests unwanted;
    };

    std::vector<Condition> conditions_;
    std::optional<std::int64_t> since_;
    std::optional<std::int64_t> until_;
    unsigned long long undated_ = 0;
};

}  // namespace kxtool
