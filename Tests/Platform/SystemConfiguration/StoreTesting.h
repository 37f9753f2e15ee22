#pragma once

// What the tests of the dynamic store share: a store of the test's own, the names its computer has, and a session that
// writes down what it is told.

#include "Platform/CoreFoundation/Held.h"
#include "Sanitizers.h"
#include "TemporaryFolder.h"

#include <SystemConfiguration/SystemConfiguration.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// What gethostname() answers in this program; null: what the kernel says, "": failure.
inline std::atomic<const char*> hostNameOfTest{nullptr};
/// Whether it cuts a name that is too long, and ends it with no NUL, instead of failing.
inline std::atomic<bool> cutsHostNameOfTest{false};

namespace StoreTesting {

using Held::hold;
using Held::Holder;

inline Holder<CFStringRef> text(const std::string& utf8) {
    return hold(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                        static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

inline Holder<CFArrayRef> array(const std::vector<std::string>& texts) {
    const CFMutableArrayRef made = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (const std::string& each : texts) CFArrayAppendValue(made, text(each));
    return hold<CFArrayRef>(made);
}

inline Holder<CFDictionaryRef> dictionary(const std::vector<std::pair<std::string, CFTypeRef>>& entries) {
    const CFMutableDictionaryRef made =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const auto& [key, value] : entries) CFDictionarySetValue(made, text(key), value);
    return hold<CFDictionaryRef>(made);
}

/// A dictionary of one text.
inline Holder<CFDictionaryRef> entry(const std::string& key, const std::string& value) {
    const auto held = text(value);
    return dictionary({{key, held.get()}});
}

inline std::multiset<std::string> texts(CFArrayRef array) {
    std::multiset<std::string> found;
    for (CFIndex i = 0; array && i < CFArrayGetCount(array); ++i)
        found.insert(Held::utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
    return found;
}

/// A store, and the files that the computer's names come from, for as long as it lives.
class TestStore {
  public:
    TestStore() {
        std::filesystem::create_directories(etc() + "/samba");
        setenv("KXPLATFORM_DYNAMIC_STORE", path().c_str(), 1);
        setenv("KXPLATFORM_ETC", etc().c_str(), 1);
        hostNameOfTest = "host";
    }
    ~TestStore() {
        unsetenv("KXPLATFORM_DYNAMIC_STORE");
        unsetenv("KXPLATFORM_ETC");
        hostNameOfTest = nullptr;
    }

    std::string path() const { return folder_ / "store"; }
    std::string etc() const { return folder_ / "etc"; }
    std::string contents() const { return path() + "/contents"; }
    std::string lock() const { return path() + "/lock"; }

    void setPrettyName(const std::string& name) const {
        write(etc() + "/machine-info", "PRETTY_HOSTNAME=" + name + "\n");
    }
    void setNetBiosName(const std::string& name) const {
        write(etc() + "/samba/smb.conf", "[global]\n\tnetbios name = " + name + "\n");
    }

    static void write(const std::string& path, const std::string& content) {
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    TemporaryFolder folder_;
};

/// A session that writes down every notification it gets.
class Session {
  public:
    using Told = std::set<std::string>;

    Session() {
        SCDynamicStoreContext context{0, this, nullptr, nullptr, nullptr};
        store_ = SCDynamicStoreCreate(nullptr, CFSTR("test"), note, &context);
    }
    ~Session() {
        stop();
        if (store_) CFRelease(store_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    SCDynamicStoreRef get() const { return store_; }
    operator SCDynamicStoreRef() const { return store_; }

    bool watch(const std::vector<std::string>& keys, const std::vector<std::string>& patterns = {}) {
        return SCDynamicStoreSetNotificationKeys(store_, array(keys), array(patterns)) && start();
    }

    /// Puts the session on this thread's run loop.
    bool start() {
        if (!source_) source_ = SCDynamicStoreCreateRunLoopSource(nullptr, store_, 0);
        if (source_) CFRunLoopAddSource(CFRunLoopGetCurrent(), source_, kCFRunLoopDefaultMode);
        return source_ != nullptr;
    }

    void stop() {
        if (!source_) return;
        CFRunLoopSourceInvalidate(source_);
        CFRelease(source_);
        source_ = nullptr;
    }

    /// Runs the loop until `done` or for ten seconds; false when it took longer.
    static bool runUntil(const std::function<bool()>& done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            if (std::chrono::steady_clock::now() > end) return false;
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.2, true);
        }
        return true;
    }

    /// Runs the loop until the session has been told of `key`.
    bool hears(const std::string& key) {
        return runUntil(
            [&] { return std::any_of(told.begin(), told.end(), [&](const Told& t) { return t.contains(key); }); });
    }

    bool set(const std::string& key, CFTypeRef value) { return SCDynamicStoreSetValue(store_, text(key), value); }
    bool setText(const std::string& key, const std::string& value) {
        const auto held = text(value);
        return set(key, held.get());
    }
    bool setEntry(const std::string& key, const std::string& name, const std::string& value) {
        const auto held = entry(name, value);
        return set(key, held.get());
    }
    bool remove(const std::string& key) { return SCDynamicStoreRemoveValue(store_, text(key)); }
    bool notify(const std::string& key) { return SCDynamicStoreNotifyValue(store_, text(key)); }
    Holder<CFTypeRef> get(const std::string& key) const { return hold(SCDynamicStoreCopyValue(store_, text(key))); }

    /// The value of `key` if it is a text, or the text under `name` in it; "<none>" without a value, "<other>" else.
    std::string read(const std::string& key, const std::string& name = "") const {
        const auto value = get(key);
        CFTypeRef found = value.get();
        if (found && !name.empty()) {
            if (CFGetTypeID(found) != CFDictionaryGetTypeID()) return "<other>";
            found = CFDictionaryGetValue(static_cast<CFDictionaryRef>(found), text(name));
        }
        if (!found) return "<none>";
        return CFGetTypeID(found) == CFStringGetTypeID() ? Held::utf8(static_cast<CFStringRef>(found)) : "<other>";
    }
    std::multiset<std::string> list(const std::string& pattern) const {
        return texts(hold(SCDynamicStoreCopyKeyList(store_, text(pattern))));
    }

    std::vector<Told> told;

  private:
    static void note(SCDynamicStoreRef, CFArrayRef keys, void* info) {
        const auto changed = texts(keys);
        static_cast<Session*>(info)->told.emplace_back(changed.begin(), changed.end());
    }

    SCDynamicStoreRef store_ = nullptr;
    CFRunLoopSourceRef source_ = nullptr;
};

/// Runs `body` in a process of its own, which ends without unwinding; what it exited with.
template <class Body>
int inChild(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

using Sanitizers::kForkedMayAllocate;
using Sanitizers::kForkedMayStartThreads;

/// Runs `body` on a thread of its own, whose run loop nobody else has: in a child, that of the calling thread is the
/// parent's.
template <class Body>
int onOwnThread(Body body) {
    int result = 0;
    std::thread([&] { result = body(); }).join();
    return result;
}

}  // namespace StoreTesting
