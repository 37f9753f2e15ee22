#include "RunLoop.h"

#include <CoreFoundation/CFRunLoop.h>

using namespace KXPlatform;

namespace {

/// Two sources are equal when they are of one version and order and, by the caller's rule, stand for the same.
bool equalSources(const Object* first, const Object* second) {
    const auto& a = *static_cast<const __CFRunLoopSource*>(first);
    const auto& b = *static_cast<const __CFRunLoopSource*>(second);
    if (a.kind != b.kind || a.order != b.order || a.owner != b.owner) return false;
    const auto sameInfo = [](const auto& x, const auto& y) {
        if (x.perform != y.perform || x.equal != y.equal) return false;
        return x.info == y.info || (x.equal && x.equal(x.info, y.info));
    };
    switch (a.kind) {
        case __CFRunLoopSource::Kind::Signal:
            return sameInfo(a.context, b.context);
        case __CFRunLoopSource::Kind::Port:
            return sameInfo(a.context1, b.context1);
        case __CFRunLoopSource::Kind::Descriptor:
            return a.ownerObject == b.ownerObject;
    }
    return false;
}

CFHashCode hashSource(const Object* object) {
    const auto& source = *static_cast<const __CFRunLoopSource*>(object);
    const auto hash = [](const auto& context) {
        return context.hash ? context.hash(context.info) : reinterpret_cast<CFHashCode>(context.info);
    };
    return source.kind == __CFRunLoopSource::Kind::Port ? hash(source.context1) : hash(source.context);
}

constexpr Class kSourceClass{TypeID::RunLoopSource, finalizeAs<__CFRunLoopSource>, equalSources, hashSource, nullptr};

using Kind = __CFRunLoopSource::Kind;

}  // namespace

__CFRunLoopSource::__CFRunLoopSource(Kind k, CFIndex o, const SourceOwner* w, void* object) noexcept
    : Object(kSourceClass), kind(k), order(o), owner(w), ownerObject(object) {
    if (owner) flags |= kFound;  // by its port or descriptor
}

__CFRunLoopSource::~__CFRunLoopSource() {
    if (owner && info) owner->forget(ownerObject, this);
}

namespace {

/// Gives a new source the context of its kind; null where there is no memory.
template <class Context>
__CFRunLoopSource* withContextOf(Retained<__CFRunLoopSource> source, Context __CFRunLoopSource::*kept,
                                 const Context& context) {
    if (!source) return nullptr;
    try {
        source->info = holdInfo(context);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    (*source).*kept = context;
    ((*source).*kept).info = source->info.get();
    return source.release();
}

}  // namespace

__CFRunLoopSource* KXPlatform::makeOwnedSource(CFAllocatorRef allocator, CFIndex order, const SourceOwner& owner,
                                               KXPlatform::Object* ownerObject, mach_port_t (*getPort)(void*),
                                               void* (*perform)(void*, CFIndex, CFAllocatorRef, void*)) {
    const Kind kind = getPort ? Kind::Port : Kind::Descriptor;
    auto source = Retained<__CFRunLoopSource>::adopting(
        make<__CFRunLoopSource>(allocator, 0, kind, order, &owner, static_cast<void*>(ownerObject)));
    if (kind == Kind::Port) {
        const CFRunLoopSourceContext1 context{1,       ownerObject, CFRetain, CFRelease, nullptr,
                                              CFEqual, CFHash,      getPort,  perform};
        return withContextOf(std::move(source), &__CFRunLoopSource::context1, context);
    }
    const CFRunLoopSourceContext context{0,       ownerObject, CFRetain, CFRelease, nullptr,
                                         CFEqual, CFHash,      nullptr,  nullptr,   nullptr};
    return withContextOf(std::move(source), &__CFRunLoopSource::context, context);
}

CFTypeID CFRunLoopSourceGetTypeID() { return number(TypeID::RunLoopSource); }

CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order, CFRunLoopSourceContext* context) {
    if (!context || (context->version != 0 && context->version != 1)) return nullptr;
    const Kind kind = context->version == 1 ? Kind::Port : Kind::Signal;
    auto source = Retained<__CFRunLoopSource>::adopting(
        make<__CFRunLoopSource>(allocator, 0, kind, order, nullptr, static_cast<void*>(nullptr)));
    if (kind == Kind::Port) {
        return withContextOf(std::move(source), &__CFRunLoopSource::context1,
                             *reinterpret_cast<const CFRunLoopSourceContext1*>(context));
    }
    return withContextOf(std::move(source), &__CFRunLoopSource::context, *context);
}

CFIndex CFRunLoopSourceGetOrder(CFRunLoopSourceRef source) { return source ? source->order : 0; }

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source) {
    if (!source) return;
    const auto self = Retained<__CFRunLoopSource>::retaining(source);
    {
        const std::lock_guard lock(source->mutex);
        if (!source->valid) return;
        source->valid = false;  // no loop takes it in from here on
    }
    Retained<__CFRunLoop> loop;
    while ((loop = nextLoopOf(*source, loop.get()))) removeEverywhere(*loop, *source);
    // Only now: while a loop held the source it could ask its owner.
    if (source->owner) source->owner->forget(source->ownerObject, source);
    Info released;
    const std::lock_guard lock(source->mutex);
    released.swap(source->info);
}

Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source) {
    if (!source) return false;
    const std::lock_guard lock(source->mutex);
    return source->valid;
}

void CFRunLoopSourceGetContext(CFRunLoopSourceRef source, CFRunLoopSourceContext* context) {
    if (!source || !context) return;
    const std::lock_guard lock(source->mutex);
    if (source->kind == Kind::Port) {
        // The caller's version says how large his record is.
        if (context->version == 1) {
            auto* const given = reinterpret_cast<CFRunLoopSourceContext1*>(context);
            *given = source->context1;
            given->info = source->info.get();
        }
    } else {
        giveContext(context, source->context, source->info);
    }
}

void CFRunLoopSourceSignal(CFRunLoopSourceRef source) {
    if (!source || source->kind != Kind::Signal) return;
    const std::lock_guard lock(source->mutex);
    if (!source->valid) return;
    source->signalled.store(true, std::memory_order_release);
    for (__CFRunLoop* const loop : source->loops) loop->signals.fetch_add(1, std::memory_order_release);
}
