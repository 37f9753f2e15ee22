#include "BookmarkFormat.h"

#include <algorithm>
#include <climits>
#include <type_traits>

namespace KXPlatform {

namespace {

constexpr std::string_view kMagic = "KXBOOKMK";
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kDirectory = 1;
constexpr std::uint32_t kPrefersNumber = 2;

class Writer {
  public:
    template <class Number>
    void number(Number value) {
        auto rest = static_cast<std::make_unsigned_t<Number>>(value);
        for (std::size_t i = 0; i < sizeof value; ++i, rest = static_cast<decltype(rest)>(rest >> 8))
            bytes += static_cast<char>(rest & 0xFF);
    }
    void text(std::string_view value) {
        number(static_cast<std::uint32_t>(value.size()));
        bytes += value;
    }

    std::string bytes{kMagic};
};

class Reader {
  public:
    explicit Reader(std::string_view bytes) noexcept : rest_(bytes) {}

    template <class Number>
    bool number(Number& value) noexcept {
        if (rest_.size() < sizeof value) return false;
        std::make_unsigned_t<Number> read = 0;
        for (std::size_t i = 0; i < sizeof value; ++i)
            read |= static_cast<decltype(read)>(static_cast<decltype(read)>(static_cast<unsigned char>(rest_[i]))
                                                << (8 * i));
        rest_.remove_prefix(sizeof value);
        value = static_cast<Number>(read);
        return true;
    }
    bool text(std::string& value) {
        std::uint32_t length = 0;
        if (!number(length) || length > rest_.size()) return false;
        value = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return true;
    }
    bool isAtEnd() const noexcept { return rest_.empty(); }

  private:
    std::string_view rest_;
};

/// Whether a path holds components alone that lead down.
bool leadsDown(std::string_view path) noexcept {
    if (path.find('\0') != std::string_view::npos || path.size() >= PATH_MAX) return false;
    while (!path.empty()) {
        const std::string_view component = path.substr(0, path.find('/'));
        if (component.empty() || component == "." || component == "..") return false;
        path.remove_prefix(std::min(component.size() + 1, path.size()));
    }
    return true;
}

}  // namespace

std::string writeBookmark(const Bookmark& bookmark) {
    Writer writer;
    writer.number(kVersion);
    writer.number((bookmark.isDirectory ? kDirectory : 0) | (bookmark.prefersNumber ? kPrefersNumber : 0));
    writer.number(bookmark.deviceMajor);
    writer.number(bookmark.deviceMinor);
    writer.number(bookmark.number);
    writer.number(bookmark.created);
    writer.text(bookmark.path);
    writer.text(bookmark.relativePath);
    writer.text(bookmark.properties);
    return std::move(writer.bytes);
}

bool readBookmark(std::string_view bytes, Bookmark& bookmark) {
    if (bytes.size() > kLargestBookmark || !bytes.starts_with(kMagic)) return false;
    Reader reader(bytes.substr(kMagic.size()));
    std::uint32_t version = 0, flags = 0;
    const bool isWhole = reader.number(version) && version == kVersion && reader.number(flags) &&
                         reader.number(bookmark.deviceMajor) && reader.number(bookmark.deviceMinor) &&
                         reader.number(bookmark.number) && reader.number(bookmark.created) &&
                         reader.text(bookmark.path) && reader.text(bookmark.relativePath) &&
                         reader.text(bookmark.properties) && reader.isAtEnd();
    if (!isWhole || (flags & ~(kDirectory | kPrefersNumber)) != 0) return false;
    bookmark.isDirectory = (flags & kDirectory) != 0;
    bookmark.prefersNumber = (flags & kPrefersNumber) != 0;
    return bookmark.path.starts_with('/') && leadsDown(std::string_view(bookmark.path).substr(1)) &&
           leadsDown(bookmark.relativePath);
}

}  // namespace KXPlatform
