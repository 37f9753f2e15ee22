#include <KXCoreLib/CoreFoundation/URLEnumeratorRef.h>

#include <KXCoreLib/CoreFoundation/URLRef.h>

#include "TemporaryFolder.h"
#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace KXCore::CoreFoundation;

namespace {

URLRef folderURL(const std::string& path) {
    return URLRef::createWithFileSystemPath(kCFAllocatorDefault, text(path).get(), kCFURLPOSIXPathStyle, true);
}

}  // namespace

template <>
URLEnumeratorRef KXCore::CoreFoundation::sample() {
    return URLEnumeratorRef::createForDirectoryURL(kCFAllocatorDefault, folderURL("/").get(), 0, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(URLEnumeratorRef, TypedWrapper, URLEnumeratorRef);

FORWARDS(URLEnumeratorRef, getTypeID, CFURLEnumeratorGetTypeID);
FORWARDS(URLEnumeratorRef, createForDirectoryURL, CFURLEnumeratorCreateForDirectoryURL);
FORWARDS(URLEnumeratorRef, createForMountedVolumes, CFURLEnumeratorCreateForMountedVolumes);
FORWARDS(URLEnumeratorRef, getNextURL, CFURLEnumeratorGetNextURL);
FORWARDS(URLEnumeratorRef, skipDescendents, CFURLEnumeratorSkipDescendents);
FORWARDS(URLEnumeratorRef, getDescendentLevel, CFURLEnumeratorGetDescendentLevel);
FORWARDS(URLEnumeratorRef, getSourceDidChange, CFURLEnumeratorGetSourceDidChange);

TEST(URLEnumeratorRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFURLEnumeratorCreateForDirectoryURL",
         [](CFAllocatorRef a) { URLEnumeratorRef::createForDirectoryURL(a, folderURL("/").get(), 0, nullptr); }},
        {"CFURLEnumeratorCreateForMountedVolumes",
         [](CFAllocatorRef a) { URLEnumeratorRef::createForMountedVolumes(a, 0, nullptr); }},
    });
}

TEST(URLEnumeratorRef, WalksAFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "d");
    folder.write("d/a", "");
    const URLEnumeratorRef walk = URLEnumeratorRef::createForDirectoryURL(
        nullptr, folderURL(folder.path().string()).get(), kCFURLEnumeratorDescendRecursively, nullptr);
    EXPECT_EQ(walk.getDescendentLevel(), 0);
    CFURLRef url = nullptr;
    EXPECT_EQ(walk.getNextURL(&url), kCFURLEnumeratorSuccess);
    EXPECT_EQ(URLRef::retain(url).copyLastPathComponent(), text("d"));
    EXPECT_EQ(walk.getDescendentLevel(), 1);
    walk.skipDescendents();
    EXPECT_FALSE(walk.getSourceDidChange());
    EXPECT_EQ(walk.getNextURL(&url), kCFURLEnumeratorEnd);
}

TEST(URLEnumeratorRef, ReportsWhatItCannotRead) {
    const URLRef missing = folderURL("/no/such/folder");
    const auto walk = [&] { return URLEnumeratorRef::createForDirectoryURL(nullptr, missing.get(), 0, nullptr); };
    CFURLRef url = nullptr;
    ErrorRef error;
    EXPECT_EQ(walk().getNextURL(&url, &error), kCFURLEnumeratorError);
    EXPECT_EQ(error.getCode(), 260);
    EXPECT_EQ(failureOf([&] { walk().getNextURL(&url); }).what, "unexpected error occured");
}

TEST(URLEnumeratorRef, GivesTheMountedVolumes) {
    const URLEnumeratorRef volumes = URLEnumeratorRef::createForMountedVolumes(nullptr, 0, nullptr);
    bool hasRoot = false;
    for (CFURLRef url = nullptr; volumes.getNextURL(&url) == kCFURLEnumeratorSuccess;)
        hasRoot = hasRoot || URLRef::retain(url).getString() == text("file:///");
    EXPECT_TRUE(hasRoot);
}
