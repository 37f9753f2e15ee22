#include <KXCoreLib/SystemInfo.h>

#include <KXCoreLib/Singleton.h>

#include <CoreFoundation/CFString.h>

#include <unistd.h>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/thread/lock_types.hpp>
#include <cstring>

namespace KXCore {

// ---- NetBiosName

NetBiosName::NetBiosName(const char* name) : name_(name) { boost::algorithm::to_upper(name_); }

boost::intrusive_ptr<NetBiosName> NetBiosName::create(const char* name) {
    // Born with the one reference that the caller now holds.
    return {new NetBiosName(name), /*add_ref=*/false};
}

void intrusive_ptr_add_ref(const NetBiosName* name) noexcept { name->count_.fetch_add(1, std::memory_order_relaxed); }

void intrusive_ptr_release(const NetBiosName* name) noexcept {
    // Acquire pairs with the other owners' releases: nobody is still reading what is deleted.
    if (name->count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete name;
}

// ---- SystemInfo

boost::intrusive_ptr<NetBiosName> SystemInfo::getNetBiosName() {
    const boost::unique_lock<boost::mutex> lock(mutex_);
    if (!name_) {
        name_ = NetBiosName::create("");
        current_.store(name_.get(), std::memory_order_release);
    }
    return name_;
}

void SystemInfo::setNetBiosName(const boost::intrusive_ptr<NetBiosName>& name) {
    // Declared before the lock, so that the old name goes after it.
    boost::intrusive_ptr<NetBiosName> old(name);
    const boost::unique_lock<boost::mutex> lock(mutex_);
    name_.swap(old);
    current_.store(name_.get(), std::memory_order_release);
}

boost::intrusive_ptr<NetBiosName> GetSystemNetBiosName() {
    return GetSingletonInstance<SystemInfo, int>().getNetBiosName();
}

bool SystemNetBiosNameIs(const NetBiosName* name) noexcept {
    return GetSingletonInstance<SystemInfo, int>().netBiosNameIs(name);
}

void SetSystemNetBiosName_internal(CFStringRef name) {
    char buffer[512];
    const char* text = buffer;
    if (name) {
        if (const char* const direct = CFStringGetCStringPtr(name, kCFStringEncodingUTF8)) {
            text = direct;
        } else if (!CFStringGetCString(name, buffer, sizeof buffer, kCFStringEncodingUTF8)) {
            return;
        }
    } else {
        if (gethostname(buffer, sizeof buffer) != 0) return;
        buffer[sizeof buffer - 1] = '\0';
        buffer[std::strcspn(buffer, ".")] = '\0';
    }
    // The current name is in upper case; a text that is not never equals it, and sets the same name again.
    if (std::strcmp(text, GetSystemNetBiosName()->getName()) == 0) return;
    GetSingletonInstance<SystemInfo, int>().setNetBiosName(NetBiosName::create(text));
}

}  // namespace KXCore
