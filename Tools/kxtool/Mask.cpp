#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Command.h"
#include "Names.h"
#include "Streams.h"

namespace kxtool {
namespace {

struct MaskOptions {
    std::string expression;
    std::string names;
    bool json = false;
};

void RunMask(const MaskOptions& options) {
    const std::vector<Name> names = ReadNames(options.names);
    const std::uint64_t value = Evaluate(options.expression, names, "mask");
    std::uint64_t rest = 0;
    std::vector<std::string> found = NamesOf(value, names, rest);
    const std::string hex = fmt::format("{:#x}", value);
    if (options.json) {
        const nlohmann::ordered_json result{
            {"hex", hex}, {"decimal", value}, {"names", found}, {"unnamed", fmt::format("{:#x}", rest)}};
        Write(result.dump() + "\n");
        return;
    }
    if (rest != 0) found.push_back(fmt::format("{:#x}", rest));
    Write(fmt::format("hex      {}\ndecimal  {}\nnames    {}\n", hex, value, fmt::join(found, " | ")));
}

}  // namespace

void AddMask(CLI::App& tool) {
    const auto options = std::make_shared<MaskOptions>();
    CLI::App* const command = tool.add_subcommand("mask", "Evaluate an access-mask expression");
    command
        ->add_option("EXPR", options->expression, "The expression; put -- before it if it begins with - and no digit")
        ->required();
    command->add_option("--names", options->names, kNamesHelp);
    command->add_flag("--json", options->json, "Print the result as JSON");
    command->footer(
        "Prints the mask in hexadecimal and decimal, and the names that make it up;\n"
        "bits without a name follow them in hexadecimal.\n\n"
        "Example:\n"
        "  kxtool mask \"read | ~write & 7\" --names read=1,write=2,execute=4\n");
    command->callback([options] { RunMask(*options); });
}

}  // namespace kxtool
