#pragma once

/// What operations with an error out-argument do with the platform's error.
///
/// They take a pointer to a holder of the caller's, or none:
///
///  - with a holder they never throw. The holder lets go of what it held and holds the error of this call afterwards,
///    or nothing when there was none; a result that is null comes back as an empty wrapper (or as zero);
///  - without one, a null result is reported: the error is shown on the standard error stream and a CFException is
///    thrown ("unexpected error occured", or "failed to create object" where the platform tells a text only).
///
///     ErrorRef error;
///     auto list = PropertyListRef::createWithData(nullptr, data, kCFPropertyListImmutable, nullptr, &error);
///     if (!list) return error.copyDescription();

#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/Export.h>

namespace KXCore::CoreFoundation {

/// The error out-argument of one platform call, for the operations' own use: out() goes into the call, then settle() or
/// adopt() turns its result into the operation's.
class ErrorOutlet {
  public:
    explicit ErrorOutlet(ErrorRef* holder) noexcept : holder_(holder) {}
    ErrorOutlet(const ErrorOutlet&) = delete;
    ErrorOutlet& operator=(const ErrorOutlet&) = delete;

    CFErrorRef* out() noexcept { return &error_; }

    /// For a count or a truth, where zero means failure.
    template <class Result>
    Result settle(Result result) {
        ErrorRef error = ErrorRef::adopt(error_);
        if (holder_) {
            *holder_ = std::move(error);
        } else if (!result) {
            __UnexpectedErrorOccured(error.get());
        }
        return result;
    }

    /// For a new object.
    template <class Ref>
    Ref adopt(typename Ref::RawType result) {
        return Ref::adopt(settle(result));
    }

  private:
    ErrorRef* const holder_;
    CFErrorRef error_ = nullptr;
};

/// The same for a platform call that explains its failure by a text. `function` is its name.
class ErrorTextOutlet {
  public:
    ErrorTextOutlet(const char* function, StringRef* holder) noexcept : function_(function), holder_(holder) {}
    ErrorTextOutlet(const ErrorTextOutlet&) = delete;
    ErrorTextOutlet& operator=(const ErrorTextOutlet&) = delete;

    CFStringRef* out() noexcept { return &text_; }

    template <class Result>
    Result settle(Result result) {
        StringRef text = StringRef::adopt(text_);
        if (holder_) {
            *holder_ = std::move(text);
        } else if (!result) {
            const std::string description = text ? text.copyStdString() : std::string("unknown");
            __FailedToCreateObjectWithErrorDescription(function_, description.c_str());
        }
        return result;
    }

    template <class Ref>
    Ref adopt(typename Ref::RawType result) {
        return Ref::adopt(settle(result));
    }

  private:
    const char* const function_;
    StringRef* const holder_;
    CFStringRef text_ = nullptr;
};

}  // namespace KXCore::CoreFoundation
