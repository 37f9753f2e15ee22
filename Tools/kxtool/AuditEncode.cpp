#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "AuditOptions.h"
#include "AuditText.h"
#include "Command.h"
#include "Progress.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;

constexpr std::size_t kLargestLine = std::size_t{1} << 24;

using Buffer = std::vector<unsigned char>;

/// What is written goes to a file or, for "-", to the standard output.
class Output {
  public:
    explicit Output(const std::string& name) : name_(name) {
        if (name != "-") file_.open(name, std::ios::binary | std::ios::trunc);
        if (name != "-" && !file_) throw BadInput(fmt::format("cannot write {}", name));
    }

    void write(const Buffer& bytes) {
        if (name_ == "-") return Write(std::as_bytes(std::span(bytes)));
        file_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    void finish() {
        if (name_ == "-") return;
        file_.close();
        if (!file_) throw BadInput(fmt::format("cannot write {}", name_));
    }

  private:
    std::string name_;
    std::ofstream file_;
};

void RunEncode(const std::string& from, const std::string& to) {
    Input input(from);
    std::error_code absent;  // a file that is not there yet is no other
    if (std::filesystem::equivalent(from, to, absent)) throw BadInput(fmt::format("{} is the input too", to));
    Output output(to);
    AuditRecord record;
    RecordTexts texts;
    Buffer buffer;
    Progress progress;
    for (std::size_t number = 1; const std::optional<std::string> line = input.readLine(kLargestLine); ++number) {
        if (line->find_first_not_of(" \t\r") == std::string::npos) continue;
        try {
            ReadRecord(nlohmann::json::parse(*line), record, texts);
        } catch (const nlohmann::json::exception& error) {
            const std::string_view text = error.what();  // "[json.exception.parse_error.101] parse error at ..."
            throw BadInput(fmt::format("{}:{}: {}", input.name(), number, text.substr(text.find("] ") + 2)));
        } catch (const BadInput& error) {
            throw BadInput(fmt::format("{}:{}: {}", input.name(), number, error.what()));
        }
        buffer.clear();
        record.append_to_buffer(buffer);
        output.write(buffer);
        progress.advance();
    }
    output.finish();
}

struct EncodeOptions {
    std::string input = "-";
    std::string output = "-";
};

}  // namespace

void AddAuditEncode(CLI::App* audit) {
    const auto options = std::make_shared<EncodeOptions>();
    CLI::App* const encode = audit->add_subcommand("encode", "Make records of JSON, an object a line");
    encode->add_option("INPUT", options->input, "What to read; '-', the default, is the standard input");
    encode->add_option("OUTPUT", options->output, "The file to write; '-', the default, is the standard output");
    encode->footer(
        "The names are those that print --format json gives; what is left out is empty. A date may be given in\n"
        "seconds since 1970, type and device_type as the library's values.\n\n"
        "Example:\n"
        "  echo '{\"type\": \"afailure\", \"device_type\": \"USB port\", \"pid\": 412}' | kxtool audit encode - "
        "records\n");
    encode->callback([options] { RunEncode(options->input, options->output); });
}

}  // namespace kxtool
