// The codecs on any bytes: against the plain reference, round trips, and that an accepted text, brought to the one form
// that the encoder writes, is what the encoder writes.

#include <KXCoreLib/Codecs.h>

#include "KXCoreLib/CodecsReference.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

template <class Function, class In>
std::optional<std::string> call(Function function, const In* in, std::size_t length, std::size_t capacity) {
    const auto out = std::make_unique<char[]>(capacity);  // exactly as large as promised: a sanitizer sees any excess
    const ptrdiff_t written = function(in, length, out.get(), capacity);
    require(written >= -1);
    if (written < 0) return std::nullopt;
    return std::string(out.get(), static_cast<std::size_t>(written));
}

/// What the encoder would have written for an accepted text: no white space, lower case, unused bits zero.
std::string canonicalHex(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        if (!CodecsReference::isSpace(c)) plain += static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
    }
    return plain;
}

std::string canonicalBase64(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        if (!CodecsReference::isSpace(c)) plain += c;
    }
    const std::size_t padding = plain.find('=');
    if (padding != std::string::npos) {
        const unsigned unused = plain.size() - padding == 2 ? 15 : 3;
        char& last = plain[padding - 1];
        last = CodecsReference::base64Character(*CodecsReference::base64Value(last) & ~unused);
    }
    return plain;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);

    const auto hex = call(kx_hex_encode, data, size, 2 * size + (size < 2 ? 5 : 1));
    require(hex == CodecsReference::hexEncode(input));
    require(call(kx_hex_decode, hex->data(), hex->size(), size) == input);

    const auto base64 = call(kx_base64_encode, data, size, (size + 2) / 3 * 4 + 1);
    require(base64 == CodecsReference::base64Encode(input));
    require(call(kx_base64_decode, base64->data(), base64->size(), base64->size() / 4 * 3) == input);

    const auto fromHex = call(kx_hex_decode, input.data(), size, (size + 1) / 2);
    require(fromHex == CodecsReference::hexDecode(input));
    if (fromHex) require(CodecsReference::hexEncode(*fromHex) == canonicalHex(input));

    const auto fromBase64 = call(kx_base64_decode, input.data(), size, (size + 3) / 4 * 3);
    require(fromBase64 == CodecsReference::base64Decode(input));
    if (fromBase64) require(CodecsReference::base64Encode(*fromBase64) == canonicalBase64(input));
    return 0;
}
