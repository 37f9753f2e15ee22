#pragma once

/// The name of the computer, and how it is kept up to date.
///
///     boost::shared_ptr<RunLoopSourceSCDynamicStore> updater = GetSystemInfoUpdater();  // reads the name
///     updater->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);    // and from now on follows it
///     GetSystemNetBiosName()->getName();

#include <KXCoreLib/Export.h>
#include <KXCoreLib/SCDynamicStore.h>
#include <KXCoreLib/Singleton.h>

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <string>

namespace KXCore {

/// A NetBIOS name of the computer, in upper case. Immutable, counted, and shared by pointer; any thread.
class KX_EXPORT NetBiosName : boost::noncopyable {
  public:
    /// A new name: `name` (NUL-terminated, not null) in upper case by the process's global locale, character by
    /// character. Neither shortened to the 15 characters of NetBIOS nor filtered.
    static boost::intrusive_ptr<NetBiosName> create(const char* name);

    /// The text; it lives as long as the object.
    [[nodiscard]] const char* getName() const noexcept { return name_.c_str(); }

  private:
    explicit NetBiosName(const char* name);
    ~NetBiosName() = default;

    friend KX_EXPORT void intrusive_ptr_add_ref(const NetBiosName* name) noexcept;
    friend KX_EXPORT void intrusive_ptr_release(const NetBiosName* name) noexcept;

    mutable std::atomic<std::int32_t> count_{1};
    std::string name_;
};

KX_EXPORT void intrusive_ptr_add_ref(const NetBiosName* name) noexcept;
KX_EXPORT void intrusive_ptr_release(const NetBiosName* name) noexcept;

/// The computer's current NetBIOS name; the empty name until one is set. Never null. It follows changes of the name
/// only while the updater is scheduled on a run loop. Any thread.
KX_EXPORT boost::intrusive_ptr<NetBiosName> GetSystemNetBiosName();

/// Whether `name` is the object that GetSystemNetBiosName() returns now. Takes no lock and no reference; `name`, which
/// the caller must hold, is compared and not looked into. Any thread.
KX_EXPORT bool SystemNetBiosNameIs(const NetBiosName* name) noexcept;

/// Sets the current name: to `name`, or when it is null to the host's name up to its first dot. Changes nothing when
/// neither can be had as text of fewer than 512 bytes, or when the name is the current one already. Any thread.
KX_EXPORT void SetSystemNetBiosName_internal(CFStringRef name);

/// The source that follows the computer's NetBIOS name. The first call makes it, which reads the name; the name then
/// follows changes while the caller has the source scheduled on a run loop. Any thread.
KX_EXPORT boost::shared_ptr<RunLoopSourceSCDynamicStore> GetSystemInfoUpdater();

/// Set the current name from the store: the NetBIOS name that the system has registered, else the name of the computer,
/// else the host's. Versions of the system differ in where they register it: up to 10.x under "State:/Network/Global/
/// SMB", "NetBIOSName", later under "State:/Network/NetBIOS", "RegisteredName".
class KX_EXPORT NetBIOSNameTracker106 final : public SCDynamicStoreClient {
  public:
    void callback(CFDictionaryRef values) override;
};
class KX_EXPORT NetBIOSNameTracker107 final : public SCDynamicStoreClient {
  public:
    void callback(CFDictionaryRef values) override;
};

/// What the library knows of the system it runs on. One for the process (GetSingletonInstance<SystemInfo, int>); any
/// thread.
class KX_EXPORT SystemInfo : boost::noncopyable {
  public:
    /// The current name, held. The first call stores the empty name when none was set.
    boost::intrusive_ptr<NetBiosName> getNetBiosName();
    void setNetBiosName(const boost::intrusive_ptr<NetBiosName>& name);

    /// The updater, made by the first call. Threads that call it first at the same time may each make one, all of which
    /// work; the last one made is kept.
    boost::shared_ptr<RunLoopSourceSCDynamicStore> getUpdater();

    bool netBiosNameIs(const NetBiosName* name) const noexcept {
        return current_.load(std::memory_order_acquire) == name;
    }

  private:
    boost::mutex mutex_;
    boost::shared_ptr<RunLoopSourceSCDynamicStore> updater_;
    boost::intrusive_ptr<NetBiosName> name_;
    std::atomic<const NetBiosName*> current_{nullptr};  ///< name_, for comparing only
};

extern template KX_EXPORT SystemInfo& GetSingletonInstance<SystemInfo, int>();

}  // namespace KXCore
