#pragma once

// Audit records wherever they stand: in a record file, on the standard input, or in the data items of a stream. What
// the file is, its first bytes tell.

#include <KXCoreLib/AuditRecord.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kxtool {

/// Where a record was found.
struct RecordPlace {
    std::optional<long long> item;  ///< of a stream
    unsigned long long offset = 0;  ///< in the file or in the item
    std::string_view texts = {};    ///< the record's bytes after its header
};

class RecordSource {
  public:
    enum class Order { Forward, Reverse };

    /// Returns whether to go on. The record's texts are valid during the call.
    using Visitor = std::function<bool(const KXCore::AuditRecord&, const RecordPlace&)>;

    virtual ~RecordSource() = default;

    /// Visits all records. What is damaged is passed over with a warning; throws BadInput or StreamError when nothing
    /// can be read, or the file ends in a way that leaves the rest unknown.
    virtual void visit(Order order, const Visitor& visitor) = 0;

    /// Whether its records have an item.
    virtual bool isStream() const = 0;
};

/// What a file that is not there is reported as.
enum class Missing { IsRecords, IsStream };

/// Opens the record file or the stream at `path`; "-" is the standard input.
std::unique_ptr<RecordSource> OpenRecords(const std::string& path, Missing missing = Missing::IsRecords);

/// The records of one item of a stream, or of any bytes; `where` heads the warnings. Returns whether to go on.
bool VisitRecordsIn(std::string_view bytes, std::optional<long long> item, RecordSource::Order order,
                    const std::string& where, const RecordSource::Visitor& visitor);

/// Visits the records in one item of a stream, which may hold none; what is damaged is passed over with a warning.
bool VisitRecordsInItem(long long id, std::string_view propertyList, RecordSource::Order order, const std::string& path,
                        const RecordSource::Visitor& visitor);

}  // namespace kxtool
