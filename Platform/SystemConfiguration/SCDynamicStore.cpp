#include "StoreSession.h"

#include "Status.h"
#include "StoreKey.h"
#include "StoreOutlet.h"

#include "CoreFoundation/Object/Description.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFRunLoop.h>
#include <SystemConfiguration/SCDynamicStore.h>

#include <atomic>
#include <memory>
#include <new>
#include <unordered_set>

using namespace KXPlatform;

using Operation = Store::Operation;

namespace {

CFStringRef describeStore(const Object* object);

const Class& storeClass() noexcept {
    static const Class cls{registerType("SCDynamicStore"), finalizeAs<__SCDynamicStore>, nullptr, nullptr,
                           describeStore};
    return cls;
}

}  // namespace

struct __SCDynamicStore : Object {
    __SCDynamicStore(std::unique_ptr<StoreSession> s, SCDynamicStoreCallBack c) noexcept
        : Object(storeClass()), session(std::move(s)), callout(c) {}
    ~__SCDynamicStore() {
        if (context.release) context.release(context.info);
    }

    const std::unique_ptr<StoreSession> session;
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
bool readChange(Operation operation, CFTypeRef key, CFTypeRef value, std::vector<Store::Change>& changes) {
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

// ---- Single keys

Boolean setOne(SCDynamicStoreRef store, Operation operation, CFStringRef key, CFPropertyListRef value) noexcept {
    return answering(store, [&]() -> int {
        std::vector<Store::Change> changes;
        if (!readChange(operation, key, value, changes)) return kSCStatusInvalidArgument;
        return store->session->store().apply(changes);
    });
}

Boolean changeOne(SCDynamicStoreRef store, Operation operation, CFStringRef key) noexcept {
    return answering(store, [&]() -> int {
        auto text = keyText(key);
        if (!text) return kSCStatusInvalidArgument;
        const Store::Change change{operation, std::move(*text)};
        return store->session->store().apply({&change, 1});
    });
}

// ---- Notification

/// What a run-loop source of a session is about: its info.
struct Notifier {
    explicit Notifier(SCDynamicStoreRef s) : store(Retained<const __SCDynamicStore>::retaining(s)) {}

    static Notifier& of(void* info) { return *static_cast<Notifier*>(info); }

    const Retained<const __SCDynamicStore> store;
    const std::shared_ptr<StoreOutlet> outlet = std::make_shared<StoreOutlet>();
    std::atomic<int> references{1};
};

const void* retainNotifier(const void* info) {
    Notifier::of(const_cast<void*>(info)).references.fetch_add(1, std::memory_order_relaxed);
    return info;
}

void releaseNotifier(const void* info) {
    Notifier& notifier = Notifier::of(const_cast<void*>(info));
    if (notifier.references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete &notifier;
}

void schedule(void* info, CFRunLoopRef loop, CFRunLoopMode) {
    const Notifier& notifier = Notifier::of(info);
    try {
        notifier.outlet->scheduled(loop);
    } catch (const std::bad_alloc&) {
        return;  // the loop runs the source when another of its sources has woken it
    }
    // What happened while no loop had the source is told now.
    if (notifier.store->session->hasChanges()) notifier.outlet->ring();
}

void cancel(void* info, CFRunLoopRef loop, CFRunLoopMode) {
    try {
        Notifier::of(info).outlet->cancelled(loop);
    } catch (const std::bad_alloc&) {
        // Only where the loop was not counted when the source was added.
    }
}

/// The session has news. May be run again from the callout, in a run of the loop in it: the news of then is told there.
void deliver(void* info) {
    const Notifier& notifier = Notifier::of(info);
    const SCDynamicStoreRef store = notifier.store.get();
    try {
        std::vector<Retained<const __CFString>> strings;
        std::vector<const void*> keys;
        for (const std::string& key : store->session->takeChanges()) {
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
        auto opened = Store::open();
        if (!opened) return nullptr;
        auto store = Retained<__SCDynamicStore>::adopting(
            make<__SCDynamicStore>(allocator, 0, std::make_unique<StoreSession>(std::move(opened)), callout));
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
        const std::unique_ptr<Notifier, void (*)(const void*)> notifier(new Notifier(store), releaseNotifier);
        const int status = store->session->addOutlet(notifier->outlet);
        if (status != kSCStatusOK) return status;
        CFRunLoopSourceContext context{};
        context.info = notifier.get();
        context.retain = retainNotifier;
        context.release = releaseNotifier;
        context.schedule = schedule;
        context.cancel = cancel;
        context.perform = deliver;
        source = CFRunLoopSourceCreate(allocator, order, &context);
        if (!source) return kSCStatusFailed;
        notifier->outlet->setSource(source);
        return kSCStatusOK;
    });
    return source;
}

Boolean SCDynamicStoreSetNotificationKeys(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns) {
    return answering(store, [&]() -> int {
        std::vector<std::string> keyList;
        StoreInterest interest;
        if (!readKeys(keys, keyList) || !readPatterns(patterns, interest.patterns)) return kSCStatusInvalidArgument;
        interest.keys.insert(keyList.begin(), keyList.end());
        return store->session->setInterest(std::move(interest));
    });
}

CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns) {
    Retained<__CFDictionary> result;
    const bool done = answering(store, [&]() -> int {
        std::vector<std::string> keyList;
        std::vector<KeyPattern> patternList;
        if (!readKeys(keys, keyList) || !readPatterns(patterns, patternList)) return kSCStatusInvalidArgument;
        std::vector<Store::Found> found;
        const int status = store->session->store().copyValues(keyList, patternList, found);
        if (status != kSCStatusOK) return status;
        result = Retained<__CFDictionary>::adopting(
            CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        if (!result) return kSCStatusFailed;
        for (const Store::Found& each : found) {
            const auto string = keyString(each.key);
            if (string) CFDictionarySetValue(result.get(), string.get(), each.value.get());
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
        std::vector<Store::Found> found;
        const int status = store->session->store().copyValues({&*text, 1}, {}, found);
        if (status != kSCStatusOK) return status;
        if (found.empty()) return kSCStatusNoKey;
        value = std::move(found.front().value);
        return kSCStatusOK;
    });
    return value.release();
}

CFArrayRef SCDynamicStoreCopyKeyList(SCDynamicStoreRef store, CFStringRef pattern) {
    Retained<__CFArray> result;
    const bool done = answering(store, [&]() -> int {
        std::vector<KeyPattern> patterns;
        if (!readPattern(pattern, patterns)) return kSCStatusInvalidArgument;
        std::vector<std::string> keys;
        const int status = store->session->store().listKeys(patterns.front(), keys);
        if (status != kSCStatusOK) return status;
        result = Retained<__CFArray>::adopting(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        if (!result) return kSCStatusFailed;
        for (const std::string& key : keys) {
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

        std::vector<Store::Change> changes;
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
        return changes.empty() ? int{kSCStatusOK} : store->session->store().apply(changes);
    });
}

Boolean SCDynamicStoreRemoveValue(SCDynamicStoreRef store, CFStringRef key) {
    return changeOne(store, Operation::Remove, key);
}

Boolean SCDynamicStoreNotifyValue(SCDynamicStoreRef store, CFStringRef key) {
    return changeOne(store, Operation::Notify, key);
}
