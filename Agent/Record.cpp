#include "Record.h"

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/SystemInfo.h>

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

namespace agent {

using namespace KXCore;

namespace {

enum EventID : int { Granted = 1000, Refused = 1001, WouldBeRefused = 1002, Dropped = 1003, Overflow = 1004 };

/// The time in microseconds, or one more than the last one: records are told apart by it.
long long nextRecordID(const timeval& now) {
    static std::atomic<long long> last{0};
    const long long time = now.tv_sec * 1000000LL + now.tv_usec;
    long long before = last.load(std::memory_order_relaxed);
    while (!last.compare_exchange_weak(before, std::max(time, before + 1))) {
    }
    return std::max(time, before + 1);
}

/// A record with what all of them have.
AuditRecord begin(int eventID, int type) {
    timeval now;
    gettimeofday(&now, nullptr);
    AuditRecord record;
    record.set_record_id(nextRecordID(now));
    record.set_event_id(eventID);
    record.set_date(now);
    record.set_type(type);
    record.set_computer_name(GetSystemNetBiosName());
    record.set_pid(getpid());
    record.set_process_name_str("kxagent");
    return record;
}

/// A record of the agent itself, about no device.
Record ofService(int eventID, const char* action, const std::string& name, const std::string& information,
                 const char* reason) {
    AuditRecord record = begin(eventID, AuditTypeError);
    record.set_device_type(AuditDeviceTypeService);
    record.set_action_str(action);
    record.set_name_str(name.c_str());
    record.set_information_str(information.c_str());
    record.set_reason_str(reason);
    Record made;
    record.append_to_buffer(made.bytes);
    return made;
}

}  // namespace

Record recordOf(const DeviceEvent& event, const Decision& decision, bool observes) {
    const bool granted = decision.granted || observes;
    const std::string reason = decision.granted == granted ? decision.reason : "would have been " + decision.reason;
    // Texts are borrowed: everything here outlives the record, or is held by it.
    AuditRecord record = begin(decision.granted ? Granted
                               : observes       ? WouldBeRefused
                                                : Refused,
                               granted ? AuditTypeSuccess : AuditTypeFailure);
    if (event.user) {
        record.set_user(AccountInfo::get(GetUserUUID(*event.user)));
    } else {
        record.set_user_name_str("unknown");
    }
    record.set_device_type(event.deviceType);
    record.set_action_str(event.action.c_str());
    record.set_name_str(event.name.c_str());
    record.set_information_str(event.information.c_str());
    record.set_reason_str(reason.c_str());
    record.set_extra_str(event.identity.c_str());

    Record made{.bytes = {}, .place = event.information, .identity = event.action == "remove" ? "" : event.identity};
    record.append_to_buffer(made.bytes);
    return made;
}

Record recordOfLoss(std::uint64_t count) {
    Record made =
        ofService(Dropped, "dropped", std::to_string(count) + (count == 1 ? " event" : " events"),
                  std::to_string(count), "these events could not be written, and there was no more memory for them");
    made.lost = count;
    return made;
}

Record recordOfOverflow(const std::string& where) {
    return ofService(Overflow, "overflow", "kernel", where,
                     "more came at once than the kernel keeps; what is there was looked at");
}

}  // namespace agent
