#include <KXCoreLib/IConv.h>
#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Command.h"
#include "Streams.h"

namespace kxtool {
namespace {

constexpr std::size_t kInputPiece = std::size_t{1} << 16;

struct IconvOptions {
    std::string from;
    std::string to;
    std::string file = "-";
};

/// Hands out a file piece by piece.
class InputSource : public KXCore::IConvSource {
  public:
    explicit InputSource(Input& input) : input_(input), piece_(kInputPiece) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        length = input_.read(piece_);
        data = length != 0 ? reinterpret_cast<const unsigned char*>(piece_.data()) : nullptr;
        return length;
    }

  private:
    Input& input_;
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

void RunIconv(const IconvOptions& options) {
    const auto converter = Open(options);
    Input input(options.file);
    try {
        (*converter)(InputSource(input), OutputSink());
    } catch (const KXCore::IConvConversionError&) {
        throw BadInput(fmt::format("{}: ends inside a character", input.name()));
    }
}

}  // namespace

void AddIconv(CLI::App& tool) {
    const auto options = std::make_shared<IconvOptions>();
    CLI::App* const command = tool.add_subcommand("iconv", "Convert text from one encoding to another");
    command->add_option("-f,--from", options->from, "The encoding of the input")->required();
    command->add_option("-t,--to", options->to, "The encoding of the output")->required();
    command->add_option("FILE", options->file, "What to read; '-', the default, is the standard input");
    command->footer(
        "Invalid input, and characters that the output's encoding lacks, are left out.\n"
        "Encodings are what the system's iconv knows, and \"char\" (the locale's), \"wchar_t\"\n"
        "and \"utf8-mac\" (the decomposed UTF-8 of file names). Works on input of any size.\n\n"
        "Example:\n"
        "  printf 'Gr\\303\\274\\303\\237e' | kxtool iconv -f UTF-8 -t UTF-16LE | kxtool hex encode\n");
    command->callback([options] { RunIconv(*options); });
}

}  // namespace kxtool
