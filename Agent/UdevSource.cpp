#include "UdevSource.h"

#include "Report.h"
#include "Seat.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace agent {
namespace {

constexpr const char* kSubsystems[] = {"block", "tty", "usb", "firewire", "bluetooth", "ieee80211"};
constexpr int kQueueBytes = 8 << 20;

/// What somebody could plug in: no loop devices, virtual terminals and ports that are only sockets on the board, and
/// not each function of a USB device beside the device.
bool canBePluggedIn(udev_device* device) {
    const std::string_view path = udev_device_get_devpath(device);
    const bool isFunction = textOf(udev_device_get_devtype(device)) == "usb_interface";
    return !isFunction && !path.starts_with("/devices/virtual/") && path.find("/serial8250/") == path.npos;
}

std::string identityOf(udev_device* device) {
    std::string text = descriptionOf(device);
    // What the kernel or udev counts up with each device that comes.
    for (const char* const property : {"DISKSEQ", "DEVNUM", "USEC_INITIALIZED"}) {
        const char* const value = udev_device_get_property_value(device, property);
        if (!value) continue;
        text += (text.empty() ? "" : " ") + std::string("number=") + value;
        break;
    }
    return text.empty() ? "unknown" : text;
}

}  // namespace

UdevSource::UdevSource() : udev_(udev_new()) {
    const char* const from = access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel";
    monitor_.reset(udev_ ? udev_monitor_new_from_netlink(udev_.get(), from) : nullptr);
    const auto fail = [] { throw std::system_error(errno, std::generic_category(), "the system's device events"); };
    if (!monitor_) fail();
    for (const char* const subsystem : kSubsystems) {
        udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), subsystem, nullptr);
    }
    udev_monitor_set_receive_buffer_size(monitor_.get(), kQueueBytes);  // where we may
    if (udev_monitor_enable_receiving(monitor_.get()) < 0) fail();
}

void UdevSource::begin(Auditor& auditor, const Presence::Devices& reported) {
    devices_ = reported;
    auditWhatIsThere(auditor, "present");
}

void UdevSource::auditWhatIsThere(Auditor& auditor, const char* action) {
    const UdevPointer<udev_enumerate> all(udev_enumerate_new(udev_.get()));
    for (const char* const subsystem : kSubsystems) udev_enumerate_add_match_subsystem(all.get(), subsystem);
    udev_enumerate_scan_devices(all.get());
    for (udev_list_entry* entry = udev_enumerate_get_list_entry(all.get()); entry;
         entry = udev_list_entry_get_next(entry)) {
        const UdevPointer<udev_device> device(
            udev_device_new_from_syspath(udev_.get(), udev_list_entry_get_name(entry)));
        if (device && canBePluggedIn(device.get())) audit(auditor, device.get(), action);
    }
}

void UdevSource::audit(Auditor& auditor, udev_device* device, const char* action) {
    const char* const node = udev_device_get_property_value(device, "DEVNAME");
    const std::string_view name = node ? node : udev_device_get_sysname(device);
    DeviceEvent event{.action = action,
                      .name = std::string(name.starts_with("/dev/") ? name.substr(5) : name),
                      .information = udev_device_get_devpath(device),
                      .identity = identityOf(device),
                      .deviceType = deviceTypeOf(device)};
    const bool isGone = event.action == "remove";
    event.access = isGone ? Eject : Read | Write;
    if (isGone) {
        devices_.erase(event.information);
    } else {
        std::string& known = devices_[event.information];
        if (known == event.identity) return;
        known = event.identity;
    }
    event.user = userAtSeat();
    auditor.audit(event);
}

void UdevSource::read(Auditor& auditor) {
    for (;;) {
        errno = 0;
        const UdevPointer<udev_device> device(udev_monitor_receive_device(monitor_.get()));
        if (!device) {
            if (errno != ENOBUFS) return;
            report("the kernel had more device events than it keeps");
            auditor.auditOverflow("devices");
            auditWhatIsThere(auditor, "arrive");
            continue;
        }
        if (textOf(udev_device_get_devtype(device.get())) == "usb_interface") continue;
        const std::string_view action = textOf(udev_device_get_action(device.get()));
        if (action == "add") audit(auditor, device.get(), "arrive");
        if (action == "remove") audit(auditor, device.get(), "remove");
    }
}

}  // namespace agent
