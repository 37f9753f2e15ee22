#include "URLParts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace KXPlatform {

namespace {

constexpr std::array<std::uint8_t, 256> makeTable() {
    std::array<std::uint8_t, 256> table{};
    const auto give = [&](std::string_view characters, int uses) {
        for (const char c : characters) {
            std::uint8_t& entry = table[static_cast<unsigned char>(c)];
            entry = static_cast<std::uint8_t>(entry | uses);
        }
    };
    constexpr int kEverywhere = InUser | InName | InPath | InQuery | InFilePath | Legal;
    for (char c = 'a'; c <= 'z'; ++c) {
        const char both[] = {c, static_cast<char>(c - 'a' + 'A')};
        give({both, 2}, kEverywhere | InScheme | (c <= 'f' ? Hex : 0));
    }
    give("0123456789", kEverywhere | InScheme | Hex);
    give("-._~!$&'()*+,;=", kEverywhere);
    give("+-.", InScheme);
    give(":", InUser | InPath | InQuery | InFilePath | Legal);
    give("@", InPath | InQuery | InFilePath | Legal);
    give("/", InPath | InQuery | InFilePath | Legal);
    give("?", InQuery | Legal);
    give("[]", InQuery);
    table[';'] = static_cast<std::uint8_t>(table[';'] & ~InFilePath);
    return table;
}

/// Reads a text from its start on.
class Reader {
  public:
    explicit Reader(std::string_view text) noexcept : text_(text) {}

    std::uint32_t at() const noexcept { return static_cast<std::uint32_t>(at_); }
    bool isAtEnd() const noexcept { return at_ == text_.size(); }
    bool isAt(char c) const noexcept { return at_ < text_.size() && text_[at_] == c; }
    bool isAt(std::string_view what) const noexcept { return text_.substr(at_).starts_with(what); }
    void skip(std::size_t count) noexcept { at_ += count; }

    /// Goes on over characters of this use, and percent escapes; the part that they are.
    URLPart take(URLCharacter use) noexcept {
        const std::uint32_t begin = at();
        while (at_ < text_.size()) {
            if (isURLCharacter(text_[at_], use))
                ++at_;
            else if (isAtEscape())
                at_ += 3;
            else
                break;
        }
        return {begin, at()};
    }

  private:
    bool isAtEscape() const noexcept {
        return text_[at_] == '%' && text_.size() - at_ > 2 && isURLCharacter(text_[at_ + 1], Hex) &&
               isURLCharacter(text_[at_ + 2], Hex);
    }

    const std::string_view text_;
    std::size_t at_ = 0;
};

/// Whether `text` is wholly of such characters and escapes.
bool isWholly(std::string_view text, URLCharacter use) noexcept { return Reader(text).take(use).end == text.size(); }

/// What stands in the brackets of a host: an IPv6 address, with a zone (RFC 6874) or without, or "v1.x" of a later
/// kind.
bool isLiteralAddress(std::string_view literal) noexcept {
    if (!literal.empty() && (literal[0] == 'v' || literal[0] == 'V')) {
        const std::size_t dot = literal.find('.');
        if (dot == std::string_view::npos || dot < 2 || dot + 1 == literal.size()) return false;
        for (const char c : literal.substr(1, dot - 1))
            if (!isURLCharacter(c, Hex)) return false;
        return literal.find('%') == std::string_view::npos && isWholly(literal.substr(dot + 1), InUser);
    }
    const std::size_t zone = literal.find('%');
    if (zone != std::string_view::npos) {
        const std::string_view name = literal.substr(zone);
        if (!name.starts_with("%25") || name.size() == 3 || !isWholly(name.substr(3), InName)) return false;
        literal = literal.substr(0, zone);
    }
    char text[INET6_ADDRSTRLEN];
    if (literal.size() >= sizeof text) return false;
    std::memcpy(text, literal.data(), literal.size());
    text[literal.size()] = 0;
    in6_addr address;
    return ::inet_pton(AF_INET6, text, &address) == 1;
}

/// The parts of the authority that `parts` has the place of.
bool parseAuthority(std::string_view text, URLParts& parts) noexcept {
    const auto place = [&](std::size_t begin, std::size_t end) {
        return URLPart{static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
    };
    const std::size_t end = parts.authority.end;
    std::size_t at = parts.authority.begin;
    const std::string_view authority = parts.authority.of(text);
    if (const std::size_t sign = authority.find('@'); sign != std::string_view::npos) {
        const std::string_view info = authority.substr(0, sign);
        if (!isWholly(info, InUser)) return false;
        const std::size_t colon = info.find(':');
        parts.user = place(at, at + (colon == std::string_view::npos ? sign : colon));
        if (colon != std::string_view::npos) parts.password = place(at + colon + 1, at + sign);
        at += sign + 1;
    }
    std::size_t afterHost;
    if (at < end && text[at] == '[') {
        afterHost = text.find(']', at);
        if (afterHost >= end || !isLiteralAddress(text.substr(at + 1, afterHost - at - 1))) return false;
        ++afterHost;
    } else {
        afterHost = at + Reader(text.substr(at, end - at)).take(InName).end;
    }
    parts.host = place(at, afterHost);
    if (afterHost == end) return true;
    if (text[afterHost] != ':') return false;
    for (std::size_t i = afterHost + 1; i < end; ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    parts.port = place(afterHost + 1, end);
    return true;
}

/// Where the scheme ends; 0 when the text has none.
std::size_t lengthOfScheme(std::string_view text) noexcept {
    if (text.empty() || (text[0] | 0x20) < 'a' || (text[0] | 0x20) > 'z') return 0;
    std::size_t at = 1;
    while (at < text.size() && isURLCharacter(text[at], InScheme)) ++at;
    return at < text.size() && text[at] == ':' ? at : 0;
}

}  // namespace

constinit const std::array<std::uint8_t, 256> kURLCharacters = makeTable();

std::optional<URLParts> parseURL(std::string_view text) noexcept {
    if (text.size() >= URLPart::kAbsent) return std::nullopt;
    URLParts parts;
    Reader reader(text);
    if (const std::size_t length = lengthOfScheme(text)) {
        parts.scheme = {0, static_cast<std::uint32_t>(length)};
        reader.skip(length + 1);
        parts.isOpaque = !reader.isAt('/');
    }
    if (reader.isAt("//")) {
        reader.skip(2);
        const std::size_t end = std::min(text.find_first_of("/?#", reader.at()), text.size());
        parts.authority = {reader.at(), static_cast<std::uint32_t>(end)};
        reader.skip(end - reader.at());
        if (!parseAuthority(text, parts)) return std::nullopt;
    }
    parts.path = reader.take(InPath);
    // Without a scheme, a colon before the first slash would make one of what stands before it.
    if (!parts.scheme && !parts.authority) {
        const std::string_view path = parts.path.of(text);
        if (path.substr(0, path.find('/')).find(':') != std::string_view::npos) return std::nullopt;
    }
    if (reader.isAt('?')) {
        reader.skip(1);
        parts.query = reader.take(InQuery);
    }
    if (reader.isAt('#')) {
        reader.skip(1);
        parts.fragment = reader.take(InQuery);
    }
    if (!reader.isAtEnd()) return std::nullopt;
    return parts;
}

}  // namespace KXPlatform
