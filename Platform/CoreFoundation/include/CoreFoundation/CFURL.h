#pragma once

/// URLs, and the files that file URLs stand for.
///
/// A URL is a text and, where the text is relative, the URL that it is relative to, its base. It is immutable: any
/// number of threads may use it. What is written of its characters are ASCII letters, digits and the marks of RFC 3986;
/// everything else stands there as percent escapes, which count as bytes of the URL's encoding (UTF-8, unless it was
/// made of bytes in another). Escapes of a file's path may be any bytes, so that files whose names are no UTF-8 have
/// URLs as well.
///
/// Parsing follows RFC 3986, and accepts square brackets in queries and fragments (RFC 2732). A URL with a scheme whose
/// rest does not begin with "/" ("mailto:a@b") cannot be decomposed: it has a scheme and a resource specifier only.
///
/// Nothing here fails loudly: a URL that is null or none, or a text that is no URL, gives null, 0 or false. Functions
/// with an error argument store an error there (its Cocoa or POSIX domain, with the URL) that the caller releases.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFURL* CFURLRef;

/// How a text writes the path of a file: "/a/b"; "Volume:a:b", ":a" relative; "C:\\a\\b".
CF_ENUM_TYPE(CFIndex, CFURLPathStyle){
    kCFURLPOSIXPathStyle = 0,
    kCFURLHFSPathStyle = 1,
    kCFURLWindowsPathStyle = 2,
};

CF_ENUM_TYPE(CFIndex, CFURLComponentType){
    kCFURLComponentScheme = 1,   kCFURLComponentNetLocation = 2,
    kCFURLComponentPath = 3,     kCFURLComponentResourceSpecifier = 4,
    kCFURLComponentUser = 5,     kCFURLComponentPassword = 6,
    kCFURLComponentUserInfo = 7, kCFURLComponentHost = 8,
    kCFURLComponentPort = 9,     kCFURLComponentParameterString = 10,
    kCFURLComponentQuery = 11,   kCFURLComponentFragment = 12,
};

struct FSRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);

// ---- Creating

/// A URL of a text in `encoding`, in which its percent escapes count as well. Null when the text is no URL, or empty
/// without a base. An absolute text has no base: `baseURL` is not kept.
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                                        CFStringEncoding encoding, CFURLRef baseURL);
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);
/// An absolute URL at once; null when there is neither a scheme nor a base that has one. In the compatibility mode the
/// text is resolved as CFURLCopyAbsoluteURL does, and a scheme that is the base's may stand before a relative text.
/// Otherwise the older rules hold: what leads above the root stays ("/../a"), and a query or fragment alone replaces
/// the last component of the base.
CF_EXPORT CFURLRef CFURLCreateAbsoluteURLWithBytes(CFAllocatorRef alloc, const UInt8* relativeURLBytes, CFIndex length,
                                                   CFStringEncoding encoding, CFURLRef baseURL,
                                                   Boolean useCompatibilityMode);
/// The text of the URL in `encoding`; white space cannot stand in it, escaped or not.
CF_EXPORT CFDataRef CFURLCreateData(CFAllocatorRef allocator, CFURLRef url, CFStringEncoding encoding,
                                    Boolean escapeWhitespace);

/// A file URL. Without a base a relative path is relative to the current working directory. A directory's path ends
/// with a slash, which `isDirectory` adds.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPathRelativeToBase(CFAllocatorRef allocator, CFStringRef filePath,
                                                               CFURLPathStyle pathStyle, Boolean isDirectory,
                                                               CFURLRef baseURL);
/// The same of a POSIX path as the system has it: any bytes but 0.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentationRelativeToBase(CFAllocatorRef allocator, const UInt8* buffer,
                                                                         CFIndex bufLen, Boolean isDirectory,
                                                                         CFURLRef baseURL);

/// The URL itself where it has no base.
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);

// ---- Reading. Of a relative URL, scheme and net location (with its parts) are the base's where it has none itself;
// path, query and fragment are its own.

/// The text, without the base's. Borrowed.
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
/// Borrowed; null where there is none.
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);
CF_EXPORT Boolean CFURLCanBeDecomposed(CFURLRef anURL);

// Null where the URL has no such part, or cannot be decomposed. Percent escapes stay.
CF_EXPORT CFStringRef CFURLCopyScheme(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyNetLocation(CFURLRef anURL);
/// "" where it is empty.
CF_EXPORT CFStringRef CFURLCopyPath(CFURLRef anURL);
/// The path without the slash that begins it, which `isAbsolute` (may be null) tells of.
CF_EXPORT CFStringRef CFURLCopyStrictPath(CFURLRef anURL, Boolean* isAbsolute);
/// What follows the path, with the mark that begins it; everything after the scheme where the URL cannot be decomposed.
CF_EXPORT CFStringRef CFURLCopyResourceSpecifier(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyPassword(CFURLRef anURL);

// Percent escapes are replaced; null as well where they are no text in the URL's encoding.
/// An IPv6 address without its brackets.
CF_EXPORT CFStringRef CFURLCopyHostName(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyUserName(CFURLRef anURL);

/// -1 where there is none, or none that fits.
CF_EXPORT SInt32 CFURLGetPortNumber(CFURLRef anURL);

// Percent escapes are replaced but for those of the characters given: none for null, all for an empty text.
/// Null always: the parameters are a part of the path.
CF_EXPORT CFStringRef CFURLCopyParameterString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);

/// Whether the path ends with a slash, or its last component is "." or "..".
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);

/// The path in a style, without percent escapes and without the slash at the end of a directory's. Null where the
/// escapes are no text in the URL's encoding.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
/// Writes the path of a file URL, as the system takes it, and a 0. False when there is no room for it, for another
/// scheme or host, and for a path that holds a 0.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);

/// Without percent escapes; "/" of the root, "" of an empty path.
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
/// Without its dot and percent escapes; null where there is none.
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef url);

// These change the path and leave the rest of the URL as it is.
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef pathComponent, Boolean isDirectory);
/// The directory that holds it. An empty path and the root stay as they are; ".." is added to one that ends with it.
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
/// Null for an extension that is no part of a name.
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url, CFStringRef extension);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url);

/// The text of the URL: how many bytes it has where `buffer` is null; how many were written otherwise, -1 when there is
/// no room for all.
CF_EXPORT CFIndex CFURLGetBytes(CFURLRef url, UInt8* buffer, CFIndex bufferLength);
/// Where a part lies in these bytes, and with the marks that set it apart. Of a part that is not there, { kCFNotFound,
/// 0 } and the place where it would be. What follows the first ";" of the path counts as parameters here.
CF_EXPORT CFRange CFURLGetByteRangeForComponent(CFURLRef url, CFURLComponentType component,
                                                CFRange* rangeIncludingSeparators);

// ---- Percent escapes

/// Replaces the escapes of a text but for those of the characters given: none for null, all for an empty text. Null
/// when an escape is broken or the bytes are no text in UTF-8, or the given encoding.
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                                 CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapesUsingEncoding(CFAllocatorRef allocator,
                                                                              CFStringRef origString,
                                                                              CFStringRef charsToLeaveEscaped,
                                                                              CFStringEncoding encoding);
/// Escapes what a URL may not hold (which "%", "#", "[" and "]" count to) and the legal characters given, and leaves
/// the others given. Null when a character is not in the encoding.
CF_EXPORT CFStringRef CFURLCreateStringByAddingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                              CFStringRef charactersToLeaveUnescaped,
                                                              CFStringRef legalURLCharactersToBeEscaped,
                                                              CFStringEncoding encoding);

// ---- References to files. This system finds no file by its number: there are no file reference URLs.

CF_EXPORT Boolean CFURLIsFileReferenceURL(CFURLRef url);
/// Null, with an error.
CF_EXPORT CFURLRef CFURLCreateFileReferenceURL(CFAllocatorRef allocator, CFURLRef url, CFErrorRef* error);
/// The absolute URL of a file URL; null, with an error, for any other.
CF_EXPORT CFURLRef CFURLCreateFilePathURL(CFAllocatorRef allocator, CFURLRef url, CFErrorRef* error);
/// Null and false: there are no such records.
CF_EXPORT CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const struct FSRef* fsRef);
CF_EXPORT Boolean CFURLGetFSRef(CFURLRef url, struct FSRef* fsRef);

// ---- Properties of the file that a file URL stands for. A value that was read is kept with the URL object until it is
// cleared, and is not read again meanwhile; what is set is written to the file. The objects are the caller's to
// release.

/// Whether the value could be read. Null, and true, where the file has none: a property that this system does not know,
/// or that does not apply to the file. `propertyValueTypeRefPtr` is a pointer to a reference of the value's type.
CF_EXPORT Boolean CFURLCopyResourcePropertyForKey(CFURLRef url, CFStringRef key, void* propertyValueTypeRefPtr,
                                                  CFErrorRef* error);
/// Those of the keys that have a value. Null on the first that cannot be read.
CF_EXPORT CFDictionaryRef CFURLCopyResourcePropertiesForKeys(CFURLRef url, CFArrayRef keys, CFErrorRef* error);
/// The name can be set, within the folder and over no other file, and so can the dates of access to the content and of
/// its modification. Any other property is ignored, and true returned.
CF_EXPORT Boolean CFURLSetResourcePropertyForKey(CFURLRef url, CFStringRef key, CFTypeRef propertyValue,
                                                 CFErrorRef* error);
/// The name last, the others in no order. The first that fails ends the call; the error's user info has the keys of all
/// that were not set under kCFURLKeysOfUnsetValuesKey.
CF_EXPORT Boolean CFURLSetResourcePropertiesForKeys(CFURLRef url, CFDictionaryRef keyedPropertyValues,
                                                    CFErrorRef* error);
CF_EXPORT void CFURLClearResourcePropertyCacheForKey(CFURLRef url, CFStringRef key);
/// Temporary values too.
CF_EXPORT void CFURLClearResourcePropertyCache(CFURLRef url);
/// Keeps a value of the caller's own under a key with the URL object; null takes it back.
CF_EXPORT void CFURLSetTemporaryResourcePropertyForKey(CFURLRef url, CFStringRef key, CFTypeRef propertyValue);
/// Whether the file exists. False, with an error, for a URL of another scheme, which is not asked for.
CF_EXPORT Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error);

// Of any file.
CF_EXPORT const CFStringRef kCFURLNameKey;
CF_EXPORT const CFStringRef kCFURLLocalizedNameKey;
CF_EXPORT const CFStringRef kCFURLIsRegularFileKey;
CF_EXPORT const CFStringRef kCFURLIsDirectoryKey;
CF_EXPORT const CFStringRef kCFURLIsSymbolicLinkKey;
CF_EXPORT const CFStringRef kCFURLIsVolumeKey;
CF_EXPORT const CFStringRef kCFURLIsPackageKey;
CF_EXPORT const CFStringRef kCFURLIsApplicationKey;
CF_EXPORT const CFStringRef kCFURLApplicationIsScriptableKey;
CF_EXPORT const CFStringRef kCFURLIsSystemImmutableKey;
CF_EXPORT const CFStringRef kCFURLIsUserImmutableKey;
CF_EXPORT const CFStringRef kCFURLIsHiddenKey;
CF_EXPORT const CFStringRef kCFURLHasHiddenExtensionKey;
CF_EXPORT const CFStringRef kCFURLCreationDateKey;
CF_EXPORT const CFStringRef kCFURLContentAccessDateKey;
CF_EXPORT const CFStringRef kCFURLContentModificationDateKey;
CF_EXPORT const CFStringRef kCFURLAttributeModificationDateKey;
CF_EXPORT const CFStringRef kCFURLFileIdentifierKey;
CF_EXPORT const CFStringRef kCFURLFileContentIdentifierKey;
CF_EXPORT const CFStringRef kCFURLMayShareFileContentKey;
CF_EXPORT const CFStringRef kCFURLMayHaveExtendedAttributesKey;
CF_EXPORT const CFStringRef kCFURLIsPurgeableKey;
CF_EXPORT const CFStringRef kCFURLIsSparseKey;
CF_EXPORT const CFStringRef kCFURLLinkCountKey;
CF_EXPORT const CFStringRef kCFURLParentDirectoryURLKey;
CF_EXPORT const CFStringRef kCFURLVolumeURLKey;
CF_EXPORT const CFStringRef kCFURLTypeIdentifierKey;
CF_EXPORT const CFStringRef kCFURLLocalizedTypeDescriptionKey;
CF_EXPORT const CFStringRef kCFURLLabelNumberKey;
CF_EXPORT const CFStringRef kCFURLLabelColorKey;
CF_EXPORT const CFStringRef kCFURLLocalizedLabelKey;
CF_EXPORT const CFStringRef kCFURLEffectiveIconKey;
CF_EXPORT const CFStringRef kCFURLCustomIconKey;
CF_EXPORT const CFStringRef kCFURLFileResourceIdentifierKey;
CF_EXPORT const CFStringRef kCFURLVolumeIdentifierKey;
CF_EXPORT const CFStringRef kCFURLPreferredIOBlockSizeKey;
CF_EXPORT const CFStringRef kCFURLIsReadableKey;
CF_EXPORT const CFStringRef kCFURLIsWritableKey;
CF_EXPORT const CFStringRef kCFURLIsExecutableKey;
CF_EXPORT const CFStringRef kCFURLFileSecurityKey;
CF_EXPORT const CFStringRef kCFURLIsExcludedFromBackupKey;
CF_EXPORT const CFStringRef kCFURLTagNamesKey;
CF_EXPORT const CFStringRef kCFURLPathKey;
CF_EXPORT const CFStringRef kCFURLCanonicalPathKey;
CF_EXPORT const CFStringRef kCFURLIsMountTriggerKey;
CF_EXPORT const CFStringRef kCFURLGenerationIdentifierKey;
CF_EXPORT const CFStringRef kCFURLDocumentIdentifierKey;
CF_EXPORT const CFStringRef kCFURLAddedToDirectoryDateKey;
CF_EXPORT const CFStringRef kCFURLQuarantinePropertiesKey;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeKey;
CF_EXPORT const CFStringRef kCFURLFileSizeKey;
CF_EXPORT const CFStringRef kCFURLFileAllocatedSizeKey;
CF_EXPORT const CFStringRef kCFURLTotalFileSizeKey;
CF_EXPORT const CFStringRef kCFURLTotalFileAllocatedSizeKey;
CF_EXPORT const CFStringRef kCFURLIsAliasFileKey;
CF_EXPORT const CFStringRef kCFURLDirectoryEntryCountKey;

// Values of kCFURLFileResourceTypeKey.
CF_EXPORT const CFStringRef kCFURLFileResourceTypeNamedPipe;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeCharacterSpecial;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeDirectory;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeBlockSpecial;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeRegular;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeSymbolicLink;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeSocket;
CF_EXPORT const CFStringRef kCFURLFileResourceTypeUnknown;

// Of a volume: booleans, but for capacities and counts (numbers), names (strings), URLs and the date.
CF_EXPORT const CFStringRef kCFURLVolumeLocalizedFormatDescriptionKey;
CF_EXPORT const CFStringRef kCFURLVolumeTotalCapacityKey;
CF_EXPORT const CFStringRef kCFURLVolumeAvailableCapacityKey;
CF_EXPORT const CFStringRef kCFURLVolumeAvailableCapacityForImportantUsageKey;
CF_EXPORT const CFStringRef kCFURLVolumeAvailableCapacityForOpportunisticUsageKey;
CF_EXPORT const CFStringRef kCFURLVolumeResourceCountKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsPersistentIDsKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsSymbolicLinksKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsHardLinksKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsJournalingKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsJournalingKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsSparseFilesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsZeroRunsKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsCaseSensitiveNamesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsCasePreservedNamesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsRootDirectoryDatesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsVolumeSizesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsRenamingKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsAdvisoryFileLockingKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsExtendedSecurityKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsBrowsableKey;
CF_EXPORT const CFStringRef kCFURLVolumeMaximumFileSizeKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsEjectableKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsRemovableKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsInternalKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsAutomountedKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsLocalKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsReadOnlyKey;
CF_EXPORT const CFStringRef kCFURLVolumeCreationDateKey;
CF_EXPORT const CFStringRef kCFURLVolumeURLForRemountingKey;
CF_EXPORT const CFStringRef kCFURLVolumeUUIDStringKey;
CF_EXPORT const CFStringRef kCFURLVolumeNameKey;
CF_EXPORT const CFStringRef kCFURLVolumeLocalizedNameKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsEncryptedKey;
CF_EXPORT const CFStringRef kCFURLVolumeIsRootFileSystemKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsCompressionKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsFileCloningKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsSwapRenamingKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsExclusiveRenamingKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsImmutableFilesKey;
CF_EXPORT const CFStringRef kCFURLVolumeSupportsAccessPermissionsKey;
CF_EXPORT const CFStringRef kCFURLVolumeTypeNameKey;
CF_EXPORT const CFStringRef kCFURLVolumeSubtypeKey;
CF_EXPORT const CFStringRef kCFURLVolumeMountFromLocationKey;

// Of items of a synchronised folder, which this system has none of: no file has a value of these.
CF_EXPORT const CFStringRef kCFURLIsUbiquitousItemKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemHasUnresolvedConflictsKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemIsDownloadedKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemIsDownloadingKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemIsUploadedKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemIsUploadingKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemPercentDownloadedKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemPercentUploadedKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemDownloadingStatusKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemDownloadingErrorKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemUploadingErrorKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemIsExcludedFromSyncKey;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemDownloadingStatusNotDownloaded;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemDownloadingStatusDownloaded;
CF_EXPORT const CFStringRef kCFURLUbiquitousItemDownloadingStatusCurrent;

// In the user info of an error: an array of the keys that could not be set.
CF_EXPORT const CFStringRef kCFURLKeysOfUnsetValuesKey;

// ---- Bookmarks: data by which a file is found again, also after it was renamed (docs/platform.md has the format).

typedef CFOptionFlags CFURLBookmarkCreationOptions;
typedef CFOptionFlags CFURLBookmarkResolutionOptions;
typedef CFOptionFlags CFURLBookmarkFileCreationOptions;

CF_ANONYMOUS_ENUM(CFURLBookmarkCreationOptions){
    kCFURLBookmarkCreationMinimalBookmarkMask = 512,
    kCFURLBookmarkCreationSuitableForBookmarkFile = 1024,
    kCFURLBookmarkCreationWithSecurityScope = 2048,
    kCFURLBookmarkCreationSecurityScopeAllowOnlyReadAccess = 4096,
    kCFURLBookmarkCreationWithoutImplicitSecurityScope = 536870912,
    kCFURLBookmarkCreationPreferFileIDResolutionMask = 256,
};

CF_ANONYMOUS_ENUM(CFURLBookmarkResolutionOptions){
    kCFURLBookmarkResolutionWithoutUIMask = 256,      kCFURLBookmarkResolutionWithoutMountingMask = 512,
    kCFURLBookmarkResolutionWithSecurityScope = 1024, kCFURLBookmarkResolutionWithoutImplicitStartAccessing = 32768,
    kCFBookmarkResolutionWithoutUIMask = 256,         kCFBookmarkResolutionWithoutMountingMask = 512,
};

/// `resourcePropertiesToInclude` (null: none) names properties whose values are kept in the bookmark, as far as a
/// property list can hold them. With `relativeToURL`, a directory, the bookmark can be resolved relative to another
/// one.
CF_EXPORT CFDataRef CFURLCreateBookmarkData(CFAllocatorRef allocator, CFURLRef url,
                                            CFURLBookmarkCreationOptions options,
                                            CFArrayRef resourcePropertiesToInclude, CFURLRef relativeToURL,
                                            CFErrorRef* error);
/// The file's URL now, with the values kept for `resourcePropertiesToInclude` in its cache. Looks at the path first,
/// and for a file of the same number in the same directory then. `isStale` (may be null) tells that the bookmark should
/// be made anew.
CF_EXPORT CFURLRef CFURLCreateByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                                      CFURLBookmarkResolutionOptions options, CFURLRef relativeToURL,
                                                      CFArrayRef resourcePropertiesToInclude, Boolean* isStale,
                                                      CFErrorRef* error);
/// The values kept in the bookmark, without looking at the file. Null for what is no bookmark.
CF_EXPORT CFDictionaryRef CFURLCreateResourcePropertiesForKeysFromBookmarkData(CFAllocatorRef allocator,
                                                                               CFArrayRef resourcePropertiesToReturn,
                                                                               CFDataRef bookmark);
CF_EXPORT CFTypeRef CFURLCreateResourcePropertyForKeyFromBookmarkData(CFAllocatorRef allocator,
                                                                      CFStringRef resourcePropertyKey,
                                                                      CFDataRef bookmark);
/// Reads and writes a file that holds a bookmark. What is read is checked to be one.
CF_EXPORT CFDataRef CFURLCreateBookmarkDataFromFile(CFAllocatorRef allocator, CFURLRef fileURL, CFErrorRef* errorRef);
CF_EXPORT Boolean CFURLWriteBookmarkDataToFile(CFDataRef bookmarkRef, CFURLRef fileURL,
                                               CFURLBookmarkFileCreationOptions options, CFErrorRef* errorRef);
/// Null: there are no alias records.
CF_EXPORT CFDataRef CFURLCreateBookmarkDataFromAliasRecord(CFAllocatorRef allocatorRef, CFDataRef aliasRecordDataRef);

/// False: no URL has a security scope on this system, and files are reached without.
CF_EXPORT Boolean CFURLStartAccessingSecurityScopedResource(CFURLRef url);
CF_EXPORT void CFURLStopAccessingSecurityScopedResource(CFURLRef url);

CF_EXTERN_C_END
