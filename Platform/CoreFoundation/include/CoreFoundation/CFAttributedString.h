#pragma once

/// Text whose characters have attributes: dictionaries of strings (the names) and objects.
///
/// The text is a sequence of runs, each of characters with equal attributes; runs with equal attributes that meet are
/// one. Finding the run of a place, and changing runs, takes time by the logarithm of their number.
///
/// Ownership: text and attributes are copied when they are set; what functions named Get return is borrowed, and good
/// until the string changes or ends. Immutable attributed strings may be used from any thread, a mutable one from one
/// thread at a time.
///
/// A range that is not within the text, an object that is null or of another type, and a lack of memory change nothing
/// and give null.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFAttributedString* CFAttributedStringRef;
typedef struct __CFAttributedString* CFMutableAttributedStringRef;

CF_EXPORT CFTypeID CFAttributedStringGetTypeID(void);

/// The text of `str` with the same attributes in all places; null attributes are none.
CF_EXPORT CFAttributedStringRef CFAttributedStringCreate(CFAllocatorRef alloc, CFStringRef str,
                                                         CFDictionaryRef attributes);
CF_EXPORT CFAttributedStringRef CFAttributedStringCreateWithSubstring(CFAllocatorRef alloc, CFAttributedStringRef aStr,
                                                                      CFRange range);
/// One that never changes: the same one where that is so already.
CF_EXPORT CFAttributedStringRef CFAttributedStringCreateCopy(CFAllocatorRef alloc, CFAttributedStringRef aStr);

// ---- Reading

/// The text. Of a mutable attributed string it changes with that, and must not be changed itself.
CF_EXPORT CFStringRef CFAttributedStringGetString(CFAttributedStringRef aStr);
CF_EXPORT CFIndex CFAttributedStringGetLength(CFAttributedStringRef aStr);

/// The attributes at `loc`, an empty dictionary where there are none; or one of them, null where it is not there.
/// `*effectiveRange`, unless null, becomes the range of the run; {kCFNotFound, 0} where `loc` is not within the text.
CF_EXPORT CFDictionaryRef CFAttributedStringGetAttributes(CFAttributedStringRef aStr, CFIndex loc,
                                                          CFRange* effectiveRange);
CF_EXPORT CFTypeRef CFAttributedStringGetAttribute(CFAttributedStringRef aStr, CFIndex loc, CFStringRef attrName,
                                                   CFRange* effectiveRange);
/// The same, and the longest range within `inRange` that has equal attributes, or an equal value of the one. Takes time
/// by the number of runs in that range. `loc` must lie in `inRange`.
CF_EXPORT CFDictionaryRef CFAttributedStringGetAttributesAndLongestEffectiveRange(CFAttributedStringRef aStr,
                                                                                  CFIndex loc, CFRange inRange,
                                                                                  CFRange* longestEffectiveRange);
CF_EXPORT CFTypeRef CFAttributedStringGetAttributeAndLongestEffectiveRange(CFAttributedStringRef aStr, CFIndex loc,
                                                                           CFStringRef attrName, CFRange inRange,
                                                                           CFRange* longestEffectiveRange);

// ---- Changing

/// `maxLength` 0: no limit but memory. A change that exceeds the limit is not made.
CF_EXPORT CFMutableAttributedStringRef CFAttributedStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                                                           CFAttributedStringRef aStr);
CF_EXPORT CFMutableAttributedStringRef CFAttributedStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);

/// Puts text in the place of the range. It has the attributes of the first character that it replaces; where it
/// replaces none, those of the character before it, else of the one behind it, else none.
CF_EXPORT void CFAttributedStringReplaceString(CFMutableAttributedStringRef aStr, CFRange range,
                                               CFStringRef replacement);
/// Null: as on macOS, where this is announced and not available. Use CFAttributedStringReplaceString.
CF_EXPORT CFMutableStringRef CFAttributedStringGetMutableString(CFMutableAttributedStringRef aStr);
/// Sets attributes; with `clearOtherAttributes` the range has no others afterwards.
CF_EXPORT void CFAttributedStringSetAttributes(CFMutableAttributedStringRef aStr, CFRange range,
                                               CFDictionaryRef replacement, Boolean clearOtherAttributes);
CF_EXPORT void CFAttributedStringSetAttribute(CFMutableAttributedStringRef aStr, CFRange range, CFStringRef attrName,
                                              CFTypeRef value);
CF_EXPORT void CFAttributedStringRemoveAttribute(CFMutableAttributedStringRef aStr, CFRange range,
                                                 CFStringRef attrName);
/// Puts text with its attributes in the place of the range.
CF_EXPORT void CFAttributedStringReplaceAttributedString(CFMutableAttributedStringRef aStr, CFRange range,
                                                         CFAttributedStringRef replacement);
/// Enclose many changes. Runs are in order after each change, so these cost and change nothing.
CF_EXPORT void CFAttributedStringBeginEditing(CFMutableAttributedStringRef aStr);
CF_EXPORT void CFAttributedStringEndEditing(CFMutableAttributedStringRef aStr);

CF_EXTERN_C_END
