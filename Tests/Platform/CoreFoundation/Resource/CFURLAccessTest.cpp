#include "URLTesting.h"

#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

using namespace URLTesting;

namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Holder<CFDataRef> data(std::string_view bytes) {
    return hold(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

SInt64 numberOf(CFTypeRef number) {
    SInt64 value = -1;
    if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
    return value;
}

/// A property that is there; its absence fails the test.
Holder<CFTypeRef> property(CFURLRef url, CFStringRef key) {
    SInt32 error = 1;
    auto value = hold(CFURLCreatePropertyFromResource(nullptr, url, key, &error));
    EXPECT_EQ(error, 0) << Held::utf8(key);
    EXPECT_NE(value.get(), nullptr);
    return value;
}

SInt32 errorOfProperty(CFURLRef url, CFStringRef key) {
    SInt32 error = 1;
    EXPECT_EQ(CFURLCreatePropertyFromResource(nullptr, url, key, &error), nullptr);
    return error;
}

TEST(CFURLAccess, ReadsAFileWithItsProperties) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "some bytes");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    CFDataRef bytes = nullptr;
    CFDictionaryRef properties = nullptr;
    SInt32 error = 1;
    ASSERT_TRUE(CFURLCreateDataAndPropertiesFromResource(nullptr, fileURL(path), &bytes, &properties, nullptr, &error));
    const auto heldBytes = hold(bytes);
    const auto held = hold(properties);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(CFEqual(bytes, data("some bytes")));
    EXPECT_EQ(CFDictionaryGetCount(properties), 5) << "all but the contents of a directory";
    EXPECT_EQ(CFDictionaryGetValue(properties, kCFURLFileExists), kCFBooleanTrue);
    EXPECT_EQ(numberOf(CFDictionaryGetValue(properties, kCFURLFileLength)), 10);
    EXPECT_EQ(numberOf(CFDictionaryGetValue(properties, kCFURLFilePOSIXMode)) & 07777, 0640);
    EXPECT_EQ(numberOf(CFDictionaryGetValue(properties, kCFURLFileOwnerID)), ::getuid());
    EXPECT_EQ(CFGetTypeID(CFDictionaryGetValue(properties, kCFURLFileLastModificationTime)), CFDateGetTypeID());
}

TEST(CFURLAccess, ReadsTheWantedPropertiesOnly) {
    const TemporaryFolder folder;
    const void* keys[] = {kCFURLFileLength, kCFURLHTTPStatusCode, CFSTR("unknown")};
    const auto wanted = hold(CFArrayCreate(nullptr, keys, 3, &kCFTypeArrayCallBacks));
    CFDictionaryRef properties = nullptr;
    ASSERT_TRUE(CFURLCreateDataAndPropertiesFromResource(nullptr, fileURL(folder.write("a", "1")), nullptr, &properties,
                                                         wanted, nullptr));
    EXPECT_EQ(CFDictionaryGetCount(hold(properties)), 1);
}

TEST(CFURLAccess, ReadsOneProperty) {
    const TemporaryFolder folder;
    folder.write("a", "123");
    folder.write("b", "");
    const auto a = fileURL(folder / "a");
    EXPECT_EQ(numberOf(property(a, kCFURLFileLength)), 3);
    EXPECT_EQ(property(a, kCFURLFileExists).get(), kCFBooleanTrue);
    EXPECT_EQ(property(fileURL(folder / "none"), kCFURLFileExists).get(), kCFBooleanFalse);
    const auto contents = property(fileURL(folder.path().string(), true), kCFURLFileDirectoryContents);
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(contents.get())), 2);
    EXPECT_EQ(errorOfProperty(a, kCFURLFileDirectoryContents), kCFURLPropertyKeyUnavailableError);
    EXPECT_EQ(errorOfProperty(a, kCFURLHTTPStatusLine), kCFURLPropertyKeyUnavailableError);
    EXPECT_EQ(errorOfProperty(a, CFSTR("unknown")), kCFURLUnknownPropertyKeyError);
    EXPECT_EQ(errorOfProperty(fileURL(folder / "none"), kCFURLFileLength), kCFURLResourceNotFoundError);
    EXPECT_EQ(errorOfProperty(url("http://h/"), kCFURLFileLength), kCFURLUnknownSchemeError);
}

TEST(CFURLAccess, WritesAFileWhole) {
    const TemporaryFolder folder;
    const auto a = fileURL(folder / "a");
    SInt32 error = 1;
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(a, data("new"), nullptr, &error));
    EXPECT_EQ(error, 0);
    EXPECT_EQ(contentOf(folder / "a"), "new");
    ASSERT_EQ(::chmod((folder / "a").c_str(), 0600), 0);
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(a, data(""), nullptr, nullptr));
    EXPECT_EQ(contentOf(folder / "a"), "");
    EXPECT_EQ(fs::status(folder / "a").permissions(), fs::perms(0600));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(CFURLAccess, WritesThroughALink) {
    const TemporaryFolder folder;
    folder.write("a", "old");
    fs::create_symlink("a", folder / "link");
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(fileURL(folder / "link"), data("new"), nullptr, nullptr));
    EXPECT_EQ(contentOf(folder / "a"), "new");
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST(CFURLAccess, WritesProperties) {
    const TemporaryFolder folder;
    const auto a = fileURL(folder.write("a", "stays"));
    const SInt32 mode = 0604;
    const auto number = hold(CFNumberCreate(nullptr, kCFNumberSInt32Type, &mode));
    const auto date = hold(CFDateCreate(nullptr, 77));
    const void* keys[] = {kCFURLFilePOSIXMode, kCFURLFileLastModificationTime};
    const void* values[] = {number.get(), date.get()};
    const auto properties = hold(
        CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(a, nullptr, properties, nullptr));
    EXPECT_EQ(contentOf(folder / "a"), "stays");
    struct stat status;
    ASSERT_EQ(::stat((folder / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0604u);
    EXPECT_EQ(status.st_mtim.tv_sec, 978307200 + 77);
}

TEST(CFURLAccess, MakesAndRemovesDirectories) {
    const TemporaryFolder folder;
    const auto d = fileURL(folder / "d", true);
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(d, nullptr, nullptr, nullptr));
    EXPECT_TRUE(fs::is_directory(folder / "d"));
    EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(d, nullptr, nullptr, nullptr)) << "it is there";
    folder.write("d/a", "");
    SInt32 error = 0;
    EXPECT_FALSE(CFURLDestroyResource(d, &error));
    EXPECT_EQ(error, kCFURLUnknownError) << "it is not empty";
    EXPECT_TRUE(CFURLDestroyResource(fileURL(folder / "d/a"), &error));
    EXPECT_TRUE(CFURLDestroyResource(d, &error));
    EXPECT_EQ(error, 0);
    EXPECT_FALSE(CFURLDestroyResource(d, &error));
    EXPECT_EQ(error, kCFURLResourceNotFoundError);
}

TEST(CFURLAccess, RemovesALinkAndNotItsFile) {
    const TemporaryFolder folder;
    folder.write("a", "");
    fs::create_symlink("a", folder / "link");
    EXPECT_TRUE(CFURLDestroyResource(fileURL(folder / "link"), nullptr));
    EXPECT_TRUE(fs::exists(folder / "a"));
}

TEST(CFURLAccess, TellsWhyItFails) {
    const TemporaryFolder folder;
    const auto failureOf = [](CFURLRef url) {
        CFDataRef bytes = nullptr;
        SInt32 error = 0;
        EXPECT_FALSE(CFURLCreateDataAndPropertiesFromResource(nullptr, url, &bytes, nullptr, nullptr, &error));
        EXPECT_EQ(bytes, nullptr);
        return error;
    };
    EXPECT_EQ(failureOf(fileURL(folder / "none")), kCFURLResourceNotFoundError);
    EXPECT_EQ(failureOf(fileURL(folder.path().string(), true)), kCFURLUnknownError);
    EXPECT_EQ(failureOf(url("http://h/")), kCFURLUnknownSchemeError);
    SInt32 error = 0;
    EXPECT_FALSE(CFURLWriteDataAndPropertiesToResource(url("http://h/"), data("x"), nullptr, &error));
    EXPECT_EQ(error, kCFURLUnknownSchemeError);
    EXPECT_FALSE(CFURLWriteDataAndPropertiesToResource(fileURL(folder / "no/where"), data("x"), nullptr, &error));
    EXPECT_EQ(error, kCFURLResourceNotFoundError);
    EXPECT_FALSE(CFURLDestroyResource(url("http://h/"), &error));
    EXPECT_EQ(error, kCFURLUnknownSchemeError);
}

TEST(CFURLAccess, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFURLRef>(CFSTR("x"));
    const auto root = fileURL("/tmp");
    SInt32 error = 0;
    for (const CFURLRef bad : {CFURLRef(), foreign}) {
        EXPECT_FALSE(CFURLCreateDataAndPropertiesFromResource(nullptr, bad, nullptr, nullptr, nullptr, &error));
        EXPECT_EQ(error, kCFURLImproperArgumentsError);
        EXPECT_FALSE(CFURLWriteDataAndPropertiesToResource(bad, nullptr, nullptr, &error));
        EXPECT_EQ(error, kCFURLImproperArgumentsError);
        EXPECT_FALSE(CFURLDestroyResource(bad, &error));
        EXPECT_EQ(error, kCFURLImproperArgumentsError);
        EXPECT_EQ(CFURLCreatePropertyFromResource(nullptr, bad, kCFURLFileExists, &error), nullptr);
        EXPECT_EQ(error, kCFURLImproperArgumentsError);
    }
    EXPECT_EQ(CFURLCreatePropertyFromResource(nullptr, root, nullptr, nullptr), nullptr);
    EXPECT_FALSE(
        CFURLWriteDataAndPropertiesToResource(root, reinterpret_cast<CFDataRef>(CFSTR("x")), nullptr, nullptr));
    EXPECT_FALSE(
        CFURLWriteDataAndPropertiesToResource(root, nullptr, reinterpret_cast<CFDictionaryRef>(CFSTR("x")), nullptr));
    EXPECT_FALSE(CFURLCreateDataAndPropertiesFromResource(nullptr, root, nullptr, nullptr,
                                                          reinterpret_cast<CFArrayRef>(CFSTR("x")), nullptr));
    EXPECT_TRUE(CFURLCreateDataAndPropertiesFromResource(nullptr, root, nullptr, nullptr, nullptr, nullptr));
}

}  // namespace
