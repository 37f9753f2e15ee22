// File URLs and paths, and URLs made from others by a change of the path.

#include "CFURLObject.h"
#include "URLPaths.h"

#include "CoreFoundation/String/CFStringEncoding.h"

#include <climits>
#include <cstring>
#include <new>
#include <string>

#include <unistd.h>

using namespace KXPlatform;

namespace {

/// The text of a relative URL must not begin with what reads as a scheme.
void guardColon(std::string& text) {
    const std::string_view first = std::string_view(text).substr(0, text.find('/'));
    if (first.find(':') != std::string_view::npos) text.insert(0, "./");
}

CFURLRef createWorkingDirectory(CFAllocatorRef allocator) {
    char path[PATH_MAX];
    return ::getcwd(path, sizeof path) ? createFileURL(allocator, path, true, nullptr) : nullptr;
}

/// Without the slashes at its end, unless it is the root.
std::string_view withoutSlash(std::string_view path) noexcept {
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    return path;
}

bool isDirectoryPath(std::string_view path) noexcept {
    const std::string_view last = path.substr(path.rfind('/') + 1);
    return path.ends_with('/') || last == "." || last == "..";
}

/// The last component with its escapes, and where it begins.
std::string_view lastComponent(std::string_view path) noexcept {
    path = withoutSlash(path);
    return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

/// Where the dot of an extension stands in a name; npos when it has none. A dot that begins a name hides a file.
std::size_t dotOf(std::string_view name) noexcept {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 || dot + 1 == name.size() || name == ".." ? std::string_view::npos
                                                                                               : dot;
}

CFURLRef decomposed(CFURLRef url) noexcept { return checked(url) && !url->parts.isOpaque ? url : nullptr; }

CFURLRef createWithPath(CFAllocatorRef allocator, CFURLRef url, std::string path) {
    if (!url->parts.scheme && !url->parts.authority) guardColon(path);
    std::string text(url->text().substr(0, url->parts.path.begin));
    text += path;
    text += url->text().substr(url->parts.path.end);
    return createURL(allocator, text, url->encoding, url->base);
}

/// The components of a path in `style`, as a part of a URL's text; false when the string is no path.
bool pathBytes(CFStringRef string, CFURLPathStyle style, std::string& path) {
    std::string bytes;
    return isOfType(string, TypeID::String) && encodedBytes(string, kCFStringEncodingUTF8, bytes) &&
           pathFromStyle(bytes, style, path) && path.find('\0') == std::string::npos;
}

/// The URL of a path that begins with a slash, whose parts are known.
CFURLRef createAbsoluteFileURL(CFAllocatorRef allocator, std::string_view path, bool isDirectory) noexcept {
    constexpr std::string_view kStart = "file://";
    const bool addsSlash = isDirectory && !path.ends_with('/');
    const std::size_t size = kStart.size() + sizeEscaped(path, InFilePath) + addsSlash;
    if (size >= URLPart::kAbsent) return nullptr;
    __CFString* string = nullptr;
    char* const text = makeASCII(allocator, size, string);
    if (!text) return nullptr;
    std::memcpy(text, kStart.data(), kStart.size());
    char* const end = writeEscaped(text + kStart.size(), path, InFilePath);
    if (addsSlash) *end = '/';
    URLParts parts;
    constexpr auto kPath = static_cast<std::uint32_t>(kStart.size());
    parts.scheme = {0, 4};
    parts.authority = parts.host = {kPath, kPath};
    parts.path = {kPath, static_cast<std::uint32_t>(size)};
    return createURLOwning(allocator, string, parts, kCFStringEncodingUTF8, nullptr);
}

/// Whether the parts are those of a file's URL that names no other computer.
bool isOfThisComputer(std::string_view text, const URLParts& parts) noexcept {
    const std::string_view host = parts.host.of(text);
    return !parts.isOpaque && equalsIgnoringCase(parts.scheme.of(text), "file") &&
           (host.empty() || equalsIgnoringCase(host, "localhost"));
}

CFURLRef createWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath, CFURLPathStyle style,
                                  bool isDirectory, CFURLRef base) noexcept try {
    std::string path;
    if ((base && !checked(base)) || !pathBytes(filePath, style, path)) return nullptr;
    return createFileURL(allocator, path, isDirectory, base);
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLRef createFromRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex length, bool isDirectory,
                                  CFURLRef base) noexcept {
    if (length < 0 || (!buffer && length > 0) || (base && !checked(base))) return nullptr;
    const std::string_view path(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length));
    return path.find('\0') == std::string_view::npos ? createFileURL(allocator, path, isDirectory, base) : nullptr;
}

}  // namespace

namespace KXPlatform {

CFURLRef createFileURL(CFAllocatorRef allocator, std::string_view path, bool isDirectory, CFURLRef base) noexcept try {
    if (path.starts_with('/')) return createAbsoluteFileURL(allocator, path, isDirectory);
    std::string text;
    appendEscaped(text, path, InFilePath);
    if (path.empty()) text += "./";
    if (isDirectory && !text.ends_with('/')) text += '/';
    guardColon(text);
    if (base) return createURL(allocator, text, kCFStringEncodingUTF8, base);
    const auto here = URL::adopting(createWorkingDirectory(allocator));
    return here ? createURL(allocator, text, kCFStringEncodingUTF8, here.get()) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

bool filePath(CFURLRef url, std::string& path) {
    std::string whole;
    std::optional<URLParts> parts = url->parts;
    if (url->base) {
        whole = absoluteText(url);
        parts = parseURL(whole);
    }
    const std::string_view text = url->base ? std::string_view(whole) : url->text();
    if (!parts || !isOfThisComputer(text, *parts)) return false;
    path = unescaped(parts->path.of(text));
    path.resize(withoutSlash(path).size());
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

}  // namespace KXPlatform

// ---- Between URLs and paths

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
    return createWithFileSystemPath(allocator, filePath, pathStyle, isDirectory, nullptr);
}

CFURLRef CFURLCreateWithFileSystemPathRelativeToBase(CFAllocatorRef allocator, CFStringRef filePath,
                                                     CFURLPathStyle pathStyle, Boolean isDirectory, CFURLRef baseURL) {
    return createWithFileSystemPath(allocator, filePath, pathStyle, isDirectory, baseURL);
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory) {
    return createFromRepresentation(allocator, buffer, bufLen, isDirectory, nullptr);
}

CFURLRef CFURLCreateFromFileSystemRepresentationRelativeToBase(CFAllocatorRef allocator, const UInt8* buffer,
                                                               CFIndex bufLen, Boolean isDirectory, CFURLRef baseURL) {
    return createFromRepresentation(allocator, buffer, bufLen, isDirectory, baseURL);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen) try {
    if (!decomposed(url) || !buffer || maxBufLen <= 0) return false;
    if (!url->base) {
        // Written where it is wanted at once, if there is room for all that it may be.
        const std::string_view escaped = url->part(url->parts.path);
        if (!isOfThisComputer(url->text(), url->parts) || !escaped.starts_with('/')) return false;
        if (static_cast<CFIndex>(escaped.size()) < maxBufLen) {
            char* const out = reinterpret_cast<char*>(buffer);
            const std::string_view whole(out, static_cast<std::size_t>(writeUnescaped(out, escaped) - out));
            const std::string_view path = withoutSlash(whole);
            out[path.size()] = 0;
            return path.find('\0') == std::string_view::npos;
        }
    }
    std::string path;
    if (resolveAgainstBase || !url->base) {
        if (!filePath(url, path)) return false;
    } else {
        if (!equalsIgnoringCase(schemeOf(url), "file") || url->parts.authority) return false;
        path = unescaped(url->part(url->parts.path));
        path.resize(withoutSlash(path).size());
        if (path.find('\0') != std::string::npos) return false;
    }
    if (static_cast<CFIndex>(path.size()) >= maxBufLen) return false;
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) try {
    if (!decomposed(anURL)) return nullptr;
    const std::string bytes = unescaped(withoutSlash(anURL->part(anURL->parts.path)));
    std::string path;
    if (!pathInStyle(bytes, pathStyle, path)) return nullptr;
    return CFStringCreateWithBytes(CFGetAllocator(anURL), reinterpret_cast<const UInt8*>(path.data()),
                                   static_cast<CFIndex>(path.size()), anURL->encoding, false);
} catch (const std::bad_alloc&) {
    return nullptr;
}

// ---- The path

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
    if (!decomposed(anURL)) return false;
    const std::string_view path = anURL->part(anURL->parts.path);
    // A reference to the base itself, or a part of it.
    if (path.empty() && !anURL->parts.authority && anURL->base)
        return isDirectoryPath(anURL->base->part(anURL->base->parts.path));
    return isDirectoryPath(path);
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
    if (!decomposed(url)) return nullptr;
    return createUnescaped(nullptr, lastComponent(url->part(url->parts.path)), url->encoding);
}

CFStringRef CFURLCopyPathExtension(CFURLRef url) {
    if (!decomposed(url)) return nullptr;
    const std::string_view name = lastComponent(url->part(url->parts.path));
    const std::size_t dot = dotOf(name);
    return dot == std::string_view::npos ? nullptr : createUnescaped(nullptr, name.substr(dot + 1), url->encoding);
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url, CFStringRef pathComponent,
                                               Boolean isDirectory) try {
    std::string bytes;
    if (!decomposed(url) || !isOfType(pathComponent, TypeID::String) ||
        !encodedBytes(pathComponent, url->encoding, bytes))
        return nullptr;
    std::string path(url->part(url->parts.path));
    if (!path.ends_with('/') && (!path.empty() || url->parts.authority)) path += '/';
    // One slash stands between the two, whoever brings it.
    std::string_view component = bytes;
    while (path.ends_with('/') && component.starts_with('/')) component.remove_prefix(1);
    appendEscaped(path, component, InFilePath);
    if (isDirectory && !path.ends_with('/')) path += '/';
    return createWithPath(allocator, url, std::move(path));
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url) try {
    if (!decomposed(url)) return nullptr;
    std::string path(url->part(url->parts.path));
    const std::string_view last = lastComponent(path);
    if (path.empty() || last == "/") return createURL(allocator, url->text(), url->encoding, url->base);
    path.resize(withoutSlash(path).size());
    if (last == "..") {
        path += "/../";
    } else if (last == ".") {
        path += "./";  // ".." with its slash
    } else {
        path.resize(path.rfind('/') + 1);
        if (path.empty()) path = "./";
    }
    return createWithPath(allocator, url, std::move(path));
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url, CFStringRef extension) try {
    std::string bytes;
    if (!decomposed(url) || !isOfType(extension, TypeID::String) || !encodedBytes(extension, url->encoding, bytes))
        return nullptr;
    std::string path(url->part(url->parts.path));
    const std::string_view last = lastComponent(path);
    if (bytes.empty() || bytes.find('/') != std::string::npos || last.empty() || last == "/") return nullptr;
    const bool isDirectory = path.ends_with('/');
    path.resize(withoutSlash(path).size());
    path += '.';
    appendEscaped(path, bytes, InFilePath);
    if (isDirectory) path += '/';
    return createWithPath(allocator, url, std::move(path));
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url) try {
    if (!decomposed(url)) return nullptr;
    std::string path(url->part(url->parts.path));
    const bool isDirectory = path.ends_with('/');
    const std::string_view name = lastComponent(path);
    const std::size_t dot = dotOf(name);
    if (dot != std::string_view::npos) {
        const std::size_t left = withoutSlash(path).size() - (name.size() - dot);
        path.resize(left);
        if (isDirectory) path += '/';
    }
    return createWithPath(allocator, url, std::move(path));
} catch (const std::bad_alloc&) {
    return nullptr;
}
