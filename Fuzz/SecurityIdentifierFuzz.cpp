// Any text: a refusal leaves the result, and what is accepted is written as a text that reads back the same. Any binary
// SID: it has a text within its room, or too many authorities.

#include <membership.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

bool same(const nt_sid_t& a, const nt_sid_t& b) {
    return a.sid_kind == b.sid_kind && a.sid_authcount == b.sid_authcount &&
           std::memcmp(a.sid_authority, b.sid_authority, sizeof a.sid_authority) == 0 &&
           std::equal(a.sid_authorities, a.sid_authorities + a.sid_authcount, b.sid_authorities);
}

void checkText(const nt_sid_t& sid) {
    char text[MBR_MAX_SID_STRING_SIZE];
    if (mbr_sid_to_string(&sid, text) != 0) {
        check(sid.sid_authcount > NTSID_MAX_AUTHORITIES);
        return;
    }
    nt_sid_t again;
    check(mbr_string_to_sid(text, &again) == 0 && same(sid, again));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    nt_sid_t before;
    std::memset(&before, 0x5A, sizeof before);
    nt_sid_t sid = before;
    if (mbr_string_to_sid(text.c_str(), &sid) == 0) {
        check(sid.sid_authcount <= NTSID_MAX_AUTHORITIES);
        checkText(sid);
    } else {
        check(std::memcmp(&sid, &before, sizeof sid) == 0);
    }

    nt_sid_t binary{};
    std::memcpy(&binary, data, std::min(size, sizeof binary));
    checkText(binary);
    return 0;
}
