#pragma once

/// Bytes, immutable and mutable.
///
/// Any number of threads may read data that nobody changes; data that changes belongs to one thread at a time. A
/// pointer to the bytes is borrowed: it is good until the data changes or ends.
///
/// Nothing here fails loudly: a range outside the data, a negative length, data that is null or none, or a change to
/// immutable data has no effect and returns null, 0 or { kCFNotFound, 0 }.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef;
typedef struct __CFData* CFMutableDataRef;

/// How CFDataFind searches: from the end; only at the start of the range (with both, only at its end).
typedef CFOptionFlags CFDataSearchFlags;

CF_ANONYMOUS_ENUM(CFDataSearchFlags){
    kCFDataSearchBackwards = 1,
    kCFDataSearchAnchored = 2,
};

// ---- Creating: null when a length is negative or there is no memory

CF_EXPORT CFTypeID CFDataGetTypeID(void);
/// Immutable data of a copy of the bytes.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
/// Immutable data over the bytes themselves, which must not change. When it ends it gives them back to
/// `bytesDeallocator` (null: the default allocator; kCFAllocatorNull: they stay the caller's, who must keep them as
/// long). When it cannot be made, they stay the caller's.
CF_EXPORT CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                                CFAllocatorRef bytesDeallocator);
/// Immutable data of the same bytes; the data itself, retained, where it is immutable and owns its bytes.
CF_EXPORT CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData);
/// Empty data. It never grows beyond `capacity` bytes; 0 sets no limit.
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
/// Mutable data of the same bytes. A `capacity` less than their length and not 0 gives null.
CF_EXPORT CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef theData);

// ---- Reading

CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);

/// The bytes of mutable data, to write to; null of immutable data.
CF_EXPORT UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData);
/// Copies the bytes of the range to `buffer`, which has room for them.
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);
/// Where `dataToFind` lies within `searchRange`, in time linear in both; { kCFNotFound, 0 } when it does not. Empty
/// data is never found.
CF_EXPORT CFRange CFDataFind(CFDataRef theData, CFDataRef dataToFind, CFRange searchRange,
                             CFDataSearchFlags compareOptions);

// ---- Changing: a call for which there is no room or no memory changes nothing

/// Cuts the data, or lengthens it by zeros.
CF_EXPORT void CFDataSetLength(CFMutableDataRef theData, CFIndex length);
/// Lengthens the data by zeros.
CF_EXPORT void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength);
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length);
/// Puts `newLength` bytes in the place of those of the range. They may be bytes of the data itself.
CF_EXPORT void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength);
CF_EXPORT void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range);

CF_EXTERN_C_END
