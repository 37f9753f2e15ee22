// Audit records from JSON.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "AuditText.h"
#include "AuditTime.h"
#include "Errors.h"
#include "RecordFields.h"

namespace kxtool {

using KXCore::AuditRecord;

namespace {

const char* Kept(const nlohmann::json& value, const char* name, RecordTexts& texts) {
    if (!value.is_string()) throw BadInput(fmt::format("{} is no text", Quoted(name)));
    std::string text = value.get<std::string>();
    if (text.find('\0') != std::string::npos) throw BadInput(fmt::format("{} holds a zero character", Quoted(name)));
    if (name == std::string_view("date")) text = RecordDate(text);
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

}  // namespace

void ReadRecord(const nlohmann::json& object, AuditRecord& record, RecordTexts& texts) {
    if (!object.is_object()) throw BadInput("a record is an object");
    record = AuditRecord();
    texts.clear();
    texts.reserve(object.size());  // so that no text moves
    for (const auto& [name, value] : object.items()) {
        if (SetNumber(name, value, record)) continue;
        const auto field = std::find_if(TextFields().begin(), TextFields().end(),
                                        [&name = name](const TextField& text) { return name == text.name; });
        if (field == TextFields().end()) throw BadInput(fmt::format("a record has no {}", Quoted(name)));
        (record.*field->set)(Kept(value, field->name, texts));
    }
}

}  // namespace kxtool
