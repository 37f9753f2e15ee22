#include <KXCoreLib/CoreFoundation/URLRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID URLRef::getTypeID() { return CFURLGetTypeID(); }

URLRef URLRef::createWithString(CFAllocatorRef allocator, CFStringRef string, CFURLRef baseURL) {
    return KX_CREATE(URLRef, CFURLCreateWithString)(allocator, string, baseURL);
}

URLRef URLRef::createWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length, CFStringEncoding encoding,
                               CFURLRef baseURL) {
    return KX_CREATE(URLRef, CFURLCreateWithBytes)(allocator, bytes, length, encoding, baseURL);
}

URLRef URLRef::createAbsoluteURLWithBytes(CFAllocatorRef allocator, const UInt8* relativeURLBytes, CFIndex length,
                                          CFStringEncoding encoding, CFURLRef baseURL, Boolean useCompatibilityMode) {
    return KX_CREATE(URLRef, CFURLCreateAbsoluteURLWithBytes)(allocator, relativeURLBytes, length, encoding, baseURL,
                                                              useCompatibilityMode);
}

URLRef URLRef::createWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath, CFURLPathStyle pathStyle,
                                        Boolean isDirectory) {
    return KX_CREATE(URLRef, CFURLCreateWithFileSystemPath)(allocator, filePath, pathStyle, isDirectory);
}

URLRef URLRef::createWithFileSystemPathRelativeToBase(CFAllocatorRef allocator, CFStringRef filePath,
                                                      CFURLPathStyle pathStyle, Boolean isDirectory, CFURLRef baseURL) {
    return KX_CREATE(URLRef, CFURLCreateWithFileSystemPathRelativeToBase)(allocator, filePath, pathStyle, isDirectory,
                                                                          baseURL);
}

URLRef URLRef::createFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex length,
                                                  Boolean isDirectory) {
    return KX_CREATE(URLRef, CFURLCreateFromFileSystemRepresentation)(allocator, buffer, length, isDirectory);
}

URLRef URLRef::createFromFileSystemRepresentationRelativeToBase(CFAllocatorRef allocator, const UInt8* buffer,
                                                                CFIndex length, Boolean isDirectory, CFURLRef baseURL) {
    return KX_CREATE(URLRef, CFURLCreateFromFileSystemRepresentationRelativeToBase)(allocator, buffer, length,
                                                                                    isDirectory, baseURL);
}

URLRef URLRef::createFromFSRef(CFAllocatorRef allocator, const FSRef* fsRef) {
    return KX_CREATE(URLRef, CFURLCreateFromFSRef)(allocator, fsRef);
}

DataRef URLRef::createData(CFAllocatorRef allocator, CFURLRef url, CFStringEncoding encoding,
                           Boolean escapeWhitespace) {
    return KX_CREATE(DataRef, CFURLCreateData)(allocator, url, encoding, escapeWhitespace);
}

URLRef URLRef::createCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url, CFStringRef pathComponent,
                                                Boolean isDirectory) {
    return KX_CREATE(URLRef, CFURLCreateCopyAppendingPathComponent)(allocator, url, pathComponent, isDirectory);
}

URLRef URLRef::createCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url) {
    return KX_CREATE(URLRef, CFURLCreateCopyDeletingLastPathComponent)(allocator, url);
}

URLRef URLRef::createCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url, CFStringRef extension) {
    return KX_CREATE(URLRef, CFURLCreateCopyAppendingPathExtension)(allocator, url, extension);
}

URLRef URLRef::createCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url) {
    return KX_CREATE(URLRef, CFURLCreateCopyDeletingPathExtension)(allocator, url);
}

URLRef URLRef::createFileReferenceURL(CFAllocatorRef allocator, CFURLRef url, ErrorRef* error) {
    return KX_TRY_CREATE(URLRef, CFURLCreateFileReferenceURL, error)(allocator, url);
}

URLRef URLRef::createFilePathURL(CFAllocatorRef allocator, CFURLRef url, ErrorRef* error) {
    return KX_TRY_CREATE(URLRef, CFURLCreateFilePathURL, error)(allocator, url);
}

StringRef URLRef::createStringByReplacingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                        CFStringRef charactersToLeaveEscaped) {
    return KX_CREATE(StringRef, CFURLCreateStringByReplacingPercentEscapes)(allocator, originalString,
                                                                            charactersToLeaveEscaped);
}

StringRef URLRef::createStringByReplacingPercentEscapesUsingEncoding(CFAllocatorRef allocator,
                                                                     CFStringRef originalString,
                                                                     CFStringRef charactersToLeaveEscaped,
                                                                     CFStringEncoding encoding) {
    return KX_CREATE(StringRef, CFURLCreateStringByReplacingPercentEscapesUsingEncoding)(
        allocator, originalString, charactersToLeaveEscaped, encoding);
}

StringRef URLRef::createStringByAddingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                     CFStringRef charactersToLeaveUnescaped,
                                                     CFStringRef legalURLCharactersToBeEscaped,
                                                     CFStringEncoding encoding) {
    return KX_CREATE(StringRef, CFURLCreateStringByAddingPercentEscapes)(
        allocator, originalString, charactersToLeaveUnescaped, legalURLCharactersToBeEscaped, encoding);
}

URLRef URLRef::copyAbsoluteURL() const { return KX_CREATE(URLRef, CFURLCopyAbsoluteURL)(get()); }

StringRef URLRef::getString() const { return StringRef::retain(CFURLGetString(get())); }

URLRef URLRef::getBaseURL() const { return retain(CFURLGetBaseURL(get())); }

Boolean URLRef::canBeDecomposed() const { return CFURLCanBeDecomposed(get()); }

StringRef URLRef::copyScheme() const { return KX_CREATE(StringRef, CFURLCopyScheme)(get()); }

StringRef URLRef::copyNetLocation() const { return KX_CREATE(StringRef, CFURLCopyNetLocation)(get()); }

StringRef URLRef::copyPath() const { return KX_CREATE(StringRef, CFURLCopyPath)(get()); }

StringRef URLRef::copyStrictPath(Boolean* isAbsolute) const {
    return KX_CREATE(StringRef, CFURLCopyStrictPath)(get(), isAbsolute);
}

StringRef URLRef::copyFileSystemPath(CFURLPathStyle pathStyle) const {
    return KX_CREATE(StringRef, CFURLCopyFileSystemPath)(get(), pathStyle);
}

Boolean URLRef::hasDirectoryPath() const { return CFURLHasDirectoryPath(get()); }

StringRef URLRef::copyResourceSpecifier() const { return KX_CREATE(StringRef, CFURLCopyResourceSpecifier)(get()); }

StringRef URLRef::copyHostName() const { return KX_CREATE(StringRef, CFURLCopyHostName)(get()); }

SInt32 URLRef::getPortNumber() const { return CFURLGetPortNumber(get()); }

StringRef URLRef::copyUserName() const { return KX_CREATE(StringRef, CFURLCopyUserName)(get()); }

StringRef URLRef::copyPassword() const { return KX_CREATE(StringRef, CFURLCopyPassword)(get()); }

StringRef URLRef::copyParameterString(CFStringRef charactersToLeaveEscaped) const {
    return KX_CREATE(StringRef, CFURLCopyParameterString)(get(), charactersToLeaveEscaped);
}

StringRef URLRef::copyQueryString(CFStringRef charactersToLeaveEscaped) const {
    return KX_CREATE(StringRef, CFURLCopyQueryString)(get(), charactersToLeaveEscaped);
}

StringRef URLRef::copyFragment(CFStringRef charactersToLeaveEscaped) const {
    return KX_CREATE(StringRef, CFURLCopyFragment)(get(), charactersToLeaveEscaped);
}

StringRef URLRef::copyLastPathComponent() const { return KX_CREATE(StringRef, CFURLCopyLastPathComponent)(get()); }

StringRef URLRef::copyPathExtension() const { return KX_CREATE(StringRef, CFURLCopyPathExtension)(get()); }

CFIndex URLRef::getBytes(UInt8* buffer, CFIndex bufferLength) const {
    return CFURLGetBytes(get(), buffer, bufferLength);
}

CFRange URLRef::getByteRangeForComponent(CFURLComponentType component, CFRange* rangeIncludingSeparators) const {
    return CFURLGetByteRangeForComponent(get(), component, rangeIncludingSeparators);
}

Boolean URLRef::getFileSystemRepresentation(Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen) const {
    return CFURLGetFileSystemRepresentation(get(), resolveAgainstBase, buffer, maxBufLen);
}

Boolean URLRef::isFileReferenceURL() const { return CFURLIsFileReferenceURL(get()); }

Boolean URLRef::getFSRef(FSRef* fsRef) const { return CFURLGetFSRef(get(), fsRef); }

Boolean URLRef::copyResourcePropertyForKey(CFStringRef key, TypeRef* value, ErrorRef* error) const {
    return KX_TRY(CFURLCopyResourcePropertyForKey, isNotZero, error)(get(), key, Filled(value));
}

DictionaryRef URLRef::copyResourcePropertiesForKeys(CFArrayRef keys, ErrorRef* error) const {
    return KX_TRY_CREATE(DictionaryRef, CFURLCopyResourcePropertiesForKeys, error)(get(), keys);
}

Boolean URLRef::setResourcePropertyForKey(CFStringRef key, CFTypeRef propertyValue, ErrorRef* error) const {
    return KX_TRY(CFURLSetResourcePropertyForKey, isNotZero, error)(get(), key, propertyValue);
}

Boolean URLRef::setResourcePropertiesForKeys(CFDictionaryRef keyedPropertyValues, ErrorRef* error) const {
    return KX_TRY(CFURLSetResourcePropertiesForKeys, isNotZero, error)(get(), keyedPropertyValues);
}

void URLRef::clearResourcePropertyCacheForKey(CFStringRef key) const {
    CFURLClearResourcePropertyCacheForKey(get(), key);
}

void URLRef::clearResourcePropertyCache() const { CFURLClearResourcePropertyCache(get()); }

void URLRef::setTemporaryResourcePropertyForKey(CFStringRef key, CFTypeRef propertyValue) const {
    CFURLSetTemporaryResourcePropertyForKey(get(), key, propertyValue);
}

Boolean URLRef::resourceIsReachable(ErrorRef* error) const {
    return KX_TRY(CFURLResourceIsReachable, isNotZero, error)(get());
}

DataRef URLRef::createBookmarkData(CFAllocatorRef allocator, CFURLRef url, CFURLBookmarkCreationOptions options,
                                   CFArrayRef resourcePropertiesToInclude, CFURLRef relativeToURL, ErrorRef* error) {
    return KX_TRY_CREATE(DataRef, CFURLCreateBookmarkData, error)(allocator, url, options, resourcePropertiesToInclude,
                                                                  relativeToURL);
}

URLRef URLRef::createByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                             CFURLBookmarkResolutionOptions options, CFURLRef relativeToURL,
                                             CFArrayRef resourcePropertiesToInclude, Boolean* isStale,
                                             ErrorRef* error) {
    return KX_TRY_CREATE(URLRef, CFURLCreateByResolvingBookmarkData, error)(allocator, bookmark, options, relativeToURL,
                                                                            resourcePropertiesToInclude, isStale);
}

DictionaryRef URLRef::createResourcePropertiesForKeysFromBookmarkData(CFAllocatorRef allocator,
                                                                      CFArrayRef resourcePropertiesToReturn,
                                                                      CFDataRef bookmark) {
    return KX_CREATE(DictionaryRef, CFURLCreateResourcePropertiesForKeysFromBookmarkData)(
        allocator, resourcePropertiesToReturn, bookmark);
}

TypeRef URLRef::createResourcePropertyForKeyFromBookmarkData(CFAllocatorRef allocator, CFStringRef resourcePropertyKey,
                                                             CFDataRef bookmark) {
    return KX_CREATE(TypeRef, CFURLCreateResourcePropertyForKeyFromBookmarkData)(allocator, resourcePropertyKey,
                                                                                 bookmark);
}

DataRef URLRef::createBookmarkDataFromFile(CFAllocatorRef allocator, CFURLRef fileURL, ErrorRef* error) {
    return KX_TRY_CREATE(DataRef, CFURLCreateBookmarkDataFromFile, error)(allocator, fileURL);
}

Boolean URLRef::writeBookmarkDataToFile(CFDataRef bookmark, CFURLRef fileURL, CFURLBookmarkFileCreationOptions options,
                                        ErrorRef* error) {
    return KX_TRY(CFURLWriteBookmarkDataToFile, isNotZero, error)(bookmark, fileURL, options);
}

DataRef URLRef::createBookmarkDataFromAliasRecord(CFAllocatorRef allocator, CFDataRef aliasRecordData) {
    return KX_CREATE(DataRef, CFURLCreateBookmarkDataFromAliasRecord)(allocator, aliasRecordData);
}

Boolean URLRef::startAccessingSecurityScopedResource() const {
    return CFURLStartAccessingSecurityScopedResource(get());
}

void URLRef::stopAccessingSecurityScopedResource() const { CFURLStopAccessingSecurityScopedResource(get()); }

Boolean URLRef::createDataAndPropertiesFromResource(CFAllocatorRef allocator, CFURLRef url, DataRef* resourceData,
                                                    DictionaryRef* properties, CFArrayRef desiredProperties,
                                                    SInt32* errorCode) {
    return CFURLCreateDataAndPropertiesFromResource(allocator, url, Filled(resourceData), Filled(properties),
                                                    desiredProperties, errorCode);
}

TypeRef URLRef::createPropertyFromResource(CFAllocatorRef allocator, CFURLRef url, CFStringRef property,
                                           SInt32* errorCode) {
    return KX_CREATE(TypeRef, CFURLCreatePropertyFromResource)(allocator, url, property, errorCode);
}

Boolean URLRef::writeDataAndPropertiesToResource(CFDataRef dataToWrite, CFDictionaryRef propertiesToWrite,
                                                 SInt32* errorCode) const {
    return CFURLWriteDataAndPropertiesToResource(get(), dataToWrite, propertiesToWrite, errorCode);
}

Boolean URLRef::destroyResource(SInt32* errorCode) const { return CFURLDestroyResource(get(), errorCode); }

}  // namespace KXCore::CoreFoundation
