#include "URLText.h"

#include <strings.h>

namespace KXPlatform {

namespace {

int valueOfHex(char c) noexcept { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

/// Appends a path without its "." and ".." components. What leads above its start goes, or stays by the older rules.
void appendWithoutDots(std::string& out, std::string_view path, bool keepsExcess) {
    const std::size_t start = out.size();
    if (path.starts_with('/')) {
        out += '/';
        path.remove_prefix(1);
    }
    const std::size_t root = out.size();
    for (bool isLast = false; !isLast;) {
        const std::size_t slash = path.find('/');
        isLast = slash == std::string_view::npos;
        const std::string_view component = path.substr(0, slash);
        if (!isLast) path.remove_prefix(slash + 1);
        if (component == ".") continue;
        if (component == "..") {
            if (out.size() > root) {
                const std::string_view before = std::string_view(out).substr(root, out.size() - root - 1);
                const std::size_t previous = before.rfind('/');
                const std::size_t from = previous == std::string_view::npos ? 0 : previous + 1;
                if (before.substr(from) != "..") {
                    out.resize(root + from);
                    continue;
                }
            }
            if (!keepsExcess) continue;
        }
        out += component;
        if (!isLast) out += '/';
    }
    // "//" at the start of a path without an authority would begin one.
    if (std::string_view(out).substr(start).starts_with("//") &&
        !std::string_view(out).substr(0, start).ends_with('/') && (start == 0 || out[start - 1] == ':'))
        out.insert(start, "/.");
}

}  // namespace

void appendEscaped(std::string& text, std::string_view bytes, URLCharacter use) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char c : bytes) {
        if (isURLCharacter(c, use)) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            const char escape[] = {'%', kDigits[byte >> 4], kDigits[byte & 15]};
            text.append(escape, sizeof escape);
        }
    }
}

std::string unescaped(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            bytes += text[i];
            continue;
        }
        bytes += static_cast<char>(valueOfHex(text[i + 1]) << 4 | valueOfHex(text[i + 2]));
        i += 2;
    }
    return bytes;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isRelative(ParsedURL url, ParsedURL base, Resolution resolution) noexcept {
    if (!url.parts.scheme) return true;
    // Of "http:a" against an HTTP base; "http://a" is absolute.
    return resolution == Resolution::Lenient && !url.parts.authority && !base.parts.isOpaque && base.parts.scheme &&
           equalsIgnoringCase(url.parts.scheme.of(url.text), base.parts.scheme.of(base.text));
}

std::string resolveURL(ParsedURL url, ParsedURL base, Resolution resolution) {
    const URLParts& own = url.parts;
    if (!isRelative(url, base, resolution)) return std::string(url.text);
    const std::string_view path = own.path.of(url.text);
    const std::string_view basePath = base.parts.path.of(base.text);
    const bool isOlder = resolution == Resolution::Older;

    std::string out;
    out.reserve(url.text.size() + base.text.size() + 4);
    if (base.parts.scheme) out.append(base.parts.scheme.of(base.text)) += ':';
    const bool takesAuthority = !own.authority;
    const URLPart authority = takesAuthority ? base.parts.authority : own.authority;
    if (authority) out.append("//").append(authority.of(takesAuthority ? base.text : url.text));

    URLPart query = own.query;
    std::string_view queryText = url.text;
    if (own.authority || path.starts_with('/')) {
        appendWithoutDots(out, path, isOlder);
    } else if (path.empty() && !(isOlder && own.query)) {
        out.append(basePath);
        if (!own.query) {
            query = base.parts.query;
            queryText = base.text;
        }
    } else {
        // Merged: in the place of what follows the base's last slash.
        std::string merged;
        merged.reserve(basePath.size() + path.size() + 1);
        if (base.parts.authority && basePath.empty())
            merged += '/';
        else
            merged.append(basePath.substr(0, basePath.rfind('/') + 1));
        merged.append(path);
        appendWithoutDots(out, merged, isOlder);
    }
    if (query) (out += '?').append(query.of(queryText));
    if (own.fragment) (out += '#').append(own.fragment.of(url.text));
    return out;
}

}  // namespace KXPlatform
