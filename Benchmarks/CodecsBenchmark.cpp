// The codecs beside those of the libraries that a program would otherwise link. Rates are of decoded bytes, so that
// memcpy of the same bytes is the limit to look at.

#include <KXCoreLib/Codecs.h>

#include <benchmark/benchmark.h>
#include <glib.h>
#include <nettle/base16.h>
#include <nettle/base64.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <boost/algorithm/hex.hpp>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/beast/core/detail/base64.hpp>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string randomBytes(std::size_t length) {
    std::mt19937 random(1);
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

std::string asText(decltype(&kx_hex_encode) encode, std::string_view bytes) {
    std::string text(2 * bytes.size() + 8, '\0');
    text.resize(static_cast<std::size_t>(encode(bytes.data(), bytes.size(), text.data(), text.size())));
    return text;
}

std::string inLines(std::string_view text, std::size_t width) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += width) lines.append(text.substr(i, width)).append("\n");
    return lines;
}

const unsigned char* bytesOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// Times `codec(in, out)`, which says how much it wrote, and checks that it wrote what is expected.
template <class Codec>
void run(benchmark::State& state, std::string_view in, std::string_view expected, Codec codec) {
    std::vector<char> out(2 * in.size() + in.size() / 8 + 64);
    if (codec(in, out.data()) != expected.size() || std::memcmp(out.data(), expected.data(), expected.size()) != 0) {
        state.SkipWithError("wrong answer");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(in.data());
        benchmark::DoNotOptimize(codec(in, out.data()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// Digits in upper case are as good; a peer that knows no other is held to them.
enum class Digits { Lower, Upper };

template <class Codec>
void hexEncode(benchmark::State& state, Codec codec, Digits digits = Digits::Lower) {
    const std::string bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    std::string text = asText(kx_hex_encode, bytes);
    if (digits == Digits::Upper) boost::algorithm::to_upper(text);
    run(state, bytes, text, codec);
}

template <class Codec>
void hexDecode(benchmark::State& state, Codec codec) {
    const std::string bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    run(state, asText(kx_hex_encode, bytes), bytes, codec);
}

template <class Codec>
void base64Encode(benchmark::State& state, Codec codec) {
    const std::string bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    run(state, bytes, asText(kx_base64_encode, bytes), codec);
}

template <class Codec>
void base64Decode(benchmark::State& state, Codec codec, std::size_t width = 0) {
    const std::string bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    const std::string text = asText(kx_base64_encode, bytes);
    run(state, width ? inLines(text, width) : text, bytes, codec);
}

std::size_t unpadded(std::string_view text, std::size_t decoded) {
    return decoded - (text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0);
}

void BM_HexEncode_KXCoreLib(benchmark::State& state) {
    hexEncode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(kx_hex_encode(in.data(), in.size(), out, 2 * in.size() + 1));
    });
}
void BM_HexEncode_OpenSSL(benchmark::State& state) {
    hexEncode(
        state,
        [](std::string_view in, char* out) {
            std::size_t length = 0;
            OPENSSL_buf2hexstr_ex(out, 2 * in.size() + 1, &length, bytesOf(in), static_cast<long>(in.size()), '\0');
            return length - 1;
        },
        Digits::Upper);
}
void BM_HexEncode_nettle(benchmark::State& state) {
    hexEncode(state, [](std::string_view in, char* out) {
        base16_encode_update(out, in.size(), bytesOf(in));
        return 2 * in.size();
    });
}
void BM_HexEncode_boost_algorithm(benchmark::State& state) {
    hexEncode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(boost::algorithm::hex_lower(in.begin(), in.end(), out) - out);
    });
}

void BM_HexDecode_KXCoreLib(benchmark::State& state) {
    hexDecode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(kx_hex_decode(in.data(), in.size(), out, in.size() / 2));
    });
}
void BM_HexDecode_OpenSSL(benchmark::State& state) {
    hexDecode(state, [](std::string_view in, char* out) {
        std::size_t length = 0;
        OPENSSL_hexstr2buf_ex(reinterpret_cast<unsigned char*>(out), in.size() / 2, &length, in.data(), '\0');
        return length;
    });
}
void BM_HexDecode_nettle(benchmark::State& state) {
    hexDecode(state, [](std::string_view in, char* out) {
        base16_decode_ctx context;
        base16_decode_init(&context);
        std::size_t length = in.size() / 2;
        base16_decode_update(&context, &length, reinterpret_cast<std::uint8_t*>(out), in.size(), in.data());
        return base16_decode_final(&context) ? length : 0;
    });
}
void BM_HexDecode_boost_algorithm(benchmark::State& state) {
    hexDecode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(boost::algorithm::unhex(in.begin(), in.end(), out) - out);
    });
}

void BM_Base64Encode_KXCoreLib(benchmark::State& state) {
    base64Encode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(kx_base64_encode(in.data(), in.size(), out, 2 * in.size() + 8));
    });
}
void BM_Base64Encode_OpenSSL(benchmark::State& state) {
    base64Encode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out), bytesOf(in), static_cast<int>(in.size())));
    });
}
void BM_Base64Encode_GLib(benchmark::State& state) {
    base64Encode(state, [](std::string_view in, char* out) {
        gint bits = 0, save = 0;
        const gsize length = g_base64_encode_step(bytesOf(in), in.size(), FALSE, out, &bits, &save);
        return length + g_base64_encode_close(FALSE, out + length, &bits, &save);
    });
}
void BM_Base64Encode_nettle(benchmark::State& state) {
    base64Encode(state, [](std::string_view in, char* out) {
        nettle_base64_encode_raw(out, in.size(), bytesOf(in));
        return (in.size() + 2) / 3 * 4;
    });
}
void BM_Base64Encode_boost_beast(benchmark::State& state) {
    base64Encode(state, [](std::string_view in, char* out) {
        return boost::beast::detail::base64::encode(out, in.data(), in.size());
    });
}

void BM_Base64Decode_KXCoreLib(benchmark::State& state) {
    base64Decode(state, [](std::string_view in, char* out) {
        return static_cast<std::size_t>(kx_base64_decode(in.data(), in.size(), out, in.size()));
    });
}
void BM_Base64Decode_OpenSSL(benchmark::State& state) {
    base64Decode(state, [](std::string_view in, char* out) {
        const int length =
            EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out), bytesOf(in), static_cast<int>(in.size()));
        return unpadded(in, static_cast<std::size_t>(length));
    });
}
void BM_Base64Decode_GLib(benchmark::State& state) {
    base64Decode(state, [](std::string_view in, char* out) {
        gint bits = 0;
        guint save = 0;
        return g_base64_decode_step(in.data(), in.size(), reinterpret_cast<guchar*>(out), &bits, &save);
    });
}
void BM_Base64Decode_nettle(benchmark::State& state) {
    base64Decode(state, [](std::string_view in, char* out) {
        base64_decode_ctx context;
        base64_decode_init(&context);
        std::size_t length = in.size();
        base64_decode_update(&context, &length, reinterpret_cast<std::uint8_t*>(out), in.size(), in.data());
        return base64_decode_final(&context) ? length : 0;
    });
}
void BM_Base64Decode_boost_beast(benchmark::State& state) {
    base64Decode(state, [](std::string_view in, char* out) {
        return boost::beast::detail::base64::decode(out, in.data(), in.size()).first;
    });
}

void BM_Base64DecodeLines_KXCoreLib(benchmark::State& state) {
    base64Decode(
        state,
        [](std::string_view in, char* out) {
            return static_cast<std::size_t>(kx_base64_decode(in.data(), in.size(), out, in.size()));
        },
        76);
}
void BM_Base64DecodeLines_GLib(benchmark::State& state) {
    base64Decode(
        state,
        [](std::string_view in, char* out) {
            gint bits = 0;
            guint save = 0;
            return g_base64_decode_step(in.data(), in.size(), reinterpret_cast<guchar*>(out), &bits, &save);
        },
        76);
}

void memoryCopy(benchmark::State& state) {
    const std::string bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    run(state, bytes, bytes, [](std::string_view in, char* out) {
        std::memcpy(out, in.data(), in.size());
        return in.size();
    });
}

void add(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)->Arg(64)->Arg(4096)->Arg(1 << 20);
}

const bool registered = [] {
    add("BM_HexEncode/KXCoreLib", BM_HexEncode_KXCoreLib);
    add("BM_HexEncode/OpenSSL", BM_HexEncode_OpenSSL);
    add("BM_HexEncode/nettle", BM_HexEncode_nettle);
    add("BM_HexEncode/boost_algorithm", BM_HexEncode_boost_algorithm);
    add("BM_HexEncode/memcpy", memoryCopy);
    add("BM_HexDecode/KXCoreLib", BM_HexDecode_KXCoreLib);
    add("BM_HexDecode/OpenSSL", BM_HexDecode_OpenSSL);
    add("BM_HexDecode/nettle", BM_HexDecode_nettle);
    add("BM_HexDecode/boost_algorithm", BM_HexDecode_boost_algorithm);
    add("BM_HexDecode/memcpy", memoryCopy);
    add("BM_Base64Encode/KXCoreLib", BM_Base64Encode_KXCoreLib);
    add("BM_Base64Encode/OpenSSL", BM_Base64Encode_OpenSSL);
    add("BM_Base64Encode/GLib", BM_Base64Encode_GLib);
    add("BM_Base64Encode/nettle", BM_Base64Encode_nettle);
    add("BM_Base64Encode/boost_beast", BM_Base64Encode_boost_beast);
    add("BM_Base64Encode/memcpy", memoryCopy);
    add("BM_Base64Decode/KXCoreLib", BM_Base64Decode_KXCoreLib);
    add("BM_Base64Decode/OpenSSL", BM_Base64Decode_OpenSSL);
    add("BM_Base64Decode/GLib", BM_Base64Decode_GLib);
    add("BM_Base64Decode/nettle", BM_Base64Decode_nettle);
    add("BM_Base64Decode/boost_beast", BM_Base64Decode_boost_beast);
    add("BM_Base64Decode/memcpy", memoryCopy);
    add("BM_Base64DecodeLines/KXCoreLib", BM_Base64DecodeLines_KXCoreLib);
    add("BM_Base64DecodeLines/GLib", BM_Base64DecodeLines_GLib);
    return true;
}();

}  // namespace
