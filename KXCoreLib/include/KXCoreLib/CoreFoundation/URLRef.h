#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFURLAccess.h>

namespace KXCore::CoreFoundation {

/// A URL: its text and, of a relative one, its base.
///
/// What copies a part reports a part that is not there as a failure, as every copying operation does;
/// canBeDecomposed(), getPortNumber() and getByteRangeForComponent() tell what there is.
class KX_EXPORT URLRef : public TypedRef<URLRef, CFURLRef> {
  public:
    static constexpr const char* typeName = "CFURLRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    // ---- Creating

    static URLRef createWithString(CFAllocatorRef allocator, CFStringRef string, CFURLRef baseURL);
    /// The encoding is that of the bytes and of the percent escapes among them.
    static URLRef createWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                  CFStringEncoding encoding, CFURLRef baseURL);
    static URLRef createAbsoluteURLWithBytes(CFAllocatorRef allocator, const UInt8* relativeURLBytes, CFIndex length,
                                             CFStringEncoding encoding, CFURLRef baseURL, Boolean useCompatibilityMode);
    /// Relative to the working directory unless the path is absolute.
    static URLRef createWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath, CFURLPathStyle pathStyle,
                                           Boolean isDirectory);
    static URLRef createWithFileSystemPathRelativeToBase(CFAllocatorRef allocator, CFStringRef filePath,
                                                         CFURLPathStyle pathStyle, Boolean isDirectory,
                                                         CFURLRef baseURL);
    /// Of a path as the system has it: any bytes but 0.
    static URLRef createFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex length,
                                                     Boolean isDirectory);
    static URLRef createFromFileSystemRepresentationRelativeToBase(CFAllocatorRef allocator, const UInt8* buffer,
                                                                   CFIndex length, Boolean isDirectory,
                                                                   CFURLRef baseURL);
    static URLRef createFromFSRef(CFAllocatorRef allocator, const FSRef* fsRef);
    /// The text in an encoding.
    static DataRef createData(CFAllocatorRef allocator, CFURLRef url, CFStringEncoding encoding,
                              Boolean escapeWhitespace);
    static URLRef createCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url, CFStringRef pathComponent,
                                                   Boolean isDirectory);
    static URLRef createCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
    static URLRef createCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url, CFStringRef extension);
    static URLRef createCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url);
    static URLRef createFileReferenceURL(CFAllocatorRef allocator, CFURLRef url, ErrorRef* error = nullptr);
    static URLRef createFilePathURL(CFAllocatorRef allocator, CFURLRef url, ErrorRef* error = nullptr);

    // ---- Percent escapes: null leaves all, an empty text none

    static StringRef createStringByReplacingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                           CFStringRef charactersToLeaveEscaped);
    static StringRef createStringByReplacingPercentEscapesUsingEncoding(CFAllocatorRef allocator,
                                                                        CFStringRef originalString,
                                                                        CFStringRef charactersToLeaveEscaped,
                                                                        CFStringEncoding encoding);
    static StringRef createStringByAddingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                        CFStringRef charactersToLeaveUnescaped,
                                                        CFStringRef legalURLCharactersToBeEscaped,
                                                        CFStringEncoding encoding);

    // ---- Parts

    /// The URL itself where it has no base.
    URLRef copyAbsoluteURL() const;
    StringRef getString() const;
    /// Empty where there is none.
    URLRef getBaseURL() const;
    Boolean canBeDecomposed() const;
    StringRef copyScheme() const;
    StringRef copyNetLocation() const;
    StringRef copyPath() const;
    /// Without the slash that begins it, which `isAbsolute` (may be null) tells of.
    StringRef copyStrictPath(Boolean* isAbsolute) const;
    StringRef copyFileSystemPath(CFURLPathStyle pathStyle) const;
    Boolean hasDirectoryPath() const;
    StringRef copyResourceSpecifier() const;
    StringRef copyHostName() const;
    /// -1 where there is none.
    SInt32 getPortNumber() const;
    StringRef copyUserName() const;
    StringRef copyPassword() const;
    StringRef copyParameterString(CFStringRef charactersToLeaveEscaped) const;
    StringRef copyQueryString(CFStringRef charactersToLeaveEscaped) const;
    StringRef copyFragment(CFStringRef charactersToLeaveEscaped) const;
    StringRef copyLastPathComponent() const;
    StringRef copyPathExtension() const;
    /// How many bytes the text has, for a null buffer; how many were written, -1 when there is no room for all.
    CFIndex getBytes(UInt8* buffer, CFIndex bufferLength) const;
    CFRange getByteRangeForComponent(CFURLComponentType component, CFRange* rangeIncludingSeparators) const;
    /// Writes the path of a file URL as the system takes it, with a 0 at its end.
    Boolean getFileSystemRepresentation(Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen) const;
    Boolean isFileReferenceURL() const;
    Boolean getFSRef(FSRef* fsRef) const;

    // ---- Properties of a file, which the URL remembers until they are cleared

    /// `value` is empty where the file has none.
    Boolean copyResourcePropertyForKey(CFStringRef key, TypeRef* value, ErrorRef* error = nullptr) const;
    template <Wrapper Ref>
    Boolean copyResourcePropertyForKey(CFStringRef key, Ref* value, ErrorRef* error = nullptr) const = delete;
    DictionaryRef copyResourcePropertiesForKeys(CFArrayRef keys, ErrorRef* error = nullptr) const;
    Boolean setResourcePropertyForKey(CFStringRef key, CFTypeRef propertyValue, ErrorRef* error = nullptr) const;
    Boolean setResourcePropertiesForKeys(CFDictionaryRef keyedPropertyValues, ErrorRef* error = nullptr) const;
    void clearResourcePropertyCacheForKey(CFStringRef key) const;
    void clearResourcePropertyCache() const;
    void setTemporaryResourcePropertyForKey(CFStringRef key, CFTypeRef propertyValue) const;
    Boolean resourceIsReachable(ErrorRef* error = nullptr) const;

    // ---- Bookmarks

    static DataRef createBookmarkData(CFAllocatorRef allocator, CFURLRef url, CFURLBookmarkCreationOptions options,
                                      CFArrayRef resourcePropertiesToInclude, CFURLRef relativeToURL,
                                      ErrorRef* error = nullptr);
    static URLRef createByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                                CFURLBookmarkResolutionOptions options, CFURLRef relativeToURL,
                                                CFArrayRef resourcePropertiesToInclude, Boolean* isStale,
                                                ErrorRef* error = nullptr);
    static DictionaryRef createResourcePropertiesForKeysFromBookmarkData(CFAllocatorRef allocator,
                                                                         CFArrayRef resourcePropertiesToReturn,
                                                                         CFDataRef bookmark);
    static TypeRef createResourcePropertyForKeyFromBookmarkData(CFAllocatorRef allocator,
                                                                CFStringRef resourcePropertyKey, CFDataRef bookmark);
    static DataRef createBookmarkDataFromFile(CFAllocatorRef allocator, CFURLRef fileURL, ErrorRef* error = nullptr);
    static Boolean writeBookmarkDataToFile(CFDataRef bookmark, CFURLRef fileURL,
                                           CFURLBookmarkFileCreationOptions options, ErrorRef* error = nullptr);
    static DataRef createBookmarkDataFromAliasRecord(CFAllocatorRef allocator, CFDataRef aliasRecordData);
    Boolean startAccessingSecurityScopedResource() const;
    void stopAccessingSecurityScopedResource() const;

    // ---- Whole files, with a code of CFURLError (CFURLAccess.h). These report by their result and the code alone.

    static Boolean createDataAndPropertiesFromResource(CFAllocatorRef allocator, CFURLRef url, DataRef* resourceData,
                                                       DictionaryRef* properties, CFArrayRef desiredProperties,
                                                       SInt32* errorCode);
    static TypeRef createPropertyFromResource(CFAllocatorRef allocator, CFURLRef url, CFStringRef property,
                                              SInt32* errorCode);
    Boolean writeDataAndPropertiesToResource(CFDataRef dataToWrite, CFDictionaryRef propertiesToWrite,
                                             SInt32* errorCode) const;
    Boolean destroyResource(SInt32* errorCode) const;
};
static_assert(isPlainRef<URLRef>);

}  // namespace KXCore::CoreFoundation
