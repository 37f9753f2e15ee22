#include <KXCoreLib/IConv.h>
#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"
#include "PropertyListText.h"
#include "Streams.h"
#include "StrictConverter.h"

namespace kxtool {
namespace {

constexpr std::size_t kInputPiece = std::size_t{1} << 16;

struct IconvOptions {
    std::string from;
    std::string to;
    std::string file = "-";
    bool strict = false;
    bool list = false;
    bool json = false;
};

/// Hands out a file piece by piece, to the converter and before it to the check.
class InputSource : public KXCore::IConvSource {
  public:
    InputSource(Input& input, StrictConverter& check) : input_(input), check_(check), piece_(kInputPiece) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        length = input_.read(piece_);
        check_.add(std::span(piece_).first(length));
        data = length != 0 ? reinterpret_cast<const unsigned char*>(piece_.data()) : nullptr;
        return length;
    }

  private:
    Input& input_;
    StrictConverter& check_;
    mutable std::vector<std::byte> piece_;
};

class OutputSink : public KXCore::IConvSink {
  public:
    void operator()(unsigned char* data, unsigned long length) const override {
        Write(std::as_bytes(std::span(data, length)));
    }
};

std::unique_ptr<KXCore::IConv> Open(const IconvOptions& options) {
    try {
        return std::make_unique<KXCore::IConv>(options.to.c_str(), options.from.c_str());
    } catch (const KXCore::IConvOpenError&) {
        throw BadUsage(fmt::format("no conversion from {} to {}", Quoted(options.from), Quoted(options.to)));
    }
}

void RunStrictly(const IconvOptions& options, Input& input) {
    using Fault = StrictConverter::Fault;
    std::string why;
    StrictConverter converter(
        options.from, options.to,
        [&](Fault fault, unsigned long long offset, std::size_t) {
            const std::string what = fault == Fault::Invalid   ? fmt::format("it is no {}", options.from)
                                     : fault == Fault::Lacking ? fmt::format("{} lacks the character", options.to)
                                                               : "it ends inside a character";
            why = fmt::format("{}: byte {}: {}", input.name(), offset, what);
            return false;
        },
        [](std::string_view text) { Write(std::as_bytes(std::span(text))); });
    std::vector<std::byte> piece(kInputPiece);
    for (std::size_t count = piece.size(); count == piece.size() && why.empty();) {
        count = input.read(piece);
        converter.add(std::span(piece).first(count));
    }
    converter.finish();
    if (!why.empty()) throw BadInput(why);
}

/// The library drops what it cannot convert; the same text is looked through beside it to say how much that was.
void RunDropping(const IconvOptions& options, Input& input) {
    const auto converter = Open(options);
    unsigned long long invalid = 0;
    unsigned long long lacking = 0;
    StrictConverter check(
        options.from, options.to,
        [&](StrictConverter::Fault fault, unsigned long long, std::size_t length) {
            if (fault == StrictConverter::Fault::Invalid) invalid += length;
            if (fault == StrictConverter::Fault::Lacking) ++lacking;
            return true;
        },
        nullptr);
    bool isCutOff = false;
    try {
        (*converter)(InputSource(input, check), OutputSink());
        check.finish();
    } catch (const KXCore::IConvConversionError&) {
        isCutOff = true;
    }
    if (invalid + lacking != 0) {
        const std::string bytes = Counted(static_cast<long long>(invalid), "invalid byte");
        const std::string characters =
            fmt::format("{} that {} lacks", Counted(static_cast<long long>(lacking), "character"), options.to);
        Warn(fmt::format("{}: dropped {}{}{}", input.name(), invalid != 0 ? bytes : "",
                         invalid != 0 && lacking != 0 ? " and " : "", lacking != 0 ? characters : ""));
    }
    if (isCutOff) throw BadInput(fmt::format("{}: ends inside a character", input.name()));
}

void RunList(bool json) {
    const std::vector<std::string> names = KnownEncodings();
    if (json) return Write(JsonText(nlohmann::ordered_json(names)) + "\n");
    for (const std::string& name : names) Write(name + "\n");
}

void RunIconv(const IconvOptions& options) {
    if (options.list) return RunList(options.json);
    if (options.from.empty()) throw BadUsage("--from is required");
    if (options.to.empty()) throw BadUsage("--to is required");
    if (options.json) throw BadUsage("--json is of --list");
    Open(options);  // before the file is looked at
    Input input(options.file);
    if (options.strict) {
        RunStrictly(options, input);
    } else {
        RunDropping(options, input);
    }
}

}  // namespace

void AddIconv(CLI::App& tool) {
    const auto options = std::make_shared<IconvOptions>();
    CLI::App* const command = tool.add_subcommand("iconv", "Convert text from one encoding to another");
    command->add_option("-f,--from", options->from, "The encoding of the input");
    command->add_option("-t,--to", options->to, "The encoding of the output");
    command->add_option("FILE", options->file, "What to read; '-', the default, is the standard input");
    command->add_flag("--strict", options->strict, "End at the first byte that cannot be converted, and say where");
    command->add_flag("--list", options->list, "Print the encodings that there are");
    command->add_flag("--json", options->json, "With --list: as JSON");
    command->footer(
        "Invalid input, and characters that the output's encoding lacks, are left out and counted\n"
        "on the standard error.\n"
        "Encodings are what the system's iconv knows, and \"char\" (the locale's), \"wchar_t\"\n"
        "and \"utf8-mac\" (the decomposed UTF-8 of file names). Works on input of any size.\n\n"
        "Example:\n"
        "  printf 'Gr\\303\\274\\303\\237e' | kxtool iconv -f UTF-8 -t UTF-16LE | kxtool hex encode\n");
    command->callback([options] { RunIconv(*options); });
}

}  // namespace kxtool
