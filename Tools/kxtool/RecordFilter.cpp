#include "RecordFilter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "Errors.h"
#include "RecordFields.h"
#include "Suggestion.h"
#include "TextSearch.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;

// ---- Tests of one value

class FieldIs : public FilterTest {
  public:
    using Getter = const char* (AuditRecord::*)() const noexcept;

    FieldIs(Getter get, std::string_view wanted) : get_(get), wanted_(wanted) {}
    bool matches(const AuditRecord& record, std::string_view) const override {
        return wanted_.matches((record.*get_)());
    }

  private:
    Getter get_;
    WantedText wanted_;
};

/// A process by its name, or by the last part of the path that the record names it by.
class ProcessIs : public FilterTest {
  public:
    explicit ProcessIs(std::string_view wanted) : wanted_(wanted) {}
    bool matches(const AuditRecord& record, std::string_view) const override {
        const char* const name = record.get_process_name_str();
        if (wanted_.matches(name)) return true;
        const char* const slash = std::strrchr(name, '/');
        return slash && wanted_.matches(slash + 1);
    }

  private:
    WantedText wanted_;
};

/// A user by name, with or without its domain, SID or UUID.
class UserIs : public FilterTest {
  public:
    explicit UserIs(std::string_view wanted) : wanted_(wanted) {}
    bool matches(const AuditRecord& record, std::string_view) const override {
        const char* const name = record.get_user_name_str();
        if (wanted_.matches(name)) return true;
        const char* const domainEnd = std::strrchr(name, '\\');
        return (domainEnd && wanted_.matches(domainEnd + 1)) || wanted_.matches(record.get_sid_str()) ||
               wanted_.matches(record.get_user_uuid_str());
    }

  private:
    WantedText wanted_;
};

class NumberIs : public FilterTest {
  public:
    using Getter = int (AuditRecord::*)() const noexcept;

    NumberIs(Getter get, int wanted) : get_(get), wanted_(wanted) {}
    bool matches(const AuditRecord& record, std::string_view) const override { return (record.*get_)() == wanted_; }

  private:
    Getter get_;
    int wanted_;
};

/// A device type by its value. What has no text of the library's own counts as unknown there, and here.
class DeviceTypeIs : public FilterTest {
  public:
    explicit DeviceTypeIs(int wanted) : wanted_(wanted) {}
    bool matches(const AuditRecord& record, std::string_view) const override {
        return record.is_set_device_type() && record.get_device_type() == wanted_;
    }

  private:
    int wanted_;
};

class TextHolds : public FilterTest {
  public:
    explicit TextHolds(std::string_view word) : word_(word) {}
    bool matches(const AuditRecord&, std::string_view texts) const override { return word_.isIn(texts); }

  private:
    SearchedWord word_;
};

// ---- Values of the command line

/// Decimal, or hexadecimal after "0x".
std::optional<int> IntegerOf(const std::string& text) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front()))) return std::nullopt;
    const bool isHex = text.find('x') != std::string::npos || text.find('X') != std::string::npos;
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, isHex ? 16 : 10);
    if (*end != '\0' || errno != 0 || value < std::numeric_limits<int>::min() ||
        value > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(value);
}

int NumberWanted(const std::string& text, const char* what) {
    if (const auto value = IntegerOf(text)) return *value;
    throw BadUsage(fmt::format("{} is no {}: it is an integer of 32 bits", Quoted(text), what));
}

std::vector<std::string> NamesOf(std::span<const NamedValue> known) {
    std::vector<std::string> names;
    for (const NamedValue& one : known) names.emplace_back(one.name);
    return names;
}

/// Whether a text is one of the known ones, or a pattern of one.
bool IsKnown(const std::string& text, std::span<const NamedValue> known) {
    const WantedText wanted(text);
    return std::any_of(known.begin(), known.end(), [&](const NamedValue& one) { return wanted.matches(one.name); });
}

std::unique_ptr<FilterTest> TypeTest(const std::string& text) {
    const auto byText = [](const std::string& wanted) {
        return std::make_unique<FieldIs>(&AuditRecord::get_type_str, wanted);
    };
    if (IsKnown(text, KnownTypes())) return byText(text);
    if (const auto value = IntegerOf(text)) {
        AuditRecord named;
        named.set_type(*value);
        return byText(named.get_type_str());
    }
    throw BadUsage(fmt::format("{} is no type of record{}", Quoted(text), Suggestion(text, NamesOf(KnownTypes()))));
}

std::unique_ptr<FilterTest> DeviceTest(const std::string& text) {
    if (IsKnown(text, KnownDeviceTypes())) return std::make_unique<FieldIs>(&AuditRecord::get_device_type_str, text);
    const auto value = IntegerOf(text);
    const auto hasValue = [&](const NamedValue& one) { return one.value == value; };
    if (value && std::any_of(KnownDeviceTypes().begin(), KnownDeviceTypes().end(), hasValue)) {
        return std::make_unique<DeviceTypeIs>(*value);
    }
    throw BadUsage(
        fmt::format("{} is no type of device{}", Quoted(text), Suggestion(text, NamesOf(KnownDeviceTypes()))));
}

std::unique_ptr<FilterTest> UserTest(const std::string& text) {
    if (text.empty()) throw BadUsage("a user's name is not empty");
    return std::make_unique<UserIs>(text);
}

std::unique_ptr<FilterTest> TestOf(FilterField field, const std::string& text) {
    switch (field) {
        case FilterField::Name:
            return std::make_unique<FieldIs>(&AuditRecord::get_name_str, text);
        case FilterField::Action:
            return std::make_unique<FieldIs>(&AuditRecord::get_action_str, text);
        case FilterField::Reason:
            return std::make_unique<FieldIs>(&AuditRecord::get_reason_str, text);
        case FilterField::Computer:
            return std::make_unique<FieldIs>(&AuditRecord::get_computer_name_str, text);
        case FilterField::Process:
            return std::make_unique<ProcessIs>(text);
        case FilterField::Pid:
            return std::make_unique<NumberIs>(&AuditRecord::get_pid, NumberWanted(text, "process id"));
        case FilterField::Event:
            return std::make_unique<NumberIs>(&AuditRecord::get_event_id, NumberWanted(text, "event id"));
        case FilterField::Status:
            return std::make_unique<NumberIs>(&AuditRecord::get_status, NumberWanted(text, "status"));
        case FilterField::Text:
            return std::make_unique<TextHolds>(text);
        case FilterField::User:
            return UserTest(text);
        case FilterField::Device:
            return DeviceTest(text);
        case FilterField::Type:
            break;
    }
    return TypeTest(text);
}

std::optional<std::int64_t> TimeWanted(const std::string& text, Zone zone, std::int64_t now) {
    if (text.empty()) return std::nullopt;
    const std::optional<std::int64_t> time = TimeMeant(text, zone, now);
    if (time) return time;
    throw BadUsage(fmt::format(
        "{} is no time: today, yesterday, monday, -1h, \"2 days ago\", 14:00, 2026-11-21, \"2026-11-21 14:00\", "
        "2026-11-21T14:00:05.123Z, @1794758564",
        Quoted(text)));
}

}  // namespace

const std::vector<FilterFieldName>& FilterFieldNames() {
    static const std::vector<FilterFieldName> names{
        {FilterField::Type, "type", "error, warning, info, asuccess, afailure, or the value"},
        {FilterField::User, "user", "Name, with or without the domain, SID or UUID"},
        {FilterField::Device, "device", "\"USB port\", ..., or the value"},
        {FilterField::Name, "name", "The name of what was acted on"},
        {FilterField::Action, "action", "The action"},
        {FilterField::Process, "process", "The process by its name, or the last part of its path"},
        {FilterField::Pid, "pid", "The process by its id"},
        {FilterField::Event, "event", "The id of the event"},
        {FilterField::Reason, "reason", "The reason"},
        {FilterField::Computer, "computer", "The computer's name"},
        {FilterField::Status, "status", "The status"},
        {FilterField::Text, "text", "A text that stands anywhere in the record"},
    };
    return names;
}

FilterOptions::FilterOptions() {
    for (const FilterFieldName& name : FilterFieldNames()) fields.push_back({name.field, {}, {}});
}

RecordFilter::RecordFilter(const FilterOptions& options) {
    for (const FilterOptions::Values& values : options.fields) {
        Condition condition;
        for (const std::string& text : values.wanted) condition.wanted.push_back(TestOf(values.field, text));
        for (const std::string& text : values.unwanted) condition.unwanted.push_back(TestOf(values.field, text));
        if (!values.wanted.empty() || !values.unwanted.empty()) conditions_.push_back(std::move(condition));
    }
    const std::int64_t now = Now();
    since_ = TimeWanted(options.since, options.zone(), now);
    until_ = TimeWanted(options.until, options.zone(), now);
    if (since_ && until_ && *since_ > *until_) {
        throw BadUsage(fmt::format("no time is since {} and until {}", TimeText(*since_, options.zone()),
                                   TimeText(*until_, options.zone())));
    }
}

bool RecordFilter::admits(const AuditRecord& record, std::string_view texts) {
    const auto any = [&](const Tests& tests) {
        return std::any_of(tests.begin(), tests.end(), [&](const auto& test) { return test->matches(record, texts); });
    };
    for (const Condition& condition : conditions_) {
        if (!condition.wanted.empty() && !any(condition.wanted)) return false;
        if (any(condition.unwanted)) return false;
    }
    if (!since_ && !until_) return true;
    const std::optional<std::int64_t> time = TimeOf(record.get_date_str());
    if (!time) ++undated_;
    return time && (!since_ || *time >= *since_) && (!until_ || *time <= *until_);
}

}  // namespace kxtool
