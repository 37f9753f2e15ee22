#include "URLText.h"

#include <algorithm>
#include <cstring>

#include <strings.h>

namespace KXPlatform {

namespace {

int valueOfHex(char c) noexcept { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

/// Appends a path without its "." and ".." components, part after part. What leads above its start goes, or stays by
/// the older rules.
class PathAppender {
  public:
    PathAppender(std::string& out, bool hasAuthority, bool keepsExcess) noexcept
        : out_(out), hasAuthority_(hasAuthority), keepsExcess_(keepsExcess), start_(out.size()), root_(out.size()) {}

    /// Components that each end with a slash, and may begin with one.
    void addFolder(std::string_view path) { add(path); }

    /// The rest of the path.
    void addRest(std::string_view path) {
        path = add(path);
        addComponent(path, false);
        // "//" at the start of a path without an authority would begin one.
        if (!hasAuthority_ && std::string_view(out_).substr(start_).starts_with("//")) out_.insert(start_, "/.");
    }

  private:
    /// Adds all components that a slash follows; returns what is left.
    std::string_view add(std::string_view path) {
        if (out_.size() == start_ && path.starts_with('/')) {
            out_ += '/';
            root_ = out_.size();
            path.remove_prefix(1);
        }
        for (std::size_t slash; (slash = path.find('/')) != std::string_view::npos; path.remove_prefix(slash + 1))
            addComponent(path.substr(0, slash), true);
        return path;
    }

    void addComponent(std::string_view component, bool hasSlash) {
        if (component == ".") return;
        if (component == ".." && (removeLast() || !keepsExcess_)) return;
        out_ += component;
        if (hasSlash) out_ += '/';
    }

    /// False when there is none to remove, or only one that leads up itself.
    bool removeLast() noexcept {
        if (out_.size() == root_) return false;
        const std::string_view before = std::string_view(out_).substr(root_, out_.size() - root_ - 1);
        const std::size_t from = before.rfind('/') + 1;  // 0 where there is no slash
        if (before.substr(from) == "..") return false;
        out_.resize(root_ + from);
        return true;
    }

    std::string& out_;
    const bool hasAuthority_;
    const bool keepsExcess_;
    const std::size_t start_;
    std::size_t root_;  ///< behind the slash that begins the path
};

/// A path without a scheme before it must not begin with what reads as one, and an empty text is no URL.
void keepRelative(std::string& path) {
    const std::string_view first = std::string_view(path).substr(0, path.find('/'));
    if (path.empty() || first.find(':') != std::string_view::npos) path.insert(0, "./");
}

}  // namespace

std::size_t sizeEscaped(std::string_view bytes, URLCharacter use) noexcept {
    std::size_t size = bytes.size();
    for (const char c : bytes) size += isURLCharacter(c, use) ? 0 : 2;
    return size;
}

char* writeEscaped(char* out, std::string_view bytes, URLCharacter use) noexcept {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char c : bytes) {
        if (isURLCharacter(c, use)) {
            *out++ = c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            *out++ = '%';
            *out++ = kDigits[byte >> 4];
            *out++ = kDigits[byte & 15];
        }
    }
    return out;
}

void appendEscaped(std::string& text, std::string_view bytes, URLCharacter use) {
    const std::size_t before = text.size();
    text.resize(before + sizeEscaped(bytes, use));
    writeEscaped(text.data() + before, bytes, use);
}

char* writeUnescaped(char* out, std::string_view text) noexcept {
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find('%'), text.size());
        std::memmove(out, text.data(), plain);
        out += plain;
        if (plain == text.size()) break;
        *out++ = static_cast<char>(valueOfHex(text[plain + 1]) << 4 | valueOfHex(text[plain + 2]));
        text.remove_prefix(plain + 3);
    }
    return out;
}

std::string unescaped(std::string_view text) {
    std::string bytes(text.size(), '\0');
    bytes.resize(static_cast<std::size_t>(writeUnescaped(bytes.data(), text) - bytes.data()));
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

    const std::size_t pathStart = out.size();
    URLPart query = own.query;
    std::string_view queryText = url.text;
    if (own.authority || path.starts_with('/')) {
        PathAppender(out, static_cast<bool>(authority), isOlder).addRest(path);
    } else if (path.empty() && !(isOlder && own.query)) {
        out.append(basePath);
        if (!own.query) {
            query = base.parts.query;
            queryText = base.text;
        }
    } else {
        // In the place of what follows the base's last slash.
        const bool isRoot = base.parts.authority && basePath.empty();
        PathAppender appender(out, static_cast<bool>(authority), isOlder);
        appender.addFolder(isRoot ? "/" : basePath.substr(0, basePath.rfind('/') + 1));
        appender.addRest(path);
    }
    if (pathStart == 0) keepRelative(out);
    if (query) (out += '?').append(query.of(queryText));
    if (own.fragment) (out += '#').append(own.fragment.of(url.text));
    return out;
}

}  // namespace KXPlatform
