#include "URLTesting.h"

#include "BookmarkFormat.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

using namespace URLTesting;
using KXPlatform::Bookmark;

namespace {

namespace fs = std::filesystem;

Holder<CFDataRef> bookmarkOf(CFURLRef url, CFOptionFlags options = 0, CFURLRef relativeTo = nullptr,
                             CFArrayRef properties = nullptr) {
    return hold(CFURLCreateBookmarkData(nullptr, url, options, properties, relativeTo, nullptr));
}

struct Resolved {
    std::string path;
    bool isStale;
    CFIndex error;
};

Resolved resolve(CFDataRef bookmark, CFURLRef relativeTo = nullptr) {
    Boolean isStale = 7;
    CFErrorRef error = nullptr;
    const auto url =
        hold(CFURLCreateByResolvingBookmarkData(nullptr, bookmark, 0, relativeTo, nullptr, &isStale, &error));
    const auto held = hold(error);
    return {url.get() ? pathOf(url) : "", isStale != 0, error ? CFErrorGetCode(error) : 0};
}

Holder<CFDataRef> data(const std::string& bytes) {
    return hold(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}


/// A temporary folder by its path without links.
struct Folder : TemporaryFolder {
    const std::string real = fs::canonical(path()).string();
    std::string at(const std::string& name) const { return real + "/" + name; }
};

TEST(CFURLBookmark, FindsItsFile) {
    const Folder folder;
    folder.write("a b", "1");
    const auto bookmark = bookmarkOf(fileURL(folder / "a b"));
    const Resolved found = resolve(bookmark);
    EXPECT_EQ(found.path, folder.at("a b"));
    EXPECT_FALSE(found.isStale);
}

TEST(CFURLBookmark, FindsADirectoryAndANameThatIsNoText) {
    const Folder folder;
    fs::create_directory(folder / "d");
    folder.write("\xFF", "");
    const auto url = hold(CFURLCreateByResolvingBookmarkData(nullptr, bookmarkOf(fileURL(folder / "d")), 0, nullptr,
                                                             nullptr, nullptr, nullptr));
    EXPECT_TRUE(CFURLHasDirectoryPath(url));
    EXPECT_EQ(resolve(bookmarkOf(fileURL(folder / "\xFF"))).path, folder.at("\xFF"));
}

TEST(CFURLBookmark, FindsItsFileAfterARenameAndIsStale) {
    const Folder folder;
    const std::string path = folder.write("a", "1");
    const auto bookmark = bookmarkOf(fileURL(path));
    fs::rename(path, folder / "b");
    Resolved found = resolve(bookmark);
    EXPECT_EQ(found.path, folder.at("b"));
    EXPECT_TRUE(found.isStale);
    // Another file has the old name: the path counts more.
    folder.write("a", "2");
    found = resolve(bookmark);
    EXPECT_EQ(found.path, folder.at("a"));
    EXPECT_TRUE(found.isStale);
}

TEST(CFURLBookmark, MayPreferTheFileToItsPath) {
    const Folder folder;
    const std::string path = folder.write("a", "1");
    const auto bookmark = bookmarkOf(fileURL(path), kCFURLBookmarkCreationPreferFileIDResolutionMask);
    EXPECT_FALSE(resolve(bookmark).isStale);
    fs::rename(path, folder / "b");
    folder.write("a", "2");
    const Resolved found = resolve(bookmark);
    EXPECT_EQ(found.path, folder.at("b"));
    EXPECT_TRUE(found.isStale);
}

TEST(CFURLBookmark, OfAMissingFileIsAnError) {
    const Folder folder;
    const std::string path = folder.write("a", "1");
    const auto bookmark = bookmarkOf(fileURL(path));
    fs::remove(path);
    const Resolved found = resolve(bookmark);
    EXPECT_EQ(found.path, "");
    EXPECT_EQ(found.error, 4);
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFURLCreateBookmarkData(nullptr, fileURL(path), 0, nullptr, nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(hold(error)), 260);
    EXPECT_EQ(CFURLCreateBookmarkData(nullptr, url("http://h/"), 0, nullptr, nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(hold(error)), 262);
}

TEST(CFURLBookmark, RelativeToADirectoryMovesWithIt) {
    const Folder folder;
    fs::create_directories(folder / "one/x");
    folder.write("one/x/a", "1");
    const auto bookmark = bookmarkOf(fileURL(folder / "one/x/a"), 0, fileURL(folder / "one", true));
    fs::rename(folder / "one", folder / "two");
    EXPECT_EQ(resolve(bookmark).error, 4);
    const Resolved found = resolve(bookmark, fileURL(folder / "two", true));
    EXPECT_EQ(found.path, folder.at("two/x/a"));
    EXPECT_FALSE(found.isStale);
}

TEST(CFURLBookmark, OfALinkIsOfTheLinkAndThroughALinkOfTheFile) {
    const Folder folder;
    fs::create_directory(folder / "d");
    folder.write("d/a", "");
    fs::create_symlink("d", folder / "l");
    EXPECT_EQ(resolve(bookmarkOf(fileURL(folder / "l/a"))).path, folder.at("d/a"));
    EXPECT_EQ(resolve(bookmarkOf(fileURL(folder / "l"))).path, folder.at("l"));
    EXPECT_EQ(resolve(bookmarkOf(fileURL(folder / "d/../d/./a"))).path, folder.at("d/a"));
}

TEST(CFURLBookmark, KeepsProperties) {
    const Folder folder;
    const std::string path = folder.write("a", "123");
    const void* keys[] = {kCFURLFileSizeKey, kCFURLContentModificationDateKey, kCFURLParentDirectoryURLKey,
                          kCFURLTagNamesKey};
    const auto list = hold(CFArrayCreate(nullptr, keys, 4, &kCFTypeArrayCallBacks));
    const auto bookmark = bookmarkOf(fileURL(path), 0, nullptr, list);
    folder.write("a", "12345");
    const auto kept = hold(CFURLCreateResourcePropertiesForKeysFromBookmarkData(nullptr, list, bookmark));
    EXPECT_EQ(CFDictionaryGetCount(kept), 2) << "a URL is no property list";
    const auto size = [](CFTypeRef number) {
        SInt64 value = -1;
        if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
        return value;
    };
    EXPECT_EQ(size(CFDictionaryGetValue(kept, kCFURLFileSizeKey)), 3);
    EXPECT_EQ(size(hold(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLFileSizeKey, bookmark))), 3);
    const auto name = hold(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLNameKey, bookmark));
    EXPECT_EQ(Held::utf8(static_cast<CFStringRef>(name.get())), "a");
    const auto where = hold(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLPathKey, bookmark));
    EXPECT_EQ(Held::utf8(static_cast<CFStringRef>(where.get())), folder.at("a"));
    EXPECT_EQ(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLTagNamesKey, bookmark), nullptr);

    const auto url = hold(CFURLCreateByResolvingBookmarkData(nullptr, bookmark, 0, nullptr, list, nullptr, nullptr));
    CFTypeRef cached = nullptr;
    EXPECT_TRUE(CFURLCopyResourcePropertyForKey(url, kCFURLFileSizeKey, &cached, nullptr));
    EXPECT_EQ(size(hold(cached)), 3);
}

TEST(CFURLBookmark, StandsInAFile) {
    const Folder folder;
    const auto bookmark = bookmarkOf(fileURL(folder.write("a", "1")), kCFURLBookmarkCreationSuitableForBookmarkFile);
    const auto place = fileURL(folder / "bookmark");
    ASSERT_TRUE(CFURLWriteBookmarkDataToFile(bookmark, place, 0, nullptr));
    const auto read = hold(CFURLCreateBookmarkDataFromFile(nullptr, place, nullptr));
    EXPECT_TRUE(CFEqual(read, bookmark));
    // Over what is there, whose mode stays.
    ASSERT_EQ(::chmod((folder / "bookmark").c_str(), 0600), 0);
    ASSERT_TRUE(CFURLWriteBookmarkDataToFile(bookmark, place, 0, nullptr));
    EXPECT_EQ(fs::status(folder / "bookmark").permissions(), fs::perms(0600));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 2)
        << "nothing is left over";

    CFErrorRef error = nullptr;
    const auto failure = [&] {
        const auto held = hold(std::exchange(error, nullptr));
        return held.get() ? CFErrorGetCode(held) : 0;
    };
    EXPECT_EQ(CFURLCreateBookmarkDataFromFile(nullptr, fileURL(folder / "a"), &error), nullptr);
    EXPECT_EQ(failure(), 259);
    EXPECT_EQ(CFURLCreateBookmarkDataFromFile(nullptr, fileURL(folder / "none"), &error), nullptr);
    EXPECT_EQ(failure(), 260);
    EXPECT_EQ(CFURLCreateBookmarkDataFromFile(nullptr, fileURL("/dev/zero"), &error), nullptr);
    EXPECT_EQ(failure(), 259);
    EXPECT_EQ(CFURLCreateBookmarkDataFromFile(nullptr, url("http://h/"), &error), nullptr);
    EXPECT_EQ(failure(), 262);
    EXPECT_FALSE(CFURLWriteBookmarkDataToFile(data("no bookmark"), place, 0, &error));
    EXPECT_EQ(failure(), 259);
    EXPECT_FALSE(CFURLWriteBookmarkDataToFile(bookmark, fileURL(folder / "no/where"), 0, &error));
    EXPECT_EQ(failure(), 4);
    EXPECT_FALSE(CFURLWriteBookmarkDataToFile(bookmark, url("http://h/"), 0, &error));
    EXPECT_EQ(failure(), 518);
}

// ---- Bytes of anybody's

Bookmark sampleBookmark() {
    Bookmark bookmark;
    bookmark.isDirectory = true;
    bookmark.prefersNumber = true;
    bookmark.deviceMajor = 8;
    bookmark.deviceMinor = 0xFFFFFFFF;
    bookmark.number = 0x0123456789ABCDEF;
    bookmark.created = -5;
    bookmark.path = "/a/b";
    bookmark.relativePath = "b";
    bookmark.properties = "x";
    return bookmark;
}

TEST(BookmarkFormat, GoesThereAndBack) {
    const std::string bytes = KXPlatform::writeBookmark(sampleBookmark());
    EXPECT_EQ(bytes.substr(0, 12), std::string("KXBOOKMK\1\0\0\0", 12));
    EXPECT_EQ(bytes.size(), 8 + 4 * 4 + 8 * 2 + 3 * 4 + 4 + 1 + 1u);
    Bookmark read;
    ASSERT_TRUE(KXPlatform::readBookmark(bytes, read));
    EXPECT_EQ(KXPlatform::writeBookmark(read), bytes);
    EXPECT_EQ(read.number, 0x0123456789ABCDEFu);
    EXPECT_EQ(read.created, -5);
}

TEST(BookmarkFormat, RefusesEveryBytesCutShortOrTooLong) {
    const std::string bytes = KXPlatform::writeBookmark(sampleBookmark());
    Bookmark read;
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(KXPlatform::readBookmark(std::string_view(bytes).substr(0, length), read)) << length;
    EXPECT_FALSE(KXPlatform::readBookmark(bytes + "x", read));
    EXPECT_FALSE(KXPlatform::readBookmark(bytes + std::string(KXPlatform::kLargestBookmark, 'x'), read));
}

TEST(BookmarkFormat, RefusesOtherVersionsFlagsAndLengths) {
    const std::string bytes = KXPlatform::writeBookmark(sampleBookmark());
    Bookmark read;
    for (const std::size_t at : {0u, 8u, 13u, 40u, 43u, 48u}) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 0x7F);
        EXPECT_FALSE(KXPlatform::readBookmark(changed, read)) << at;
    }
}

TEST(BookmarkFormat, RefusesPathsThatLeadElsewhere) {
    Bookmark read;
    for (const char* const bad : {"", "a", "/a/..", "/../a", "/a/./b", "/a//b"}) {
        Bookmark bookmark = sampleBookmark();
        bookmark.path = bad;
        EXPECT_FALSE(KXPlatform::readBookmark(KXPlatform::writeBookmark(bookmark), read)) << bad;
    }
    for (const std::string& bad : {std::string("/b"), std::string(".."), std::string("../b"), std::string("a/../../b"),
                                   std::string("a\0b", 3), std::string(5000, 'a')}) {
        Bookmark bookmark = sampleBookmark();
        bookmark.relativePath = bad;
        EXPECT_FALSE(KXPlatform::readBookmark(KXPlatform::writeBookmark(bookmark), read)) << bad;
    }
    Bookmark root = sampleBookmark();
    root.path = "/";
    root.relativePath = "";
    EXPECT_TRUE(KXPlatform::readBookmark(KXPlatform::writeBookmark(root), read));
}

TEST(CFURLBookmark, OfOtherBytesIsCorrupt) {
    EXPECT_EQ(resolve(data("")).error, 259);
    EXPECT_EQ(resolve(data("book\0\0\0\0mark")).error, 259);
    Bookmark bookmark = sampleBookmark();
    bookmark.path = "/tmp";
    bookmark.properties = "bplist00garbage";
    const auto list =
        hold(CFArrayCreate(nullptr, reinterpret_cast<const void**>(const_cast<CFStringRef*>(&kCFURLFileSizeKey)), 1,
                           &kCFTypeArrayCallBacks));
    const auto odd = data(KXPlatform::writeBookmark(bookmark));
    const auto kept = hold(CFURLCreateResourcePropertiesForKeysFromBookmarkData(nullptr, list, odd));
    EXPECT_EQ(CFDictionaryGetCount(kept), 0);
}

TEST(CFURLBookmark, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFURLRef>(CFSTR("x"));
    const auto foreignData = reinterpret_cast<CFDataRef>(CFSTR("x"));
    const auto root = fileURL("/", true);
    for (const CFURLRef bad : {CFURLRef(), foreign}) {
        EXPECT_EQ(CFURLCreateBookmarkData(nullptr, bad, 0, nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFURLCreateBookmarkDataFromFile(nullptr, bad, nullptr), nullptr);
        EXPECT_FALSE(CFURLWriteBookmarkDataToFile(nullptr, bad, 0, nullptr));
    }
    EXPECT_EQ(CFURLCreateBookmarkData(nullptr, root, 0, reinterpret_cast<CFArrayRef>(CFSTR("x")), nullptr, nullptr),
              nullptr);
    EXPECT_EQ(CFURLCreateBookmarkData(nullptr, root, 0, nullptr, foreign, nullptr), nullptr);
    for (const CFDataRef bad : {CFDataRef(), foreignData}) {
        EXPECT_EQ(CFURLCreateByResolvingBookmarkData(nullptr, bad, 0, nullptr, nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFURLCreateResourcePropertiesForKeysFromBookmarkData(nullptr, nullptr, bad), nullptr);
        EXPECT_EQ(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, nullptr, bad), nullptr);
        EXPECT_EQ(CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, CFSTR("x"), bad), nullptr);
        EXPECT_FALSE(CFURLWriteBookmarkDataToFile(bad, root, 0, nullptr));
        EXPECT_EQ(CFURLCreateBookmarkDataFromAliasRecord(nullptr, bad), nullptr);
    }
    EXPECT_EQ(CFURLCreateByResolvingBookmarkData(nullptr, bookmarkOf(root), 0, foreign, nullptr, nullptr, nullptr),
              nullptr);
    EXPECT_EQ(resolve(bookmarkOf(root)).path, "/");
}

}  // namespace
