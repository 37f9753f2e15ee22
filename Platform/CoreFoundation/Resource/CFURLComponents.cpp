// The parts of a URL, and where they lie.

#include "CFURLObject.h"

#include <array>
#include <charconv>

using namespace KXPlatform;

namespace {

/// Null for a URL without parts.
CFURLRef decomposed(CFURLRef url) noexcept { return checked(url) && !url->parts.isOpaque ? url : nullptr; }

/// The URL whose net location is that of `url`: itself or its base; null where neither has one.
CFURLRef ownerOfAuthority(CFURLRef url) noexcept {
    if (!decomposed(url)) return nullptr;
    if (!url->parts.authority && !url->parts.scheme && url->base) url = url->base;
    return url->parts.authority ? url : nullptr;
}

CFStringRef copyPart(CFURLRef url, const URLPart& part) noexcept {
    return part ? createASCII(nullptr, url->part(part)) : nullptr;
}

CFStringRef copyReplacing(CFURLRef url, const URLPart& part, CFStringRef leave) noexcept {
    const auto text = Retained<const __CFString>::adopting(copyPart(url, part));
    if (!text) return nullptr;
    return CFURLCreateStringByReplacingPercentEscapesUsingEncoding(nullptr, text.get(), leave, url->encoding);
}

// ---- Places

/// The parts that stand in a text one after the other.
enum Order : std::size_t { Scheme, User, Password, Host, Port, Path, Parameters, Query, Fragment, kParts };

struct Places {
    explicit Places(CFURLRef url) noexcept : length(static_cast<std::uint32_t>(url->text().size())) {
        const URLParts& own = url->parts;
        parts[Scheme] = own.scheme;
        if (own.isOpaque) {
            // All that there is besides, in the place of a path.
            parts[Path] = {own.scheme.end + 1, length};
            return;
        }
        authority = own.authority;
        parts[User] = own.user;
        parts[Password] = own.password;
        parts[Host] = own.host;
        parts[Port] = own.port;
        parts[Path] = own.path;
        parts[Query] = own.query;
        parts[Fragment] = own.fragment;
        const std::size_t mark = url->part(own.path).find(';');
        if (mark == std::string_view::npos) return;
        parts[Parameters] = {own.path.begin + static_cast<std::uint32_t>(mark) + 1, own.path.end};
        parts[Path].end = parts[Parameters].begin - 1;
    }

    std::uint32_t endBefore(std::size_t part) const noexcept {
        while (part-- > 0)
            if (parts[part]) return parts[part].end;
        return 0;
    }
    std::uint32_t beginBehind(std::size_t part) const noexcept {
        while (++part < kParts)
            if (parts[part]) return parts[part].begin;
        return length;
    }

    std::array<URLPart, kParts> parts;
    URLPart authority;
    std::uint32_t length;
};

/// A component as the run of parts that it is made of.
struct Component {
    std::size_t first;
    std::size_t last;
    URLPart place;
};

Component find(const Places& places, CFURLComponentType component, bool isOpaque) noexcept {
    const auto single = [&](Order part) { return Component{part, part, places.parts[part]}; };
    switch (component) {
        case kCFURLComponentScheme:
            return single(Scheme);
        case kCFURLComponentNetLocation:
            return {User, Port, places.authority};
        case kCFURLComponentUser:
            return single(User);
        case kCFURLComponentPassword:
            return single(Password);
        case kCFURLComponentUserInfo: {
            const URLPart& user = places.parts[User];
            const URLPart& password = places.parts[Password];
            return {User, Password, {user.begin, password ? password.end : user.end}};
        }
        case kCFURLComponentHost:
            return single(Host);
        case kCFURLComponentPort:
            return single(Port);
        case kCFURLComponentPath:
            if (isOpaque) break;
            return single(Path);
        case kCFURLComponentParameterString:
            return single(Parameters);
        case kCFURLComponentQuery:
            return single(Query);
        case kCFURLComponentFragment:
            return single(Fragment);
        case kCFURLComponentResourceSpecifier:
            if (isOpaque) return single(Path);
            for (const Order part : {Parameters, Query, Fragment})
                if (places.parts[part]) return {part, Fragment, {places.parts[part].begin, places.length}};
            return {Parameters, Fragment, {}};
    }
    return {kParts, kParts, {}};
}

CFRange rangeOf(std::uint32_t begin, std::uint32_t end) noexcept {
    return {static_cast<CFIndex>(begin), static_cast<CFIndex>(end - begin)};
}

}  // namespace

Boolean CFURLCanBeDecomposed(CFURLRef anURL) { return decomposed(anURL) != nullptr; }

CFStringRef CFURLCopyScheme(CFURLRef anURL) {
    if (!checked(anURL)) return nullptr;
    const std::string_view scheme = schemeOf(anURL);
    return scheme.empty() ? nullptr : createASCII(nullptr, scheme);
}

CFStringRef CFURLCopyNetLocation(CFURLRef anURL) {
    const CFURLRef owner = ownerOfAuthority(anURL);
    // "file:///a" names no place.
    return owner && owner->parts.authority.size() > 0 ? copyPart(owner, owner->parts.authority) : nullptr;
}

CFStringRef CFURLCopyPath(CFURLRef anURL) { return decomposed(anURL) ? copyPart(anURL, anURL->parts.path) : nullptr; }

CFStringRef CFURLCopyStrictPath(CFURLRef anURL, Boolean* isAbsolute) {
    if (isAbsolute) *isAbsolute = false;
    if (!decomposed(anURL)) return nullptr;
    std::string_view path = anURL->part(anURL->parts.path);
    if (path.starts_with('/')) {
        if (isAbsolute) *isAbsolute = true;
        path.remove_prefix(1);
    }
    return createASCII(nullptr, path);
}

CFStringRef CFURLCopyResourceSpecifier(CFURLRef anURL) {
    if (!checked(anURL)) return nullptr;
    const std::string_view text = anURL->text();
    if (anURL->parts.isOpaque) return createASCII(nullptr, text.substr(anURL->parts.scheme.end + 1));
    return anURL->parts.path.end < text.size() ? createASCII(nullptr, text.substr(anURL->parts.path.end)) : nullptr;
}

CFStringRef CFURLCopyHostName(CFURLRef anURL) {
    const CFURLRef owner = ownerOfAuthority(anURL);
    if (!owner || owner->parts.host.size() == 0) return nullptr;
    std::string_view host = owner->part(owner->parts.host);
    if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
    return createUnescaped(nullptr, host, owner->encoding);
}

SInt32 CFURLGetPortNumber(CFURLRef anURL) {
    const CFURLRef owner = ownerOfAuthority(anURL);
    if (!owner) return -1;
    const std::string_view digits = owner->part(owner->parts.port);
    SInt32 port = -1;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    return error == std::errc() ? port : -1;
}

CFStringRef CFURLCopyUserName(CFURLRef anURL) {
    const CFURLRef owner = ownerOfAuthority(anURL);
    return owner && owner->parts.user ? createUnescaped(nullptr, owner->part(owner->parts.user), owner->encoding)
                                      : nullptr;
}

CFStringRef CFURLCopyPassword(CFURLRef anURL) {
    const CFURLRef owner = ownerOfAuthority(anURL);
    return owner ? copyPart(owner, owner->parts.password) : nullptr;
}

CFStringRef CFURLCopyParameterString(CFURLRef, CFStringRef) { return nullptr; }

CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped) {
    return decomposed(anURL) ? copyReplacing(anURL, anURL->parts.query, charactersToLeaveEscaped) : nullptr;
}

CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped) {
    return decomposed(anURL) ? copyReplacing(anURL, anURL->parts.fragment, charactersToLeaveEscaped) : nullptr;
}

CFRange CFURLGetByteRangeForComponent(CFURLRef url, CFURLComponentType component, CFRange* rangeIncludingSeparators) {
    const CFRange none{kCFNotFound, 0};
    if (rangeIncludingSeparators) *rangeIncludingSeparators = none;
    if (!checked(url)) return none;
    const Places places(url);
    const Component found = find(places, component, url->parts.isOpaque);
    const std::uint32_t before = found.first < kParts ? places.endBefore(found.first) : places.length;
    if (!found.place) {
        // Where it would stand: behind the mark that stands before a net location, right behind any other part.
        const bool isOfAuthority = found.first >= User && found.first <= Host && !places.parts[User];
        const URLPart& next = places.authority ? places.authority : places.parts[Path];
        const std::uint32_t place = isOfAuthority ? next.begin : before;
        if (rangeIncludingSeparators) *rangeIncludingSeparators = rangeOf(place, place);
        return none;
    }
    if (rangeIncludingSeparators) *rangeIncludingSeparators = rangeOf(before, places.beginBehind(found.last));
    return rangeOf(found.place.begin, found.place.end);
}
