#pragma once

// What many audit records come to: how many were refused and granted, by user, device, computer, type and hour.

#include <KXCoreLib/AuditRecord.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "AuditTime.h"

namespace kxtool {

struct Tally {
    unsigned long long records = 0;
    unsigned long long granted = 0;  ///< of type asuccess
    unsigned long long refused = 0;  ///< of type afailure

    void add(const KXCore::AuditRecord& record);
};

/// Tallies by a text. Grows to a bound: what comes after so many different texts is counted together.
class TallyTable {
  public:
    static constexpr std::size_t kMost = 100'000;

    void add(std::string_view text, const KXCore::AuditRecord& record);

    struct Row {
        std::string text;
        Tally tally;
    };
    /// Those with the most records first; at most `top`.
    std::vector<Row> top(std::size_t top) const;
    std::size_t size() const { return tallies_.size(); }
    /// Of the texts that came when the table was full.
    const Tally& others() const { return others_; }

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::unordered_map<std::string, Tally, Hash, std::equal_to<>> tallies_;
    Tally others_;
};

class AuditSummary {
  public:
    explicit AuditSummary(Zone zone) : zone_(zone) {}

    void add(const KXCore::AuditRecord& record);

    const Tally& total() const { return total_; }
    std::optional<std::int64_t> first() const { return first_; }
    std::optional<std::int64_t> last() const { return last_; }
    Zone zone() const { return zone_; }

    const TallyTable& users() const { return users_; }
    const TallyTable& devices() const { return devices_; }
    const TallyTable& computers() const { return computers_; }
    const TallyTable& types() const { return types_; }

    /// By the hour of the day in the zone of the summary; of records whose date is understood.
    const std::array<Tally, 24>& hours() const { return hours_; }

  private:
    Zone zone_;
    Tally total_;
    std::optional<std::int64_t> first_;
    std::optional<std::int64_t> last_;
    TallyTable users_;
    TallyTable devices_;
    TallyTable computers_;
    TallyTable types_;
    std::array<Tally, 24> hours_;
};

}  // namespace kxtool
