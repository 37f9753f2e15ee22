#include "StreamRescue.h"

#include <StreamBuilder.h>
#include <StreamInspector.h>
#include <StreamMaintenance.h>
#include <StreamSalvage.h>
#include <StreamSnapshot.h>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "FileUsers.h"
#include "Progress.h"
#include "PropertyListText.h"
#include "StreamReading.h"
#include "StreamWriter.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::StreamBuilder;
using KXCore::StreamError;
using KXCore::StreamInspector;
using KXCore::StreamMaintenance;
using KXCore::StreamSalvage;
using KXCore::StreamSnapshot;

struct RescueOptions {
    std::string file;
    std::string to;
    bool json = false;
    bool stopped = false;
};

// ---- recover

/// A copy in which a change that was left unfinished is taken back, where there is one and it can be.
std::unique_ptr<StreamSnapshot> TakenBack(const std::string& path) {
    if (!Exists(path + "-journal")) return nullptr;
    try {
        return std::make_unique<StreamSnapshot>(path);
    } catch (const StreamError&) {
        return nullptr;
    }
}

void RunRecover(const RescueOptions& options) {
    if (Exists(options.to)) throw BadInput(fmt::format("{} is there already", options.to));
    const std::unique_ptr<StreamSnapshot> takenBack = TakenBack(options.file);
    const StreamSalvage salvage(takenBack ? takenBack->inspector().path() : options.file);
    StreamBuilder stream(options.to, options.file);
    long long saved = 0;
    long long damaged = 0;
    Progress progress(static_cast<long long>(salvage.places().size()));
    for (const StreamSalvage::Place& place : salvage.places()) {
        const std::optional<std::string> bytes = salvage.read(place);
        const std::string fault = bytes ? ReadPropertyList(*bytes).fault : "a page that it goes on in is damaged";
        progress.advance();
        if (fault.empty()) {
            stream.add(place.id, *bytes);
            ++saved;
        } else {
            Warn(fmt::format("{}: item {}: {}", options.file, place.id, fault));
            ++damaged;
        }
    }
    stream.finish();
    const long long lost = damaged + salvage.loss().items;
    const bool isExact = salvage.loss().isExact;
    if (options.json) {
        Write(JsonText({{"saved", saved}, {"lost", lost}, {"exact", isExact}}) + "\n");
    } else {
        Write(fmt::format("saved {}\n", Counted(saved, "item")));
    }
    if (lost != 0) {
        throw BadInput(fmt::format("{}: {}{} not saved", options.file, isExact ? "" : "about ",
                                   lost == 1 ? "1 item was" : fmt::format("{} items were", lost)));
    }
}

// ---- backup

void RunBackup(const RescueOptions& options) {
    if (Exists(options.to)) throw BadInput(fmt::format("{} is there already", options.to));
    StreamInspector(options.file).copyTo(options.to);
    const StreamInspector::Summary summary = StreamInspector(options.to).summary();
    if (options.json) {
        Write(JsonText({{"items", summary.count}, {"fileBytes", summary.fileBytes}}) + "\n");
    } else {
        Write(fmt::format("copied {}, {} bytes\n", Counted(summary.count, "item"), summary.fileBytes));
    }
}

// ---- compact

[[noreturn]] void RefuseToLock(const std::string& path) {
    throw BadInput(
        fmt::format("{}: compacting would keep it locked for longer than an agent waits; stop what uses it, and add "
                    "--stopped",
                    path));
}

/// An agent waits a second for a stream that is locked; one that starts then and waits in vain deletes the file. So the
/// file is locked for a fraction of that, or only when somebody says that nothing uses it and nothing is seen to.
void RunCompact(const RescueOptions& options) {
    const auto refuseUsers = [&] {
        const std::optional<long> user = OtherUserOf(options.file);
        if (user) throw BadInput(fmt::format("{}: process {} has it open", options.file, *user));
    };
    long long before = 0;
    long long after = 0;
    {
        const auto owner = OwnForAMoment(options.file);
        const StreamMaintenance stream(options.file);
        before = stream.inspector().summary().fileBytes;
        if (!options.stopped) {
            if (!stream.compactBriefly()) RefuseToLock(options.file);
        } else {
            refuseUsers();
            stream.compact();
        }
        after = stream.inspector().summary().fileBytes;
    }
    if (options.json) {
        Write(JsonText({{"fileBytes", after}, {"before", before}}) + "\n");
    } else {
        Write(fmt::format("{} bytes, {} before\n", after, before));
    }
}

CLI::App* AddCommand(CLI::App* stream, const std::shared_ptr<RescueOptions>& options, const char* name,
                     const char* does) {
    CLI::App* const command = stream->add_subcommand(name, does);
    command->add_option("FILE", options->file, "The stream's file")->required();
    command->add_flag("--json", options->json, "Print the result as JSON");
    return command;
}

}  // namespace

void AddStreamRescue(CLI::App* stream) {
    const auto options = std::make_shared<RescueOptions>();

    CLI::App* const recover = AddCommand(stream, options, "recover", "Save the readable items of a damaged stream");
    recover->get_option("FILE")->description("The damaged file, which is only read");
    recover->add_option("NEW", options->to, "The stream to make; nothing may stand there")->required();
    recover->footer(
        "Every item that can be read is saved under its id. Exit status: 0 all were saved, 1 some were not: then\n"
        "their number is told, and each whose bytes are damaged is named.\n\n"
        "Example:\n"
        "  kxtool stream recover agent.stream saved.stream\n");
    recover->callback([options] { RunRecover(*options); });

    CLI::App* const backup = AddCommand(stream, options, "backup", "Copy a stream as it is at one moment");
    backup->add_option("NEW", options->to, "The copy to make; nothing may stand there")->required();
    backup->footer(
        "An agent may go on meanwhile: it is kept waiting only while some pages are read at a time.\n\n"
        "Example:\n"
        "  kxtool stream backup agent.stream agent-backup.stream\n");
    backup->callback([options] { RunBackup(*options); });

    CLI::App* const compact = AddCommand(stream, options, "compact", "Give the space of discarded items back");
    compact->add_flag("--stopped", options->stopped,
                      "Nothing uses the stream: it may be locked for as long as it takes");
    compact->footer(
        "A running agent is not endangered: the stream is locked for less time than it waits, or not at all. A stream\n"
        "that takes longer is left as it is, until the agent is stopped and --stopped says so.\n\n"
        "Example:\n"
        "  kxtool stream compact agent.stream\n");
    compact->callback([options] { RunCompact(*options); });
}

}  // namespace kxtool
