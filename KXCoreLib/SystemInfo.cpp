#include <KXCoreLib/SystemInfo.h>

#include <KXCoreLib/PList.h>

#include <CoreFoundation/CFString.h>
#include <CoreServices/CoreServices.h>

#include <unistd.h>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/thread/lock_types.hpp>
#include <cstring>

namespace KXCore {
namespace {

/// Sets the current name to the text at `key`, `entry`, else to the computer's, else to the host's.
void setNameFrom(CFDictionaryRef values, const char* key, const char* entry) {
    const PListNavigator list({CoreFoundation::PropertyListRef::retain(values), L""});
    CFStringRef name = nullptr;
    if (!(list.root() / key / entry).getValue(name, ItemKind::Optional)) {
        (list.root() / "Setup:/System" / "ComputerName").getValue(name, ItemKind::Optional);
    }
    SetSystemNetBiosName_internal(name);
}

}  // namespace

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

// ---- Trackers

void NetBIOSNameTracker106::callback(CFDictionaryRef values) {
    setNameFrom(values, "State:/Network/Global/SMB", "NetBIOSName");
}

void NetBIOSNameTracker107::callback(CFDictionaryRef values) {
    setNameFrom(values, "State:/Network/NetBIOS", "RegisteredName");
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

boost::shared_ptr<RunLoopSourceSCDynamicStore> SystemInfo::getUpdater() {
    {
        const boost::unique_lock<boost::mutex> lock(mutex_);
        if (updater_) return updater_;
    }
    // Not under the lock: making the updater calls the tracker, which sets the name.
    SInt32 major = 0, minor = 0;
    Gestalt(gestaltSystemVersionMajor, &major);
    Gestalt(gestaltSystemVersionMinor, &minor);
    const bool isLater = major > 10;  // all of 10.x is of one kind, whatever its minor version
    const boost::shared_ptr<SCDynamicStoreClient> tracker =
        isLater ? boost::shared_ptr<SCDynamicStoreClient>(boost::make_shared<NetBIOSNameTracker107>())
                : boost::make_shared<NetBIOSNameTracker106>();
    SCDynamicStoreSetup setup;
    setup.registerKey(CFSTR("Setup:/System"), tracker);
    setup.registerKey(isLater ? CFSTR("State:/Network/NetBIOS") : CFSTR("State:/Network/Global/SMB"), tracker);
    auto made = create_run_loop_source<RunLoopSourceSCDynamicStore>(null_hook(), setup);

    // Declared before the lock, so that another thread's updater goes after it.
    boost::shared_ptr<RunLoopSourceSCDynamicStore> old(made);
    const boost::unique_lock<boost::mutex> lock(mutex_);
    updater_.swap(old);
    return made;
}

template SystemInfo& GetSingletonInstance<SystemInfo, int>();

boost::intrusive_ptr<NetBiosName> GetSystemNetBiosName() {
    return GetSingletonInstance<SystemInfo, int>().getNetBiosName();
}

boost::shared_ptr<RunLoopSourceSCDynamicStore> GetSystemInfoUpdater() {
    return GetSingletonInstance<SystemInfo, int>().getUpdater();
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
