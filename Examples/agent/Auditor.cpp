#include "Auditor.h"

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/SystemInfo.h>

#include <sys/time.h>
#include <unistd.h>

namespace agent {

using namespace KXCore;
using CoreFoundation::DataRef;

Auditor::Auditor(const Configuration& configuration, StreamStorage& stream, const EventPort& delivery)
    : configuration_(configuration), stream_(stream), delivery_(delivery) {}

void Auditor::audit(const DeviceEvent& event) {
    const UUID user = GetUserUUID(event.user);
    const bool granted = configuration_.acl.checkAccess(user, event.access);

    timeval now;
    gettimeofday(&now, nullptr);
    // Texts are borrowed: everything here outlives the record, or is held by it.
    AuditRecord record;
    record.set_record_id(now.tv_sec * 1000000LL + now.tv_usec);
    record.set_event_id(granted ? 1000 : 1001);
    record.set_date(now);
    record.set_type(granted ? AuditTypeSuccess : AuditTypeFailure);
    record.set_computer_name(GetSystemNetBiosName());
    record.set_user(AccountInfo::get(user));
    record.set_pid(getpid());
    record.set_process_name_str("agent");
    record.set_device_type(event.deviceType);
    record.set_action_str(event.action.c_str());
    record.set_name_str(event.name.c_str());
    record.set_information_str(event.information.c_str());
    record.set_reason_str(granted ? "granted by the list" : "refused by the list");

    buffer_.clear();
    record.append_to_buffer(buffer_);
    stream_.appendItem(DataRef::createWithStdVector(nullptr, buffer_).get(), 0);
    stream_.syncStorage();
    delivery_.signal();
}

}  // namespace agent
