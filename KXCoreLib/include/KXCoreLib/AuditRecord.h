#pragma once

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/Export.h>
#include <KXCoreLib/SystemInfo.h>
#include <KXCoreLib/UUID.h>

#include <sys/time.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <vector>

namespace KXCore {

/// What kind of event a record reports. Other values may occur in records; these have texts.
enum AuditType : int {
    AuditTypeError = 1,     ///< "error"
    AuditTypeWarning = 2,   ///< "warning"
    AuditTypeInfo = 4,      ///< "info"
    AuditTypeSuccess = 8,   ///< "asuccess": what was asked was granted
    AuditTypeFailure = 16,  ///< "afailure": what was asked was refused
};

/// What kind of device a record is about.
enum AuditDeviceType : int {
    AuditDeviceTypeUnknown = 0,        ///< "Unknown"
    AuditDeviceTypeFloppy = 1,         ///< "Floppy"
    AuditDeviceTypeRemovable = 2,      ///< "Removable"
    AuditDeviceTypeHardDisk = 3,       ///< "Hard disk"
    AuditDeviceTypeOpticalDrive = 5,   ///< "Optical drive"
    AuditDeviceTypeSerialPort = 7,     ///< "Serial port"
    AuditDeviceTypeUSBPort = 10,       ///< "USB port"
    AuditDeviceTypeFireWirePort = 12,  ///< "FireWire port"
    AuditDeviceTypeBluetooth = 13,     ///< "BlueTooth"
    AuditDeviceTypeWiFi = 14,          ///< "WiFi"
    AuditDeviceTypeService = 255,      ///< "Service"
};

/// One audited event: who did what with which device, when, and how it ended.
///
/// **Texts are borrowed.** A `_str` setter keeps the pointer it is given; the text (NUL-terminated, 8-bit, never null)
/// must live and stay as it is while the record, or a copy of it, is used. A text that a getter returns lives as long
/// as what the record borrows it from, and until the field is set again or the record is assigned to or destroyed. The
/// texts of set_computer_name() and set_user() are kept alive by the record itself and by its copies.
///
/// **Two forms of one field.** Date, type, user identity and device type can be set as a value or as a text; the other
/// form is made when it is asked for, and kept. Asking through a const record fills these caches.
///
/// **Threads.** One record belongs to one thread at a time, getters and append_to_buffer() included.
///
/// Not for storing: to keep a record beyond what it borrows, append it to a buffer and keep the buffer.
class KX_EXPORT AuditRecord {
  public:
    /// A record in which nothing is set.
    AuditRecord() noexcept {}  // not defaulted: a const record may then be made without an initialiser

    /// Copies what is set. Borrowed texts are shared with the source, so the copy of a record that was read from a
    /// buffer points into that buffer too. The text that the source made of its date, type or user identity the copy
    /// holds itself. Assigning a record to itself changes nothing.
    ///
    /// A text that a record made and that was then set as *another* of its fields, or of another record's, is borrowed
    /// like any other: it is the first record's, and goes with it. Copies of either do not keep it alive.
    AuditRecord(const AuditRecord& other) noexcept;
    AuditRecord& operator=(const AuditRecord& other) noexcept;
    ~AuditRecord() = default;

    void set_record_id(long long id) noexcept { record_id_ = id; }
    long long get_record_id() const noexcept { return record_id_; }

    /// Takes the computer's name from `name` and keeps it alive; null clears the name.
    void set_computer_name(const boost::intrusive_ptr<NetBiosName>& name) noexcept;
    void set_computer_name_str(const char* name) noexcept;
    const char* get_computer_name_str() const noexcept { return computer_name_str_; }
    bool is_set_computer_name() const noexcept { return *computer_name_str_ != '\0'; }

    /// When it happened, in UTC.
    void set_date(const timeval& date) noexcept;
    void set_date_str(const char* date) noexcept;
    /// The value last set with set_date(). It is never read out of a text.
    timeval get_date() const noexcept;
    /// The text set, or the value as "2026-11-15T16:02:44.123" in UTC, milliseconds cut off. "" when nothing is set.
    const char* get_date_str() const noexcept;
    /// The value as Windows counts time: 100-nanosecond intervals since 1601-01-01 00:00 UTC.
    std::uint64_t get_date_as_winnt_file_time() const noexcept;

    /// What kind of event: an AuditType.
    void set_type(int type) noexcept;
    void set_type_str(const char* type) noexcept;
    /// The value set, or the number that the text gives: decimal, octal or hexadecimal by its prefix. A text that names
    /// a kind does not come back as the value of that kind ("error" gives 0, "asuccess" 16, "afailure" 8): a reader of
    /// stored records goes by the text.
    int get_type() const noexcept;
    /// The text set, or that of the value: "error", "warning", "info", "asuccess", "afailure", else the number.
    const char* get_type_str() const noexcept;

    void set_event_id(int id) noexcept { event_id_ = id; }
    int get_event_id() const noexcept { return event_id_; }

    /// Takes identity, SID and name from `user` and keeps it alive; null clears the three.
    void set_user(const boost::intrusive_ptr<AccountInfo>& user) noexcept;

    void set_user_uuid(const UUID& uuid) noexcept;
    void set_user_uuid_str(const char* uuid) noexcept;
    /// The value set, or the text read as one; all zero when the text is none.
    const UUID& get_user_uuid() const noexcept;
    /// The text set, or the value as 36 characters with upper-case digits.
    const char* get_user_uuid_str() const noexcept;
    bool is_set_user_uuid() const noexcept { return is_set(user_uuid_str_); }

    void set_sid_str(const char* sid) noexcept { sid_str_ = sid; }
    const char* get_sid_str() const noexcept { return sid_str_; }
    bool is_set_sid() const noexcept { return *sid_str_ != '\0'; }

    void set_user_name_str(const char* name) noexcept { user_name_str_ = name; }
    const char* get_user_name_str() const noexcept { return user_name_str_; }
    bool is_set_user_name() const noexcept { return *user_name_str_ != '\0'; }

    /// The process that did it; -1 means not set.
    void set_pid(int pid) noexcept { pid_ = pid; }
    int get_pid() const noexcept { return pid_; }
    bool is_set_pid() const noexcept { return pid_ != -1; }

    void set_process_name_str(const char* name) noexcept { process_name_str_ = name; }
    const char* get_process_name_str() const noexcept { return process_name_str_; }
    bool is_set_process_name() const noexcept { return *process_name_str_ != '\0'; }

    /// The kind of device: 1 floppy, 2 removable, 3 hard disk, 5 optical drive, 7 serial port, 10 USB port,
    /// 12 FireWire port, 13 Bluetooth, 14 Wi-Fi, 255 service, 0 unknown.
    void set_device_type(int type) noexcept;
    void set_device_type_str(const char* type) noexcept;
    /// The value set, or that of the text, whatever its case; 0 when the text names no kind.
    int get_device_type() const noexcept;
    /// The text set, or that of the value ("USB port"), "Unknown" for a value without one.
    const char* get_device_type_str() const noexcept;
    bool is_set_device_type() const noexcept { return is_set(device_type_str_); }

    void set_action_str(const char* action) noexcept { action_str_ = action; }
    const char* get_action_str() const noexcept { return action_str_; }
    bool is_set_action() const noexcept { return *action_str_ != '\0'; }

    void set_name_str(const char* name) noexcept { name_str_ = name; }
    const char* get_name_str() const noexcept { return name_str_; }
    bool is_set_name() const noexcept { return *name_str_ != '\0'; }

    void set_information_str(const char* information) noexcept { information_str_ = information; }
    const char* get_information_str() const noexcept { return information_str_; }
    bool is_set_information() const noexcept { return *information_str_ != '\0'; }

    void set_status(int status) noexcept { status_ = status; }
    int get_status() const noexcept { return status_; }

    /// Value and text of the schema tag are independent of each other: neither is ever made from the other.
    void set_schema_tag(int tag) noexcept;
    void set_schema_tag_str(const char* tag) noexcept;
    int get_schema_tag() const noexcept;
    const char* get_schema_tag_str() const noexcept;
    bool is_set_schema_tag() const noexcept { return is_set(schema_tag_str_); }

    void set_reason_str(const char* reason) noexcept { reason_str_ = reason; }
    const char* get_reason_str() const noexcept { return reason_str_; }
    bool is_set_reason() const noexcept { return *reason_str_ != '\0'; }

    void set_extra_str(const char* extra) noexcept { extra_str_ = extra; }
    const char* get_extra_str() const noexcept { return extra_str_; }
    bool is_set_extra() const noexcept { return *extra_str_ != '\0'; }

    /// Appends the record's bytes to `buffer` (docs/audit-record.md tells them one by one). Records may stand one after
    /// another in one buffer. A record that borrows from `buffer` itself may be appended to it; its own texts are then
    /// void, as after any change of the buffer.
    ///
    /// Throws std::length_error when the record would pass 4 GiB, std::bad_alloc when there is no memory; `buffer` is
    /// then as it was.
    void append_to_buffer(std::vector<unsigned char>& buffer) const;

    /// Fills the record from the one that starts at `offset`, and returns the offset just past it, where the next one
    /// starts. Any bytes may be given: where no whole record starts, kNoRecord is returned and the record is as it
    /// was.
    ///
    /// The record's texts then point into `buffer`, which must stay alive and unchanged while they are used. Values
    /// (date, type, user identity, device type, schema tag) are not stored; they are made from the texts when asked
    /// for.
    ///
    ///     for (unsigned long next = 0; (next = record.read_from_buffer(buffer, next)) != AuditRecord::kNoRecord;)
    ///         print(record);
    unsigned long read_from_buffer(const std::vector<unsigned char>& buffer, unsigned long offset) noexcept;

    static constexpr unsigned long kNoRecord = static_cast<unsigned long>(-1);

  private:
    static constexpr unsigned kTextCount = 14;

    enum ValidFlag : std::uint8_t {
        DateValid = 1,
        TypeValid = 2,
        UserUUIDValid = 4,
        DeviceTypeValid = 8,
        SchemaTagValid = 16
    };

    /// For a field with two forms: set as a value that no text was made of yet (null), or as a text that is not empty.
    static bool is_set(const char* text) noexcept { return !text || *text != '\0'; }

    bool is_valid(ValidFlag flag) const noexcept { return (valid_ & flag) != 0; }
    void set_valid(ValidFlag flag) const noexcept { valid_ = static_cast<std::uint8_t>(valid_ | flag); }
    void clear_valid(unsigned flags) noexcept { valid_ = static_cast<std::uint8_t>(valid_ & ~flags); }

    void set_texts(const char* const (&texts)[kTextCount]) noexcept;

    mutable std::uint8_t valid_ = 0;
    long long record_id_ = 0;
    const char* computer_name_str_ = "";
    boost::intrusive_ptr<NetBiosName> computer_name_;
    timeval date_{};
    mutable const char* date_str_ = "";
    mutable int type_ = 0;
    mutable const char* type_str_ = "";
    int event_id_ = 0;
    boost::intrusive_ptr<AccountInfo> user_;
    mutable UUID user_uuid_{};
    mutable const char* user_uuid_str_ = "";
    const char* sid_str_ = "";
    const char* user_name_str_ = "";
    int pid_ = -1;
    const char* process_name_str_ = "";
    mutable int device_type_ = 0;
    mutable const char* device_type_str_ = "";
    const char* action_str_ = "";
    const char* name_str_ = "";
    const char* information_str_ = "";
    int status_ = 0;
    mutable int schema_tag_ = 0;
    mutable const char* schema_tag_str_ = "";
    const char* reason_str_ = "";
    const char* extra_str_ = "";
    mutable char date_buffer_[32];
    mutable char type_buffer_[12];
    mutable char user_uuid_buffer_[37];
};

/// The text that starts at `position` when a NUL stands before `limit`; `position` moves past that NUL. Otherwise the
/// empty text, and `position` becomes `limit`. Nothing outside `buffer` is read, whatever the two numbers are.
KX_EXPORT const char* read_c_string(const std::vector<unsigned char>& buffer, unsigned long& position,
                                    unsigned long limit) noexcept;

}  // namespace KXCore
