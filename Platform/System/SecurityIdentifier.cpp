// SIDs as text: "S-" revision "-" authority { "-" subauthority }, numbers decimal, an authority of more than 32 bits
// hexadecimal with 12 digits ([MS-DTYP] 2.4.2.1). Fewer digits are read too.

#include <membership.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

/// Takes a number of at most `largest` off the front of `text`; false, with `text` in any state, where none stands.
bool takeNumber(std::string_view& text, int base, std::uint64_t largest, std::uint64_t& number) noexcept {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || number > largest) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool take(std::string_view& text, std::string_view prefix) noexcept {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

constexpr std::uint64_t kLargestAuthority = (std::uint64_t{1} << 48) - 1;

bool parse(std::string_view text, nt_sid_t& sid) noexcept {
    sid = {};
    std::uint64_t number = 0;
    if (!take(text, "S-") || !takeNumber(text, 10, std::numeric_limits<std::uint8_t>::max(), number)) return false;
    sid.sid_kind = static_cast<std::uint8_t>(number);

    if (!take(text, "-")) return false;
    const int base = take(text, "0x") || take(text, "0X") ? 16 : 10;
    if (!takeNumber(text, base, kLargestAuthority, number)) return false;
    for (int i = 5; i >= 0; --i, number >>= 8) sid.sid_authority[i] = static_cast<std::uint8_t>(number);

    while (take(text, "-")) {
        if (sid.sid_authcount == NTSID_MAX_AUTHORITIES) return false;
        if (!takeNumber(text, 10, std::numeric_limits<std::uint32_t>::max(), number)) return false;
        sid.sid_authorities[sid.sid_authcount++] = static_cast<std::uint32_t>(number);
    }
    return text.empty();
}

}  // namespace

int mbr_string_to_sid(const char* string, nt_sid_t* sid) {
    if (!string || !sid) return EINVAL;
    nt_sid_t parsed;
    if (!parse(string, parsed)) return EINVAL;
    *sid = parsed;
    return 0;
}

int mbr_sid_to_string(const nt_sid_t* sid, char* string) {
    if (!sid || !string || sid->sid_authcount > NTSID_MAX_AUTHORITIES) return EINVAL;
    std::uint64_t authority = 0;
    for (const std::uint8_t byte : sid->sid_authority) authority = authority << 8 | byte;

    const bool wide = authority > std::numeric_limits<std::uint32_t>::max();
    char* out = string;
    out += std::snprintf(out, MBR_MAX_SID_STRING_SIZE, wide ? "S-%u-0x%012llx" : "S-%u-%llu", unsigned{sid->sid_kind},
                         static_cast<unsigned long long>(authority));
    for (unsigned i = 0; i < sid->sid_authcount; ++i) {
        *out++ = '-';
        out = std::to_chars(out, string + MBR_MAX_SID_STRING_SIZE, sid->sid_authorities[i]).ptr;
    }
    *out = '\0';
    return 0;
}
