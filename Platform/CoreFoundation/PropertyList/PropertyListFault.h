#pragma once

// How the readers and writers of property lists fail, and the words they do it with.

#include <CoreFoundation/CFBase.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace KXPlatform {

/// Why a document cannot be read or written, in words for a person.
struct PropertyListFault {
    std::string reason;
    CFIndex code;
};

[[noreturn]] void throwReadFault(std::string reason);
[[noreturn]] void throwWriteFault(std::string reason);

/// Throws a read fault: "<reason> on line N", the line of `at` in the document. CR, LF and CRLF end lines.
[[noreturn]] void throwReadFaultAt(std::string_view document, const char* at, std::string_view reason);

/// Throws a write fault that names the object's type.
[[noreturn]] void throwNotAPropertyList(CFTypeRef object);

/// A piece of the document for a message: printable, cut after a few characters.
std::string quoted(std::string_view text);

}  // namespace KXPlatform
