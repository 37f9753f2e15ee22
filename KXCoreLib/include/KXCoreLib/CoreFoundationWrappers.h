#pragma once

/// Owning wrappers over the platform's object types, one class for each, in namespace KXCore::CoreFoundation. Who owns
/// what, how operations are named and how they fail: CoreFoundation/TypeRef.h.
///
/// Functions of the platform without an operation, and why:
///
///  - CFRetain, CFRelease, CFGetTypeID, CFEqual, CFHash: what the wrappers themselves do with them (copy, destruction,
///    assign, ==, std::hash) is all that a holder has a use for;
///  - CFAutorelease, CFMakeCollectable: they give a reference up to somebody else, against which a wrapper exists;
///  - CFGetRetainCount, CFGetAllocator, CFCopyDescription, CFCopyTypeIDDescription: they hold for objects of every type
///    and belong to none; call them with get();
///  - CFRangeMake: makes a plain value;
///  - CFRunLoopPerformBlock, CFRunLoopObserverCreateWithHandler, CFRunLoopTimerCreateWithHandler: they take a block, a
///    part of the language that not every compiler has; the forms with a function do the same.

#include <KXCoreLib/CoreFoundation/AllocatorRef.h>
#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/AttributedStringRef.h>
#include <KXCoreLib/CoreFoundation/BagRef.h>
#include <KXCoreLib/CoreFoundation/BinaryHeapRef.h>
#include <KXCoreLib/CoreFoundation/BitVectorRef.h>
#include <KXCoreLib/CoreFoundation/BooleanRef.h>
#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/CoreFoundation/CalendarRef.h>
#include <KXCoreLib/CoreFoundation/CharacterSetRef.h>
#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/DateFormatterRef.h>
#include <KXCoreLib/CoreFoundation/DateRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/FileDescriptorRef.h>
#include <KXCoreLib/CoreFoundation/LocaleRef.h>
#include <KXCoreLib/CoreFoundation/MachPortRef.h>
#include <KXCoreLib/CoreFoundation/NullRef.h>
#include <KXCoreLib/CoreFoundation/NumberFormatterRef.h>
#include <KXCoreLib/CoreFoundation/NumberRef.h>
#include <KXCoreLib/CoreFoundation/PropertyListRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopObserverRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopTimerRef.h>
#include <KXCoreLib/CoreFoundation/SetRef.h>
#include <KXCoreLib/CoreFoundation/SocketRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/StringTokenizerRef.h>
#include <KXCoreLib/CoreFoundation/TimeZoneRef.h>
#include <KXCoreLib/CoreFoundation/TreeRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>
#include <KXCoreLib/CoreFoundation/URLEnumeratorRef.h>
#include <KXCoreLib/CoreFoundation/URLRef.h>
#include <KXCoreLib/CoreFoundation/UUIDRef.h>
#include <KXCoreLib/CoreFoundation/XMLNodeRef.h>
#include <KXCoreLib/CoreFoundation/XMLParserRef.h>
#include <KXCoreLib/CoreFoundation/XMLTreeRef.h>
