// How the name service is asked, with functions of this test in its place.

#include "NameLookUp.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace KXCore;

struct Entry {
    const char* name;
};

/// What the name service does; it is called by a plain function, so it stands here.
std::function<int(int key, Entry* entry, char* room, std::size_t size, Entry** found)> service;

int askService(int key, Entry* entry, char* room, std::size_t size, Entry** found) {
    return service(key, entry, room, size, found);
}

struct Outcome {
    bool isFound = false;
    int error = -1;
    std::vector<std::string> used;
};

Outcome lookUp(int key) {
    Outcome outcome;
    outcome.isFound = LookUpName(
        askService, key, [&](const Entry& entry) { outcome.used.emplace_back(entry.name); }, outcome.error);
    return outcome;
}

}  // namespace

TEST(NameLookUp, UsesTheEntryThatIsFound) {
    service = [](int key, Entry* entry, char*, std::size_t, Entry** found) {
        *entry = {key == 7 ? "seven" : "other"};
        *found = entry;
        return 0;
    };
    const Outcome outcome = lookUp(7);
    EXPECT_TRUE(outcome.isFound);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_EQ(outcome.used, std::vector<std::string>{"seven"});
}

TEST(NameLookUp, ReportsWithoutAnErrorThatThereIsNoEntry) {
    service = [](int, Entry*, char*, std::size_t, Entry**) { return 0; };
    const Outcome outcome = lookUp(1);
    EXPECT_FALSE(outcome.isFound);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_TRUE(outcome.used.empty());
}

TEST(NameLookUp, UsesNoEntryThatComesWithAnError) {
    service = [](int, Entry* entry, char*, std::size_t, Entry** found) {
        *entry = {"half"};
        *found = entry;
        return EIO;
    };
    const Outcome outcome = lookUp(1);
    EXPECT_FALSE(outcome.isFound);
    EXPECT_EQ(outcome.error, EIO);
    EXPECT_TRUE(outcome.used.empty());
}

TEST(NameLookUp, AsksAgainWhenASignalCameBetween) {
    int calls = 0;
    service = [&](int, Entry* entry, char*, std::size_t size, Entry** found) {
        EXPECT_EQ(size, 1024u);
        if (++calls < 3) return EINTR;
        *entry = {"late"};
        *found = entry;
        return 0;
    };
    EXPECT_EQ(lookUp(1).used, std::vector<std::string>{"late"});
    EXPECT_EQ(calls, 3);
}

TEST(NameLookUp, DoublesTheRoomForALongEntryUpToTheMost) {
    std::vector<std::size_t> sizes, expected;
    service = [&](int, Entry*, char* room, std::size_t size, Entry**) {
        room[size - 1] = 'x';
        sizes.push_back(size);
        return ERANGE;
    };
    const Outcome outcome = lookUp(1);
    for (std::size_t size = 1024; size <= kLargestNameEntry; size *= 2) expected.push_back(size);
    EXPECT_EQ(sizes, expected);
    EXPECT_FALSE(outcome.isFound);
    EXPECT_EQ(outcome.error, ERANGE);
}
