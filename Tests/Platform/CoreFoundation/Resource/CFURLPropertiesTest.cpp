#include "URLTesting.h"

#include "MountTable.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace URLTesting;
using KXPlatform::Mount;

namespace {

/// The value of a property; null where the file has none. An error fails the test.
Holder<CFTypeRef> value(CFURLRef url, CFStringRef key) {
    CFTypeRef found = nullptr;
    CFErrorRef error = nullptr;
    EXPECT_TRUE(CFURLCopyResourcePropertyForKey(url, key, &found, &error)) << Held::utf8(key);
    EXPECT_EQ(error, nullptr);
    return hold(found);
}

std::string shown(CFURLRef url, CFStringRef key) {
    const auto found = value(url, key);
    if (!found.get()) return "(null)";
    if (CFGetTypeID(found) == CFStringGetTypeID()) return Held::utf8(static_cast<CFStringRef>(found.get()));
    if (CFGetTypeID(found) == CFURLGetTypeID()) return stringOf(static_cast<CFURLRef>(found.get()));
    if (found.get() == kCFBooleanTrue) return "true";
    if (found.get() == kCFBooleanFalse) return "false";
    if (CFGetTypeID(found) != CFNumberGetTypeID()) return "?";
    SInt64 number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(found.get()), kCFNumberSInt64Type, &number);
    return std::to_string(number);
}

double dateOf(CFURLRef url, CFStringRef key) {
    const auto found = value(url, key);
    return found.get() && CFGetTypeID(found) == CFDateGetTypeID()
               ? CFDateGetAbsoluteTime(static_cast<CFDateRef>(found.get()))
               : -1;
}

CFIndex codeOf(CFErrorRef error) {
    const auto held = hold(error);
    return error && CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa) ? CFErrorGetCode(error) : 0;
}

TEST(CFURLProperties, TellOfARegularFile) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a b.txt", "12345");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    const auto u = fileURL(path);
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(shown(u, kCFURLNameKey), "a b.txt");
    EXPECT_EQ(shown(u, kCFURLLocalizedNameKey), "a b.txt");
    EXPECT_EQ(shown(u, kCFURLPathKey), path);
    EXPECT_EQ(shown(u, kCFURLCanonicalPathKey), std::filesystem::canonical(path).string());
    EXPECT_EQ(shown(u, kCFURLIsRegularFileKey), "true");
    EXPECT_EQ(shown(u, kCFURLIsDirectoryKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsSymbolicLinkKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsAliasFileKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsVolumeKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsHiddenKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsPackageKey), "false");
    EXPECT_EQ(shown(u, kCFURLIsReadableKey), "true");
    EXPECT_EQ(shown(u, kCFURLIsWritableKey), "true");
    EXPECT_EQ(shown(u, kCFURLIsExecutableKey), "false");
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "5");
    EXPECT_EQ(shown(u, kCFURLTotalFileSizeKey), "5");
    EXPECT_EQ(shown(u, kCFURLFileAllocatedSizeKey), std::to_string(status.st_blocks * 512));
    EXPECT_EQ(shown(u, kCFURLFileIdentifierKey), std::to_string(status.st_ino));
    EXPECT_EQ(shown(u, kCFURLLinkCountKey), "1");
    EXPECT_EQ(shown(u, kCFURLFileResourceTypeKey), "NSURLFileResourceTypeRegular");
    EXPECT_EQ(shown(u, kCFURLParentDirectoryURLKey), stringOf(fileURL(folder.path().string(), true)));
    EXPECT_EQ(shown(u, kCFURLDirectoryEntryCountKey), "(null)");
    EXPECT_EQ(shown(u, kCFURLPreferredIOBlockSizeKey), std::to_string(status.st_blksize));
    EXPECT_NEAR(dateOf(u, kCFURLContentModificationDateKey),
                static_cast<double>(status.st_mtim.tv_sec) - kCFAbsoluteTimeIntervalSince1970 +
                    1e-9 * static_cast<double>(status.st_mtim.tv_nsec),
                1e-5);
}

TEST(CFURLProperties, TellOfADirectory) {
    const TemporaryFolder folder;
    folder.write("one", "1");
    folder.write(".two", "2");
    std::filesystem::create_directory(folder.path() / "x.app");
    const auto u = fileURL(folder.path().string(), true);
    EXPECT_EQ(shown(u, kCFURLNameKey), folder.path().filename().string());
    EXPECT_EQ(shown(u, kCFURLIsDirectoryKey), "true");
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "(null)");
    EXPECT_EQ(shown(u, kCFURLDirectoryEntryCountKey), "3");
    EXPECT_EQ(shown(u, kCFURLFileResourceTypeKey), "NSURLFileResourceTypeDirectory");
    const auto package = fileURL(folder / "x.app", true);
    EXPECT_EQ(shown(package, kCFURLIsPackageKey), "true");
    EXPECT_EQ(shown(package, kCFURLIsApplicationKey), "true");
    EXPECT_EQ(shown(fileURL(folder / ".two"), kCFURLIsHiddenKey), "true");
}

TEST(CFURLProperties, OfASymbolicLinkAreItsOwn) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("nowhere", folder / "link");
    const auto u = fileURL(folder / "link");
    EXPECT_EQ(shown(u, kCFURLIsSymbolicLinkKey), "true");
    EXPECT_EQ(shown(u, kCFURLIsAliasFileKey), "true");
    EXPECT_EQ(shown(u, kCFURLFileResourceTypeKey), "NSURLFileResourceTypeSymbolicLink");
    EXPECT_EQ(shown(u, kCFURLCanonicalPathKey), "(null)");
    EXPECT_TRUE(CFURLResourceIsReachable(u, nullptr));
}

TEST(CFURLProperties, TellEveryKindOfFile) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(shown(fileURL(folder / "pipe"), kCFURLFileResourceTypeKey), "NSURLFileResourceTypeNamedPipe");
    EXPECT_EQ(shown(fileURL("/dev/null"), kCFURLFileResourceTypeKey), "NSURLFileResourceTypeCharacterSpecial");
}

TEST(CFURLProperties, TellOneFileFromAnother) {
    const TemporaryFolder folder;
    folder.write("a", "");
    folder.write("b", "");
    std::filesystem::create_hard_link(folder / "a", folder / "c");
    const auto identity = [&](const char* name) {
        return value(fileURL(folder / name), kCFURLFileResourceIdentifierKey);
    };
    EXPECT_TRUE(CFEqual(identity("a"), identity("c")));
    EXPECT_FALSE(CFEqual(identity("a"), identity("b")));
    EXPECT_EQ(shown(fileURL(folder / "a"), kCFURLLinkCountKey), "2");
    EXPECT_TRUE(CFEqual(value(fileURL(folder / "a"), kCFURLVolumeIdentifierKey),
                        value(fileURL(folder / "b"), kCFURLVolumeIdentifierKey)));
}

TEST(CFURLProperties, TellOfTheVolume) {
    const auto root = fileURL("/", true);
    EXPECT_EQ(shown(root, kCFURLNameKey), "/");
    EXPECT_EQ(shown(root, kCFURLIsVolumeKey), "true");
    EXPECT_EQ(shown(root, kCFURLVolumeURLKey), "file:///");
    EXPECT_EQ(shown(root, kCFURLVolumeIsRootFileSystemKey), "true");
    EXPECT_EQ(shown(root, kCFURLParentDirectoryURLKey), "(null)");
    EXPECT_NE(shown(root, kCFURLVolumeTypeNameKey), "(null)");
    EXPECT_EQ(shown(root, kCFURLVolumeSupportsPersistentIDsKey), "false");
    EXPECT_EQ(shown(root, kCFURLVolumeNameKey), "/");
    EXPECT_GE(std::stoll(shown(root, kCFURLVolumeTotalCapacityKey)),
              std::stoll(shown(root, kCFURLVolumeAvailableCapacityKey)));
    EXPECT_EQ(shown(fileURL("/proc/self"), kCFURLVolumeURLKey), "file:///proc/");
    EXPECT_EQ(shown(fileURL("/proc"), kCFURLIsVolumeKey), "true");
    EXPECT_EQ(shown(fileURL("/proc/1"), kCFURLVolumeTypeNameKey), "proc");
    EXPECT_EQ(shown(fileURL("/proc/1"), kCFURLVolumeIsBrowsableKey), "false");
    EXPECT_EQ(shown(fileURL("/proc/1"), kCFURLVolumeIsInternalKey), "(null)") << "has no device";
}

TEST(CFURLProperties, OfNoMeaningHereHaveNoValue) {
    const auto u = fileURL("/");
    for (const CFStringRef key : {kCFURLEffectiveIconKey, kCFURLTagNamesKey, kCFURLIsUbiquitousItemKey,
                                  kCFURLTypeIdentifierKey, CFSTR("of my own")})
        EXPECT_EQ(shown(u, key), "(null)");
}

TEST(CFURLProperties, AreRememberedUntilCleared) {
    const TemporaryFolder folder;
    const auto u = fileURL(folder.write("a", "123"));
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "3");
    folder.write("a", "12345");
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "3");
    CFURLClearResourcePropertyCacheForKey(u, kCFURLNameKey);
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "3");
    CFURLClearResourcePropertyCacheForKey(u, kCFURLFileSizeKey);
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "5");
    folder.write("a", "");
    CFURLClearResourcePropertyCache(u);
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "0");
}

TEST(CFURLProperties, TakeValuesOfTheCallersOwn) {
    const auto u = fileURL("/no/such/file");
    CFURLSetTemporaryResourcePropertyForKey(u, CFSTR("mine"), CFSTR("value"));
    EXPECT_EQ(shown(u, CFSTR("mine")), "value");
    CFURLSetTemporaryResourcePropertyForKey(u, CFSTR("mine"), CFSTR("other"));
    EXPECT_EQ(shown(u, CFSTR("mine")), "other");
    CFURLSetTemporaryResourcePropertyForKey(u, CFSTR("mine"), nullptr);
    EXPECT_EQ(shown(u, CFSTR("mine")), "(null)");
    CFURLSetTemporaryResourcePropertyForKey(u, CFSTR("mine"), CFSTR("value"));
    CFURLClearResourcePropertyCache(u);
    EXPECT_EQ(shown(u, CFSTR("mine")), "(null)");
}

TEST(CFURLProperties, AreReadSeveralAtATime) {
    const TemporaryFolder folder;
    const auto u = fileURL(folder.write("a", "123"));
    const void* keys[] = {kCFURLNameKey, kCFURLFileSizeKey, kCFURLTagNamesKey};
    const auto list = hold(CFArrayCreate(nullptr, keys, 3, &kCFTypeArrayCallBacks));
    const auto found = hold(CFURLCopyResourcePropertiesForKeys(u, list, nullptr));
    EXPECT_EQ(CFDictionaryGetCount(found), 2);
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(found, kCFURLNameKey), CFSTR("a")));
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFURLCopyResourcePropertiesForKeys(fileURL(folder / "none"), list, &error), nullptr);
    EXPECT_EQ(codeOf(error), 260);
}

TEST(CFURLProperties, OfMissingFilesAndOtherSchemesAreErrors) {
    const auto missing = fileURL("/no/such/file");
    const auto web = url("http://h/a");
    CFTypeRef found = CFSTR("before");
    CFErrorRef error = nullptr;
    EXPECT_FALSE(CFURLCopyResourcePropertyForKey(missing, kCFURLNameKey, &found, &error));
    EXPECT_EQ(found, nullptr);
    ASSERT_NE(error, nullptr);
    const auto info = hold(CFErrorCopyUserInfo(error));
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(info, kCFErrorURLKey), missing));
    const auto cause =
        static_cast<CFErrorRef>(const_cast<void*>(CFDictionaryGetValue(info, kCFErrorUnderlyingErrorKey)));
    EXPECT_EQ(CFErrorGetCode(cause), ENOENT);
    EXPECT_EQ(codeOf(error), 260);
    EXPECT_FALSE(CFURLCopyResourcePropertyForKey(web, kCFURLNameKey, &found, &error));
    EXPECT_EQ(codeOf(error), 262);
    EXPECT_FALSE(CFURLResourceIsReachable(missing, &error));
    EXPECT_EQ(codeOf(error), 260);
    EXPECT_FALSE(CFURLResourceIsReachable(web, &error));
    EXPECT_EQ(codeOf(error), 262);
    EXPECT_TRUE(CFURLResourceIsReachable(fileURL("/"), &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_FALSE(CFURLSetResourcePropertyForKey(missing, kCFURLNameKey, CFSTR("x"), &error));
    EXPECT_EQ(codeOf(error), 4);
    EXPECT_FALSE(CFURLSetResourcePropertyForKey(web, kCFURLNameKey, CFSTR("x"), &error));
    EXPECT_EQ(codeOf(error), 518);
}

TEST(CFURLProperties, ThatCanBeSetAreWrittenToTheFile) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "");
    const auto u = fileURL(path);
    for (const CFStringRef key : {kCFURLContentModificationDateKey, kCFURLContentAccessDateKey}) {
        const double before = dateOf(u, key);
        const auto date = hold(CFDateCreate(nullptr, 1000.25));
        EXPECT_TRUE(CFURLSetResourcePropertyForKey(u, key, date, nullptr));
        EXPECT_EQ(dateOf(u, key), 1000.25);
        EXPECT_NE(before, 1000.25);
    }
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mtim.tv_sec, 978307200 + 1000);
    EXPECT_EQ(status.st_atim.tv_nsec, 250'000'000);
    EXPECT_TRUE(CFURLSetResourcePropertyForKey(u, kCFURLNameKey, text("\xC3\xA4"), nullptr));
    EXPECT_TRUE(std::filesystem::exists(folder / "\xC3\xA4"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(CFURLProperties, ThatCannotBeSetAreIgnored) {
    const TemporaryFolder folder;
    const auto u = fileURL(folder.write("a", "12"));
    EXPECT_TRUE(CFURLSetResourcePropertyForKey(u, kCFURLFileSizeKey, kCFBooleanTrue, nullptr));
    EXPECT_TRUE(CFURLSetResourcePropertyForKey(u, CFSTR("unknown"), kCFBooleanTrue, nullptr));
    EXPECT_EQ(shown(u, kCFURLFileSizeKey), "2");
}

TEST(CFURLProperties, RenameOnlyWithinTheFolderAndOverNothing) {
    const TemporaryFolder folder;
    const auto u = fileURL(folder.write("a", "1"));
    folder.write("b", "2");
    CFErrorRef error = nullptr;
    for (const char* const bad : {"", ".", "..", "c/d", "../c"}) {
        EXPECT_FALSE(CFURLSetResourcePropertyForKey(u, kCFURLNameKey, text(bad), &error)) << bad;
        EXPECT_EQ(codeOf(error), 514) << bad;
    }
    EXPECT_FALSE(CFURLSetResourcePropertyForKey(u, kCFURLNameKey, kCFBooleanTrue, &error));
    EXPECT_EQ(codeOf(error), 514);
    EXPECT_FALSE(CFURLSetResourcePropertyForKey(u, kCFURLNameKey, CFSTR("b"), &error));
    EXPECT_EQ(codeOf(error), 516);
    EXPECT_EQ(std::filesystem::file_size(folder / "b"), 1u);
    EXPECT_TRUE(CFURLSetResourcePropertyForKey(u, kCFURLNameKey, CFSTR("a"), &error));
    EXPECT_TRUE(std::filesystem::exists(folder / "a"));
}

TEST(CFURLProperties, AreSetSeveralAtATime) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "1");
    const auto u = fileURL(path);
    const auto date = hold(CFDateCreate(nullptr, 5));
    const void* keys[] = {kCFURLNameKey, kCFURLContentModificationDateKey};
    const void* values[] = {CFSTR("b"), date.get()};
    const auto all = hold(
        CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_TRUE(CFURLSetResourcePropertiesForKeys(u, all, nullptr));
    EXPECT_EQ(dateOf(fileURL(folder / "b"), kCFURLContentModificationDateKey), 5);

    CFErrorRef error = nullptr;
    EXPECT_FALSE(CFURLSetResourcePropertiesForKeys(u, all, &error)) << "it is renamed";
    ASSERT_NE(error, nullptr);
    const auto info = hold(CFErrorCopyUserInfo(error));
    const auto unset = static_cast<CFArrayRef>(CFDictionaryGetValue(info, kCFURLKeysOfUnsetValuesKey));
    EXPECT_EQ(CFArrayGetCount(unset), 2);
    EXPECT_EQ(codeOf(error), 4);
}

TEST(CFURLProperties, OfFileReferencesAreNotThere) {
    CFErrorRef error = nullptr;
    const auto file = fileURL("/tmp");
    EXPECT_EQ(CFURLCreateFileReferenceURL(nullptr, file, &error), nullptr);
    EXPECT_EQ(codeOf(error), 3328);
    EXPECT_EQ(CFURLCreateFileReferenceURL(nullptr, url("http://h/"), &error), nullptr);
    EXPECT_EQ(codeOf(error), 262);
    const auto relative = url("a", file);
    EXPECT_EQ(takenURL(CFURLCreateFilePathURL(nullptr, relative, &error)), "file:///a");
    const auto same = hold(CFURLCreateFilePathURL(nullptr, file, &error));
    EXPECT_EQ(same.get(), file.get());
    EXPECT_EQ(CFURLCreateFilePathURL(nullptr, url("http://h/"), &error), nullptr);
    EXPECT_EQ(codeOf(error), 262);
}

TEST(CFURLProperties, MayBeReadAndClearedFromManyThreads) {
    const TemporaryFolder folder;
    const auto u = fileURL(folder.write("a", "123"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&u = u] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_EQ(shown(u, kCFURLFileSizeKey), "3");
                CFURLSetTemporaryResourcePropertyForKey(u, CFSTR("mine"), CFSTR("x"));
                if (round % 3 == 0) CFURLClearResourcePropertyCache(u);
                if (round % 5 == 0) CFURLClearResourcePropertyCacheForKey(u, kCFURLFileSizeKey);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(CFURLProperties, SurviveNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFURLRef>(CFSTR("x"));
    const auto foreignText = static_cast<CFStringRef>(static_cast<CFTypeRef>(kCFBooleanTrue));
    const auto good = fileURL("/");
    const auto keys = hold(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    const auto values = hold(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
    CFTypeRef found = nullptr;
    for (const CFURLRef bad : {CFURLRef(), foreign}) {
        EXPECT_FALSE(CFURLCopyResourcePropertyForKey(bad, kCFURLNameKey, &found, nullptr));
        EXPECT_EQ(CFURLCopyResourcePropertiesForKeys(bad, keys, nullptr), nullptr);
        EXPECT_FALSE(CFURLSetResourcePropertyForKey(bad, kCFURLNameKey, CFSTR("x"), nullptr));
        EXPECT_FALSE(CFURLSetResourcePropertiesForKeys(bad, values, nullptr));
        CFURLClearResourcePropertyCacheForKey(bad, kCFURLNameKey);
        CFURLClearResourcePropertyCache(bad);
        CFURLSetTemporaryResourcePropertyForKey(bad, kCFURLNameKey, CFSTR("x"));
        EXPECT_FALSE(CFURLResourceIsReachable(bad, nullptr));
    }
    for (const CFStringRef bad : {CFStringRef(), foreignText}) {
        EXPECT_FALSE(CFURLCopyResourcePropertyForKey(good, bad, &found, nullptr));
        EXPECT_FALSE(CFURLSetResourcePropertyForKey(good, bad, CFSTR("x"), nullptr));
        CFURLClearResourcePropertyCacheForKey(good, bad);
        CFURLSetTemporaryResourcePropertyForKey(good, bad, CFSTR("x"));
    }
    EXPECT_EQ(CFURLCopyResourcePropertiesForKeys(good, nullptr, nullptr), nullptr);
    EXPECT_FALSE(CFURLSetResourcePropertiesForKeys(good, nullptr, nullptr));
    EXPECT_TRUE(CFURLCopyResourcePropertyForKey(good, kCFURLNameKey, nullptr, nullptr));
}

// ---- The mount table

TEST(MountTable, ReadsTheLinesOfTheKernel) {
    Mount mount;
    ASSERT_TRUE(KXPlatform::parseMount(
        "36 35 98:12 /mnt1 /mnt\\0402\\134x rw,noatime master:1 propagate_from:2 - ext3 /dev/root rw,errors=continue",
        mount));
    EXPECT_EQ(mount.device, makedev(98, 12));
    EXPECT_EQ(mount.point, "/mnt 2\\x");
    EXPECT_EQ(mount.type, "ext3");
    EXPECT_EQ(mount.source, "/dev/root");
    EXPECT_FALSE(mount.isReadOnly());
    EXPECT_TRUE(mount.isBrowsable());
    ASSERT_TRUE(KXPlatform::parseMount("22 1 0:5 / /net ro - nfs4 server:/a ro", mount));
    EXPECT_TRUE(mount.isReadOnly());
    EXPECT_TRUE(mount.isNetwork());
    for (const char* const bad : {"", "1", "1 2 3", "1 2 x:y / /a rw - t s", "1 2 1:2 / a rw - t s", "1 2 1:2 / /a rw"})
        EXPECT_FALSE(KXPlatform::parseMount(bad, mount)) << bad;
}

TEST(MountTable, FindsTheVolumeThatAPathLiesOn) {
    const auto mount = [](dev_t device, const char* point) {
        Mount made;
        made.device = device;
        made.point = point;
        return made;
    };
    const std::vector<Mount> mounts{mount(1, "/"), mount(2, "/a"), mount(3, "/a/b"), mount(1, "/c")};
    EXPECT_EQ(KXPlatform::findMount(mounts, "/a/x", 2)->point, "/a");
    EXPECT_EQ(KXPlatform::findMount(mounts, "/a/b/c", 3)->point, "/a/b");
    EXPECT_EQ(KXPlatform::findMount(mounts, "/a/b", 3)->point, "/a/b");
    EXPECT_EQ(KXPlatform::findMount(mounts, "/ab", 1)->point, "/");
    EXPECT_EQ(KXPlatform::findMount(mounts, "/c/d", 1)->point, "/c");
    EXPECT_EQ(KXPlatform::findMount(mounts, "/a/b/c", 2)->point, "/a") << "the device decides";
    EXPECT_EQ(KXPlatform::findMount(mounts, "/a/b/c", 9)->point, "/a/b");
    EXPECT_EQ(KXPlatform::findMount({}, "/a", 1), nullptr);
}

TEST(MountTable, HoldsTheRoot) {
    std::vector<Mount> mounts;
    KXPlatform::readMountTable(mounts);
    EXPECT_THAT(mounts, testing::Contains(testing::Field(&Mount::point, "/")));
}

}  // namespace
