#include "URLTesting.h"

#include "TemporaryFolder.h"

#include "Platform/CoreFoundation/TestAllocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace URLTesting;
using testing::ElementsAre;

using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

Holder<CFURLEnumeratorRef> walk(CFURLRef directory, CFOptionFlags options, CFArrayRef keys = nullptr) {
    return hold(CFURLEnumeratorCreateForDirectoryURL(nullptr, directory, options, keys));
}

/// What a walk gives: "level path", with "after" before a directory that comes after its contents, and "error path".
std::vector<std::string> all(CFURLEnumeratorRef enumerator, const std::string& below) {
    std::vector<std::string> found;
    for (;;) {
        CFURLRef url = nullptr;
        CFErrorRef error = nullptr;
        const CFURLEnumeratorResult result = CFURLEnumeratorGetNextURL(enumerator, &url, &error);
        const auto held = hold(error);
        if (result == kCFURLEnumeratorEnd) {
            EXPECT_EQ(url, nullptr);
            return found;
        }
        if (result == kCFURLEnumeratorError) {
            EXPECT_EQ(url, nullptr);
            const auto info = hold(CFErrorCopyUserInfo(error));
            const auto where = static_cast<CFURLRef>(CFDictionaryGetValue(info, kCFErrorURLKey));
            found.push_back("error " + fs::path(pathOf(where)).lexically_relative(below).string());
            continue;
        }
        std::string path = pathOf(url);
        EXPECT_TRUE(path.starts_with(below)) << path;
        found.push_back((result == kCFURLEnumeratorDirectoryPostOrderSuccess ? "after " : "") +
                        std::to_string(CFURLEnumeratorGetDescendentLevel(enumerator)) + " " +
                        fs::path(path).lexically_relative(below).string() + (CFURLHasDirectoryPath(url) ? "/" : ""));
    }
}

struct Tree : TemporaryFolder {
    Tree() {
        fs::create_directories(path() / "d/e");
        write("a", "");
        write("d/b", "");
        write("d/e/c", "");
    }
    Holder<CFURLRef> url() const { return fileURL(path().string(), true); }
    std::vector<std::string> walked(CFOptionFlags options) const { return all(walk(url(), options), path().string()); }
};

TEST(CFURLEnumerator, GivesWhatADirectoryHolds) {
    const Tree tree;
    EXPECT_THAT(tree.walked(kCFURLEnumeratorDefaultBehavior), UnorderedElementsAre("1 a", "1 d/"));
}

TEST(CFURLEnumerator, DescendsAndTellsHowDeep) {
    const Tree tree;
    EXPECT_THAT(tree.walked(kCFURLEnumeratorDescendRecursively),
                UnorderedElementsAre("1 a", "1 d/", "2 d/b", "2 d/e/", "3 d/e/c"));
}

std::size_t placeOf(const std::vector<std::string>& list, const std::string& item) {
    return static_cast<std::size_t>(std::ranges::find(list, item) - list.begin());
}

TEST(CFURLEnumerator, GivesDirectoriesBeforeOrAfterTheirContents) {
    const Tree tree;
    const auto before = tree.walked(kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorIncludeDirectoriesPreOrder);
    EXPECT_LT(placeOf(before, "1 d/"), placeOf(before, "2 d/e/"));
    EXPECT_LT(placeOf(before, "2 d/e/"), placeOf(before, "3 d/e/c"));
    const auto after = tree.walked(kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorIncludeDirectoriesPostOrder);
    EXPECT_THAT(after, UnorderedElementsAre("1 a", "after 1 d/", "2 d/b", "after 2 d/e/", "3 d/e/c"));
    EXPECT_LT(placeOf(after, "3 d/e/c"), placeOf(after, "after 2 d/e/"));
    EXPECT_LT(placeOf(after, "after 2 d/e/"), placeOf(after, "after 1 d/"));
    const auto both = tree.walked(kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorIncludeDirectoriesPreOrder |
                                  kCFURLEnumeratorIncludeDirectoriesPostOrder);
    EXPECT_THAT(both, UnorderedElementsAre("1 a", "1 d/", "after 1 d/", "2 d/b", "2 d/e/", "after 2 d/e/", "3 d/e/c"));
}

TEST(CFURLEnumerator, SkipsWhatADirectoryHolds) {
    const Tree tree;
    const auto enumerator = walk(tree.url(), kCFURLEnumeratorDescendRecursively);
    CFURLEnumeratorSkipDescendents(enumerator);  // nothing has been given
    std::vector<std::string> names;
    CFURLRef url = nullptr;
    while (CFURLEnumeratorGetNextURL(enumerator, &url, nullptr) == kCFURLEnumeratorSuccess) {
        names.push_back(taken(CFURLCopyLastPathComponent(url)));
        CFURLEnumeratorSkipDescendents(enumerator);
    }
    EXPECT_THAT(names, UnorderedElementsAre("a", "d"));
}

TEST(CFURLEnumerator, LeavesOutHiddenItemsAndPackages) {
    const Tree tree;
    fs::create_directory(tree / ".h");
    tree.write(".h/x", "");
    tree.write(".y", "");
    fs::create_directory(tree / "p.app");
    tree.write("p.app/z", "");
    EXPECT_THAT(tree.walked(kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorSkipInvisibles),
                UnorderedElementsAre("1 a", "1 d/", "2 d/b", "2 d/e/", "3 d/e/c", "1 p.app/", "2 p.app/z"));
    EXPECT_THAT(
        tree.walked(kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorSkipPackageContents),
        UnorderedElementsAre("1 a", "1 d/", "2 d/b", "2 d/e/", "3 d/e/c", "1 p.app/", "1 .h/", "2 .h/x", "1 .y"));
}

TEST(CFURLEnumerator, DoesNotFollowLinks) {
    const Tree tree;
    fs::create_directory_symlink("d", tree / "link");
    fs::create_directory_symlink("..", tree / "d/up");
    EXPECT_THAT(tree.walked(kCFURLEnumeratorDescendRecursively),
                UnorderedElementsAre("1 a", "1 d/", "2 d/b", "2 d/e/", "3 d/e/c", "1 link", "2 d/up"));
    // But the one that it is made for.
    EXPECT_THAT(all(walk(fileURL(tree / "link"), 0), tree / "link"), UnorderedElementsAre("1 b", "1 e/", "1 up"));
}

TEST(CFURLEnumerator, GivesRelativeURLs) {
    const Tree tree;
    tree.write("d/e:f", "");
    const auto enumerator =
        walk(tree.url(), kCFURLEnumeratorDescendRecursively | kCFURLEnumeratorGenerateRelativePathURLs);
    std::vector<std::string> texts;
    CFURLRef url = nullptr;
    while (CFURLEnumeratorGetNextURL(enumerator, &url, nullptr) == kCFURLEnumeratorSuccess) {
        texts.push_back(stringOf(url));
        EXPECT_EQ(stringOf(CFURLGetBaseURL(url)), stringOf(tree.url()));
    }
    EXPECT_THAT(texts, UnorderedElementsAre("a", "d/", "d/b", "d/e/", "d/e/c", "d/e:f"));
}

TEST(CFURLEnumerator, GivesNamesOfAnyBytes) {
    const TemporaryFolder folder;
    folder.write("\xFF%41 ?", "");
    EXPECT_THAT(all(walk(fileURL(folder.path().string(), true), 0), folder.path().string()),
                ElementsAre("1 \xFF%41 ?"));
    folder.write("a:b", "");
    const auto relative = walk(fileURL(folder.path().string(), true), kCFURLEnumeratorGenerateRelativePathURLs);
    EXPECT_THAT(all(relative, folder.path().string()), UnorderedElementsAre("1 \xFF%41 ?", "1 a:b"));
}

TEST(CFURLEnumerator, TellsOfErrorsAndGoesOn) {
    const Tree tree;
    EXPECT_THAT(all(walk(fileURL(tree / "none", true), 0), tree.path().string()), ElementsAre("error none"));
    EXPECT_THAT(all(walk(fileURL(tree / "a"), 0), tree.path().string()), ElementsAre("error a"));
    // A directory that goes away between being given and being entered.
    const auto enumerator = walk(tree.url(), kCFURLEnumeratorDescendRecursively);
    std::vector<std::string> seen;
    CFURLRef url = nullptr;
    for (CFURLEnumeratorResult result;
         (result = CFURLEnumeratorGetNextURL(enumerator, &url, nullptr)) != kCFURLEnumeratorEnd;) {
        seen.push_back(result == kCFURLEnumeratorError ? "error" : taken(CFURLCopyLastPathComponent(url)));
        if (seen.back() == "d") fs::remove_all(tree / "d");
    }
    EXPECT_THAT(seen, UnorderedElementsAre("a", "d", "error"));
}

TEST(CFURLEnumerator, DoesNotFollowADirectoryThatBecomesALink) {
    const Tree tree;
    const TemporaryFolder elsewhere;
    elsewhere.write("secret", "");
    const auto enumerator = walk(tree.url(), kCFURLEnumeratorDescendRecursively);
    std::vector<std::string> seen;
    CFURLRef url = nullptr;
    for (CFURLEnumeratorResult result;
         (result = CFURLEnumeratorGetNextURL(enumerator, &url, nullptr)) != kCFURLEnumeratorEnd;) {
        seen.push_back(result == kCFURLEnumeratorError ? "error" : taken(CFURLCopyLastPathComponent(url)));
        if (seen.back() != "d") continue;
        fs::remove_all(tree / "d");
        fs::create_directory_symlink(elsewhere.path(), tree / "d");
    }
    EXPECT_THAT(seen, UnorderedElementsAre("a", "d", "error"));
}

TEST(CFURLEnumerator, GoesDeeperThanItMayHaveFilesOpen) {
    const TemporaryFolder folder;
    fs::path deep = folder.path();
    constexpr int kDepth = 60;
    for (int i = 0; i < kDepth; ++i) {
        deep /= "d";
        fs::create_directory(deep);
        std::ofstream(deep.string() + "/f");
    }
    const auto found = all(walk(fileURL(folder.path().string(), true), kCFURLEnumeratorDescendRecursively |
                                                                           kCFURLEnumeratorIncludeDirectoriesPostOrder |
                                                                           kCFURLEnumeratorIncludeDirectoriesPreOrder),
                           folder.path().string());
    EXPECT_EQ(found.size(), 3u * kDepth);
    EXPECT_THAT(found, testing::Each(testing::Not(testing::HasSubstr("error"))));
    EXPECT_EQ(found.back(), "after 1 d/");
}

TEST(CFURLEnumerator, ReadsPropertiesAhead) {
    const Tree tree;
    const void* keys[] = {kCFURLFileSizeKey};
    const auto list = hold(CFArrayCreate(nullptr, keys, 1, &kCFTypeArrayCallBacks));
    fs::remove_all(tree / "d");
    const auto enumerator = walk(tree.url(), 0, list);
    CFURLRef url = nullptr;
    ASSERT_EQ(CFURLEnumeratorGetNextURL(enumerator, &url, nullptr), kCFURLEnumeratorSuccess);
    fs::remove(tree / "a");
    CFTypeRef size = nullptr;
    EXPECT_TRUE(CFURLCopyResourcePropertyForKey(url, kCFURLFileSizeKey, &size, nullptr)) << "the file has gone";
    EXPECT_NE(hold(size).get(), nullptr);
}

TEST(CFURLEnumerator, GivesTheMountedVolumes) {
    const auto volumes = [](CFOptionFlags options) {
        const auto enumerator = hold(CFURLEnumeratorCreateForMountedVolumes(nullptr, options, nullptr));
        return all(enumerator, "/");
    };
    const auto everything = volumes(0);
    EXPECT_THAT(everything, testing::Contains("1 ./"));
    EXPECT_THAT(everything, testing::Contains("1 proc/"));
    EXPECT_THAT(volumes(kCFURLEnumeratorSkipInvisibles), testing::Not(testing::Contains("1 proc/")));
}

TEST(CFURLEnumerator, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFURLEnumeratorRef>(CFSTR("x"));
    CFURLRef url = nullptr;
    CFErrorRef error = nullptr;
    for (const CFURLEnumeratorRef bad : {CFURLEnumeratorRef(), foreign}) {
        EXPECT_EQ(CFURLEnumeratorGetNextURL(bad, &url, &error), kCFURLEnumeratorEnd);
        CFURLEnumeratorSkipDescendents(bad);
        EXPECT_EQ(CFURLEnumeratorGetDescendentLevel(bad), 0);
        EXPECT_FALSE(CFURLEnumeratorGetSourceDidChange(bad));
    }
    EXPECT_EQ(CFURLEnumeratorCreateForDirectoryURL(nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFURLEnumeratorCreateForDirectoryURL(nullptr, URLTesting::url("http://h/"), 0, nullptr), nullptr);
    const auto root = fileURL("/", true);
    EXPECT_EQ(CFURLEnumeratorCreateForDirectoryURL(nullptr, root, 0, reinterpret_cast<CFArrayRef>(CFSTR("x"))),
              nullptr);
    EXPECT_EQ(CFURLEnumeratorCreateForMountedVolumes(nullptr, 0, reinterpret_cast<CFArrayRef>(CFSTR("x"))), nullptr);
    const auto enumerator = walk(root, 0);
    EXPECT_EQ(CFURLEnumeratorGetNextURL(enumerator, nullptr, nullptr), kCFURLEnumeratorSuccess);
    EXPECT_EQ(CFGetTypeID(enumerator), CFURLEnumeratorGetTypeID());
    EXPECT_EQ(CFURLEnumeratorGetDescendentLevel(enumerator), 1);
}

TEST(CFURLEnumerator, IsNullWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFURLEnumeratorCreateForDirectoryURL(allocator, fileURL("/"), 0, nullptr), nullptr);
    EXPECT_EQ(CFURLEnumeratorCreateForMountedVolumes(allocator, 0, nullptr), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

}  // namespace
