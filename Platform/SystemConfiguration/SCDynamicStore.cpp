#include "StoreSession.h"

#include "Status.h"

#include "CoreFoundation/Object/Description.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFFileDescriptor.h>
#include <CoreFoundation/CFPropertyList.h>
#include <SystemConfiguration/SCDynamicStore.h>

#include <algorithm>
#include <new>
#include <unordered_set>

using namespace KXPlatform;

using Operation = StoreDirectory::Operation;

namespace {

CFStringRef describeStore(const Object* object);

const Class& storeClass() noexcept {
    static const Class cls{registerType("SCDynamicStore"), finalizeAs<__SCDynamicStore>, nullptr, nullptr,
                           describeStore};
    return cls;
}

}  // namespace

struct __SCDynamicStore : Object {
    __SCDynamicStore(StoreDirectory&& directory, SCDynamicStoreCallBack c) noexcept
        : Object(storeClass()), session(std::move(directory)), callout(c) {}
    ~__SCDynamicStore() {
        if (context.release) context.release(context.info);
    }

    mutable StoreSession session;
    const SCDynamicStoreCallBack callout;
    SCDynamicStoreContext context{};
    Retained<const __CFString> name;
};

namespace {

CFStringRef describeStore(const Object* object) {
    const auto* const store = static_cast<const __SCDynamicStore*>(object);
    Description description;
    description.appendHeading(store);
    description.format("{name = ");
    description.append(store->name.get());
    if (store->context.copyDescription) {
        const auto info = Retained<const __CFString>::adopting(store->context.copyDescription(store->context.info));
        description.format(", info = ");
        description.append(info.get());
    }
    description.format("}");
    return description.take();
}

// ---- How functions end

/// Runs `body`, which returns a status, for a function that takes a session.
template <class Body>
Boolean answering(SCDynamicStoreRef store, Body body) noexcept {
    if (!isOfType(store, storeClass().typeID)) return setStatus(kSCStatusInvalidArgument);
    try {
        return setStatus(body());
    } catch (const std::bad_alloc&) {
        return setStatus(kSCStatusFailed);
    }
}

// ---- Arguments

/// The keys of an array; null is none. False when one is no text.
bool readKeys(CFArrayRef array, std::vector<std::string>& keys) {
    if (!array) return true;
    if (!isOfType(array, TypeID::Array)) return false;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        auto key = keyText(CFArrayGetValueAtIndex(array, i));
        if (!key) return false;
        keys.push_back(std::move(*key));
    }
    return true;
}

bool readPattern(CFTypeRef string, std::vector<KeyPattern>& patterns) {
    const auto text = keyText(string);
    auto pattern = text ? KeyPattern::compile(*text) : std::nullopt;
    if (!pattern) return false;
    patterns.push_back(std::move(*pattern));
    return true;
}

bool readPatterns(CFArrayRef array, std::vector<KeyPattern>& patterns) {
    if (!array) return true;
    if (!isOfType(array, TypeID::Array)) return false;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        if (!readPattern(CFArrayGetValueAtIndex(array, i), patterns)) return false;
    }
    return true;
}

/// Adds a change that sets `key`; false when key or value cannot be in a store.
bool readChange(Operation operation, CFTypeRef key, CFTypeRef value, std::vector<StoreDirectory::Change>& changes) {
    auto text = keyText(key);
    if (!text || !value) return false;
    const auto data = Retained<const __CFData>::adopting(
        CFPropertyListCreateData(nullptr, value, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    if (!data) return false;
    const auto* const bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(data.get()));
    changes.push_back(
        {operation, std::move(*text), std::string(bytes, static_cast<std::size_t>(CFDataGetLength(data.get())))});
    return true;
}

bool matchesAny(const std::vector<KeyPattern>& patterns, std::string_view key) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const KeyPattern& p) { return p.matches(key); });
}

// ---- Single keys

Boolean setOne(SCDynamicStoreRef store, Operation operation, CFStringRef key, CFPropertyListRef value) noexcept {
    return answering(store, [&]() -> int {
        std::vector<StoreDirectory::Change> changes;
        if (!readChange(operation, key, value, changes)) return kSCStatusInvalidArgument;
        return store->session.directory().apply(changes);
    });
}

Boolean changeOne(SCDynamicStoreRef store, Operation operation, CFStringRef key) noexcept {
    return answering(store, [&]() -> int {
        auto text = keyText(key);
        if (!text) return kSCStatusInvalidArgument;
        const StoreDirectory::Change change{operation, std::move(*text)};
        return store->session.directory().apply({&change, 1});
    });
}

// ---- Notification

/// The session's watch has news, on a thread whose run loop has one of the session's sources.
void deliver(CFFileDescriptorRef descriptor, CFOptionFlags, void* info) {
    const auto* const store = static_cast<SCDynamicStoreRef>(info);
    // First, so that what happens from here on is another piece of news.
    CFFileDescriptorEnableCallBacks(descriptor, kCFFileDescriptorReadCallBack);
    try {
        std::vector<Retained<const __CFString>> strings;
        std::vector<const void*> keys;
        for (const std::string& key : store->session.takeChanges()) {
            auto string = keyString(key);
            if (!string) continue;
            keys.push_back(string.get());
            strings.push_back(std::move(string));
        }
        if (keys.empty() || !store->callout) return;
        const auto array = Retained<const __CFArray>::adopting(
            CFArrayCreate(nullptr, keys.data(), static_cast<CFIndex>(keys.size()), &kCFTypeArrayCallBacks));
        if (!array) return;
        store->callout(store, array.get(), store->context.info);
    } catch (const std::bad_alloc&) {
        // The changes that were taken are lost; with no memory for their keys nobody could be told of them.
    }
}

}  // namespace

CFTypeID SCDynamicStoreGetTypeID() { return number(storeClass().typeID); }

SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef allocator, CFStringRef name, SCDynamicStoreCallBack callout,
                                       SCDynamicStoreContext* context) {
    if ((context && context->version != 0) || (name && !isOfType(name, TypeID::String))) {
        setStatus(kSCStatusInvalidArgument);
        return nullptr;
    }
    try {
        auto directory = StoreDirectory::open();
        if (!directory) return nullptr;
        auto store =
            Retained<__SCDynamicStore>::adopting(make<__SCDynamicStore>(allocator, 0, std::move(*directory), callout));
        if (!store ||
            (name && !(store->name = Retained<const __CFString>::adopting(CFStringCreateCopy(nullptr, name))))) {
            setStatus(kSCStatusFailed);
            return nullptr;
        }
        if (context) {
            store->context = *context;
            if (context->retain) store->context.info = const_cast<void*>(context->retain(context->info));
        }
        setStatus(kSCStatusOK);
        return store.release();
    } catch (const std::bad_alloc&) {
        setStatus(kSCStatusFailed);
        return nullptr;
    }
}

CFRunLoopSourceRef SCDynamicStoreCreateRunLoopSource(CFAllocatorRef allocator, SCDynamicStoreRef store, CFIndex order) {
    CFRunLoopSourceRef source = nullptr;
    answering(store, [&]() -> int {
        const int news = store->session.newsDescriptor();
        if (news < 0) return kSCStatusFailed;
        // The descriptor object keeps the session, the source keeps the object, and the session keeps neither.
        const CFFileDescriptorContext context{0, const_cast<__SCDynamicStore*>(store),
                                              [](void* info) { return const_cast<void*>(CFRetain(info)); },
                                              [](void* info) { CFRelease(info); }, nullptr};
        const auto descriptor = Retained<__CFFileDescriptor>::adopting(
            CFFileDescriptorCreate(allocator, news, /*closeOnInvalidate=*/false, deliver, &context));
        if (!descriptor) return kSCStatusFailed;
        CFFileDescriptorEnableCallBacks(descriptor.get(), kCFFileDescriptorReadCallBack);
        source = CFFileDescriptorCreateRunLoopSource(allocator, descriptor.get(), order);
        return source ? kSCStatusOK : kSCStatusFailed;
    });
    return source;
}

Boolean SCDynamicStoreSetNotificationKeys(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns) {
    return answering(store, [&]() -> int {
        std::vector<std::string> keyList;
        std::vector<KeyPattern> patternList;
        if (!readKeys(keys, keyList) || !readPatterns(patterns, patternList)) return kSCStatusInvalidArgument;
        return store->session.setInterest({keyList.begin(), keyList.end()}, std::move(patternList)) ? kSCStatusOK
                                                                                                    : kSCStatusFailed;
    });
}

CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns) {
    Retained<__CFDictionary> result;
    const bool done = answering(store, [&]() -> int {
        std::vector<std::string> wanted;
        std::vector<KeyPattern> patternList;
        if (!readKeys(keys, wanted) || !readPatterns(patterns, patternList)) return kSCStatusInvalidArgument;
        const StoreDirectory& directory = store->session.directory();
        const SystemNames names = readSystemNames();
        if (!patternList.empty()) {
            for (std::string& key : directory.keys(names)) {
                if (matchesAny(patternList, key)) wanted.push_back(std::move(key));
            }
        }
        result = Retained<__CFDictionary>::adopting(
            CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        if (!result) return kSCStatusFailed;
        for (const std::string& key : wanted) {
            const auto string = keyString(key);
            const auto value = directory.value(key, names);
            if (string && value) CFDictionarySetValue(result.get(), string.get(), value.get());
        }
        return kSCStatusOK;
    });
    return done ? result.release() : nullptr;
}

CFPropertyListRef SCDynamicStoreCopyValue(SCDynamicStoreRef store, CFStringRef key) {
    Retained<const Object> value;
    answering(store, [&]() -> int {
        const auto text = keyText(key);
        if (!text) return kSCStatusInvalidArgument;
        value = store->session.directory().value(*text, readSystemNames());
        return value ? kSCStatusOK : kSCStatusNoKey;
    });
    return value.release();
}

CFArrayRef SCDynamicStoreCopyKeyList(SCDynamicStoreRef store, CFStringRef pattern) {
    Retained<__CFArray> result;
    const bool done = answering(store, [&]() -> int {
        std::vector<KeyPattern> patterns;
        if (!readPattern(pattern, patterns)) return kSCStatusInvalidArgument;
        result = Retained<__CFArray>::adopting(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        if (!result) return kSCStatusFailed;
        const StoreDirectory& directory = store->session.directory();
        const SystemNames names = readSystemNames();
        for (const std::string& key : directory.keys(names)) {
            if (!matchesAny(patterns, key) || !directory.value(key, names)) continue;
            if (const auto string = keyString(key)) CFArrayAppendValue(result.get(), string.get());
        }
        return kSCStatusOK;
    });
    return done ? result.release() : nullptr;
}

Boolean SCDynamicStoreAddValue(SCDynamicStoreRef store, CFStringRef key, CFPropertyListRef value) {
    return setOne(store, Operation::Add, key, value);
}

Boolean SCDynamicStoreSetValue(SCDynamicStoreRef store, CFStringRef key, CFPropertyListRef value) {
    return setOne(store, Operation::Set, key, value);
}

Boolean SCDynamicStoreSetMultiple(SCDynamicStoreRef store, CFDictionaryRef keysToSet, CFArrayRef keysToRemove,
                                  CFArrayRef keysToNotify) {
    return answering(store, [&]() -> int {
        std::vector<std::string> removed, notified;
        if (!readKeys(keysToRemove, removed) || !readKeys(keysToNotify, notified)) return kSCStatusInvalidArgument;
        if (keysToSet && !isOfType(keysToSet, TypeID::Dictionary)) return kSCStatusInvalidArgument;

        std::vector<StoreDirectory::Change> changes;
        if (keysToSet) {
            std::vector<const void*> keys(static_cast<std::size_t>(CFDictionaryGetCount(keysToSet)));
            std::vector<const void*> values(keys.size());
            CFDictionaryGetKeysAndValues(keysToSet, keys.data(), values.data());
            for (std::size_t i = 0; i < keys.size(); ++i) {
                if (!readChange(Operation::Set, keys[i], values[i], changes)) return kSCStatusInvalidArgument;
            }
        }
        // In the order of the arguments: what is both set and removed is gone.
        const std::unordered_set<std::string> gone(removed.begin(), removed.end());
        std::erase_if(changes, [&](const auto& change) { return gone.contains(change.key); });
        for (const std::string& key : gone) changes.push_back({Operation::RemoveIfThere, key});
        for (std::string& key : notified) changes.push_back({Operation::Notify, std::move(key)});
        return changes.empty() ? int{kSCStatusOK} : store->session.directory().apply(changes);
    });
}

Boolean SCDynamicStoreRemoveValue(SCDynamicStoreRef store, CFStringRef key) {
    return changeOne(store, Operation::Remove, key);
}

Boolean SCDynamicStoreNotifyValue(SCDynamicStoreRef store, CFStringRef key) {
    return changeOne(store, Operation::Notify, key);
}
