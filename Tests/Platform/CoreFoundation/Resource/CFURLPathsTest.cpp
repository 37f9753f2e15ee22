#include "URLTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace URLTesting;

namespace {

Holder<CFURLRef> fromPath(std::string_view path, CFURLPathStyle style = kCFURLPOSIXPathStyle, bool isDirectory = false,
                          CFURLRef base = nullptr) {
    return hold(CFURLCreateWithFileSystemPathRelativeToBase(nullptr, text(path), style, isDirectory, base));
}

std::string inStyle(CFURLRef url, CFURLPathStyle style) { return taken(CFURLCopyFileSystemPath(url, style)); }

TEST(CFURLPaths, OfThisSystemBecomeFileURLs) {
    EXPECT_EQ(stringOf(fromPath("/a b/c")), "file:///a%20b/c");
    EXPECT_EQ(stringOf(fromPath("/a", kCFURLPOSIXPathStyle, true)), "file:///a/");
    EXPECT_EQ(stringOf(fromPath("/a/", kCFURLPOSIXPathStyle, true)), "file:///a/");
    EXPECT_EQ(stringOf(fromPath("/", kCFURLPOSIXPathStyle, true)), "file:///");
    EXPECT_EQ(stringOf(fromPath("/a;b?c#d%[e]")), "file:///a%3Bb%3Fc%23d%25%5Be%5D");
    EXPECT_EQ(stringOf(fromPath("/\xC3\xA4")), "file:///%C3%A4");
    EXPECT_EQ(stringOf(fromPath("/a:b@c&d=e+f,g!h'(i)*$~")), "file:///a:b@c&d=e+f,g!h'(i)*$~");
    EXPECT_EQ(CFURLGetBaseURL(fromPath("/a")), nullptr);
    EXPECT_EQ(stringOf(fromPath("/a", kCFURLPOSIXPathStyle, false, url("file:///b/"))), "file:///a");
    EXPECT_EQ(fromPath(std::string_view("/a\0b", 4)).get(), nullptr);
    EXPECT_EQ(fromPath("/a", static_cast<CFURLPathStyle>(7)).get(), nullptr);
}

TEST(CFURLPaths, ThatAreRelativeHaveABase) {
    const auto base = url("file:///x/y/");
    const auto relative = fromPath("a b/c", kCFURLPOSIXPathStyle, false, base);
    EXPECT_EQ(stringOf(relative), "a%20b/c");
    EXPECT_EQ(absolute(relative), "file:///x/y/a%20b/c");
    EXPECT_EQ(pathOf(relative), "/x/y/a b/c");
    EXPECT_EQ(pathOf(relative, false), "a b/c");
    EXPECT_EQ(inStyle(relative, kCFURLPOSIXPathStyle), "a b/c");
    EXPECT_EQ(stringOf(fromPath("a:b", kCFURLPOSIXPathStyle, false, base)), "./a:b");
    EXPECT_EQ(pathOf(fromPath("a:b", kCFURLPOSIXPathStyle, false, base)), "/x/y/a:b");
    EXPECT_EQ(stringOf(fromPath("", kCFURLPOSIXPathStyle, false, base)), "./");
    const auto here = hold(CFURLCreateWithFileSystemPath(nullptr, CFSTR("a"), kCFURLPOSIXPathStyle, false));
    EXPECT_EQ(pathOf(here), (std::filesystem::current_path() / "a").string());
    EXPECT_EQ(stringOf(here), "a");
}

TEST(CFURLPaths, OfNamesThatAreNoTextGoThereAndBack) {
    const std::string path = "/tmp/\xFF\xFE name\x01";
    const auto u = fileURL(path);
    EXPECT_EQ(stringOf(u), "file:///tmp/%FF%FE%20name%01");
    EXPECT_EQ(pathOf(u), path);
    EXPECT_EQ(inStyle(u, kCFURLPOSIXPathStyle), "(null)");
    EXPECT_EQ(taken(CFURLCopyLastPathComponent(u)), "(null)");
    const auto base = url("file:///x/");
    const auto relative = hold(CFURLCreateFromFileSystemRepresentationRelativeToBase(
        nullptr, reinterpret_cast<const UInt8*>("\xFF"), 1, true, base));
    EXPECT_EQ(stringOf(relative), "%FF/");
    EXPECT_EQ(pathOf(relative), "/x/\xFF");
}

TEST(CFURLPaths, AreGivenForFilesOfThisComputerOnly) {
    EXPECT_EQ(pathOf(url("file:///a%20b/")), "/a b");
    EXPECT_EQ(pathOf(url("FILE://localhost/a")), "/a");
    EXPECT_EQ(pathOf(url("file:/a")), "/a");
    EXPECT_EQ(pathOf(url("file:///")), "/");
    EXPECT_EQ(pathOf(url("file://elsewhere/a")), "(false)");
    EXPECT_EQ(pathOf(url("http://localhost/a")), "(false)");
    EXPECT_EQ(pathOf(url("file:///a%00b")), "(false)");
    EXPECT_EQ(pathOf(url("file:a")), "(false)");
    EXPECT_EQ(pathOf(url("a")), "(false)");
    EXPECT_EQ(pathOf(url("file://")), "(false)");
    UInt8 buffer[3];
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url("file:///a"), true, buffer, 3));
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url("file:///ab"), true, buffer, 3));
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url("file:///a"), true, buffer, 0));
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url("file:///a"), true, buffer, -1));
}

TEST(CFURLPaths, HaveNoSlashAtTheEnd) {
    EXPECT_EQ(inStyle(url("http://h/a/b/"), kCFURLPOSIXPathStyle), "/a/b");
    EXPECT_EQ(inStyle(url("http://h/"), kCFURLPOSIXPathStyle), "/");
    EXPECT_EQ(inStyle(url("http://h"), kCFURLPOSIXPathStyle), "");
    EXPECT_EQ(inStyle(url("a%20b;c"), kCFURLPOSIXPathStyle), "a b;c");
    EXPECT_EQ(inStyle(url("a"), static_cast<CFURLPathStyle>(3)), "(null)");
}

TEST(CFURLPaths, OfWindowsAreReadAndWritten) {
    constexpr CFURLPathStyle kStyle = kCFURLWindowsPathStyle;
    EXPECT_EQ(stringOf(fromPath("C:\\a b\\c.txt", kStyle)), "file:///C:/a%20b/c.txt");
    EXPECT_EQ(stringOf(fromPath("\\a\\b", kStyle, true)), "file:///a/b/");
    EXPECT_EQ(absolute(fromPath("a\\b", kStyle, false, url("file:///C:/x/"))), "file:///C:/x/a/b");
    EXPECT_EQ(inStyle(url("file:///C:/a%20b/c.txt"), kStyle), "C:\\a b\\c.txt");
    EXPECT_EQ(inStyle(url("file:///C%7C/a"), kStyle), "C:\\a");
    EXPECT_EQ(inStyle(url("file:///a/b/"), kStyle), "\\a\\b");
    EXPECT_EQ(inStyle(url("a/b"), kStyle), "a\\b");
}

TEST(CFURLPaths, OfHFSAreReadAndWritten) {
    constexpr CFURLPathStyle kStyle = kCFURLHFSPathStyle;
    EXPECT_EQ(stringOf(fromPath("/:a b:c", kStyle)), "file:///a%20b/c");
    EXPECT_EQ(stringOf(fromPath("/:a:", kStyle)), "file:///a/");
    EXPECT_EQ(stringOf(fromPath("No such volume:a", kStyle)), "file:///Volumes/No%20such%20volume/a");
    EXPECT_EQ(absolute(fromPath(":a:b", kStyle, false, url("file:///x/y/"))), "file:///x/y/a/b");
    EXPECT_EQ(absolute(fromPath("a", kStyle, false, url("file:///x/y/"))), "file:///x/y/a");
    EXPECT_EQ(absolute(fromPath("::a", kStyle, false, url("file:///x/y/"))), "file:///x/a");
    EXPECT_EQ(stringOf(fromPath("/:a/b", kStyle)), "file:///a:b") << "a slash in a name is a colon here";
    EXPECT_EQ(inStyle(url("file:///a%20b/c:d/"), kStyle), "/:a b:c/d");
    EXPECT_EQ(inStyle(url("a/b"), kStyle), ":a:b");
    EXPECT_EQ(inStyle(url("../b"), kStyle), "::b");
    EXPECT_EQ(inStyle(url("file:///"), kStyle), "/");
}

TEST(CFURLPaths, AreDirectoriesByTheirEnd) {
    for (const char* const directory : {"http://h/", "a/", ".", "..", "a/.", "a/..", "file:///a/?q"})
        EXPECT_TRUE(CFURLHasDirectoryPath(url(directory))) << directory;
    for (const char* const file : {"http://h", "a", "a.", "..a", "file:///a", "/a?q/", "mailto:a/"})
        EXPECT_FALSE(CFURLHasDirectoryPath(url(file))) << file;
    EXPECT_TRUE(CFURLHasDirectoryPath(url("", url("file:///a/"))));
    EXPECT_FALSE(CFURLHasDirectoryPath(url("#f", url("file:///a"))));
}

TEST(CFURLPaths, HaveALastComponentAndItsExtension) {
    const struct {
        const char* url;
        const char* last;
        const char* extension;
    } cases[] = {{"http://h/a/b.c", "b.c", "c"}, {"http://h/a/b%20c.d%20e/", "b c.d e", "d e"},
                 {"http://h/", "/", "(null)"},   {"http://h", "", "(null)"},
                 {"a", "a", "(null)"},           {"/.hidden", ".hidden", "(null)"},
                 {"/a.", "a.", "(null)"},        {"/a.tar.gz?x.y", "a.tar.gz", "gz"},
                 {"..", "..", "(null)"},         {"/a.b/", "a.b", "b"}};
    for (const auto& each : cases) {
        EXPECT_EQ(taken(CFURLCopyLastPathComponent(url(each.url))), each.last) << each.url;
        EXPECT_EQ(taken(CFURLCopyPathExtension(url(each.url))), each.extension) << each.url;
    }
}

std::string appended(const char* to, std::string_view component, bool isDirectory = false) {
    return takenURL(CFURLCreateCopyAppendingPathComponent(nullptr, url(to), text(component), isDirectory));
}

TEST(CFURLPaths, GrowByAComponent) {
    EXPECT_EQ(appended("http://h/a", "b c"), "http://h/a/b%20c");
    EXPECT_EQ(appended("http://h/a/", "b", true), "http://h/a/b/");
    EXPECT_EQ(appended("http://h", "b"), "http://h/b");
    EXPECT_EQ(appended("http://h/a?q#f", "b"), "http://h/a/b?q#f");
    EXPECT_EQ(appended("http://h/a", "/b/c"), "http://h/a/b/c");
    EXPECT_EQ(appended("http://h/a/", "/b"), "http://h/a/b");
    EXPECT_EQ(appended("http://h/a", "50%?#;"), "http://h/a/50%25%3F%23%3B");
    EXPECT_EQ(appended("?q", "a:b"), "./a:b?q");
    EXPECT_EQ(appended("a", "\xE4\xB8\x80"), "a/%E4%B8%80");
    const auto relative = url("a", url("http://h/"));
    const auto made = hold(CFURLCreateCopyAppendingPathComponent(nullptr, relative, CFSTR("b"), false));
    EXPECT_EQ(absolute(made), "http://h/a/b");
    EXPECT_EQ(stringOf(made), "a/b");
}

TEST(CFURLPaths, LoseTheirLastComponent) {
    const auto shortened = [](const char* of) {
        return takenURL(CFURLCreateCopyDeletingLastPathComponent(nullptr, url(of)));
    };
    EXPECT_EQ(shortened("http://h/a/b?q#f"), "http://h/a/?q#f");
    EXPECT_EQ(shortened("http://h/a/b/"), "http://h/a/");
    EXPECT_EQ(shortened("http://h/a"), "http://h/");
    EXPECT_EQ(shortened("http://h/"), "http://h/");
    EXPECT_EQ(shortened("http://h"), "http://h");
    EXPECT_EQ(shortened("a"), "./");
    EXPECT_EQ(shortened("../"), "../../");
    EXPECT_EQ(shortened("a/."), "a/../");
    EXPECT_EQ(shortened("a:b/c"), "(null)") << "has no path";
    EXPECT_EQ(shortened("./a:b/c"), "./a:b/");
}

TEST(CFURLPaths, GetAndLoseExtensions) {
    const auto with = [](const char* of, std::string_view extension) {
        return takenURL(CFURLCreateCopyAppendingPathExtension(nullptr, url(of), text(extension)));
    };
    const auto without = [](const char* of) {
        return takenURL(CFURLCreateCopyDeletingPathExtension(nullptr, url(of)));
    };
    EXPECT_EQ(with("http://h/a?q", "b c"), "http://h/a.b%20c?q");
    EXPECT_EQ(with("http://h/a/", "b"), "http://h/a.b/");
    EXPECT_EQ(with("http://h/a", ""), "(null)");
    EXPECT_EQ(with("http://h/a", "b/c"), "(null)");
    EXPECT_EQ(with("http://h/", "b"), "(null)");
    EXPECT_EQ(with("http://h", "b"), "(null)");
    EXPECT_EQ(without("http://h/a.tar.gz?q"), "http://h/a.tar?q");
    EXPECT_EQ(without("http://h/a.b/"), "http://h/a/");
    EXPECT_EQ(without("http://h/.a"), "http://h/.a");
    EXPECT_EQ(without("http://h/a.b/c"), "http://h/a.b/c");
    EXPECT_EQ(without("http://h/"), "http://h/");
}

}  // namespace
