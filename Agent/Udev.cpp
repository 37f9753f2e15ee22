#include "Udev.h"

#include "Report.h"

#include <KXCoreLib/AuditRecord.h>

#include <array>
#include <map>
#include <string_view>

namespace agent {

using namespace KXCore;

namespace {

/// The first of these properties that is there, else the attribute of the USB device above it.
std::string find(udev_device* device, std::array<const char*, 3> properties, const char* attribute) {
    for (const char* const property : properties) {
        if (const char* const value = udev_device_get_property_value(device, property)) return value;
    }
    udev_device* const above = textOf(udev_device_get_devtype(device)) == "usb_device"
                                   ? device
                                   : udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (above && attribute) return std::string(textOf(udev_device_get_sysattr_value(above, attribute)));
    return "";
}

std::string busOf(udev_device* device) {
    if (const char* const bus = udev_device_get_property_value(device, "ID_BUS")) return bus;
    for (udev_device* at = device; at; at = udev_device_get_parent(at)) {
        const std::string_view subsystem = textOf(udev_device_get_subsystem(at));
        for (const char* const bus : {"usb", "firewire", "mmc", "nvme", "pci", "virtio", "platform"}) {
            if (subsystem == bus) return bus;
        }
    }
    return "";
}

int typeOfDisk(udev_device* device) {
    const std::string_view name = textOf(udev_device_get_sysname(device));
    if (name.starts_with("sr") || udev_device_get_property_value(device, "ID_CDROM"))
        return AuditDeviceTypeOpticalDrive;
    if (name.starts_with("fd")) return AuditDeviceTypeFloppy;
    udev_device* const disk = textOf(udev_device_get_devtype(device)) == "partition"
                                  ? udev_device_get_parent_with_subsystem_devtype(device, "block", "disk")
                                  : device;
    const bool isRemovable = disk && textOf(udev_device_get_sysattr_value(disk, "removable")) == "1";
    const std::string bus = busOf(device);
    return isRemovable || bus == "usb" || bus == "firewire" || bus == "mmc" ? AuditDeviceTypeRemovable
                                                                            : AuditDeviceTypeHardDisk;
}

}  // namespace

int deviceTypeOf(udev_device* device) {
    static const std::map<std::string_view, int> types = {{"tty", AuditDeviceTypeSerialPort},
                                                          {"usb", AuditDeviceTypeUSBPort},
                                                          {"firewire", AuditDeviceTypeFireWirePort},
                                                          {"bluetooth", AuditDeviceTypeBluetooth},
                                                          {"ieee80211", AuditDeviceTypeWiFi}};
    const std::string_view subsystem = textOf(udev_device_get_subsystem(device));
    if (subsystem == "block") return typeOfDisk(device);
    const auto found = types.find(subsystem);
    return found == types.end() ? AuditDeviceTypeUnknown : found->second;
}

std::string descriptionOf(udev_device* device) {
    std::string text;
    const auto add = [&text](const char* name, const std::string& value) {
        if (!value.empty())
            text += (text.empty() ? "" : " ") + std::string(name) + "=" + onOneLine(value.c_str(), " \\");
    };
    add("vendor", find(device, {"ID_VENDOR_FROM_DATABASE", "ID_VENDOR", "ID_VENDOR_ID"}, "manufacturer"));
    add("model", find(device, {"ID_MODEL_FROM_DATABASE", "ID_MODEL", "ID_MODEL_ID"}, "product"));
    add("serial", find(device, {"ID_SERIAL_SHORT", "ID_SERIAL", "ID_SERIAL_SHORT"}, "serial"));
    add("bus", busOf(device));
    return text;
}

}  // namespace agent
