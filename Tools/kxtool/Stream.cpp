#include <StreamFollower.h>
#include <StreamInspector.h>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "FileWatch.h"
#include "Interruption.h"
#include "Progress.h"
#include "PropertyListText.h"
#include "StreamReading.h"
#include "StreamRescue.h"
#include "StreamWriter.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::StreamError;
using KXCore::StreamFollower;
using KXCore::StreamInspector;
using KXCore::StreamItem;
using KXCore::CoreFoundation::PropertyListRef;

constexpr std::size_t kLargestItem = std::size_t{1} << 28;

/// The largest item that a cursor of the library returns.
constexpr std::size_t kLargestReturned = 260'080;

// ---- append

[[noreturn]] void RefuseItem(const std::string& where, std::string_view why) {
    throw BadInput(fmt::format("{}: {}", where, why));
}

PropertyListRef ListOfXml(const std::string& bytes, const std::string& where) {
    Document document = ReadPropertyList(bytes);
    if (!document.list) RefuseItem(where, document.fault);
    return std::move(document.list);
}

/// JSON, or XML when it begins with '<'.
PropertyListRef ListOfLine(const std::string& line, const std::string& where) {
    if (line[line.find_first_not_of(" \t\r")] == '<') return ListOfXml(line, where);
    try {
        return PropertyListOfJson(nlohmann::json::parse(line));
    } catch (const nlohmann::json::exception& error) {
        const std::string_view text = error.what();  // "[json.exception.parse_error.101] parse error at ..."
        RefuseItem(where, text.substr(text.find("] ") + 2));
    } catch (const BadInput& error) {
        RefuseItem(where, error.what());
    }
}

void Append(StreamWriter& writer, CFPropertyListRef item, std::size_t size, const std::string& where) {
    constexpr std::size_t kSpread = 64;  // how much longer XML may be than JSON
    if (size > kLargestReturned / kSpread && StoredForm(item).size() > kLargestReturned) {
        fmt::print(stderr, "kxtool stream append: warning: {}: readers pass over items of more than {} bytes\n", where,
                   kLargestReturned);
    }
    try {
        writer.append(item, size);
    } catch (const BadInput&) {
        throw;
    } catch (const StreamError&) {
        throw;
    } catch (const std::exception& error) {
        RefuseItem(where, error.what());
    }
}

void AppendLines(StreamWriter& writer, Input& input) {
    Progress progress;
    for (std::size_t number = 1;; ++number) {
        const std::optional<std::string> line = input.readLine(kLargestItem);
        if (!line) return writer.sync();
        if (line->find_first_not_of(" \t\r") == std::string::npos) continue;
        const std::string where = fmt::format("{}:{}", input.name(), number);
        try {
            Append(writer, ListOfLine(*line, where).get(), line->size(), where);
        } catch (const std::runtime_error& error) {  // of the item or of the stream
            writer.sync();
            throw BadInput(fmt::format("{} ({} before it appended)", error.what(), Counted(writer.stored(), "item")));
        }
        progress.advance();
    }
}

void RunAppend(const std::string& path, const std::vector<std::string>& files, bool json) {
    struct Item {
        PropertyListRef list;
        std::size_t size;
        std::string where;
    };
    // All are read before the first is appended, so that a bad one leaves the stream as it was.
    std::vector<Item> items;
    for (const std::string& file : files) {
        if (file == "-") continue;
        Input input(file);
        const std::string bytes = input.readAll(kLargestItem);
        items.push_back({ListOfXml(bytes, input.name()), bytes.size(), input.name()});
    }
    StreamWriter writer(path, StreamWriter::Missing::Create);
    std::size_t next = 0;
    for (const std::string& file : files) {
        if (file == "-") {
            Input input(file);
            AppendLines(writer, input);
        } else {
            Append(writer, items[next].list.get(), items[next].size, items[next].where);
            ++next;
        }
    }
    writer.sync();
    if (json) return Write(JsonText({{"appended", writer.stored()}, {"last", writer.lastID()}}) + "\n");
    if (writer.stored() == 0) return;
    Write(writer.stored() == 1 ? fmt::format("appended item {}\n", writer.lastID())
                               : fmt::format("appended {} items, the last as {}\n", writer.stored(), writer.lastID()));
}

// ---- list, follow

/// Prints an item, or tells on the standard error why it cannot be; whether it could.
bool PrintItem(const StreamItem& item, const std::string& format, const char* command) {
    const Document document = ReadPropertyList(item.bytes);
    std::string fault = document.fault;
    try {
        if (document.list && format == "json") {
            Write(JsonText({{"id", item.id}, {"item", JsonOf(document.list.get())}}) + "\n");
        } else if (document.list && format == "xml") {
            Write(fmt::format("<!-- {} -->{}\n", item.id, XmlLine(document.list.get())));
        } else if (document.list) {
            Show(OutlineOf(document.list.get(), fmt::format("{}", item.id)));
        }
    } catch (const BadInput& error) {
        fault = error.what();
    }
    if (fault.empty()) return true;
    fmt::print(stderr, "kxtool stream {}: item {}: {}\n", command, item.id, fault);
    return false;
}

struct ListOptions {
    std::string file;
    std::optional<long long> from;
    std::optional<long long> limit;
    bool back = false;
    std::string format = "text";
    bool json = false;

    std::string form() const { return json ? "json" : format; }
};

void RunList(const ListOptions& options) {
    long long faulty = 0;
    long long left = options.limit.value_or(-1);
    const bool shows = left != 0;
    const long long unreadable = VisitStream(
        options.file, !options.back,
        [&](StreamItem&& item) {
            if (!shows) return false;
            faulty += PrintItem(item, options.form(), "list") ? 0 : 1;
            return --left != 0;
        },
        options.from);
    faulty += unreadable;
    if (faulty != 0) throw BadInput(fmt::format("{}: {} cannot be shown", options.file, Counted(faulty, "item")));
}

void RunFollow(const ListOptions& options) {
    constexpr int kRetryMilliseconds = 100;
    const Interruption interruption;
    FileWatch watch(options.file);
    StreamFollower follower(options.file, options.from);
    bool told = false;  // what it waits for
    int time = 0;
    do {
        try {
            follower.poll([&](StreamItem&& item) {
                PrintItem(item, options.form(), "follow");
                return !interruption.wait(0);
            });
            Flush();
            told = false;
            time = -1;
        } catch (const StreamError& error) {
            if (!error.passes()) throw;
            if (!std::exchange(told, true)) fmt::print(stderr, "kxtool stream follow: {}; waiting\n", error.what());
            time = kRetryMilliseconds;
        }
    } while (watch.wait(interruption, time) != FileWatch::Event::Interrupted);
}

// ---- discard, info, verify, compact

void RunDiscard(const std::string& path, long long through, bool json) {
    StreamWriter writer(path, StreamWriter::Missing::Refuse);
    const long long count = writer.discardThrough(through);
    Write(json ? JsonText({{"discarded", count}}) + "\n" : fmt::format("discarded {}\n", Counted(count, "item")));
}

void RunInfo(const std::string& path, bool json) {
    StreamInspector::Summary summary;
    WithStream(path, [&](const StreamInspector& file) { summary = file.summary(); });
    if (json) {
        return Write(JsonText({{"first", summary.first.value_or(0)},
                               {"last", summary.last.value_or(0)},
                               {"items", summary.count},
                               {"itemBytes", summary.bytes},
                               {"fileBytes", summary.fileBytes},
                               {"freeBytes", summary.freeBytes}}) +
                     "\n");
    }
    const auto id = [](std::optional<long long> value) { return value ? fmt::format("{}", *value) : "none"; };
    Write(fmt::format(
        "first id    {}\nlast id     {}\nitems       {}\nitem bytes  {}\nfile bytes  {}\nfree bytes  {}\n",
        id(summary.first), id(summary.last), summary.count, summary.bytes, summary.fileBytes, summary.freeBytes));
}

/// What reading every item came to.
struct Verdict {
    struct Fault {
        long long id;
        std::string text;
    };
    long long count = 0;
    std::vector<Fault> faults;
};

Verdict Verify(const StreamInspector& file) {
    Verdict verdict;
    std::string where = "at its beginning";
    try {
        const std::optional<long long> first = file.firstID();
        Progress progress(first && *first > 0 ? *file.lastID() - *first + 1 : 0);
        file.visit(StreamInspector::Order::Ascending, std::nullopt, [&](StreamItem&& item) {
            const Document document = ReadPropertyList(item.bytes);
            if (!document.list) {
                verdict.faults.push_back({item.id, document.fault});
            } else if (item.bytes.size() > kLargestReturned) {
                verdict.faults.push_back({item.id, fmt::format("{} bytes, readers pass over more than {}",
                                                               item.bytes.size(), kLargestReturned)});
            }
            ++verdict.count;
            where = fmt::format("after item {}", item.id);
            progress.advance();
            return true;
        });
    } catch (const StreamError& error) {
        if (error.passes()) throw;
        throw BadInput(fmt::format("{} ({})", error.what(), where));
    }
    return verdict;
}

void RunVerify(const std::string& path, bool json) {
    Verdict verdict;
    WithStream(path, [&](const StreamInspector& file) { verdict = Verify(file); });
    if (json) {
        nlohmann::ordered_json faults = nlohmann::ordered_json::array();
        for (const Verdict::Fault& fault : verdict.faults) faults.push_back({{"id", fault.id}, {"fault", fault.text}});
        Write(JsonText({{"items", verdict.count}, {"faults", faults}}) + "\n");
    } else {
        for (const Verdict::Fault& fault : verdict.faults) Show(fmt::format("item {}: {}\n", fault.id, fault.text));
    }
    if (!verdict.faults.empty()) {
        throw BadInput(
            fmt::format("{}: {} of {} cannot be read", path, verdict.faults.size(), Counted(verdict.count, "item")));
    }
    if (!json) Show(fmt::format("{}: OK, {}\n", path, Counted(verdict.count, "item")));
}

// ---- The command line

CLI::App* AddSubcommand(CLI::App* stream, const std::shared_ptr<ListOptions>& options, const char* name,
                        const char* does, const char* example) {
    CLI::App* const command = stream->add_subcommand(name, does);
    command->add_option("FILE", options->file, "The stream's file")->required();
    command->footer(fmt::format("Example:\n  {}\n", example));
    return command;
}

void AddFormat(CLI::App* command, const std::shared_ptr<ListOptions>& options) {
    command->add_option("--format", options->format, "text, json or xml; json and xml print one line an item")
        ->check(CLI::IsMember({"text", "json", "xml"}));
    command->add_flag("--json", options->json, "The same as --format json");
}

}  // namespace

void AddStream(CLI::App& tool) {
    CLI::App* const stream = tool.add_subcommand("stream", "Look into stream files, append to them and discard");
    stream->require_subcommand(1);
    stream->footer(
        "Only append, recover and backup make a file, and no command deletes one. A file that is no stream is refused "
        "as it is.");
    const auto options = std::make_shared<ListOptions>();
    const auto json = std::make_shared<bool>(false);

    const auto lists = std::make_shared<std::vector<std::string>>();
    CLI::App* const append = AddSubcommand(stream, options, "append", "Append items, and make the stream if needed",
                                           "echo '{\"user\": \"alice\"}' | kxtool stream append agent.stream");
    append->add_option("PLIST", *lists,
                       "Property lists, an item each; '-', the default, is the standard input: an item a line, JSON or "
                       "XML");
    append->add_flag("--json", *json, "Print the result as JSON");
    append->callback([options, lists, json] {
        RunAppend(options->file, lists->empty() ? std::vector<std::string>{"-"} : *lists, *json);
    });

    CLI::App* const list =
        AddSubcommand(stream, options, "list", "Print items", "kxtool stream list agent.stream --back --limit 10");
    list->add_option("--from", options->from, "The id to begin at")->check(CLI::NonNegativeNumber);
    list->add_flag("--back", options->back, "From the last item to the first");
    list->add_option("--limit", options->limit, "How many items to print at most")->check(CLI::NonNegativeNumber);
    AddFormat(list, options);
    list->callback([options] { RunList(*options); });

    CLI::App* const follow = AddSubcommand(stream, options, "follow", "Print what is appended, until interrupted",
                                           "kxtool stream follow agent.stream --format json");
    follow->add_option("--from", options->from, "The id to begin at; otherwise after the last item")
        ->check(CLI::NonNegativeNumber);
    AddFormat(follow, options);
    follow->callback([options] { RunFollow(*options); });

    const auto through = std::make_shared<long long>(0);
    CLI::App* const discard = AddSubcommand(stream, options, "discard", "Delete the oldest items",
                                            "kxtool stream discard agent.stream --through 1000");
    discard->add_option("--through", *through, "The last id to delete")->required()->check(CLI::NonNegativeNumber);
    discard->add_flag("--json", *json, "Print it as JSON");
    discard->callback([options, through, json] { RunDiscard(options->file, *through, *json); });

    CLI::App* const info = AddSubcommand(stream, options, "info", "Print what the stream holds and how large it is",
                                         "kxtool stream info agent.stream");
    info->add_flag("--json", *json, "Print it as JSON");
    info->callback([options, json] { RunInfo(options->file, *json); });

    CLI::App* const verify =
        AddSubcommand(stream, options, "verify", "Read every item and name those that readers pass over",
                      "kxtool stream verify agent.stream");
    verify->add_flag("--json", *json, "Print it as JSON");
    verify->callback([options, json] { RunVerify(options->file, *json); });

    AddStreamRescue(stream);
}

}  // namespace kxtool
