#include "DescriptorCalls.h"
#include "RunLoop.h"

#include <CoreFoundation/CFFileDescriptor.h>

#include <fcntl.h>
#include <sys/epoll.h>

using namespace KXPlatform;

namespace {

void finalizeDescriptor(Object* object) noexcept;

constexpr Class kFileDescriptorClass{TypeID::FileDescriptor, finalizeDescriptor, nullptr, nullptr, nullptr};

constexpr CFOptionFlags kAllTypes = kCFFileDescriptorReadCallBack | kCFFileDescriptorWriteCallBack;

}  // namespace

struct __CFFileDescriptor : Object {
    __CFFileDescriptor(int d, bool c, CFFileDescriptorCallBack f) noexcept
        : Object(kFileDescriptorClass), descriptor(d), closeOnInvalidate(c), callout(f) {}

    const int descriptor;
    const bool closeOnInvalidate;
    const CFFileDescriptorCallBack callout;
    CFFileDescriptorContext context{};

    std::mutex mutex;  // taken after a loop's; nothing is locked or called out under it
    bool valid = true;
    CFOptionFlags enabled = 0;
    std::uint32_t serial = 0;  ///< of the last wish
    Info info;
    DescriptorCalls calls;
    __CFRunLoopSource* source = nullptr;  ///< not retained: it retains the object, and takes itself back when it goes
};

namespace {

void finalizeDescriptor(Object* object) noexcept {
    auto* const f = static_cast<__CFFileDescriptor*>(object);
    if (f->valid && f->closeOnInvalidate) Descriptor(f->descriptor).close();
    f->~__CFFileDescriptor();
}

void forgetSource(void* owner, __CFRunLoopSource* source) noexcept {
    auto* const f = static_cast<__CFFileDescriptor*>(owner);
    const std::lock_guard lock(f->mutex);
    if (f->source == source) f->source = nullptr;
}

int descriptorOf(void* owner) noexcept { return static_cast<__CFFileDescriptor*>(owner)->descriptor; }

Interest interestOf(void* owner) noexcept {
    auto* const f = static_cast<__CFFileDescriptor*>(owner);
    const std::lock_guard lock(f->mutex);
    if (!f->valid) return {};
    const std::uint32_t read = f->enabled & kCFFileDescriptorReadCallBack ? std::uint32_t{EPOLLIN} : 0;
    const std::uint32_t write = f->enabled & kCFFileDescriptorWriteCallBack ? std::uint32_t{EPOLLOUT} : 0;
    return {read | write, f->serial};
}

CFOptionFlags take(void* owner, std::uint32_t events, std::uint32_t serial) noexcept {
    auto* const f = static_cast<__CFFileDescriptor*>(owner);
    const std::lock_guard lock(f->mutex);
    // An event that answers an earlier wish was served on another loop, and says nothing about the descriptor now.
    if (!f->valid || f->serial != serial) return 0;
    CFOptionFlags types = 0;
    if (events & EPOLLIN) types |= kCFFileDescriptorReadCallBack;
    if (events & EPOLLOUT) types |= kCFFileDescriptorWriteCallBack;
    types &= f->enabled;
    f->enabled &= ~types;
    return types;
}

void callOut(void* owner, CFOptionFlags types) {
    auto* const f = static_cast<__CFFileDescriptor*>(owner);
    DescriptorCalls::Call call;
    Info info;
    {
        const std::lock_guard lock(f->mutex);
        if (!f->valid) return;
        info = f->info;
        f->calls.begin(call);
    }
    struct Finish {
        __CFFileDescriptor& f;
        const DescriptorCalls::Call& call;
        ~Finish() { f.calls.end(f.mutex, call, f.descriptor); }
    } const finish{*f, call};
    if (f->callout) f->callout(f, types, info.get());
}

constexpr SourceOwner kDescriptorOwner{forgetSource, nullptr, descriptorOf, interestOf, take, callOut};

/// Applies `change` to what is enabled and tells the loops.
template <class Change>
void changeEnabled(CFFileDescriptorRef f, Change change) {
    Retained<__CFRunLoopSource> source;
    {
        const std::lock_guard lock(f->mutex);
        if (!f->valid) return;
        change();
        source = Retained<__CFRunLoopSource>::trying(f->source);
    }
    if (source) interestChanged(*source);
}

}  // namespace

CFTypeID CFFileDescriptorGetTypeID() { return number(TypeID::FileDescriptor); }

CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                           Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                           const CFFileDescriptorContext* context) {
    if (::fcntl(fd, F_GETFD) == -1 || (context && context->version != 0)) return nullptr;
    auto made = Retained<__CFFileDescriptor>::adopting(
        make<__CFFileDescriptor>(allocator, 0, fd, closeOnInvalidate != 0, callout));
    return withContext(std::move(made), context);
}

CFFileDescriptorNativeDescriptor CFFileDescriptorGetNativeDescriptor(CFFileDescriptorRef f) {
    return f ? f->descriptor : -1;
}

void CFFileDescriptorGetContext(CFFileDescriptorRef f, CFFileDescriptorContext* context) {
    if (!f) return;
    const std::lock_guard lock(f->mutex);
    giveContext(context, f->context, f->info);
}

void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes) {
    if (!f || !(callBackTypes & kAllTypes)) return;
    changeEnabled(f, [&] {
        f->enabled |= callBackTypes & kAllTypes;
        ++f->serial;
    });
}

void CFFileDescriptorDisableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes) {
    if (f) changeEnabled(f, [&] { f->enabled &= ~callBackTypes; });
}

void CFFileDescriptorInvalidate(CFFileDescriptorRef f) {
    if (!f) return;
    const auto self = Retained<__CFFileDescriptor>::retaining(f);
    Info released;
    Retained<__CFRunLoopSource> source;
    {
        const std::lock_guard lock(f->mutex);
        if (!f->valid) return;
        f->valid = false;
        source = Retained<__CFRunLoopSource>::trying(f->source);
        released.swap(f->info);
    }
    if (source) CFRunLoopSourceInvalidate(source.get());
    // No loop watches the descriptor any more: its number may go to another file.
    if (f->closeOnInvalidate) f->calls.close(f->mutex, f->descriptor);
}

Boolean CFFileDescriptorIsValid(CFFileDescriptorRef f) {
    if (!f) return false;
    const std::lock_guard lock(f->mutex);
    return f->valid;
}

CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f, CFIndex order) {
    if (!CFFileDescriptorIsValid(f)) return nullptr;
    const auto made =
        Retained<__CFRunLoopSource>::adopting(makeOwnedSource(allocator, order, kDescriptorOwner, f, nullptr, nullptr));
    const std::lock_guard lock(f->mutex);
    if (!f->valid || !made) return nullptr;
    if (auto there = Retained<__CFRunLoopSource>::trying(f->source)) return there.release();
    f->source = made.get();
    return Retained<__CFRunLoopSource>(made).release();
}
