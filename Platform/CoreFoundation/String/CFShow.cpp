#include "CFStringObject.h"
#include "CoreFoundation/Object/Retained.h"

#include <cstdio>
#include <new>
#include <string>

using namespace KXPlatform;

namespace {

/// The text as any terminal shows it: what is not ASCII as \uXXXX, unit by unit.
void appendEscaped(std::string& out, TextView text) {
    if (!text.isWide()) {
        out += text.asciiView();
        return;
    }
    for (const UniChar unit : text.wideView()) {
        if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(unit));
            out += escape;
        }
    }
}

/// One write, so that lines of several threads do not mix.
void writeToStandardError(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace

void CFShow(CFTypeRef obj) try {
    std::string line;
    if (!obj) {
        line = "(null)";
    } else if (isOfType(obj, TypeID::String)) {
        appendEscaped(line, view(static_cast<CFStringRef>(obj)));
    } else {
        const auto description = Retained<const __CFString>::adopting(CFCopyDescription(obj));
        appendEscaped(line, view(description.get()));
    }
    writeToStandardError(line += '\n');
} catch (const std::bad_alloc&) {
    // Nothing can be shown without memory, and showing is no reason to fail.
}

void CFShowStr(CFStringRef str) try {
    if (!str) {
        writeToStandardError("(null)\n");
        return;
    }
    char head[256];
    std::snprintf(head, sizeof head,
                  "\nLength %ld\nIsEightBit %d\nHasLengthByte %d\nHasNullByte %d\nInlineContents %d\nAllocator %p\n"
                  "Mutable %d\nContents %p\n",
                  str->length, !str->isWide(), (str->bits & __CFString::kLengthBefore) != 0,
                  !str->isWide() && !(str->bits & __CFString::kUnterminated),
                  !(str->bits & (__CFString::kMutable | __CFString::kForeign)),
                  static_cast<const void*>(CFGetAllocator(str)), str->isMutable(),
                  static_cast<const void*>(str->text.ascii));
    std::string text(head);
    appendEscaped(text, view(str));
    writeToStandardError(text += '\n');
} catch (const std::bad_alloc&) {
}
