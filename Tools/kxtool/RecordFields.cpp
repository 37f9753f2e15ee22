#include "RecordFields.h"

namespace kxtool {

using KXCore::AuditRecord;

namespace {

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

constexpr NamedValue kTypes[] = {{"error", 1}, {"warning", 2}, {"info", 4}, {"asuccess", 8}, {"afailure", 16}};

constexpr NamedValue kDeviceTypes[] = {
    {"Unknown", 0},       {"Floppy", 1},      {"Removable", 2}, {"Hard disk", 3},
    {"Optical drive", 5}, {"Serial port", 7}, {"USB port", 10}, {"FireWire port", 12},
    {"BlueTooth", 13},    {"WiFi", 14},       {"Service", 255},
};

}  // namespace

std::span<const TextField> TextFields() { return kTexts; }

std::array<NumberField, 4> NumbersOf(const AuditRecord& record) {
    return {{{"record_id", record.get_record_id()},
             {"event_id", record.get_event_id()},
             {"pid", record.get_pid()},
             {"status", record.get_status()}}};
}

std::span<const NamedValue> KnownTypes() { return kTypes; }

std::span<const NamedValue> KnownDeviceTypes() { return kDeviceTypes; }

}  // namespace kxtool
