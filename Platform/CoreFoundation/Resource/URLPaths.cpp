#include "URLPaths.h"

#include "MountTable.h"

#include <algorithm>
#include <vector>

namespace KXPlatform {

namespace {

constexpr std::string_view kRootVolume = "/";

/// Within a component "/" and ":" stand for each other.
void appendSwapped(std::string& out, std::string_view component, char from, char to) {
    for (const char c : component) out += c == from ? to : c;
}

std::string placeOfVolume(std::string_view name) {
    if (name == kRootVolume) return "";
    std::vector<Mount> mounts;
    readMountTable(mounts);
    for (const Mount& mount : mounts)
        if (mount.point.size() > name.size() && mount.point.ends_with(name) &&
            mount.point[mount.point.size() - name.size() - 1] == '/')
            return mount.point;
    return "/Volumes/" + std::string(name);
}

/// "Volume:a:b", and relative to a place ":a:b", "a" and "::a" (one folder up).
std::string fromHFS(std::string_view path) {
    std::string out;
    const bool isDirectory = path.ends_with(':');
    const std::size_t colon = path.find(':');
    if (colon == 0) {
        path.remove_prefix(1);
    } else if (colon != std::string_view::npos) {
        out = placeOfVolume(path.substr(0, colon)) + '/';
        path.remove_prefix(colon + 1);
    }
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(':'), path.size());
        if (end == 0)
            out += "..";
        else
            appendSwapped(out, path.substr(0, end), '/', ':');
        path.remove_prefix(std::min(end + 1, path.size()));
        if (!path.empty() || isDirectory) out += '/';
    }
    return out;
}

std::string inHFS(std::string_view path) {
    std::string out;
    if (path.starts_with('/')) {
        out = kRootVolume;
        path.remove_prefix(1);
    }
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (component.empty() || component == ".") continue;
        out += ':';
        if (component != "..") appendSwapped(out, component, ':', '/');
    }
    return out;
}

bool isDrive(std::string_view path, char colon) noexcept {
    return path.size() >= 2 && path[1] == colon && (path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z';
}

/// "C:\a", "\a" and "a\b". The server of "\\server\share" becomes the first component.
std::string fromWindows(std::string_view path) {
    std::string out;
    if (isDrive(path, ':')) out += '/';
    out += path;
    std::ranges::replace(out, '\\', '/');
    return out;
}

std::string inWindows(std::string_view path) {
    std::string out(path);
    if (out.starts_with('/') && (isDrive(path.substr(1), ':') || isDrive(path.substr(1), '|'))) {
        out.erase(0, 1);
        out[1] = ':';
    }
    std::ranges::replace(out, '/', '\\');
    return out;
}

}  // namespace

bool pathFromStyle(std::string_view path, CFURLPathStyle style, std::string& out) {
    switch (style) {
        case kCFURLPOSIXPathStyle:
            out = path;
            return true;
        case kCFURLHFSPathStyle:
            out = fromHFS(path);
            return true;
        case kCFURLWindowsPathStyle:
            out = fromWindows(path);
            return true;
    }
    return false;
}

bool pathInStyle(std::string_view path, CFURLPathStyle style, std::string& out) {
    switch (style) {
        case kCFURLPOSIXPathStyle:
            out = path;
            return true;
        case kCFURLHFSPathStyle:
            out = inHFS(path);
            return true;
        case kCFURLWindowsPathStyle:
            out = inWindows(path);
            return true;
    }
    return false;
}

}  // namespace KXPlatform
