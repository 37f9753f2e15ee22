#pragma once

/// How the wrappers fail: one line on the standard error stream, then an exception. Every failure of the family ends in
/// one of the four reporters below.
///
/// The reporters may be called from any thread. An exception carries a pointer to a constant text and owns nothing.

#include <KXCoreLib/Export.h>

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFError.h>

namespace KXCore::CoreFoundation {

/// What a failed operation of a wrapper throws. Deliberately not a std::exception: a handler of standard exceptions
/// does not swallow it.
class KX_EXPORT CFException {
  public:
    /// Which failure it was: a constant text, never null.
    virtual const char* what() const noexcept = 0;
    virtual ~CFException();

  protected:
    CFException() = default;
    CFException(const CFException&) = default;
    CFException& operator=(const CFException&) = default;
};

/// The one CFException. Thrown by value, caught as CFException.
class KX_EXPORT CFExceptionImpl final : public CFException {
  public:
    /// `message` is kept as it is: a text that outlives the exception.
    explicit CFExceptionImpl(const char* message) noexcept : message_(message) {}
    const char* what() const noexcept override;

  private:
    const char* message_;
};

/// Logs "failed to create object: NAME" and throws "failed to create object". `name` is the platform function that gave
/// no object.
[[noreturn]] KX_EXPORT void __FailedToCreateObject(const char* name);

/// The same where the platform gives the reason as a text: logs "failed to create object: NAME, error( DESCRIPTION )".
[[noreturn]] KX_EXPORT void __FailedToCreateObjectWithErrorDescription(const char* name, const char* description);

/// Logs "unexpected error occured:", shows `error` with CFShow and throws "unexpected error occured".
[[noreturn]] KX_EXPORT void __UnexpectedErrorOccured(CFErrorRef error);

/// Logs "expected TYPENAME", shows `object` (which may be null) with CFShow and throws "unexpected pointer type".
[[noreturn]] KX_EXPORT void __UnexpectedPointerType(CFTypeRef object, const char* typeName);

}  // namespace KXCore::CoreFoundation
