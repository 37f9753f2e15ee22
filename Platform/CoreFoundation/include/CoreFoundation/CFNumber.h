#pragma once

/// Numbers and the two booleans.
///
/// Both are immutable: any number of threads may use them. Small integers, NaN, the infinities and the booleans exist
/// once and are never freed. Functions given null, or an object that is no number, return 0 or false.
///
/// Numbers are equal, and hash alike, by value: 1 is 1.0. In order stand the negative numbers with -0.0 as the
/// greatest, then NaN, which is equal to itself, then 0 and up. Integers and floating point are compared without
/// rounding.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFBoolean* CFBooleanRef;

/// The C types of values. A number is kept as one of the first six; the others are names for one of those by size.
CF_ENUM_TYPE(CFIndex, CFNumberType){
    kCFNumberSInt8Type = 1,   kCFNumberSInt16Type = 2,   kCFNumberSInt32Type = 3,     kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5, kCFNumberFloat64Type = 6,  kCFNumberCharType = 7,       kCFNumberShortType = 8,
    kCFNumberIntType = 9,     kCFNumberLongType = 10,    kCFNumberLongLongType = 11,  kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13, kCFNumberCFIndexType = 14, kCFNumberNSIntegerType = 15, kCFNumberCGFloatType = 16,
    kCFNumberMaxType = 16,
};

typedef const struct __CFNumber* CFNumberRef;

// ---- Booleans

CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

// ---- Numbers

CF_EXPORT const CFNumberRef kCFNumberPositiveInfinity;
CF_EXPORT const CFNumberRef kCFNumberNegativeInfinity;
CF_EXPORT const CFNumberRef kCFNumberNaN;

CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/// A number of the value that `valuePtr` points at, of any alignment. Null when the type is none, the pointer is null
/// or there is no memory.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr);
/// The type it is kept as, one of the first six; the size of that type; whether it is a floating one.
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef number);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
/// Writes the value as `theType` to `valuePtr`: the low bits of an integer, the nearest value of a real, its fraction
/// cut off. True when the value survives the way there and back; eight bits hold -128 to 255.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);
/// `context` is ignored.
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void* context);

CF_EXTERN_C_END
