#include "AuditText.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "RecordFields.h"
#include "Terminal.h"

namespace kxtool {

using KXCore::AuditRecord;

namespace {

bool IsUnsetPid(const NumberField& number, const AuditRecord& record) {
    return number.name == std::string_view("pid") && !record.is_set_pid();
}

// ---- Lines for people

/// For key=value: in quotes where a reader would not find the value's end otherwise.
std::string LineValue(std::string_view text) {
    const std::string escaped = Escaped(text);
    if (escaped.find_first_of(" \"=\\") == std::string::npos && !escaped.empty()) return escaped;
    std::string quoted = "\"";
    for (const char c : escaped) {
        if (c == '"') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string ColouredType(const std::string& type) {
    if (type == "afailure" || type == "error") return Coloured(type, Colour::Red);
    if (type == "asuccess") return Coloured(type, Colour::Green);
    if (type == "warning") return Coloured(type, Colour::Yellow);
    return type;
}

std::string LineOf(const AuditRecord& record, const RecordPlace& place, Zone zone) {
    const std::string date = DateShown(record.get_date_str(), zone);
    const char* const type = record.get_type_str();
    std::string line = date.empty() ? "-" : Coloured(LineValue(date), Colour::Dim);
    line += ' ';
    line += *type ? ColouredType(LineValue(type)) : "-";
    if (place.item) fmt::format_to(std::back_inserter(line), " item={}", *place.item);
    for (const NumberField& number : NumbersOf(record)) {
        if (!IsUnsetPid(number, record)) fmt::format_to(std::back_inserter(line), " {}={}", number.name, number.value);
    }
    for (const TextField& field : TextFields()) {
        const std::string_view name = field.name;
        const char* const text = (record.*field.get)();
        if (*text == '\0' || name == "date" || name == "type") continue;
        line += ' ';
        line += name;
        line += '=';
        line += LineValue(text);
    }
    line += '\n';
    return line;
}

std::string LongOf(const AuditRecord& record, const RecordPlace& place, Zone zone) {
    std::string text = place.item ? fmt::format("item {}, byte {}\n", *place.item, place.offset)
                                  : fmt::format("byte {}\n", place.offset);
    const auto add = [&](std::string_view name, std::string_view value) {
        if (!value.empty()) text += fmt::format("  {:<14}{}\n", name, value);
    };
    for (const NumberField& number : NumbersOf(record)) {
        add(number.name, IsUnsetPid(number, record) ? "" : fmt::format("{}", number.value));
    }
    for (const TextField& field : TextFields()) {
        const std::string_view name = field.name;
        const std::string value = name == "date" ? DateShown(record.get_date_str(), zone) : (record.*field.get)();
        add(name, name == "type" ? ColouredType(Escaped(value)) : Escaped(value));
    }
    return text + "\n";
}

// ---- Forms for programs

std::string JsonLineOf(const AuditRecord& record, const RecordPlace& place) {
    std::string line = "{";
    if (place.item) fmt::format_to(std::back_inserter(line), "\"item\":{},", *place.item);
    for (const NumberField& number : NumbersOf(record)) {
        fmt::format_to(std::back_inserter(line), "\"{}\":{},", number.name, number.value);
    }
    for (const TextField& field : TextFields()) {
        const bool isDate = field.name == std::string_view("date");
        line += '"';
        line += field.name;
        line += "\":";
        line += JsonString(isDate ? DateWithZone(record.get_date_str()) : std::string((record.*field.get)()));
        line += ',';
    }
    line.back() = '}';
    if (OutputIsTerminal()) line = EscapedJson(line);
    line += '\n';
    return line;
}

/// A cell as RFC 4180 has it.
std::string CsvCell(std::string_view text, bool safe) {
    std::string cell = Utf8Of(text);
    if (OutputIsTerminal()) cell = EscapedLines(cell);
    // What spreadsheets take for a formula, or strip to find one.
    if (safe && !cell.empty() && std::string_view("=+-@\t\r\n").find(cell.front()) != std::string_view::npos) {
        cell.insert(cell.begin(), '\'');
    }
    if (cell.find_first_of(",\"\r\n") == std::string::npos) return cell;
    std::string quoted = "\"";
    for (const char c : cell) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

constexpr std::string_view kCsvLineEnd = "\r\n";

std::string CsvOf(const AuditRecord& record, const RecordPlace& place, bool safe) {
    std::string line = place.item ? fmt::format("{},", *place.item) : "";
    for (const NumberField& number : NumbersOf(record)) {
        fmt::format_to(std::back_inserter(line), "{},", number.value);
    }
    for (const TextField& field : TextFields()) {
        line += CsvCell((record.*field.get)(), safe);
        line += ',';
    }
    line.pop_back();
    line += kCsvLineEnd;
    return line;
}

}  // namespace

std::string JsonString(std::string_view text) {
    const bool isPlain =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; });
    if (!isPlain) return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string quoted;
    quoted.reserve(text.size() + 2);
    quoted += '"';
    quoted += text;
    quoted += '"';
    return quoted;
}

std::string RecordText(const AuditRecord& record, const RecordPlace& place, const RecordStyle& style) {
    switch (style.format) {
        case RecordFormat::Line:
            return LineOf(record, place, style.zone);
        case RecordFormat::Long:
            return LongOf(record, place, style.zone);
        case RecordFormat::Json:
            return JsonLineOf(record, place);
        case RecordFormat::Csv:
            break;
    }
    return CsvOf(record, place, style.safeCells);
}

std::string CsvHeader(bool withItems) {
    std::string line = withItems ? "item," : "";
    for (const NumberField& number : NumbersOf(AuditRecord())) line += fmt::format("{},", number.name);
    for (const TextField& field : TextFields()) line += fmt::format("{},", field.name);
    line.pop_back();
    line += kCsvLineEnd;
    return line;
}

}  // namespace kxtool
