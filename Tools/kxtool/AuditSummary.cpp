#include "AuditSummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "AuditOptions.h"
#include "Command.h"
#include "Streams.h"
#include "Terminal.h"

namespace kxtool {

using KXCore::AuditRecord;

void Tally::add(const AuditRecord& record) {
    ++records;
    const char* const type = record.get_type_str();
    if (std::strcmp(type, "asuccess") == 0) ++granted;
    if (std::strcmp(type, "afailure") == 0) ++refused;
}

void TallyTable::add(std::string_view text, const AuditRecord& record) {
    auto found = tallies_.find(text);
    if (found == tallies_.end()) {
        if (tallies_.size() == kMost) return others_.add(record);
        found = tallies_.emplace(text, Tally()).first;
    }
    found->second.add(record);
}

std::vector<TallyTable::Row> TallyTable::top(std::size_t top) const {
    std::vector<Row> rows;
    for (const auto& [text, tally] : tallies_) rows.push_back({text, tally});
    const auto count = static_cast<std::ptrdiff_t>(std::min(top, rows.size()));
    std::partial_sort(rows.begin(), rows.begin() + count, rows.end(), [](const Row& a, const Row& b) {
        if (a.tally.records != b.tally.records) return a.tally.records > b.tally.records;
        return a.text < b.text;
    });
    rows.resize(static_cast<std::size_t>(count));
    return rows;
}

void AuditSummary::add(const AuditRecord& record) {
    total_.add(record);
    users_.add(record.get_user_name_str(), record);
    devices_.add(record.get_device_type_str(), record);
    computers_.add(record.get_computer_name_str(), record);
    types_.add(record.get_type_str(), record);
    const std::optional<std::int64_t> time = TimeOf(record.get_date_str());
    if (!time) return;
    first_ = std::min(first_.value_or(*time), *time);
    last_ = std::max(last_.value_or(*time), *time);
    hours_[static_cast<std::size_t>(HourOf(*time, zone_))].add(record);
}

namespace {

// ---- A table with bars

constexpr std::size_t kBar = 24;

/// `value` of `most` as a bar of blocks, in eighths of a column.
std::string Bar(unsigned long long value, unsigned long long most, std::size_t columns) {
    static constexpr std::array<const char*, 8> kParts{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    if (most == 0) return "";
    const auto eighths = static_cast<std::size_t>(
        8.0 * static_cast<double>(columns) * static_cast<double>(value) / static_cast<double>(most) + 0.5);
    std::string bar;
    for (std::size_t i = 0; i < eighths / 8; ++i) bar += "█";
    bar += kParts[eighths % 8];
    return bar.empty() && value != 0 ? kParts[1] : bar;
}

/// The refused part of a bar in red, before the granted one in green and the rest.
std::string BarOf(const Tally& tally, unsigned long long most) {
    const auto columns = [&](unsigned long long value) {
        return static_cast<std::size_t>(
            static_cast<double>(kBar) * static_cast<double>(value) / static_cast<double>(most) + 0.5);
    };
    const std::string whole = Bar(tally.records, most, kBar);
    const auto cut = [&](std::size_t begin, std::size_t end) {
        constexpr std::size_t kBytes = 3;  // of a block in UTF-8
        const std::size_t size = whole.size() / kBytes;
        return whole.substr(kBytes * std::min(begin, size), kBytes * (std::min(end, size) - std::min(begin, size)));
    };
    const std::size_t refused = tally.refused == 0 ? 0 : std::max<std::size_t>(1, columns(tally.refused));
    const std::size_t granted = refused + columns(tally.granted);
    return Coloured(cut(0, refused), Colour::Red) + Coloured(cut(refused, granted), Colour::Green) +
           cut(granted, kBar + 1);
}

void PrintTable(const char* title, const std::vector<TallyTable::Row>& rows, std::size_t left, const Tally& others) {
    if (rows.empty()) return;
    constexpr std::size_t kWidest = 40;
    std::size_t width = std::strlen(title);
    std::vector<std::string> names;
    unsigned long long most = 1;
    for (const TallyTable::Row& row : rows) {
        names.push_back(row.text.empty() ? "-" : Escaped(row.text));
        width = std::max(width, std::min(ColumnsOf(names.back()), kWidest));
        most = std::max(most, row.tally.records);
    }
    const auto padded = [&](const std::string& text) {
        const std::size_t columns = ColumnsOf(text);
        return text + std::string(columns < width ? width - columns : 0, ' ');
    };
    Write(fmt::format("\n{}  {:>9}  {:>9}  {:>9}\n", Coloured(padded(title), Colour::Bold), "records", "refused",
                      "granted"));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Tally& tally = rows[i].tally;
        Write(fmt::format("{}  {:>9}  {:>9}  {:>9}  {}\n", padded(names[i]), tally.records, tally.refused,
                          tally.granted, BarOf(tally, most)));
    }
    if (left != 0 || others.records != 0) {
        const std::string more = others.records == 0 ? fmt::format("{} more", left)
                                                     : fmt::format("{} and more, in {} records", left, others.records);
        Write(Coloured(more, Colour::Dim) + "\n");
    }
}

std::vector<TallyTable::Row> HourRows(const AuditSummary& summary) {
    std::vector<TallyTable::Row> rows;
    for (std::size_t hour = 0; hour < 24; ++hour) {
        const Tally& tally = summary.hours()[hour];
        if (tally.records != 0) rows.push_back({fmt::format("{:02}:00", hour), tally});
    }
    return rows;
}

struct Grouping {
    const char* name;
    const char* title;
    const TallyTable& table;
};

std::array<Grouping, 4> GroupingsOf(const AuditSummary& summary) {
    return {{{"user", "User", summary.users()},
             {"device", "Device", summary.devices()},
             {"computer", "Computer", summary.computers()},
             {"type", "Type", summary.types()}}};
}

void PrintSummary(const AuditSummary& summary, std::size_t top) {
    const Tally& total = summary.total();
    Write(fmt::format("records   {}\nrefused   {}\ngranted   {}\nothers    {}\n", total.records, total.refused,
                      total.granted, total.records - total.refused - total.granted));
    if (summary.first()) {
        Write(fmt::format("first     {}\nlast      {}\n", TimeText(*summary.first(), summary.zone()),
                          TimeText(*summary.last(), summary.zone())));
    }
    for (const Grouping& grouping : GroupingsOf(summary)) {
        const auto rows = grouping.table.top(top);
        PrintTable(grouping.title, rows, grouping.table.size() - rows.size(), grouping.table.others());
    }
    PrintTable(summary.zone() == Zone::UTC ? "Hour (UTC)" : "Hour (local)", HourRows(summary), 0, {});
}

// ---- JSON

std::string JsonOf(const char* name, const std::vector<TallyTable::Row>& rows) {
    std::string json = fmt::format("\"{}\":[", name);
    for (const TallyTable::Row& row : rows) {
        json += fmt::format("{}{{\"value\":{},\"records\":{},\"refused\":{},\"granted\":{}}}",
                            &row == rows.data() ? "" : ",", JsonString(row.text), row.tally.records, row.tally.refused,
                            row.tally.granted);
    }
    return json + "]";
}

void PrintJson(const AuditSummary& summary, std::size_t top) {
    const Tally& total = summary.total();
    const auto date = [](std::optional<std::int64_t> time) {
        return time ? JsonString(TimeText(*time, Zone::UTC)) : "null";
    };
    std::string json =
        fmt::format("{{\"records\":{},\"refused\":{},\"granted\":{},\"others\":{},\"first\":{},\"last\":{}",
                    total.records, total.refused, total.granted, total.records - total.refused - total.granted,
                    date(summary.first()), date(summary.last()));
    for (const Grouping& grouping : GroupingsOf(summary)) json += "," + JsonOf(grouping.name, grouping.table.top(top));
    json += "," + JsonOf("hour", HourRows(summary)) + "}";
    Write((OutputIsTerminal() ? EscapedJson(json) : json) + "\n");
}

void RunSummary(const AuditOptions& options) {
    const RecordFilter checked(options.filter);  // before the file is looked at
    const auto source = OpenRecords(options.file);
    AuditSummary summary(options.filter.zone());
    VisitWanted(options, *source, [&](const AuditRecord& record, const RecordPlace&) {
        summary.add(record);
        return true;
    });
    if (options.json) {
        PrintJson(summary, options.top);
    } else {
        PrintSummary(summary, options.top);
    }
    if (summary.total().records == 0) throw AnswerIsNo();
}

}  // namespace

void AddAuditSummary(CLI::App* audit) {
    const auto options = std::make_shared<AuditOptions>();
    CLI::App* const command =
        audit->add_subcommand("summary", "Count records by user, device, computer, type and hour");
    MarkAsQuestion(command);
    command->add_option("FILE", options->file, "Records or a stream; '-' is records on the standard input")->required();
    AddRecordFilter(command, options);
    command->add_option("--top", options->top, "How many rows of each table; 10 unless given")
        ->check(CLI::PositiveNumber);
    command->add_flag("--json", options->json, "Print the result as JSON");
    command->footer(
        "Refused are the records of type afailure, granted those of type asuccess.\n"
        "Exit status: 0 found, 1 nothing found, 2 bad usage, 3 the file could not be read.\n\n"
        "Example:\n"
        "  kxtool audit summary agent.stream --since monday --device 'USB port' --top 5\n");
    command->callback([options] { RunSummary(*options); });
}

}  // namespace kxtool
