#pragma once

// The elements of a property list in XML.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace KXPlatform {

enum class XMLElement : std::uint8_t {
    Array,
    Data,
    Date,
    Dict,
    False,
    Integer,
    Key,
    PList,
    Real,
    String,
    True,
    Unknown
};

/// In the order of their values, which is that of their names.
inline constexpr std::array<std::string_view, 11> kXMLElementNames = {
    "array", "data", "date", "dict", "false", "integer", "key", "plist", "real", "string", "true"};

/// The name; empty for Unknown.
constexpr std::string_view nameOf(XMLElement element) noexcept {
    return element == XMLElement::Unknown ? std::string_view() : kXMLElementNames[static_cast<std::size_t>(element)];
}

constexpr XMLElement elementNamed(std::string_view name) noexcept {
    for (std::size_t i = 0; i < kXMLElementNames.size(); ++i) {
        if (kXMLElementNames[i] == name) return static_cast<XMLElement>(i);
    }
    return XMLElement::Unknown;
}

/// Whether the element is written as an empty one: it says all by its name.
constexpr bool isBoolean(XMLElement element) noexcept {
    return element == XMLElement::True || element == XMLElement::False;
}

/// What follows the '<' of an element's start tag as everybody writes it: the name and '>', or '/>' where the element
/// is empty. None has more than eight characters, so that a tag is known by one comparison.
class XMLPlainTag {
  public:
    constexpr explicit XMLPlainTag(XMLElement element) noexcept {
        for (const char c : nameOf(element)) append(c);
        if (isBoolean(element)) append('/');
        append('>');
    }

    std::size_t size() const noexcept { return size_; }

    /// Whether eight characters begin with the tag.
    bool begins(std::uint64_t eight) const noexcept { return (eight & mask_) == text_; }

    static std::uint64_t eightAt(const char* at) noexcept {
        static_assert(std::endian::native == std::endian::little, "the first character is the lowest byte");
        std::uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        return eight;
    }

  private:
    constexpr void append(char c) noexcept {
        text_ |= static_cast<std::uint64_t>(static_cast<unsigned char>(c)) << (8 * size_);
        mask_ |= std::uint64_t{0xFF} << (8 * size_);
        ++size_;
    }

    std::uint64_t text_ = 0;
    std::uint64_t mask_ = 0;
    std::size_t size_ = 0;
};

inline constexpr auto kXMLPlainTags = [] {
    return []<std::size_t... I>(std::index_sequence<I...>) {
        return std::array{XMLPlainTag(static_cast<XMLElement>(I))...};
    }
    (std::make_index_sequence<kXMLElementNames.size()>());
}();

/// The first of the elements whose names begin with each letter; Unknown where there is none.
inline constexpr auto kXMLFirstByLetter = [] {
    std::array<XMLElement, 256> first{};
    first.fill(XMLElement::Unknown);
    for (std::size_t i = kXMLElementNames.size(); i-- > 0;) {
        first[static_cast<unsigned char>(kXMLElementNames[i][0])] = static_cast<XMLElement>(i);
    }
    return first;
}();

/// The element whose plain tag `eight` begins with; Unknown when there is none.
inline XMLElement elementOfPlainTag(std::uint64_t eight) noexcept {
    std::size_t i = static_cast<std::size_t>(kXMLFirstByLetter[eight & 0xFF]);
    for (; i < kXMLElementNames.size(); ++i) {
        if (kXMLPlainTags[i].begins(eight)) return static_cast<XMLElement>(i);
        if (static_cast<unsigned char>(kXMLElementNames[i][0]) != (eight & 0xFF)) break;
    }
    return XMLElement::Unknown;
}

}  // namespace KXPlatform
