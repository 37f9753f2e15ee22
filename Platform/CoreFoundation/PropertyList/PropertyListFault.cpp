#include "PropertyListFault.h"

#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFPropertyList.h>

#include <utility>

namespace KXPlatform {
namespace {

/// The line that `at` is on, from 1.
std::size_t lineAt(std::string_view document, const char* at) noexcept {
    std::size_t line = 1;
    for (const char* p = document.data(); p != at; ++p) {
        if (*p == '\n' || (*p == '\r' && (p + 1 == at || p[1] != '\n'))) ++line;
    }
    return line;
}

}  // namespace

void throwReadFault(std::string reason) { throw PropertyListFault{std::move(reason), kCFPropertyListReadCorruptError}; }

void throwWriteFault(std::string reason) {
    throw PropertyListFault{std::move(reason), kCFPropertyListWriteStreamError};
}

void throwReadFaultAt(std::string_view document, const char* at, std::string_view reason) {
    throwReadFault(std::string(reason) + " on line " + std::to_string(lineAt(document, at)));
}

void throwNotAPropertyList(CFTypeRef value) {
    if (!value) throwWriteFault("The list holds a null pointer");
    throwWriteFault(std::string("The list holds a ") + typeName(object(value)->cls->typeID) +
                    ", which no property list may hold");
}

std::string quoted(std::string_view text) {
    constexpr std::size_t kMost = 32;
    std::string result = "\"";
    for (const char c : text.substr(0, kMost)) result += c >= ' ' && c <= '~' ? c : '?';
    if (text.size() > kMost) result += "...";
    return result += '"';
}

}  // namespace KXPlatform
