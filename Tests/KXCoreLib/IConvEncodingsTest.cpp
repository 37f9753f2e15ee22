// Every encoding that the system knows, both ways, in chunks of every size: what comes out must be what the C library
// gives in one call that is not cut anywhere.

#include "Sanitizers.h"

#include <KXCoreLib/IConv.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using namespace KXCore;

namespace {

/// A conversion of the C library, called by its own names.
class LibraryConversion {
  public:
    LibraryConversion(const char* to, const char* from) : handle_(open(to, from)) {}
    ~LibraryConversion() {
        if (*this) close(handle_);
    }
    LibraryConversion(const LibraryConversion&) = delete;
    LibraryConversion& operator=(const LibraryConversion&) = delete;

    explicit operator bool() const { return handle_ != reinterpret_cast<void*>(-1); }

    /// The whole text in one call; nothing when it does not go through.
    std::optional<std::string> operator()(std::string_view text) {
        std::string out(text.size() * 8 + 64, '\0');
        char* in = const_cast<char*>(text.data());
        std::size_t left = text.size();
        char* to = out.data();
        std::size_t room = out.size();
        convert(handle_, nullptr, nullptr, nullptr, nullptr);
        const bool isDone = convert(handle_, &in, &left, &to, &room) == 0 && left == 0;
        convert(handle_, nullptr, nullptr, &to, &room);
        if (!isDone) return {};
        out.resize(out.size() - room);
        return out;
    }

  private:
    template <class Function>
    static Function function(const char* name) {
        return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
    }
    static inline const auto open = function<void* (*)(const char*, const char*)>("iconv_open");
    static inline const auto close = function<int (*)(void*)>("iconv_close");
    static inline const auto convert =
        function<std::size_t (*)(void*, char**, std::size_t*, char**, std::size_t*)>("iconv");

    void* handle_;
};

/// Whether there is nothing but characters among what the library read; its decoders of UCS-4 let other values through.
bool areCharacters(const std::optional<std::string>& wide) {
    for (std::size_t at = 0; wide && at < wide->size(); at += sizeof(char32_t)) {
        char32_t c;
        std::memcpy(&c, wide->data() + at, sizeof c);
        if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) return false;
    }
    return wide.has_value();
}

std::string bytesOf(std::u32string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t));
}

/// Some of every script, and all characters that are known to join others.
const std::u32string& sample() {
    static const std::u32string characters = [] {
        std::u32string all;
        const auto add = [&](char32_t first, char32_t last, char32_t step = 1) {
            for (char32_t c = first; c <= last; c += step) all += c;
        };
        add(0x01, 0x24F), add(0x250, 0x2E8, 5), all += U"\u0254\u0259\u025A\u028C\u02E5\u02E9";
        add(0x300, 0x345), add(0x370, 0x4FF, 3), add(0x531, 0x587, 5), add(0x591, 0x5F4), add(0x60C, 0x6FF, 3);
        add(0xB82, 0xBFA), add(0xE01, 0xE5B, 3), add(0x10D0, 0x10FF, 7), add(0x1E00, 0x1EFF, 3), add(0x2010, 0x2122, 5);
        add(0x2190, 0x25FF, 23), add(0x3000, 0x30FF), add(0x31F0, 0x31FF), add(0x3220, 0x33FF, 31);
        add(0x3400, 0x4DFF, 401), add(0x4E00, 0x9FFF, 29), add(0xAC00, 0xD7A3, 97), add(0xE000, 0xF8FF, 301);
        add(0xF900, 0xFAFF, 41), add(0xFB1D, 0xFEFC, 13), add(0xFF01, 0xFFEE, 3), add(0x1F300, 0x1F64F, 31);
        add(0x20000, 0x2A6FF, 997);
        return all;
    }();
    return characters;
}

bool mayJoinTheOneBefore(char32_t c) {
    return (c >= 0x300 && c < 0x346) || (c >= 0x591 && c < 0x5C8) || (c >= 0xBBE && c < 0xBD8) || c == 0x2E5 ||
           c == 0x2E9 || c == 0x3099 || c == 0x309A;
}

bool mayBeJoined(char32_t c) {
    return (c >= 'A' && c < 0x250) || c == 0x254 || c == 0x259 || c == 0x25A || c == 0x28C || c == 0x2E5 ||
           c == 0x2E9 || (c >= 0x5D0 && c < 0x5EB) || (c >= 0xB82 && c < 0xBD8) || (c >= 0x3040 && c < 0x3200);
}

struct Encoding {
    std::string name;
    std::vector<std::u32string> pieces;  ///< characters that it has
    std::vector<std::u32string> pairs;   ///< of which it makes one
};

/// The characters of an encoding; none when the system has no encoder of that name.
std::optional<Encoding> explore(const std::string& name) {
    LibraryConversion encode(name.c_str(), "WCHAR_T");
    if (!encode || !LibraryConversion("WCHAR_T", name.c_str())) return {};
    Encoding made{name, {}, {}};
    std::map<char32_t, std::size_t> sizes;
    for (const char32_t c : sample()) {
        const auto bytes = encode(bytesOf({&c, 1}));
        if (!bytes) continue;
        made.pieces.push_back({c});
        sizes[c] = bytes->size();
    }
    if (sizes.size() > sample().size() * 9 / 10) return made;  // all of Unicode, which knows no pairs
    for (const char32_t mark : sample()) {
        if (!mayJoinTheOneBefore(mark)) continue;
        const auto alone = sizes.find(mark);
        for (const auto& [base, sizeOfBase] : sizes) {
            if (!mayBeJoined(base)) continue;
            const char32_t pair[] = {base, mark};
            const auto bytes = encode(bytesOf({pair, 2}));
            // An escape may have become longer by one.
            if (!bytes || bytes->size() > sizeOfBase + 1) continue;
            if (alone != sizes.end() && bytes->size() >= sizeOfBase + alone->second) continue;
            made.pairs.push_back({base, mark});
        }
    }
    return made;
}

/// One of each set of names for the same encoding.
const std::vector<Encoding>& encodings() {
    static const std::vector<Encoding> all = [] {
        std::string list;
        if (FILE* const names = popen("iconv -l", "r")) {
            char line[4096];
            while (std::fgets(line, sizeof line, names)) list += line;
            pclose(names);
        }
        std::vector<Encoding> found;
        std::map<std::string, bool> known;
        std::istringstream words(list);
        for (std::string name; words >> name;) {
            name.resize(name.find_last_not_of("/,") + 1);
            LibraryConversion encode((name + "//IGNORE").c_str(), "WCHAR_T");
            if (!encode) continue;
            // What it makes of the sample tells encodings apart, and the place of a byte-order mark.
            std::string print;
            for (const char32_t c : sample()) {
                if (c % 7 == 0) print += encode(bytesOf({&c, 1})).value_or("-");
            }
            if (!known.emplace(print, true).second) continue;
            if (auto encoding = explore(name)) found.push_back(std::move(*encoding));
        }
        return found;
    }();
    return all;
}

std::u32string randomText(const Encoding& encoding, std::size_t length, std::mt19937& random) {
    std::u32string text;
    while (text.size() < length) {
        const auto& from = !encoding.pairs.empty() && random() % 3 == 0 ? encoding.pairs : encoding.pieces;
        text += from[random() % from.size()];
        if (&from == &encoding.pairs && random() % 4 == 0) text.pop_back();
        for (std::size_t plain = random() % 64 == 0 ? random() % 100 : 0; plain != 0; --plain) {
            text += encoding.pieces[plain % std::min<std::size_t>(encoding.pieces.size(), 90)];
        }
    }
    return text;
}

/// Bytes that the library can read as a whole, as far as they can be found by chance; may be none.
std::string randomBytes(const Encoding& encoding, std::mt19937& random) {
    LibraryConversion decode("WCHAR_T", encoding.name.c_str());
    std::vector<std::string> pieces;
    for (int byte = 0; byte < 256; ++byte) {
        if (areCharacters(decode(std::string(1, static_cast<char>(byte)))))
            pieces.emplace_back(1, static_cast<char>(byte));
    }
    for (int tries = 0; tries < 400; ++tries) {
        std::string some(2 + random() % 3, '\0');
        for (char& c : some) c = static_cast<char>(random());
        if (areCharacters(decode(some))) pieces.push_back(some);
    }
    std::string bytes;
    for (int tries = 0; tries < 400 && !pieces.empty() && bytes.size() < 900; ++tries) {
        std::string longer = bytes;
        for (int count = tries < 20 ? 40 : 4; count != 0; --count) longer += pieces[random() % pieces.size()];
        if (areCharacters(decode(longer))) bytes = std::move(longer);
    }
    return bytes;
}

class ChunkSource : public IConvSource {
  public:
    ChunkSource(std::string_view text, std::size_t size) : text_(text), size_(size) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        const std::string_view next = text_.substr(std::min(at_, text_.size()), size_);
        at_ += next.size();
        data = next.empty() ? nullptr : reinterpret_cast<const unsigned char*>(next.data());
        length = next.size();
        return length;
    }

  private:
    std::string_view text_;
    std::size_t size_;
    mutable std::size_t at_ = 0;
};

class StringSink : public IConvSink {
  public:
    void operator()(unsigned char* data, unsigned long length) const override {
        all.append(reinterpret_cast<const char*>(data), length);
    }
    mutable std::string all;
};

std::string convert(IConv& converter, std::string_view text, std::size_t chunk) {
    StringSink sink;
    try {
        converter(ChunkSource(text, chunk), sink);
    } catch (const IConvConversionError&) {
        sink.all += "(failed)";
    }
    return sink.all;
}

/// The first chunk size in which `text` does not become `expected`; 0 when there is none.
std::size_t wrongChunk(const char* to, const char* from, std::string_view text, std::string_view expected) {
    IConv converter(to, from);
    if (convert(converter, text, SIZE_MAX) != expected) return SIZE_MAX;
    for (std::size_t chunk = 1; chunk <= 300; chunk += chunk < 72 ? 1 : 19) {
        if (convert(converter, text, chunk) != expected) return chunk;
    }
    return 0;
}

/// How many texts to try: what goes wrong goes wrong at few places, and mostly where characters join.
int textsOf(const Encoding& encoding) { return encoding.pieces.empty() ? 0 : encoding.pairs.empty() ? 1 : 12; }

}  // namespace

TEST(IConvEncodings, AreFound) {
    SKIP_UNDER_THREAD_SANITIZER();
    EXPECT_GE(encodings().size(), 20U);
    EXPECT_TRUE(std::ranges::any_of(encodings(), [](const Encoding& one) { return !one.pairs.empty(); }));
}

TEST(IConvEncodings, AreWrittenAsByOneCallInChunksOfAnySize) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::mt19937 random(7);
    for (const Encoding& encoding : encodings()) {
        for (int text = 0; text < textsOf(encoding); ++text) {
            const std::string wide = bytesOf(randomText(encoding, 600, random));
            const auto expected = LibraryConversion(encoding.name.c_str(), "WCHAR_T")(wide);
            ASSERT_TRUE(expected) << encoding.name;
            EXPECT_EQ(wrongChunk(encoding.name.c_str(), "wchar_t", wide, *expected), 0U) << encoding.name;
        }
    }
}

TEST(IConvEncodings, AreReadAsByOneCallInChunksOfAnySize) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::mt19937 random(8);
    std::size_t read = 0;
    for (const Encoding& encoding : encodings()) {
        for (int text = 0; text < textsOf(encoding); ++text) {
            const auto bytes =
                LibraryConversion(encoding.name.c_str(), "WCHAR_T")(bytesOf(randomText(encoding, 600, random)));
            ASSERT_TRUE(bytes) << encoding.name;
            // The library cannot read all that it writes (ISO-2022-CN).
            const auto expected = LibraryConversion("WCHAR_T", encoding.name.c_str())(*bytes);
            if (!expected) continue;
            ++read;
            EXPECT_EQ(wrongChunk("wchar_t", encoding.name.c_str(), *bytes, *expected), 0U) << encoding.name;
        }
    }
    EXPECT_GT(read, encodings().size() * 9 / 10);
}

TEST(IConvEncodings, AreReadAsByOneCallFromAnyBytesThatTheyHave) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::mt19937 random(9);
    for (const Encoding& encoding : encodings()) {
        const std::string bytes = randomBytes(encoding, random);
        if (bytes.empty()) continue;
        const auto expected = LibraryConversion("WCHAR_T", encoding.name.c_str())(bytes);
        ASSERT_TRUE(expected) << encoding.name;
        EXPECT_EQ(wrongChunk("wchar_t", encoding.name.c_str(), bytes, *expected), 0U) << encoding.name;
    }
}
