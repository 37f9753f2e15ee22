// Any bytes at any offset: nothing outside the buffer is read (the sanitizer sees to that), a refusal changes nothing,
// and what is accepted says the same when it is written and read again.

#include <KXCoreLib/AuditRecord.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace KXCore;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

std::array<const char*, 14> textsOf(const AuditRecord& record) {
    return {record.get_computer_name_str(), record.get_date_str(),        record.get_type_str(),
            record.get_user_uuid_str(),     record.get_sid_str(),         record.get_user_name_str(),
            record.get_process_name_str(),  record.get_device_type_str(), record.get_action_str(),
            record.get_name_str(),          record.get_information_str(), record.get_schema_tag_str(),
            record.get_reason_str(),        record.get_extra_str()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    unsigned long offset = 0;
    if (size >= sizeof offset) {
        std::memcpy(&offset, data, sizeof offset);
        // Most runs start inside the buffer; the others anywhere at all.
        if (data[0] % 8 != 0) offset %= 64;
        data += sizeof offset;
        size -= sizeof offset;
    }
    const std::vector<unsigned char> buffer(data, data + size);

    AuditRecord record;
    record.set_record_id(7);
    record.set_name_str("kept");
    while (true) {
        const long long id = record.get_record_id();
        const char* const name = record.get_name_str();
        const unsigned long next = record.read_from_buffer(buffer, offset);
        if (next == AuditRecord::kNoRecord) {
            check(record.get_record_id() == id && record.get_name_str() == name);
            break;
        }
        check(next > offset && next <= buffer.size());

        std::vector<unsigned char> written;
        record.append_to_buffer(written);
        AuditRecord again;
        check(again.read_from_buffer(written, 0) == written.size());
        const auto a = textsOf(record);
        const auto b = textsOf(again);
        for (std::size_t i = 0; i < a.size(); ++i) check(std::strcmp(a[i], b[i]) == 0);
        check(again.get_record_id() == record.get_record_id() && again.get_pid() == record.get_pid());
        check(again.get_type() == record.get_type() && again.get_device_type() == record.get_device_type());
        check(again.get_user_uuid() == record.get_user_uuid());
        offset = next;
    }
    return 0;
}
