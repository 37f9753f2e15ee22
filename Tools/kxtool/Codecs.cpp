#include <KXCoreLib/Codecs.h>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "Streams.h"

namespace kxtool {
namespace {

/// How much of the input is worked on at a time: whole groups of three bytes, so that pieces can be encoded one by one.
constexpr std::size_t kPiece = std::size_t{3} << 15;

/// One of the library's codecs. Its text is made of groups of `group` characters.
struct Codec {
    const char* name;
    const char* title;
    std::size_t group;
    decltype(&kx_hex_encode) encode;
    decltype(&kx_hex_decode) decode;
};

constexpr Codec kHex{"hex", "hexadecimal", 2, kx_hex_encode, kx_hex_decode};
constexpr Codec kBase64{"base64", "Base64", 4, kx_base64_encode, kx_base64_decode};

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void Encode(const Codec& codec, Input& input) {
    std::vector<std::byte> bytes(kPiece);
    std::string text(2 * kPiece + 1, '\0');
    bool any = false;
    for (std::size_t count = kPiece; count == kPiece;) {
        count = input.read(bytes);
        any = any || count != 0;
        const ptrdiff_t length = codec.encode(bytes.data(), count, text.data(), text.size());
        Write(std::string_view(text).substr(0, static_cast<std::size_t>(length)));
    }
    if (any) Write("\n");
}

/// Decodes a text that comes in pieces cut anywhere: what is cut off a group waits for the next piece.
class Decoder {
  public:
    Decoder(const Codec& codec, std::string name) : codec_(codec), name_(std::move(name)), bytes_(kPiece) {}

    void run(Input& input) {
        std::vector<char> text(kPiece);
        std::size_t waiting = 0;
        for (bool atEnd = false; !atEnd;) {
            const std::span<char> free = std::span(text).subspan(waiting);
            const std::size_t count = input.read(std::as_writable_bytes(free));
            atEnd = count < free.size();
            const std::string_view all(text.data(), waiting + count);
            const std::size_t whole = atEnd ? all.size() : wholeGroups(all);
            decode(all.substr(0, whole));
            waiting = all.size() - whole;
            std::copy(text.begin() + static_cast<ptrdiff_t>(whole), text.begin() + static_cast<ptrdiff_t>(all.size()),
                      text.begin());
        }
    }

  private:
    /// The length of `text` without the incomplete group at its end. White space counts only between groups.
    std::size_t wholeGroups(std::string_view text) const {
        std::size_t whole = 0;
        for (std::size_t i = 0; i < text.size();) {
            i += IsSpace(text[i]) ? 1 : codec_.group;
            if (i <= text.size()) whole = i;
        }
        return whole;
    }

    void decode(std::string_view text) {
        if (padded_) {
            for (std::size_t i = 0; i < text.size(); ++i) {
                if (!IsSpace(text[i])) refuse(i);
            }
            before_ += text.size();
            return;
        }
        const ptrdiff_t length = codec_.decode(text.data(), text.size(), bytes_.data(), bytes_.size());
        if (length < 0) refuse(faultIn(text));
        const auto count = static_cast<std::size_t>(length);
        Write(std::span<const std::byte>(bytes_).first(count));
        padded_ = codec_.group == 4 && count % 3 != 0;
        before_ += text.size();
    }

    /// Where the first group stands that is bad, or follows a padded one.
    std::size_t faultIn(std::string_view text) {
        bool padded = false;
        for (std::size_t i = 0; i < text.size();) {
            if (IsSpace(text[i])) {
                ++i;
                continue;
            }
            const std::string_view group = text.substr(i, codec_.group);
            if (padded || codec_.decode(group.data(), group.size(), bytes_.data(), bytes_.size()) < 0) return i;
            padded = codec_.group == 4 && group.ends_with('=');
            i += codec_.group;
        }
        return text.size();
    }

    [[noreturn]] void refuse(std::size_t place) const {
        throw BadInput(fmt::format("{}: not {} at byte {}", name_, codec_.title, before_ + place));
    }

    const Codec& codec_;
    std::string name_;
    std::vector<std::byte> bytes_;
    std::size_t before_ = 0;  ///< bytes of the input before the text being decoded
    bool padded_ = false;     ///< the padded group, which ends a Base64 text, has been read
};

void AddCodec(CLI::App& tool, const Codec& codec, const char* example) {
    CLI::App* const command = tool.add_subcommand(codec.name, fmt::format("Bytes to {} text and back", codec.title));
    command->require_subcommand(1);
    const auto addDirection = [&](const char* name, const char* does, auto run) {
        const auto file = std::make_shared<std::string>("-");
        CLI::App* const direction = command->add_subcommand(name, does);
        direction->add_option("FILE", *file, "What to read; '-', the default, is the standard input");
        direction->footer(fmt::format("Works on input of any size.\n\nExample:\n  {}\n", example));
        direction->callback([file, run, &codec] {
            Input input(*file);
            run(codec, input);
        });
    };
    addDirection("encode", "Read bytes, print their text and a newline",
                 [](const Codec& c, Input& input) { Encode(c, input); });
    addDirection("decode", "Read text, with white space anywhere between groups, and print the bytes",
                 [](const Codec& c, Input& input) { Decoder(c, input.name()).run(input); });
    command->footer(fmt::format("Example:\n  {}\n", example));
}

}  // namespace

void AddCodecs(CLI::App& tool) {
    AddCodec(tool, kHex, "printf 'text' | kxtool hex encode | kxtool hex decode");
    AddCodec(tool, kBase64, "kxtool base64 encode picture.png > picture.txt; kxtool base64 decode picture.txt");
}

}  // namespace kxtool
