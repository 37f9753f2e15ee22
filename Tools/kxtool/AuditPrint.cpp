#include <fmt/format.h>

#include <memory>
#include <string>

#include "AuditOptions.h"
#include "AuditText.h"
#include "Command.h"
#include "StreamReading.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;

void RunPrint(const AuditOptions& options, Missing missing) {
    const RecordStyle style = StyleOf(options);
    const RecordFilter checked(options.filter);  // before the file is looked at
    const auto source = OpenRecords(options.file, missing);
    if (!options.count && style.format == RecordFormat::Csv) Write(CsvHeader(source->isStream()));
    const unsigned long long found =
        VisitWanted(options, *source, [&](const AuditRecord& record, const RecordPlace& place) {
            if (!options.count) Write(RecordText(record, place, style));
            return true;
        });
    if (options.count) Write(fmt::format("{}\n", found));
    if (found == 0) throw AnswerIsNo();
}

constexpr const char* kTimes =
    "Times: today, yesterday, monday, now, -1h, -1h30m, \"2 days ago\", 14:00, 2026-11-21, \"2026-11-21 14:00\",\n"
    "2026-11-21T14:00:05.123Z, @1794758564. Those without a zone are local times, or UTC with --utc.\n"
    "In names, * stands for any letters and ? for one. Letter case is nothing.\n"
    "What is damaged is passed over and reported on the standard error.\n"
    "Exit status: 0 found, 1 nothing found, 2 bad usage, 3 the file could not be read.\n\n";

void AddPrinting(CLI::App* command, const std::shared_ptr<AuditOptions>& options, const char* example) {
    MarkAsQuestion(command);
    AddRecordFilter(command, options);
    command->add_option("--format", options->format, "line, long, json or csv")
        ->check(CLI::IsMember({"line", "long", "json", "csv"}));
    command->add_flag("--json", options->json, "The same as --format json");
    command->add_flag("--formula-safe", options->safeCells,
                      "In csv, put ' before a text that a spreadsheet would take for a formula");
    command->add_flag("--count", options->count, "Print only how many records there are");
    command->add_flag("--reverse", options->reverse, "From the last record to the first");
    command->footer(std::string(kTimes) + "Example:\n  " + example + "\n");
}

}  // namespace

void AddAuditPrint(CLI::App* audit) {
    const auto options = std::make_shared<AuditOptions>();

    CLI::App* const print = audit->add_subcommand("print", "Print the records in a record file or a stream");
    print->add_option("FILE", options->file, "Records or a stream; '-' is records on the standard input")->required();
    AddPrinting(print, options, "kxtool audit print records --type afailure --since yesterday --format csv");
    print->callback([options] { RunPrint(*options, Missing::IsRecords); });

    CLI::App* const stream = audit->add_subcommand("stream", "Print the records in a stream, and follow it");
    stream->add_option("FILE", options->file, "The stream's file, or records")->required();
    AddPrinting(stream, options, "kxtool audit stream agent.stream --user alice --follow");
    stream->add_flag("--follow", options->follow,
                     "Print what is there, then what is appended, until interrupted; what came and went unseen is "
                     "told as missed on the standard error");
    stream->add_option("--checkpoint", options->checkpoint,
                       "A file that keeps how far it came: the next time begins after that");
    stream->callback([options] {
        if (!options->follow && options->checkpoint.empty()) return RunPrint(*options, Missing::IsStream);
        if (Exists(options->file) && !IsStreamFile(options->file)) {
            throw BadInput(fmt::format("{}: only a stream can be followed", options->file));
        }
        RunAuditFollow(*options);
    });
}

}  // namespace kxtool
