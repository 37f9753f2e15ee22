#pragma once

#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFURLEnumerator.h>

namespace KXCore::CoreFoundation {

/// A walk over a directory or over the mounted volumes. One thread at a time.
class KX_EXPORT URLEnumeratorRef : public TypedRef<URLEnumeratorRef, CFURLEnumeratorRef> {
  public:
    static constexpr const char* typeName = "CFURLEnumeratorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// `propertyKeys` (may be null) are read as the URLs are made.
    static URLEnumeratorRef createForDirectoryURL(CFAllocatorRef allocator, CFURLRef directoryURL,
                                                  CFURLEnumeratorOptions option, CFArrayRef propertyKeys);
    static URLEnumeratorRef createForMountedVolumes(CFAllocatorRef allocator, CFURLEnumeratorOptions option,
                                                    CFArrayRef propertyKeys);

    /// `url` is borrowed until the next call. After an error the walk goes on with what follows.
    CFURLEnumeratorResult getNextURL(CFURLRef* url, ErrorRef* error = nullptr) const;
    /// Does not enter the directory that was given last.
    void skipDescendents() const;
    /// 1 in the directory itself.
    CFIndex getDescendentLevel() const;
    Boolean getSourceDidChange() const;
};
static_assert(isPlainRef<URLEnumeratorRef>);

}  // namespace KXCore::CoreFoundation
