// Which room of Platform/ may include a private header of which other: the table below is the structure, and any other
// include fails. Headers in angle brackets are the platform's interfaces; a floor may use those of itself and of lower
// floors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Room {
    std::string path;                 ///< below Platform/
    std::vector<std::string> below;   ///< rooms whose private headers it may include
    std::vector<std::string> floors;  ///< folders of interfaces it may include with angle brackets
};

/// Lowest first.
const std::vector<Room> kRooms{
    {"Support", {}, {}},
    {"System", {"Support"}, {"System"}},
    {"CoreFoundation/Object", {"Support"}, {"System", "CoreFoundation"}},
    {"CoreFoundation/String", {"Support", "CoreFoundation/Object"}, {"System", "CoreFoundation"}},
    {"CoreFoundation/Values",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/Collections",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Values"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/PropertyList",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Values",
      "CoreFoundation/Collections"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/Locale",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Values",
      "CoreFoundation/Collections"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/RunLoop",
     {"Support", "System", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Collections"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/Resource",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Values",
      "CoreFoundation/Collections", "CoreFoundation/PropertyList", "CoreFoundation/Locale", "CoreFoundation/RunLoop"},
     {"System", "CoreFoundation"}},
    {"CoreFoundation/XML",
     {"Support", "CoreFoundation/Object", "CoreFoundation/String", "CoreFoundation/Values",
      "CoreFoundation/Collections"},
     {"System", "CoreFoundation"}},
    {"CoreServices", {}, {"System", "CoreFoundation", "CoreServices"}},
    {"SystemConfiguration", {"Support", "CoreFoundation/Object"}, {"System", "CoreFoundation", "SystemConfiguration"}},
};

fs::path platform() { return fs::path(KX_SOURCE_DIR) / "Platform"; }

bool isSource(const fs::path& path) {
    return path.extension() == ".h" || path.extension() == ".cpp" || path.extension() == ".def";
}

/// The room that a path below Platform/ lies in; empty for exported headers.
std::string roomOf(const std::string& path) {
    std::string found;
    for (const Room& room : kRooms)
        if (path.starts_with(room.path + "/") && room.path.size() > found.size()) found = room.path;
    return path.find("/include/") == std::string::npos ? found : "";
}

/// The floor whose interface is included by `<name>`; empty for what is none of the platform's.
std::string floorOf(const std::string& name) {
    if (name == "pthread.h") return "";  // the C library's, with one function more
    for (const char* const floor : {"System", "CoreFoundation", "CoreServices", "SystemConfiguration"})
        if (fs::exists(platform() / floor / "include" / name)) return floor;
    return "";
}

/// "file: include" for each include of the sources of `room` that its row does not allow.
std::vector<std::string> strayIncludes(const Room& room) {
    static const std::regex include(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    const std::set<std::string> below(room.below.begin(), room.below.end());
    const std::set<std::string> floors(room.floors.begin(), room.floors.end());
    std::vector<std::string> stray;
    if (!fs::exists(platform() / room.path)) return stray;
    for (const auto& entry : fs::recursive_directory_iterator(platform() / room.path)) {
        const std::string path = fs::relative(entry.path(), platform()).generic_string();
        if (!isSource(entry.path()) || roomOf(path) != room.path) continue;
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);) {
            std::smatch match;
            if (!std::regex_search(line, match, include)) continue;
            const std::string name = match[2];
            bool allowed = true;
            if (match[1] == "<") {
                const std::string floor = floorOf(name);
                allowed = floor.empty() || floors.contains(floor);
            } else if (!fs::exists(entry.path().parent_path() / name)) {
                const std::string from = roomOf(name);
                allowed = !from.empty() && (from == room.path || below.contains(from));
            }
            if (!allowed) stray.push_back(path + ": " + match.str());
        }
    }
    return stray;
}

TEST(Rooms, IncludeOnlyWhatStandsBelowThem) {
    std::size_t seen = 0;
    for (const Room& room : kRooms) {
        EXPECT_THAT(strayIncludes(room), testing::IsEmpty()) << "of " << room.path;
        ++seen;
    }
    EXPECT_EQ(seen, kRooms.size());
}

TEST(Rooms, StandInTheOrderOfTheirArrows) {
    std::set<std::string> lower;
    for (const Room& room : kRooms) {
        for (const std::string& name : room.below) EXPECT_TRUE(lower.contains(name)) << room.path << " -> " << name;
        lower.insert(room.path);
    }
}

TEST(Rooms, HoldEverySourceOfThePlatform) {
    for (const auto& entry : fs::recursive_directory_iterator(platform())) {
        const std::string path = fs::relative(entry.path(), platform()).generic_string();
        if (!entry.is_regular_file() || !isSource(entry.path()) || path.find("/include/") != std::string::npos)
            continue;
        EXPECT_NE(roomOf(path), "") << path;
    }
}

TEST(Rooms, KnowNoTypeOfAFloorAbove) {
    for (const auto& entry : fs::recursive_directory_iterator(platform() / "CoreFoundation")) {
        if (!isSource(entry.path())) continue;
        std::ifstream file(entry.path());
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        // The comment of registerType shows the name as its example.
        if (entry.path().filename() == "Object.h") continue;
        EXPECT_EQ(text.find("SCDynamicStore"), std::string::npos) << entry.path();
    }
}

}  // namespace
