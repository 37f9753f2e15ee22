#include "AuditOptions.h"

#include <fmt/format.h>

#include "Command.h"

namespace kxtool {

void AddRecordFilter(CLI::App* command, const std::shared_ptr<AuditOptions>& options) {
    const char* const kGroup = "Which records; each may be repeated";
    FilterOptions& filter = options->filter;
    for (std::size_t i = 0; i < FilterFieldNames().size(); ++i) {
        const FilterFieldName& field = FilterFieldNames()[i];
        const auto add = [&](const std::string& name, std::vector<std::string>& values, const std::string& help) {
            command->add_option(name, values, help)->allow_extra_args(false)->group(kGroup);
        };
        add(std::string("--") + field.name, filter.fields[i].wanted, field.help);
        add(std::string("--not-") + field.name, filter.fields[i].unwanted, "Not these");
    }
    const char* const kOnce = "Which records";
    command->add_option("--since", filter.since, "This time and later")->group(kOnce);
    command->add_option("--until", filter.until, "This time and before")->group(kOnce);
    command->add_option("--limit", filter.limit, "How many at most")->check(CLI::NonNegativeNumber)->group(kOnce);
    command->add_flag("--utc", filter.utc, "Times are in UTC, and shown so; otherwise in local time")->group(kOnce);
}

RecordStyle StyleOf(const AuditOptions& options) {
    const std::string& name = options.format;
    RecordStyle style;
    style.format = options.json || name == "json" ? RecordFormat::Json
                   : name == "long"               ? RecordFormat::Long
                   : name == "csv"                ? RecordFormat::Csv
                                                  : RecordFormat::Line;
    style.zone = options.filter.zone();
    style.safeCells = options.safeCells;
    return style;
}

unsigned long long VisitWanted(const AuditOptions& options, RecordSource& source,
                               const RecordSource::Visitor& visitor) {
    RecordFilter filter(options.filter);
    unsigned long long found = 0;
    const auto reportUndated = [&] {
        if (filter.undated() == 0) return;
        Warn(fmt::format("{} left out: the date is not understood",
                         Counted(static_cast<long long>(filter.undated()), "record")));
    };
    const auto order = options.reverse ? RecordSource::Order::Reverse : RecordSource::Order::Forward;
    try {
        source.visit(order, [&](const KXCore::AuditRecord& record, const RecordPlace& place) {
            if (options.filter.limit && found >= *options.filter.limit) return false;
            if (!filter.admits(record, place.texts)) return true;
            ++found;
            return visitor(record, place) && found != options.filter.limit.value_or(0);
        });
    } catch (...) {
        reportUndated();
        throw;
    }
    reportUndated();
    return found;
}

}  // namespace kxtool
