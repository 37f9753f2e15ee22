#pragma once

#include <libudev.h>

#include <memory>
#include <string>
#include <string_view>

namespace agent {

/// Counted objects of libudev, given up when they go out of scope.
struct UdevUnref {
    void operator()(udev* object) const { udev_unref(object); }
    void operator()(udev_monitor* object) const { udev_monitor_unref(object); }
    void operator()(udev_enumerate* object) const { udev_enumerate_unref(object); }
    void operator()(udev_device* object) const { udev_device_unref(object); }
};
template <typename Object>
using UdevPointer = std::unique_ptr<Object, UdevUnref>;

/// libudev's texts are null where there is none.
inline std::string_view textOf(const char* text) { return text ? text : ""; }

/// What AuditRecord calls the device; 0 where it has no word for it.
int deviceTypeOf(udev_device* device);

/// Vendor, model, serial number and bus, as far as they are known: "vendor=SanDisk model=Cruzer ...".
std::string descriptionOf(udev_device* device);

}  // namespace agent
