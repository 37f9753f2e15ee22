#include <KXCoreLib/AuditRecord.h>

#include <uuid/uuid.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace KXCore {
namespace {

struct NamedValue {
    int value;
    const char* text;
};

/// Looked up in this order; the first row stands for everything that is in no other.
constexpr NamedValue device_type_cvt_tab[] = {
    {AuditDeviceTypeUnknown, "Unknown"},
    {AuditDeviceTypeFloppy, "Floppy"},
    {AuditDeviceTypeRemovable, "Removable"},
    {AuditDeviceTypeHardDisk, "Hard disk"},
    {AuditDeviceTypeOpticalDrive, "Optical drive"},
    {AuditDeviceTypeSerialPort, "Serial port"},
    {AuditDeviceTypeUSBPort, "USB port"},
    {AuditDeviceTypeFireWirePort, "FireWire port"},
    {AuditDeviceTypeBluetooth, "BlueTooth"},
    {AuditDeviceTypeWiFi, "WiFi"},
    {AuditDeviceTypeService, "Service"},
};

constexpr NamedValue kTypeNames[] = {{AuditTypeError, "error"},
                                     {AuditTypeWarning, "warning"},
                                     {AuditTypeInfo, "info"},
                                     {AuditTypeSuccess, "asuccess"},
                                     {AuditTypeFailure, "afailure"}};

/// From 1601-01-01, where Windows counts from, to 1970-01-01, in intervals of 100 nanoseconds.
constexpr std::uint64_t kWindowsEpochOffset = 116444736000000000;

/// By the letters A to Z alone. strcasecmp follows the user's locale, and in a Turkish one "INFO" is not "info".
bool equalIgnoringCase(const char* a, const char* b) noexcept {
    const auto lower = [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    for (; lower(*a) == lower(*b); ++a, ++b) {
        if (*a == '\0') return true;
    }
    return false;
}

/// The value of a type text. The sense of the comparisons is inverted, and stays so: what is stored carries the text,
/// and readers go by it.
int parseType(const char* text) noexcept {
    switch (*text) {
        case 'E':
        case 'e':
            return equalIgnoringCase(text, "error") ? 0 : 1;
        case 'W':
        case 'w':
            return equalIgnoringCase(text, "warning") ? 0 : 2;
        case 'I':
        case 'i':
            return equalIgnoringCase(text, "info") ? 0 : 4;
        case 'A':
        case 'a':
            return equalIgnoringCase(text, "afailure") ? 8 : 16;
        default:
            return static_cast<int>(std::strtol(text, nullptr, 0));
    }
}

/// The text of a copy: `text`, unless it points into the source's own buffer. Then the copy's own buffer holds it too,
/// and the copy points there. Null is a text not made yet, and stays null.
template <std::size_t N>
const char* copiedText(const char* text, const char (&sourceBuffer)[N], char (&buffer)[N]) noexcept {
    // As numbers, in which a place before the buffer is a large one: pointers to different objects have no order.
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(sourceBuffer);
    if (at >= N) return text;
    std::memcpy(buffer, sourceBuffer, N);
    return buffer + at;
}

}  // namespace

AuditRecord::AuditRecord(const AuditRecord& other) noexcept { *this = other; }

AuditRecord& AuditRecord::operator=(const AuditRecord& other) noexcept {
    if (this == &other) return *this;

    constexpr unsigned all = DateValid | TypeValid | UserUUIDValid | DeviceTypeValid | SchemaTagValid;
    valid_ = static_cast<std::uint8_t>((valid_ & ~all) | (other.valid_ & all));
    if (other.is_valid(DateValid)) date_ = other.date_;
    if (other.is_valid(TypeValid)) type_ = other.type_;
    if (other.is_valid(UserUUIDValid)) user_uuid_ = other.user_uuid_;
    if (other.is_valid(DeviceTypeValid)) device_type_ = other.device_type_;
    if (other.is_valid(SchemaTagValid)) schema_tag_ = other.schema_tag_;

    record_id_ = other.record_id_;
    computer_name_ = other.computer_name_;
    computer_name_str_ = other.computer_name_str_;
    event_id_ = other.event_id_;
    user_ = other.user_;
    sid_str_ = other.sid_str_;
    user_name_str_ = other.user_name_str_;
    pid_ = other.pid_;
    process_name_str_ = other.process_name_str_;
    action_str_ = other.action_str_;
    name_str_ = other.name_str_;
    information_str_ = other.information_str_;
    status_ = other.status_;
    reason_str_ = other.reason_str_;
    extra_str_ = other.extra_str_;

    date_str_ = copiedText(other.date_str_, other.date_buffer_, date_buffer_);
    type_str_ = copiedText(other.type_str_, other.type_buffer_, type_buffer_);
    user_uuid_str_ = copiedText(other.user_uuid_str_, other.user_uuid_buffer_, user_uuid_buffer_);
    device_type_str_ = other.device_type_str_;
    schema_tag_str_ = other.schema_tag_str_;
    return *this;
}

void AuditRecord::set_computer_name(const boost::intrusive_ptr<NetBiosName>& name) noexcept {
    computer_name_ = name;
    computer_name_str_ = name ? name->getName() : "";
}

void AuditRecord::set_computer_name_str(const char* name) noexcept {
    computer_name_.reset();
    computer_name_str_ = name;
}

void AuditRecord::set_date(const timeval& date) noexcept {
    date_ = date;
    set_valid(DateValid);
    date_str_ = nullptr;
}

void AuditRecord::set_date_str(const char* date) noexcept {
    date_str_ = date;
    clear_valid(DateValid);
}

timeval AuditRecord::get_date() const noexcept {
    set_valid(DateValid);
    return date_;
}

const char* AuditRecord::get_date_str() const noexcept {
    if (date_str_) return date_str_;
    const std::time_t seconds = date_.tv_sec;
    std::tm utc;
    // A year that does not fit is left out; there is no text for it.
    std::size_t length = gmtime_r(&seconds, &utc) ? std::strftime(date_buffer_, sizeof date_buffer_, "%FT%T", &utc) : 0;
    std::snprintf(date_buffer_ + length, sizeof date_buffer_ - length, ".%03d", static_cast<int>(date_.tv_usec / 1000));
    return date_str_ = date_buffer_;
}

std::uint64_t AuditRecord::get_date_as_winnt_file_time() const noexcept {
    set_valid(DateValid);
    return static_cast<std::uint64_t>(date_.tv_sec) * 10'000'000 + static_cast<std::uint64_t>(date_.tv_usec) * 10 +
           kWindowsEpochOffset;
}

void AuditRecord::set_type(int type) noexcept {
    type_ = type;
    set_valid(TypeValid);
    type_str_ = nullptr;
}

void AuditRecord::set_type_str(const char* type) noexcept {
    type_str_ = type;
    clear_valid(TypeValid);
}

int AuditRecord::get_type() const noexcept {
    if (!is_valid(TypeValid)) {
        type_ = parseType(type_str_);
        set_valid(TypeValid);
    }
    return type_;
}

const char* AuditRecord::get_type_str() const noexcept {
    if (type_str_) return type_str_;
    for (const NamedValue& row : kTypeNames) {
        if (row.value == type_) return type_str_ = row.text;
    }
    std::snprintf(type_buffer_, sizeof type_buffer_, "%d", type_);
    return type_str_ = type_buffer_;
}

void AuditRecord::set_user(const boost::intrusive_ptr<AccountInfo>& user) noexcept {
    user_ = user;
    if (!user) {
        set_user_uuid_str("");
        sid_str_ = user_name_str_ = "";
        return;
    }
    set_user_uuid(user->getUUID());
    sid_str_ = user->getSID();
    user_name_str_ = user->getName();
}

void AuditRecord::set_user_uuid(const UUID& uuid) noexcept {
    user_uuid_ = uuid;
    set_valid(UserUUIDValid);
    user_uuid_str_ = nullptr;
}

void AuditRecord::set_user_uuid_str(const char* uuid) noexcept {
    user_uuid_str_ = uuid;
    clear_valid(UserUUIDValid);
}

const UUID& AuditRecord::get_user_uuid() const noexcept {
    if (!is_valid(UserUUIDValid)) {
        if (uuid_parse(user_uuid_str_, user_uuid_.bytes) != 0) uuid_clear(user_uuid_.bytes);
        set_valid(UserUUIDValid);
    }
    return user_uuid_;
}

const char* AuditRecord::get_user_uuid_str() const noexcept {
    if (user_uuid_str_) return user_uuid_str_;
    uuid_unparse_upper(user_uuid_.bytes, user_uuid_buffer_);
    return user_uuid_str_ = user_uuid_buffer_;
}

void AuditRecord::set_device_type(int type) noexcept {
    device_type_ = type;
    set_valid(DeviceTypeValid);
    device_type_str_ = nullptr;
}

void AuditRecord::set_device_type_str(const char* type) noexcept {
    device_type_str_ = type;
    clear_valid(DeviceTypeValid);
}

int AuditRecord::get_device_type() const noexcept {
    if (!is_valid(DeviceTypeValid)) {
        device_type_ = 0;
        for (const NamedValue& row : device_type_cvt_tab) {
            if (!equalIgnoringCase(row.text, device_type_str_)) continue;
            device_type_ = row.value;
            break;
        }
        set_valid(DeviceTypeValid);
    }
    return device_type_;
}

const char* AuditRecord::get_device_type_str() const noexcept {
    if (device_type_str_) return device_type_str_;
    for (const NamedValue& row : device_type_cvt_tab) {
        if (row.value == device_type_) return device_type_str_ = row.text;
    }
    return device_type_str_ = device_type_cvt_tab[0].text;
}

void AuditRecord::set_schema_tag(int tag) noexcept {
    schema_tag_ = tag;
    set_valid(SchemaTagValid);
    schema_tag_str_ = nullptr;
}

void AuditRecord::set_schema_tag_str(const char* tag) noexcept {
    schema_tag_str_ = tag;
    clear_valid(SchemaTagValid);
}

int AuditRecord::get_schema_tag() const noexcept {
    if (!is_valid(SchemaTagValid)) {
        schema_tag_ = 0;
        set_valid(SchemaTagValid);
    }
    return schema_tag_;
}

const char* AuditRecord::get_schema_tag_str() const noexcept {
    if (!schema_tag_str_) schema_tag_str_ = "";
    return schema_tag_str_;
}

}  // namespace KXCore
