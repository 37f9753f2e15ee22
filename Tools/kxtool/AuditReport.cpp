#include <fmt/format.h>

#include <deque>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "AuditOptions.h"
#include "AuditSummary.h"
#include "Command.h"
#include "ReplacedFile.h"
#include "ReportPage.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;

/// What a browser shows without effort; of more records the page holds the last ones.
constexpr std::size_t kMostRecords = 200'000;

/// The texts of all records, each once: users, devices and actions repeat in every record.
class StringTable {
  public:
    std::size_t indexOf(std::string_view text) {
        const auto found = indexes_.find(text);
        if (found != indexes_.end()) return found->second;
        const std::string& kept = texts_.emplace_back(text);
        return indexes_.emplace(kept, texts_.size() - 1).first->second;
    }

    /// A JSON array of them all.
    std::string json() const {
        std::string json = "[";
        for (const std::string& text : texts_) {
            if (json.size() > 1) json += ',';
            json += JsonString(text);
        }
        return json + "]";
    }

  private:
    std::deque<std::string> texts_;  // whose elements stay where they are
    std::unordered_map<std::string_view, std::size_t> indexes_;
};

struct TextColumn {
    const char* name;
    const char* (AuditRecord::*get)() const noexcept;
};

constexpr TextColumn kTextColumns[] = {
    {"date", &AuditRecord::get_date_str},
    {"type", &AuditRecord::get_type_str},
    {"user", &AuditRecord::get_user_name_str},
    {"device", &AuditRecord::get_device_type_str},
    {"name", &AuditRecord::get_name_str},
    {"action", &AuditRecord::get_action_str},
    {"process", &AuditRecord::get_process_name_str},
    {"computer", &AuditRecord::get_computer_name_str},
    {"reason", &AuditRecord::get_reason_str},
    {"information", &AuditRecord::get_information_str},
    {"extra", &AuditRecord::get_extra_str},
    {"sid", &AuditRecord::get_sid_str},
    {"uuid", &AuditRecord::get_user_uuid_str},
    {"schema", &AuditRecord::get_schema_tag_str},
};

/// The records of the page, a column for each field.
class Columns {
  public:
    void add(const AuditRecord& record, const RecordPlace& place) {
        Row row;
        row.time = TimeOf(record.get_date_str());
        for (std::size_t i = 0; i < std::size(kTextColumns); ++i) {
            const auto get = kTextColumns[i].get;
            // The date's own text is only of use where it is no time.
            const bool isNeedless = i == 0 && row.time;
            row.texts[i] = strings_.indexOf(isNeedless ? "" : (record.*get)());
        }
        row.record = record.get_record_id();
        row.event = record.get_event_id();
        row.pid = record.get_pid();
        row.status = record.get_status();
        row.item = place.item.value_or(0);
        rows_.push_back(row);
        if (rows_.size() > kMostRecords) rows_.pop_front();
    }

    std::size_t count() const { return rows_.size(); }

    std::string json(bool withItems) const {
        std::string json = fmt::format("\"count\":{},\"strings\":{},\"columns\":{{", rows_.size(), strings_.json());
        const auto column = [&](const char* name, auto value) {
            json += fmt::format("\"{}\":[", name);
            const char* separator = "";
            for (const Row& row : rows_) {
                json += separator;
                value(row, std::back_inserter(json));
                separator = ",";
            }
            json += "],";
        };
        column("time", [](const Row& row, auto out) {
            if (row.time) {
                fmt::format_to(out, "{}", *row.time);
            } else {
                fmt::format_to(out, "null");
            }
        });
        for (std::size_t i = 0; i < std::size(kTextColumns); ++i) {
            column(kTextColumns[i].name, [=](const Row& row, auto out) { fmt::format_to(out, "{}", row.texts[i]); });
        }
        // Larger than what a script counts in: as a text.
        column("record", [](const Row& row, auto out) { fmt::format_to(out, "\"{}\"", row.record); });
        column("event", [](const Row& row, auto out) { fmt::format_to(out, "{}", row.event); });
        column("pid", [](const Row& row, auto out) { fmt::format_to(out, "{}", row.pid); });
        column("status", [](const Row& row, auto out) { fmt::format_to(out, "{}", row.status); });
        if (withItems) column("item", [](const Row& row, auto out) { fmt::format_to(out, "\"{}\"", row.item); });
        json.back() = '}';
        return json;
    }

  private:
    struct Row {
        std::optional<std::int64_t> time;
        std::size_t texts[std::size(kTextColumns)];
        long long record;
        int event;
        int pid;
        int status;
        long long item;
    };

    StringTable strings_;
    std::deque<Row> rows_;
};

/// What was asked for, as it would be asked again.
std::string AskedFor(const FilterOptions& filter) {
    std::string asked;
    const auto add = [&](const std::string& name, const std::string& value) {
        asked += fmt::format("{}--{} {}", asked.empty() ? "" : " ", name,
                             value.find(' ') == std::string::npos ? value : "'" + value + "'");
    };
    for (std::size_t i = 0; i < filter.fields.size(); ++i) {
        const std::string name = FilterFieldNames()[i].name;
        for (const std::string& value : filter.fields[i].wanted) add(name, value);
        for (const std::string& value : filter.fields[i].unwanted) add("not-" + name, value);
    }
    if (!filter.since.empty()) add("since", filter.since);
    if (!filter.until.empty()) add("until", filter.until);
    return asked;
}

/// JSON that does not end the script element which it stands in.
std::string WithinScript(std::string_view json) {
    std::string out;
    for (const char c : json) {
        if (c == '<') {
            out += "\\u003c";
        } else {
            out += c;
        }
    }
    return out;
}

std::string PageOf(const std::string& data) {
    std::string page;
    std::string_view rest = kReportPage;
    const auto put = [&](std::string_view place, std::string_view text) {
        const std::size_t at = rest.find(place);
        page += rest.substr(0, at);
        page += text;
        rest.remove_prefix(at + place.size());
    };
    put("@STYLE@", kReportStyle);
    put("@DATA@", data);
    put("@SCRIPT@", kReportScript);
    page += rest;
    return page;
}

void RunReport(const AuditOptions& options) {
    const RecordFilter checked(options.filter);  // before the file is looked at
    const auto source = OpenRecords(options.file);
    AuditSummary summary(options.filter.zone());
    Columns columns;
    VisitWanted(options, *source, [&](const AuditRecord& record, const RecordPlace& place) {
        summary.add(record);
        columns.add(record, place);
        return true;
    });
    const Tally& total = summary.total();
    const auto timeOrNull = [](std::optional<std::int64_t> time) { return time ? fmt::format("{}", *time) : "null"; };
    const std::string data = fmt::format(
        "{{\"source\":{},\"asked\":{},\"made\":{},\"utc\":{},\"first\":{},\"last\":{},"
        "\"total\":{{\"records\":{},\"refused\":{},\"granted\":{}}},{}}}",
        JsonString(options.file == "-" ? "standard input" : options.file), JsonString(AskedFor(options.filter)), Now(),
        options.filter.utc, timeOrNull(summary.first()), timeOrNull(summary.last()), total.records, total.refused,
        total.granted, columns.json(source->isStream()));
    const std::string page = PageOf(WithinScript(data));
    if (options.output == "-") {
        Write(page);
    } else {
        ReplaceFile(options.output, page);
    }
    if (columns.count() < total.records) {
        Warn(fmt::format("the page holds the last {} of {} records; its figures are of all", columns.count(),
                         total.records));
    }
    if (total.records == 0) throw AnswerIsNo();
}

}  // namespace

void AddAuditReport(CLI::App* audit) {
    const auto options = std::make_shared<AuditOptions>();
    CLI::App* const command = audit->add_subcommand("report", "Write a page to look through records in a browser");
    MarkAsQuestion(command);
    command->add_option("FILE", options->file, "Records or a stream; '-' is records on the standard input")->required();
    command->add_option("-o,--output", options->output, "The page to write; '-' is the standard output")->required();
    AddRecordFilter(command, options);
    command->footer(
        "The page is one file that loads nothing: it can be kept with the case and sent on. It has a timeline, tables\n"
        "of users and devices, and the records, to be sorted, filtered and read, also by keyboard.\n"
        "Exit status: 0 found, 1 nothing found, 2 bad usage, 3 the file could not be read.\n\n"
        "Example:\n"
        "  kxtool audit report agent.stream -o report.html --since yesterday\n");
    command->callback([options] { RunReport(*options); });
}

}  // namespace kxtool
