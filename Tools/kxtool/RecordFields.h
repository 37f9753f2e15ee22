#pragma once

// The fields of an audit record by name, in the order of the buffer: the one table that printing, reading and filtering
// share.

#include <KXCoreLib/AuditRecord.h>

#include <array>
#include <span>

namespace kxtool {

struct TextField {
    const char* name;
    const char* (KXCore::AuditRecord::*get)() const noexcept;
    void (KXCore::AuditRecord::*set)(const char*) noexcept;
};

struct NumberField {
    const char* name;
    long long value;
};

/// The fourteen texts.
std::span<const TextField> TextFields();

/// record_id, event_id, pid and status.
std::array<NumberField, 4> NumbersOf(const KXCore::AuditRecord& record);

struct NamedValue {
    const char* name;
    int value;
};

/// The types and the device types that the library knows, each with its text.
std::span<const NamedValue> KnownTypes();
std::span<const NamedValue> KnownDeviceTypes();

}  // namespace kxtool
