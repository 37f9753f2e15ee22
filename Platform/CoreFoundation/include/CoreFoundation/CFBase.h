#pragma once

/// The ground that every type stands on: integer types, ranges, allocators, and what holds for every object
/// (retain and release, equality, hash, description).
///
/// Ownership follows the name: a function named Create or Copy gives its caller a reference to release; one named Get
/// gives a borrowed one. Retain and release are atomic and may be called from any thread; immutable objects may be
/// read by any number of threads, mutable ones by one thread at a time.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#define CF_EXPORT __attribute__((visibility("default"))) extern
#define CF_ENUM_TYPE(type, name) enum name : type
#define CF_ANONYMOUS_ENUM(type) enum : type
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#define CF_EXPORT __attribute__((visibility("default"))) extern
#define CF_ENUM_TYPE(type, name) \
    typedef type name;           \
    enum
#define CF_ANONYMOUS_ENUM(type) enum
#endif
#define CF_INLINE static __inline__ __attribute__((always_inline, unused))

// Values of Boolean by the names that much code has for them.
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

CF_EXTERN_C_BEGIN

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;
typedef float Float32;
typedef double Float64;
typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef UInt16 UniChar;
typedef UInt8 UTF8Char;
typedef UInt16 UTF16Char;
typedef UInt32 UTF32Char;
typedef unsigned long UniCharCount;
typedef UniChar* UniCharPtr;
typedef unsigned char* StringPtr;
typedef const unsigned char* ConstStringPtr;
typedef unsigned char Str255[256];
typedef const unsigned char* ConstStr255Param;

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef long CFIndex;
typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;

CF_ENUM_TYPE(CFIndex, CFComparisonResult){
    kCFCompareLessThan = -1L,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1,
};

typedef CFComparisonResult (*CFComparatorFunction)(const void*, const void*, void*);

/// What a search returns that found nothing.
CF_EXPORT const CFIndex kCFNotFound;

/// A run of `length` items that starts at `location`.
typedef struct CFRange {
    CFIndex location;
    CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

/// The version of the interface that this platform follows.
CF_EXPORT double kCFCoreFoundationVersionNumber;

typedef const struct __CFNull* CFNullRef;

/// The one null object, for collections that hold objects only. Never freed.
CF_EXPORT const CFNullRef kCFNull;
CF_EXPORT CFTypeID CFNullGetTypeID(void);

typedef const struct __CFAllocator* CFAllocatorRef;

typedef const void* (*CFAllocatorRetainCallBack)(const void*);
typedef void (*CFAllocatorReleaseCallBack)(const void*);
typedef CFStringRef (*CFAllocatorCopyDescriptionCallBack)(const void*);
typedef void* (*CFAllocatorAllocateCallBack)(CFIndex, CFOptionFlags, void*);
typedef void* (*CFAllocatorReallocateCallBack)(void*, CFIndex, CFOptionFlags, void*);
typedef void (*CFAllocatorDeallocateCallBack)(void*, void*);
typedef CFIndex (*CFAllocatorPreferredSizeCallBack)(CFIndex, CFOptionFlags, void*);

/// The callbacks of an allocator, each given `info` last. `allocate` is required; the others may be null.
typedef struct CFAllocatorContext {
    CFIndex version;
    void* info;
    CFAllocatorRetainCallBack retain;
    CFAllocatorReleaseCallBack release;
    CFAllocatorCopyDescriptionCallBack copyDescription;
    CFAllocatorAllocateCallBack allocate;
    CFAllocatorReallocateCallBack reallocate;
    CFAllocatorDeallocateCallBack deallocate;
    CFAllocatorPreferredSizeCallBack preferredSize;
} CFAllocatorContext;

/// Null: stands for the calling thread's default allocator wherever an allocator is asked for.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
/// The allocator that is every thread's default until it sets another.
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
/// malloc, realloc and free.
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorMallocZone;
/// Gives no memory and frees none: the deallocator of memory that its caller keeps.
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
/// Only for CFAllocatorCreate: the new allocator is kept in memory of its own.
CF_EXPORT const CFAllocatorRef kCFAllocatorUseContext;

CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
/// Sets the calling thread's default allocator; ignored when `allocator` is no allocator.
CF_EXPORT void CFAllocatorSetDefault(CFAllocatorRef allocator);
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
CF_EXPORT CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, CFAllocatorContext* context);
/// Null when `size` is not positive or the allocator has no more memory.
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr);
CF_EXPORT CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context);

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
/// The name of a type ("CFString"); null for a number that no type has.
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
/// Adds a reference and returns `cf`. Null stays null.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/// Gives up a reference; the last one frees the object. Null is ignored.
CF_EXPORT void CFRelease(CFTypeRef cf);
/// Gives the caller's reference up to the calling thread, which releases it when its run loop ends a pass or the thread
/// ends, and returns `arg`, which stays usable until then.
CF_EXPORT CFTypeRef CFAutorelease(CFTypeRef arg);
/// How many references there are, as of a moment ago; the largest number for constants. For debugging only.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
/// Whether two objects are of one type and equal by that type's rule. Two collections that nest more than 1,024 deep,
/// or hold themselves, are equal only where they are one object.
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
/// Equal objects have equal hashes. Another process has other hashes, so none is worth keeping.
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
/// A text about the object for people who debug; null for null. Its form may change, so nothing should read it. Of
/// collections in collections it tells 1,024 levels and 20,000 in all; the others, and those that stand within
/// themselves, by their type and address.
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
/// The allocator that gave the object its memory, borrowed.
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);
/// Returns `cf`: there is no collector.
CF_EXPORT CFTypeRef CFMakeCollectable(CFTypeRef cf);

CF_EXTERN_C_END
