// A walk holds a list of the folders it is in, each read as the walk comes to it. A tree can be deeper than a process
// may have files open: only the deepest folders stay open, and one that was closed is read on from the names that it
// had left, which were taken down when it was closed.

#include "CFURLObject.h"
#include "FileFacts.h"
#include "URLErrors.h"

#include "Support/Folder.h"

#include <CoreFoundation/CFURLEnumerator.h>

#include <cerrno>
#include <list>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

using namespace KXPlatform;

namespace {

void finalizeEnumerator(Object* object) noexcept;

constexpr Class kEnumeratorClass{TypeID::URLEnumerator, finalizeEnumerator, nullptr, nullptr, nullptr};

constexpr std::size_t kOpenFolders = 16;

/// A folder that the walk is in.
struct Level {
    std::string path;  ///< "" of the root
    std::string text;  ///< of its URL, with a slash at the end
    Folder folder;
    std::vector<std::string> left;  ///< names yet to come, of a folder that was closed
    bool isClosed = false;
};

struct Item {
    std::string name;
    bool isKnown = false;  ///< `isDirectory` is
    bool isDirectory = false;
};

}  // namespace

struct __CFURLEnumerator : Object {
    __CFURLEnumerator(CFURLEnumeratorOptions o, CFArrayRef k) noexcept
        : Object(kEnumeratorClass), options(o), keys(k) {}
    ~__CFURLEnumerator() { release(keys); }

    bool has(CFOptionFlags option) const noexcept { return (options & option) != 0; }

    const CFURLEnumeratorOptions options;
    const CFArrayRef keys;  ///< retained; null for none
    bool isOfVolumes = false;
    bool hasBegun = false;
    std::string path;  ///< where the walk begins
    std::string text;  ///< of its URL; empty where the URLs are relative
    URL base;
    std::list<Level> levels;
    std::vector<std::string> volumes;  ///< yet to come, the next one last
    URL entered;                       ///< the folder given last, to be entered at the next call
    std::string enteredPath;
    std::vector<URL> afterwards;  ///< of each level but the first: the folder to be given when it ends
    URL current;                  ///< what was given last
    CFIndex depth = 0;
};

namespace {

using Enumerator = __CFURLEnumerator;

void finalizeEnumerator(Object* object) noexcept { finalizeAs<Enumerator>(object); }

Enumerator* checked(CFURLEnumeratorRef enumerator) noexcept {
    return enumerator && enumerator->cls == &kEnumeratorClass ? const_cast<Enumerator*>(enumerator) : nullptr;
}

/// Reads the properties that were asked for, which the URL then remembers.
void prefetch(const Enumerator& walk, CFURLRef url) noexcept {
    if (!walk.keys) return;
    const auto read =
        Retained<const __CFDictionary>::adopting(CFURLCopyResourcePropertiesForKeys(url, walk.keys, nullptr));
}

CFURLEnumeratorResult give(Enumerator& walk, URL url, CFURLRef* place, CFURLEnumeratorResult result) noexcept {
    walk.current = std::move(url);
    if (place) *place = walk.current.get();
    return result;
}

CFURLEnumeratorResult fail(CFErrorRef* error, int cause, const std::string& path) noexcept {
    const auto url = URL::adopting(createFileURL(nullptr, path.empty() ? "/" : std::string_view(path), false, nullptr));
    reportFileError(error, readErrorOf(cause), url.get(), cause);
    return kCFURLEnumeratorError;
}

/// Goes into a folder. 0 or an errno.
int enter(Enumerator& walk, std::string path, std::string text) {
    if (walk.levels.size() >= kOpenFolders) {
        // The one that has been open the longest is read to its end and closed.
        auto oldest = walk.levels.begin();
        std::advance(oldest, static_cast<std::ptrdiff_t>(walk.levels.size() - kOpenFolders));
        if (!oldest->isClosed) {
            while (const dirent* const entry = nextEntry(oldest->folder)) oldest->left.emplace_back(entry->d_name);
            oldest->folder.reset();
            oldest->isClosed = true;
        }
    }
    // What became a link since it was looked at is not followed; the folder that the caller named may be one.
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (walk.levels.empty() ? 0 : O_NOFOLLOW);
    const int descriptor = ::open(path.empty() ? "/" : path.c_str(), flags);
    if (descriptor < 0) return errno;
    Folder folder(::fdopendir(descriptor));
    if (!folder) {
        const int cause = errno;
        ::close(descriptor);
        return cause;
    }
    Level& level = walk.levels.emplace_back();
    level.path = std::move(path);
    level.text = std::move(text);
    level.folder = std::move(folder);
    return 0;
}

/// The next name in a folder; false behind the last one. `cause` is an errno when reading failed.
bool takeNext(Level& level, Item& item, int& cause) {
    cause = 0;
    item = Item();
    if (level.isClosed) {
        if (level.left.empty()) return false;
        item.name = std::move(level.left.back());
        level.left.pop_back();
        return true;
    }
    errno = 0;
    const dirent* const entry = nextEntry(level.folder);
    if (!entry) {
        cause = errno;
        return false;
    }
    item.name = entry->d_name;
    item.isKnown = entry->d_type != DT_UNKNOWN;
    item.isDirectory = entry->d_type == DT_DIR;
    return true;
}

/// Whether the walk goes into a directory.
bool descendsInto(const Enumerator& walk, const std::string& path) {
    if (!walk.has(kCFURLEnumeratorDescendRecursively)) return false;
    return !walk.has(kCFURLEnumeratorSkipPackageContents) || !FileFacts(path).isPackage();
}

CFURLEnumeratorResult nextVolume(Enumerator& walk, CFURLRef* url) {
    if (walk.volumes.empty()) return give(walk, URL(), url, kCFURLEnumeratorEnd);
    auto made = URL::adopting(createFileURL(nullptr, walk.volumes.back(), true, nullptr));
    if (!made) throw std::bad_alloc();
    walk.volumes.pop_back();
    walk.depth = 1;
    prefetch(walk, made.get());
    return give(walk, std::move(made), url, kCFURLEnumeratorSuccess);
}

/// Ends the deepest folder. Whether it is to be given now, as the order after its contents wants.
bool leave(Enumerator& walk, URL& folder) noexcept {
    walk.levels.pop_back();
    if (walk.levels.empty()) return false;
    folder = std::move(walk.afterwards.back());
    walk.afterwards.pop_back();
    return static_cast<bool>(folder);
}

CFURLEnumeratorResult nextItem(Enumerator& walk, CFURLRef* url, CFErrorRef* error) {
    if (!walk.hasBegun) {
        walk.hasBegun = true;
        if (const int cause = enter(walk, walk.path, walk.text)) return fail(error, cause, walk.path);
    }
    if (const URL folder = std::exchange(walk.entered, URL())) {
        const std::string path = std::exchange(walk.enteredPath, std::string());
        const bool isGivenAfter = walk.has(kCFURLEnumeratorIncludeDirectoriesPostOrder);
        walk.afterwards.reserve(walk.afterwards.size() + 1);
        if (const int cause = enter(walk, path, std::string(folder->text()))) return fail(error, cause, path);
        walk.afterwards.push_back(isGivenAfter ? folder : URL());
    }
    while (!walk.levels.empty()) {
        Level& level = walk.levels.back();
        Item item;
        int cause = 0;
        if (!takeNext(level, item, cause)) {
            const std::string path = level.path;
            URL folder;
            const bool isGiven = leave(walk, folder);
            walk.depth = static_cast<CFIndex>(walk.levels.size());
            if (cause != 0) return fail(error, cause, path);
            if (isGiven) return give(walk, std::move(folder), url, kCFURLEnumeratorDirectoryPostOrderSuccess);
            continue;
        }
        if (walk.has(kCFURLEnumeratorSkipInvisibles) && item.name[0] == '.') continue;
        std::string path = level.path + '/' + item.name;
        if (!item.isKnown) {
            struct stat status;
            if (::lstat(path.c_str(), &status) != 0) {
                if (errno == ENOENT) continue;  // it has gone meanwhile
                return fail(error, errno, path);
            }
            item.isDirectory = S_ISDIR(status.st_mode);
        }
        std::string text = level.text;
        // Of a relative URL, "a:b" would begin with a scheme.
        if (text.empty() && item.name.find(':') != std::string::npos) text = "./";
        appendEscaped(text, item.name, InFilePath);
        if (item.isDirectory) text += '/';
        auto made = URL::adopting(createURL(nullptr, text, kCFStringEncodingUTF8, walk.base.get()));
        if (!made) throw std::bad_alloc();
        walk.depth = static_cast<CFIndex>(walk.levels.size());
        prefetch(walk, made.get());
        if (item.isDirectory && descendsInto(walk, path)) {
            walk.entered = made;
            walk.enteredPath = std::move(path);
            // Given before its contents unless only the order after them is wanted.
            if (walk.has(kCFURLEnumeratorIncludeDirectoriesPostOrder) &&
                !walk.has(kCFURLEnumeratorIncludeDirectoriesPreOrder))
                return nextItem(walk, url, error);
        }
        return give(walk, std::move(made), url, kCFURLEnumeratorSuccess);
    }
    walk.depth = 0;
    return give(walk, URL(), url, kCFURLEnumeratorEnd);
}

Retained<Enumerator> makeEnumerator(CFAllocatorRef allocator, CFURLEnumeratorOptions options,
                                    CFArrayRef keys) noexcept {
    if (keys && !isOfType(keys, TypeID::Array)) return {};
    auto made = Retained<Enumerator>::adopting(make<Enumerator>(allocator, 0, options, keys));
    if (made && keys) CFRetain(keys);
    return made;
}

}  // namespace

CFTypeID CFURLEnumeratorGetTypeID() { return number(TypeID::URLEnumerator); }

CFURLEnumeratorRef CFURLEnumeratorCreateForDirectoryURL(CFAllocatorRef alloc, CFURLRef directoryURL,
                                                        CFURLEnumeratorOptions option, CFArrayRef propertyKeys) try {
    std::string path;
    if (!KXPlatform::checked(directoryURL) || !filePath(directoryURL, path)) return nullptr;
    auto made = makeEnumerator(alloc, option, propertyKeys);
    if (!made) return nullptr;
    const auto folder = URL::adopting(createFileURL(nullptr, path, true, nullptr));
    if (!folder) return nullptr;
    if (made->has(kCFURLEnumeratorGenerateRelativePathURLs))
        made->base = folder;
    else
        made->text = folder->text();
    made->path = path == "/" ? "" : path;
    return made.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLEnumeratorRef CFURLEnumeratorCreateForMountedVolumes(CFAllocatorRef alloc, CFURLEnumeratorOptions option,
                                                          CFArrayRef propertyKeys) try {
    auto made = makeEnumerator(alloc, option, propertyKeys);
    if (!made) return nullptr;
    std::vector<Mount> mounts;
    readMountTable(mounts);
    made->isOfVolumes = true;
    for (std::size_t i = mounts.size(); i-- > 0;)
        if (!made->has(kCFURLEnumeratorSkipInvisibles) || mounts[i].isBrowsable())
            made->volumes.push_back(mounts[i].point);
    return made.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLEnumeratorResult CFURLEnumeratorGetNextURL(CFURLEnumeratorRef enumerator, CFURLRef* url, CFErrorRef* error) try {
    if (url) *url = nullptr;
    if (error) *error = nullptr;
    Enumerator* const walk = checked(enumerator);
    if (!walk) return kCFURLEnumeratorEnd;
    return walk->isOfVolumes ? nextVolume(*walk, url) : nextItem(*walk, url, error);
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, nullptr, ENOMEM);
    return kCFURLEnumeratorError;
}

void CFURLEnumeratorSkipDescendents(CFURLEnumeratorRef enumerator) {
    Enumerator* const walk = checked(enumerator);
    if (!walk || !walk->entered) return;
    walk->entered = URL();
    walk->enteredPath.clear();
}

CFIndex CFURLEnumeratorGetDescendentLevel(CFURLEnumeratorRef enumerator) {
    const Enumerator* const walk = checked(enumerator);
    return walk ? walk->depth : 0;
}

Boolean CFURLEnumeratorGetSourceDidChange(CFURLEnumeratorRef) { return false; }
