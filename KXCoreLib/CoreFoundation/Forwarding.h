#pragma once

// How the sources of the wrappers call the platform. A name in capitals stands for the platform's function of that name
// and takes its arguments, so that an operation writes the name once and a report of a failure cannot name another:
//
//     KX_CREATE(URLRef, CFURLCreateCopyDeletingPathExtension)(allocator, url)
//         The new object. Null is reported as a failure of the function.
//
//     KX_TRY_CREATE(DataRef, CFURLCreateBookmarkData, error)(allocator, url, options, properties, relativeTo)
//         The new object, by a function whose last argument says why there is none. `error` is the caller's holder or
//         null: an ErrorRef* for an error object, a StringRef* for a text. For a dictionary, the key of its text
//         follows: KX_TRY_CREATE(XMLTreeRef, CFXMLTreeCreateFromDataWithError, errors, kCFXMLTreeErrorDescription).
//
//     KX_TRY(CFURLEnumeratorGetNextURL, isNot<kCFURLEnumeratorError>, error)(get(), url)
//         The same for a function that returns no new object. The second argument tells a success by the result.
//
//     KX_CREATE_INTO(CFStreamCreateBoundPair)(allocator, readStream, writeStream, transferBufferSize)
//         For a function that returns nothing and creates through pointers: each wrapper that the caller gave is
//         filled, and one that stays empty is reported as a failure of the function.
//
// An object that comes back through a pointer and is then the caller's fills a wrapper:
//
//     CFMessagePortSendRequest(get(), msgid, data, sendTimeout, rcvTimeout, replyMode, Filled(returnData))
//
// docs/wrappers.md has the rules that decide which of them an operation uses.

#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <concepts>
#include <string>
#include <utility>

#define KX_CREATE(Ref, function) ::KXCore::CoreFoundation::creating<Ref>(&function, #function)
#define KX_CREATE_INTO(function) ::KXCore::CoreFoundation::creatingInto(&function, #function)
#define KX_TRY_CREATE(Ref, function, ...) \
    ::KXCore::CoreFoundation::tryCreating<Ref>(&function, ::KXCore::CoreFoundation::ErrorOutlet(#function, __VA_ARGS__))
#define KX_TRY(function, succeeded, ...)                   \
    ::KXCore::CoreFoundation::trying(&function, succeeded, \
                                     ::KXCore::CoreFoundation::ErrorOutlet(#function, __VA_ARGS__))

namespace KXCore::CoreFoundation {

/// Where one platform call puts the reason of its failure, on the way to the caller's holder: out() goes into the call,
/// then settle() hands the reason over, or reports a failure that no holder takes.
template <Wrapper Holder>
class ErrorOutlet {
  public:
    /// `holder` may be null. `descriptionKey` is for a dictionary: where its text stands.
    ErrorOutlet(const char* function, Holder* holder, CFStringRef descriptionKey = nullptr) noexcept
        : function_(function), holder_(holder), descriptionKey_(descriptionKey) {}
    ErrorOutlet(const ErrorOutlet&) = delete;
    ErrorOutlet& operator=(const ErrorOutlet&) = delete;

    typename Holder::RawType* out() noexcept { return &reason_; }

    void settle(bool succeeded) {
        Holder reason = Holder::adopt(std::exchange(reason_, nullptr));
        if (holder_) {
            *holder_ = std::move(reason);
        } else if (!succeeded) {
            report(reason);
        }
    }

  private:
    [[noreturn]] void report(const Holder& reason) const {
        if constexpr (std::same_as<Holder, ErrorRef>) {
            __UnexpectedErrorOccured(reason.get());
        } else {
            const StringRef text = descriptionIn(reason);
            const std::string description = text ? text.copyStdString() : std::string("unknown");
            __FailedToCreateObjectWithErrorDescription(function_, description.c_str());
        }
    }

    static StringRef descriptionIn(const StringRef& reason) { return reason; }
    StringRef descriptionIn(const DictionaryRef& reason) const {
        const void* const text = reason && descriptionKey_ ? reason.getValue(descriptionKey_) : nullptr;
        if (!text || CFGetTypeID(text) != StringRef::typeID) return {};
        return StringRef::retain(static_cast<CFStringRef>(text));
    }

    const char* const function_;
    Holder* const holder_;
    const CFStringRef descriptionKey_;
    typename Holder::RawType reason_ = nullptr;
};

/// Stands in a call where the platform writes a reference that the caller then owns. When the call is over, `wrapper`
/// holds it, or nothing when the platform wrote nothing; what it held before is released. A null `wrapper` passes null.
template <Wrapper Ref>
class Filled {
  public:
    explicit Filled(Ref* wrapper) noexcept : wrapper_(wrapper) {}
    Filled(const Filled&) = delete;
    Filled& operator=(const Filled&) = delete;
    ~Filled() {
        const Ref owned = Ref::adopt(raw_);
        if (wrapper_) wrapper_->TypeRef::assign(owned.get());
    }

    operator typename Ref::RawType *() noexcept { return wrapper_ ? &raw_ : nullptr; }

  private:
    Ref* const wrapper_;
    typename Ref::RawType raw_ = nullptr;
};

// What tells a success by a result, for KX_TRY.

inline constexpr auto isNotZero = [](auto result) { return result != 0; };

template <auto failure>
inline constexpr auto isNot = [](decltype(failure) result) { return result != failure; };

// What the names in capitals stand for.

template <class Ref, class Raw, class... Parameters>
auto creating(Raw (*function)(Parameters...), const char* name) {
    return [=](Parameters... arguments) { return Ref::created(function(arguments...), name); };
}

template <class Ref, class Function, class Holder>
auto tryCreating(Function* function, ErrorOutlet<Holder>&& outlet) {
    return [function, &outlet](auto... arguments) {
        Ref made = Ref::adopt(function(arguments..., outlet.out()));
        outlet.settle(static_cast<bool>(made));
        return made;
    };
}

template <class Function, class Succeeded, class Holder>
auto trying(Function* function, Succeeded succeeded, ErrorOutlet<Holder>&& outlet) {
    return [function, succeeded, &outlet](auto&&... arguments) {
        const auto result = function(std::forward<decltype(arguments)>(arguments)..., outlet.out());
        outlet.settle(succeeded(result));
        return result;
    };
}

template <class Argument>
Argument passed(Argument argument) {
    return argument;
}
template <Wrapper Ref>
Filled<Ref> passed(Ref* wrapper) {
    return Filled<Ref>(wrapper);
}

template <class Argument>
bool isLeftEmpty(Argument) {
    return false;
}
template <Wrapper Ref>
bool isLeftEmpty(Ref* wrapper) {
    return wrapper && !*wrapper;
}

template <class... Parameters>
auto creatingInto(void (*function)(Parameters...), const char* name) {
    return [=](auto... arguments) {
        function(passed(arguments)...);
        if ((isLeftEmpty(arguments) || ...)) __FailedToCreateObject(name);
    };
}

}  // namespace KXCore::CoreFoundation
