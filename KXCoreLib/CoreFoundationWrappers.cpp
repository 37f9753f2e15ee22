#include <KXCoreLib/CoreFoundationWrappers.h>

#include "Log.h"

namespace KXCore::CoreFoundation {

CFException::~CFException() = default;

const char* CFExceptionImpl::what() const noexcept { return message_; }

void __FailedToCreateObject(const char* name) {
    LogLine("failed to create object: %s\n", name);
    throw CFExceptionImpl("failed to create object");
}

void __FailedToCreateObjectWithErrorDescription(const char* name, const char* description) {
    LogLine("failed to create object: %s, error( %s )\n", name, description);
    throw CFExceptionImpl("failed to create object");
}

void __UnexpectedErrorOccured(CFErrorRef error) {
    LogLine("unexpected error occured:\n");
    CFShow(error);
    throw CFExceptionImpl("unexpected error occured");
}

void __UnexpectedPointerType(CFTypeRef object, const char* typeName) {
    LogLine("expected %s\n", typeName);
    CFShow(object);
    throw CFExceptionImpl("unexpected pointer type");
}

// The type identifiers, asked for when the library is loaded: the platform hands them out at run time.
const CFTypeID AllocatorRef::typeID = CFAllocatorGetTypeID();
const CFTypeID ArrayRef::typeID = CFArrayGetTypeID();
const CFTypeID AttributedStringRef::typeID = CFAttributedStringGetTypeID();
const CFTypeID BagRef::typeID = CFBagGetTypeID();
const CFTypeID BinaryHeapRef::typeID = CFBinaryHeapGetTypeID();
const CFTypeID BitVectorRef::typeID = CFBitVectorGetTypeID();
const CFTypeID BooleanRef::typeID = CFBooleanGetTypeID();
const CFTypeID CalendarRef::typeID = CFCalendarGetTypeID();
const CFTypeID CharacterSetRef::typeID = CFCharacterSetGetTypeID();
const CFTypeID DataRef::typeID = CFDataGetTypeID();
const CFTypeID DateFormatterRef::typeID = CFDateFormatterGetTypeID();
const CFTypeID DateRef::typeID = CFDateGetTypeID();
const CFTypeID DictionaryRef::typeID = CFDictionaryGetTypeID();
const CFTypeID ErrorRef::typeID = CFErrorGetTypeID();
const CFTypeID FileDescriptorRef::typeID = CFFileDescriptorGetTypeID();
const CFTypeID LocaleRef::typeID = CFLocaleGetTypeID();
const CFTypeID MachPortRef::typeID = CFMachPortGetTypeID();
const CFTypeID NullRef::typeID = CFNullGetTypeID();
const CFTypeID NumberFormatterRef::typeID = CFNumberFormatterGetTypeID();
const CFTypeID NumberRef::typeID = CFNumberGetTypeID();
const CFTypeID RunLoopObserverRef::typeID = CFRunLoopObserverGetTypeID();
const CFTypeID RunLoopRef::typeID = CFRunLoopGetTypeID();
const CFTypeID RunLoopSourceRef::typeID = CFRunLoopSourceGetTypeID();
const CFTypeID RunLoopTimerRef::typeID = CFRunLoopTimerGetTypeID();
const CFTypeID SetRef::typeID = CFSetGetTypeID();
const CFTypeID SocketRef::typeID = CFSocketGetTypeID();
const CFTypeID StringRef::typeID = CFStringGetTypeID();
const CFTypeID StringTokenizerRef::typeID = CFStringTokenizerGetTypeID();
const CFTypeID TimeZoneRef::typeID = CFTimeZoneGetTypeID();
const CFTypeID TreeRef::typeID = CFTreeGetTypeID();
const CFTypeID URLEnumeratorRef::typeID = CFURLEnumeratorGetTypeID();
const CFTypeID URLRef::typeID = CFURLGetTypeID();
const CFTypeID UUIDRef::typeID = CFUUIDGetTypeID();
const CFTypeID XMLNodeRef::typeID = CFXMLNodeGetTypeID();
const CFTypeID XMLParserRef::typeID = CFXMLParserGetTypeID();

void TypeRef::assignOfType(CFTypeID typeID, const char* typeName, CFTypeRef p) {
    if (!p || CFGetTypeID(p) != typeID) __UnexpectedPointerType(p, typeName);
    assign(p);
}

}  // namespace KXCore::CoreFoundation
