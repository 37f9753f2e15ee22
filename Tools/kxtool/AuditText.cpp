#include "AuditText.h"

#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "Command.h"

namespace kxtool {

using KXCore::AuditRecord;
using KXCore::CoreFoundation::StringRef;

namespace {

struct TextField {
    const char* name;
    const char* (AuditRecord::*get)() const noexcept;
    void (AuditRecord::*set)(const char*) noexcept;
};

/// In the order of the buffer.
constexpr TextField kTexts[] = {
    {"computer_name", &AuditRecord::get_computer_name_str, &AuditRecord::set_computer_name_str},
    {"date", &AuditRecord::get_date_str, &AuditRecord::set_date_str},
    {"type", &AuditRecord::get_type_str, &AuditRecord::set_type_str},
    {"user_uuid", &AuditRecord::get_user_uuid_str, &AuditRecord::set_user_uuid_str},
    {"sid", &AuditRecord::get_sid_str, &AuditRecord::set_sid_str},
    {"user_name", &AuditRecord::get_user_name_str, &AuditRecord::set_user_name_str},
    {"process_name", &AuditRecord::get_process_name_str, &AuditRecord::set_process_name_str},
    {"device_type", &AuditRecord::get_device_type_str, &AuditRecord::set_device_type_str},
    {"action", &AuditRecord::get_action_str, &AuditRecord::set_action_str},
    {"name", &AuditRecord::get_name_str, &AuditRecord::set_name_str},
    {"information", &AuditRecord::get_information_str, &AuditRecord::set_information_str},
    {"schema_tag", &AuditRecord::get_schema_tag_str, &AuditRecord::set_schema_tag_str},
    {"reason", &AuditRecord::get_reason_str, &AuditRecord::set_reason_str},
    {"extra", &AuditRecord::get_extra_str, &AuditRecord::set_extra_str},
};

struct Number {
    const char* name;
    long long value;
};

std::array<Number, 4> NumbersOf(const AuditRecord& record) {
    return {{{"record_id", record.get_record_id()},
             {"event_id", record.get_event_id()},
             {"pid", record.get_pid()},
             {"status", record.get_status()}}};
}

// ---- Escapes

bool IsUTF8(std::string_view text) {
    return !!StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

/// The length of the UTF-8 character that `text` begins with; 0 when it begins with none.
std::size_t CharacterLength(std::string_view text) {
    if (static_cast<unsigned char>(text[0]) < 0x80) return 1;
    // No character begins with another.
    for (std::size_t length = 2; length <= std::min<std::size_t>(text.size(), 4); ++length) {
        if (IsUTF8(text.substr(0, length))) return length;
    }
    return 0;
}

/// Whether a terminal or a reader of lines would take the character for more than a character.
bool IsControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) return first < 0x20 || first == 0x7F;
    return (first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0) || character == "\u2028" ||
           character == "\u2029";
}

/// `text` with its control characters, and the bytes that are no UTF-8, as \n, \t or \xHH, and \ as \\.
std::string Escaped(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = CharacterLength(text.substr(i));
        const std::string_view character = text.substr(i, std::max<std::size_t>(length, 1));
        i += character.size();
        if (character == "\n" || character == "\t" || character == "\\") {
            out += character == "\n" ? "\\n" : character == "\t" ? "\\t" : "\\\\";
        } else if (length == 0 || IsControl(character)) {
            for (const char c : character) out += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        } else {
            out += character;
        }
    }
    return out;
}

/// For key=value: in quotes where a reader would not find the value's end otherwise.
std::string LineValue(std::string_view text) {
    const std::string escaped = Escaped(text);
    if (escaped.find_first_of(" \"=\\") == std::string::npos && !escaped.empty()) return escaped;
    std::string quoted = "\"";
    for (const char c : escaped) quoted += c == '"' ? std::string("\\\"") : std::string(1, c);
    return quoted + '"';
}

std::string CsvValue(std::string_view text) {
    const std::string escaped = Escaped(text);
    if (escaped.find_first_of(",\"") == std::string::npos) return escaped;
    std::string quoted = "\"";
    for (const char c : escaped) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

/// The date's text, with the Z that records leave out where it is a time.
std::string DateOf(const AuditRecord& record) {
    const std::string_view text = record.get_date_str();
    const bool isTime = TimeOf(text) && !text.ends_with('Z') && !text.starts_with('@');
    return std::string(text) + (isTime ? "Z" : "");
}

// ---- Formats

std::string LineOf(const AuditRecord& record, const RecordPlace& place) {
    const std::string date = DateOf(record);
    std::string line = fmt::format("{} {}", date.empty() ? "-" : LineValue(date),
                                   *record.get_type_str() ? LineValue(record.get_type_str()) : "-");
    if (place.item) line += fmt::format(" item={}", *place.item);
    for (const Number& number : NumbersOf(record)) {
        if (number.name == std::string_view("pid") && !record.is_set_pid()) continue;
        line += fmt::format(" {}={}", number.name, number.value);
    }
    for (const TextField& field : kTexts) {
        const std::string_view name = field.name;
        const char* const text = (record.*field.get)();
        if (*text != '\0' && name != "date" && name != "type") line += fmt::format(" {}={}", name, LineValue(text));
    }
    return line + "\n";
}

std::string LongOf(const AuditRecord& record, const RecordPlace& place) {
    std::string text = place.item ? fmt::format("item {}, byte {}\n", *place.item, place.offset)
                                  : fmt::format("byte {}\n", place.offset);
    const auto add = [&](std::string_view name, std::string_view value) {
        if (!value.empty()) text += fmt::format("  {:<14}{}\n", name, value);
    };
    for (const Number& number : NumbersOf(record)) {
        const bool isUnset = number.name == std::string_view("pid") && !record.is_set_pid();
        add(number.name, isUnset ? "" : fmt::format("{}", number.value));
    }
    for (const TextField& field : kTexts) {
        const bool isDate = field.name == std::string_view("date");
        add(field.name, Escaped(isDate ? DateOf(record) : (record.*field.get)()));
    }
    return text + "\n";
}

std::string JsonLineOf(const AuditRecord& record, const RecordPlace& place) {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    if (place.item) json["item"] = *place.item;
    for (const Number& number : NumbersOf(record)) json[number.name] = number.value;
    for (const TextField& field : kTexts) json[field.name] = (record.*field.get)();
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string CsvOf(const AuditRecord& record, const RecordPlace& place) {
    std::string line = place.item ? fmt::format("{},", *place.item) : "";
    for (const Number& number : NumbersOf(record)) line += fmt::format("{},", number.value);
    for (const TextField& field : kTexts) line += CsvValue((record.*field.get)()) + ",";
    line.back() = '\n';
    return line;
}

// ---- From JSON

const char* Kept(const nlohmann::json& value, const char* name, RecordTexts& texts) {
    if (!value.is_string()) throw BadInput(fmt::format("{} is no text", Quoted(name)));
    std::string text = value.get<std::string>();
    if (text.find('\0') != std::string::npos) throw BadInput(fmt::format("{} holds a zero character", Quoted(name)));
    return texts.emplace_back(std::move(text)).c_str();
}

template <class Integer>
Integer IntegerOf(const nlohmann::json& value, const std::string& name) {
    const bool fits = value.is_number_integer() &&
                      (value.is_number_unsigned() ? value.get<std::uint64_t>() <=
                                                        static_cast<std::uint64_t>(std::numeric_limits<Integer>::max())
                                                  : value.get<std::int64_t>() >= std::numeric_limits<Integer>::min());
    if (!fits) {
        throw BadInput(fmt::format("{} is no integer of {} bits", Quoted(name), 8 * sizeof(Integer)));
    }
    return value.get<Integer>();
}

timeval SecondsOf(const nlohmann::json& value) {
    const double seconds = value.get<double>();
    constexpr double kFarthest = 1e12;
    if (!(std::fabs(seconds) < kFarthest)) throw BadInput("\"date\" is too far away");
    // To the nearest microsecond: 0.123 is a little less in binary, and no millisecond is to be lost by that.
    constexpr long long kSecond = 1'000'000;
    const long long whole = std::llround(std::floor(seconds));
    const long long fraction = std::llround((seconds - std::floor(seconds)) * kSecond);
    timeval time{};
    time.tv_sec = static_cast<time_t>(whole + fraction / kSecond);
    time.tv_usec = static_cast<suseconds_t>(fraction % kSecond);
    return time;
}

/// Whether `name` is one of the numbers, which is then set.
bool SetNumber(const std::string& name, const nlohmann::json& value, AuditRecord& record) {
    if (name == "record_id") {
        record.set_record_id(IntegerOf<long long>(value, name));
    } else if (name == "event_id") {
        record.set_event_id(IntegerOf<int>(value, name));
    } else if (name == "pid") {
        record.set_pid(IntegerOf<int>(value, name));
    } else if (name == "status") {
        record.set_status(IntegerOf<int>(value, name));
    } else if (name == "date" && value.is_number()) {
        record.set_date(SecondsOf(value));
    } else if (name == "type" && value.is_number()) {
        record.set_type(IntegerOf<int>(value, name));
    } else if (name == "device_type" && value.is_number()) {
        record.set_device_type(IntegerOf<int>(value, name));
    } else {
        return name == "item";  // where print --format json found it
    }
    return true;
}

// ---- Filters

bool EqualIgnoringCase(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }

std::optional<int> ValueOf(const std::string& text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

bool IsType(const std::string& wanted, const AuditRecord& record) {
    if (EqualIgnoringCase(wanted, record.get_type_str())) return true;
    const std::optional<int> value = ValueOf(wanted);
    if (!value) return false;
    AuditRecord named;
    named.set_type(*value);
    return EqualIgnoringCase(named.get_type_str(), record.get_type_str());
}

bool IsDevice(const std::string& wanted, const AuditRecord& record) {
    if (EqualIgnoringCase(wanted, record.get_device_type_str())) return true;
    return record.is_set_device_type() && ValueOf(wanted) == record.get_device_type();
}

bool IsUser(const std::string& wanted, const AuditRecord& record) {
    const char* const name = record.get_user_name_str();
    const std::string_view whole = name;
    const std::size_t domain = whole.rfind('\\');
    return EqualIgnoringCase(wanted, name) ||
           (domain != std::string_view::npos && EqualIgnoringCase(wanted, name + domain + 1)) ||
           EqualIgnoringCase(wanted, record.get_sid_str()) || EqualIgnoringCase(wanted, record.get_user_uuid_str());
}

template <class Wanted, class Is>
bool AnyOf(const std::vector<Wanted>& wanted, Is is) {
    return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), is);
}

/// Takes `count` digits off `text`; no value where there are fewer.
std::optional<std::int64_t> TakeDigits(std::string_view& text, std::size_t count) {
    std::int64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') return std::nullopt;
        value = 10 * value + (text[i] - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool Take(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

/// Days from 1970-01-01 to a day of the Gregorian calendar; no value for a day that it does not have.
std::optional<std::int64_t> DaysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
    if (month < 1 || month > 12 || day < 1) return std::nullopt;
    constexpr std::array kBefore{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    const auto index = static_cast<std::size_t>(month);
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (day > kBefore[index] - kBefore[index - 1] + (isLeap && month == 2 ? 1 : 0)) return std::nullopt;
    const auto leaps = [](std::int64_t y) { return y / 4 - y / 100 + y / 400; };
    return 365 * (year - 1970) + leaps(year - 1 + 400) - leaps(1969 + 400) + kBefore[index - 1] +
           (isLeap && month > 2 ? 1 : 0) + day - 1;
}

}  // namespace

std::string RecordText(const AuditRecord& record, const RecordPlace& place, RecordFormat format) {
    switch (format) {
        case RecordFormat::Line:
            return LineOf(record, place);
        case RecordFormat::Long:
            return LongOf(record, place);
        case RecordFormat::Json:
            return JsonLineOf(record, place);
        case RecordFormat::Csv:
            break;
    }
    return CsvOf(record, place);
}

std::string CsvHeader(bool withItems) {
    std::string line = withItems ? "item," : "";
    for (const Number& number : NumbersOf(AuditRecord())) line += fmt::format("{},", number.name);
    for (const TextField& field : kTexts) line += fmt::format("{},", field.name);
    line.back() = '\n';
    return line;
}

void ReadRecord(const nlohmann::json& object, AuditRecord& record, RecordTexts& texts) {
    if (!object.is_object()) throw BadInput("a record is an object");
    record = AuditRecord();
    texts.clear();
    texts.reserve(object.size());  // so that no text moves
    for (const auto& [name, value] : object.items()) {
        if (SetNumber(name, value, record)) continue;
        const auto field = std::find_if(std::begin(kTexts), std::end(kTexts),
                                        [&name = name](const TextField& text) { return name == text.name; });
        if (field == std::end(kTexts)) throw BadInput(fmt::format("a record has no {}", Quoted(name)));
        (record.*field->set)(Kept(value, field->name, texts));
    }
}

std::optional<std::int64_t> TimeOf(std::string_view text) {
    constexpr std::int64_t kDay = 86'400'000;
    std::int64_t time = 0;
    std::int64_t sign = 1;  // of the fraction
    if (Take(text, '@')) {
        sign = text.starts_with('-') ? -1 : 1;
        std::int64_t seconds = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
        constexpr std::int64_t kFarthest = 1'000'000'000'000;
        if (error != std::errc() || seconds < -kFarthest || seconds > kFarthest) return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        time = seconds * 1000;
    } else {
        const auto year = TakeDigits(text, 4);
        if (!year || !Take(text, '-')) return std::nullopt;
        const auto month = TakeDigits(text, 2);
        if (!month || !Take(text, '-')) return std::nullopt;
        const auto day = TakeDigits(text, 2);
        const auto days = day ? DaysOf(*year, *month, *day) : std::nullopt;
        if (!days) return std::nullopt;
        time = *days * kDay;
        if (Take(text, 'T') || Take(text, ' ')) {
            const auto hour = TakeDigits(text, 2);
            if (!hour || *hour > 23 || !Take(text, ':')) return std::nullopt;
            const auto minute = TakeDigits(text, 2);
            if (!minute || *minute > 59) return std::nullopt;
            std::int64_t second = 0;
            if (Take(text, ':')) {
                const auto digits = TakeDigits(text, 2);
                if (!digits || *digits > 60) return std::nullopt;
                second = *digits;
            }
            time += ((*hour * 60 + *minute) * 60 + second) * 1000;
        }
    }
    if (Take(text, '.')) {
        if (text.empty()) return std::nullopt;
        for (std::int64_t unit = 100; const auto digit = TakeDigits(text, 1); unit /= 10) time += sign * *digit * unit;
    }
    Take(text, 'Z');
    if (!text.empty()) return std::nullopt;
    return time;
}

bool RecordFilter::admits(const AuditRecord& record) const {
    if (!AnyOf(types, [&](const std::string& wanted) { return IsType(wanted, record); })) return false;
    if (!AnyOf(users, [&](const std::string& wanted) { return IsUser(wanted, record); })) return false;
    if (!AnyOf(devices, [&](const std::string& wanted) { return IsDevice(wanted, record); })) return false;
    if (!AnyOf(statuses, [&](int wanted) { return wanted == record.get_status(); })) return false;
    if (!since && !until) return true;
    const std::optional<std::int64_t> time = TimeOf(record.get_date_str());
    return time && (!since || *time >= *since) && (!until || *time <= *until);
}

}  // namespace kxtool
