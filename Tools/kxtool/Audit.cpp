#include <AuditRecordHeader.h>
#include <KXCoreLib/AuditRecord.h>
#include <StreamInspector.h>
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

#include "AuditText.h"
#include "Command.h"
#include "Progress.h"
#include "PropertyListText.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;
using KXCore::AuditRecordHeader;
using KXCore::StreamInspector;
using KXCore::StreamItem;

constexpr std::size_t kLargestBuffer = std::size_t{1} << 30;
constexpr std::size_t kLargestLine = std::size_t{1} << 24;

using Buffer = std::vector<unsigned char>;

// ---- encode

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

// ---- print

/// Why no record starts at `offset`, which is not the buffer's end.
std::string Damage(const Buffer& buffer, unsigned long offset) {
    using Fault = AuditRecordHeader::Fault;
    const std::span<const unsigned char> rest = std::span(buffer).subspan(offset);
    AuditRecordHeader header;
    switch (header.read(rest)) {
        case Fault::NoMagic:
            return "no record starts there";
        case Fault::CutOff:
            return fmt::format("only {} left, a record has {} or more",
                               Counted(static_cast<long long>(rest.size()), "byte"), sizeof header);
        case Fault::ShortHeader:
            return fmt::format("the record's header has {} bytes of {}", header.headerLength, sizeof header);
        case Fault::ShortRecord:
            return fmt::format("the record has {} bytes, its header {}", header.total, header.headerLength);
        case Fault::RecordGoesPast:
        case Fault::None:
            break;
    }
    return fmt::format("the record has {} bytes, {} are left", header.total, rest.size());
}

/// Prints the wanted ones of the records that stand in `buffer`, and returns why it stopped before the end, if it did.
std::optional<std::string> PrintRecords(const Buffer& buffer, RecordPlace place, const RecordFilter& filter,
                                        RecordFormat format) {
    AuditRecord record;
    long long count = 0;
    while (place.offset != buffer.size()) {
        const unsigned long next = record.read_from_buffer(buffer, place.offset);
        if (next == AuditRecord::kNoRecord) {
            return fmt::format("stopped at byte {} after {}: {}", place.offset, Counted(count, "record"),
                               Damage(buffer, place.offset));
        }
        if (filter.admits(record)) Write(RecordText(record, place, format));
        place.offset = next;
        ++count;
    }
    return std::nullopt;
}

struct AuditOptions {
    std::string file;
    std::string output = "-";
    std::string format = "line";
    std::string since;
    std::string until;
    RecordFilter filter;
};

RecordFormat FormatOf(const std::string& name) {
    return name == "long"   ? RecordFormat::Long
           : name == "json" ? RecordFormat::Json
           : name == "csv"  ? RecordFormat::Csv
                            : RecordFormat::Line;
}

RecordFilter FilterOf(const AuditOptions& options) {
    RecordFilter filter = options.filter;
    const auto timeOf = [](const std::string& text) -> std::optional<std::int64_t> {
        if (text.empty()) return std::nullopt;
        const std::optional<std::int64_t> time = TimeOf(text);
        if (!time)
            throw BadUsage(
                fmt::format("{} is no time: 2026-11-15, 2026-11-15T16:02:44.123, @1794758564", Quoted(text)));
        return time;
    };
    filter.since = timeOf(options.since);
    filter.until = timeOf(options.until);
    return filter;
}

void RunPrint(const AuditOptions& options) {
    const RecordFilter filter = FilterOf(options);
    const RecordFormat format = FormatOf(options.format);
    Input input(options.file);
    const std::string bytes = input.readAll(kLargestBuffer);
    const Buffer buffer(bytes.begin(), bytes.end());
    if (format == RecordFormat::Csv) Write(CsvHeader(false));
    if (const auto damage = PrintRecords(buffer, {}, filter, format)) {
        throw BadInput(fmt::format("{}: {}", input.name(), *damage));
    }
}

// ---- stream

void RunStream(const AuditOptions& options) {
    const RecordFilter filter = FilterOf(options);
    const RecordFormat format = FormatOf(options.format);
    const StreamInspector file(options.file);
    if (format == RecordFormat::Csv) Write(CsvHeader(true));
    long long faulty = 0;
    file.visit(StreamInspector::Order::Ascending, std::nullopt, [&](StreamItem&& item) {
        const Document document = ReadPropertyList(item.bytes);
        std::optional<std::string> damage;
        if (!document.list) {
            damage = document.fault;
        } else if (KindOf(document.list.get()) == Kind::Data) {  // other items are no records, and none of our business
            const CFDataRef data = static_cast<CFDataRef>(document.list.get());
            const Buffer buffer(CFDataGetBytePtr(data), CFDataGetBytePtr(data) + CFDataGetLength(data));
            damage = PrintRecords(buffer, {.item = item.id}, filter, format);
        }
        if (damage) {
            ++faulty;
            fmt::print(stderr, "kxtool audit stream: item {}: {}\n", item.id, *damage);
        }
        return true;
    });
    if (faulty != 0) throw BadInput(fmt::format("{}: {} damaged", options.file, Counted(faulty, "item")));
}

// ---- The command line

void AddFilter(CLI::App* command, const std::shared_ptr<AuditOptions>& options) {
    command->add_option("--format", options->format, "line, long, json or csv")
        ->check(CLI::IsMember({"line", "long", "json", "csv"}));
    const auto addValues = [&](const char* name, auto& values, const char* what) {
        command->add_option(name, values, what)->allow_extra_args(false)->group("Which records; each may be repeated");
    };
    addValues("--type", options->filter.types, "error, warning, info, asuccess, afailure, or the value");
    addValues("--user", options->filter.users, "Name, with or without the domain, SID or UUID");
    addValues("--device", options->filter.devices, "\"USB port\", ..., or the value");
    addValues("--status", options->filter.statuses, "The status");
    command->add_option("--since", options->since, "This time in UTC and later")->group("Which records");
    command->add_option("--until", options->until, "This time in UTC and before")->group("Which records");
}

}  // namespace

void AddAudit(CLI::App& tool) {
    CLI::App* const audit = tool.add_subcommand("audit", "Make and print audit records");
    audit->require_subcommand(1);
    audit->footer(
        "Times are in UTC. Control characters and bytes that are no UTF-8 are printed as \\n, \\t and \\xHH,\n"
        "a backslash as two; json writes as JSON does, with U+FFFD for bytes that are no UTF-8.");
    const auto options = std::make_shared<AuditOptions>();

    CLI::App* const encode = audit->add_subcommand("encode", "Make records of JSON, an object a line");
    options->file = "-";
    encode->add_option("INPUT", options->file, "What to read; '-', the default, is the standard input");
    encode->add_option("OUTPUT", options->output, "The file to write; '-', the default, is the standard output");
    encode->footer(
        "The names are those that print --format json gives; what is left out is empty. A date may be given in\n"
        "seconds since 1970, type and device_type as the library's values.\n\n"
        "Example:\n"
        "  echo '{\"type\": \"afailure\", \"device_type\": \"USB port\", \"pid\": 412}' | kxtool audit encode - "
        "records\n");
    encode->callback([options] { RunEncode(options->file, options->output); });

    CLI::App* const print = audit->add_subcommand("print", "Print records that stand one after another");
    print->add_option("FILE", options->file, "The records; '-' is the standard input")->required();
    AddFilter(print, options);
    print->footer("Example:\n  kxtool audit print records --type afailure --since 2026-11-15 --format csv\n");
    print->callback([options] { RunPrint(*options); });

    CLI::App* const stream = audit->add_subcommand("stream", "Print the records in the data items of a stream");
    stream->add_option("FILE", options->file, "The stream's file")->required();
    AddFilter(stream, options);
    stream->footer("Example:\n  kxtool audit stream agent.stream --user alice --format long\n");
    stream->callback([options] { RunStream(*options); });
}

}  // namespace kxtool
