// What is made when it is first asked for (constants, tables, the instances of the Unicode library), asked for by many
// threads at the same moment. A program of its own, so that nothing has been used before.

#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <barrier>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using Held::hold;

constexpr int kThreads = 6;

/// Does `work` on all threads at once, and once the threads have ended expects one answer of all.
template <class Work>
void expectOneAnswer(const char* name, Work work) {
    SCOPED_TRACE(name);
    std::vector<decltype(work())> answers(kThreads);
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            answers[static_cast<std::size_t>(t)] = work();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto& answer : answers) EXPECT_EQ(answer, answers.front());
}

std::string changed(void (*change)(CFMutableStringRef)) {
    const auto text = Held::mutableString(u"\u00C4rger \uFF21 \u4E00\u0301 STRA\u00DFE");
    change(text);
    return Held::utf8(text);
}

}  // namespace

TEST(FirstUse, MakesConstantsOnce) {
    expectOneAnswer("literal", [] { return CFSTR("a literal of no other test: \u00E4"); });
    expectOneAnswer("number", [] {
        const int seven = 7;
        return CFNumberCreate(nullptr, kCFNumberIntType, &seven);
    });
    expectOneAnswer("not a number", [] {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        return CFNumberCreate(nullptr, kCFNumberDoubleType, &nan);
    });
    expectOneAnswer("uuid", [] {
        return CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    });
}

TEST(FirstUse, MakesTablesOfEncodingsOnce) {
    expectOneAnswer("list", [] { return CFStringGetListOfAvailableEncodings(); });
    expectOneAnswer("name", [] { return CFStringGetNameOfEncoding(kCFStringEncodingUTF8); });
    expectOneAnswer("IANA name", [] { return CFStringConvertEncodingToIANACharSetName(kCFStringEncodingUTF8); });
    expectOneAnswer("of IANA name", [] { return CFStringConvertIANACharSetNameToEncoding(CFSTR("macintosh")); });
    expectOneAnswer("converted", [] {
        const auto data =
            hold(CFStringCreateExternalRepresentation(nullptr, CFSTR("\u00E4\u20AC"), kCFStringEncodingMacRoman, '?'));
        return Values::taken(CFStringCreateFromExternalRepresentation(nullptr, data, kCFStringEncodingWindowsLatin1));
    });
}

TEST(FirstUse, ReadiesTheUnicodeDataOnce) {
    expectOneAnswer("compared", [] {
        return CFStringCompare(CFSTR("\u00E9\uFF21"), CFSTR("E\u0301a"),
                               kCFCompareNonliteral | kCFCompareCaseInsensitive | kCFCompareWidthInsensitive);
    });
    expectOneAnswer("localized",
                    [] { return CFStringCompare(CFSTR("\u00E9\uFF21"), CFSTR("E\u0301a"), kCFCompareLocalized); });
    expectOneAnswer("found", [] {
        return CFStringFind(CFSTR("x\u00E9"), CFSTR("E"), kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive)
            .location;
    });
    expectOneAnswer("lower", [] { return changed([](CFMutableStringRef text) { CFStringLowercase(text, nullptr); }); });
    expectOneAnswer("capital",
                    [] { return changed([](CFMutableStringRef text) { CFStringCapitalize(text, nullptr); }); });
    expectOneAnswer("normal", [] {
        return changed([](CFMutableStringRef text) { CFStringNormalize(text, kCFStringNormalizationFormKD); });
    });
    expectOneAnswer("Latin", [] {
        return changed(
            [](CFMutableStringRef text) { CFStringTransform(text, nullptr, kCFStringTransformToLatin, false); });
    });
    expectOneAnswer("composed",
                    [] { return CFStringGetRangeOfComposedCharactersAtIndex(CFSTR("a\u0301b"), 1).length; });
}

TEST(FirstUse, FormatsReadsAndWritesAtOnce) {
    expectOneAnswer("formatted", [] {
        const auto text =
            hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %.3f %d"), CFSTR("\u00E4"), 2.5, 7));
        return Held::utf8(text);
    });
    expectOneAnswer("written", [] {
        const void* keys[] = {CFSTR("key")};
        const auto list = hold(CFDictionaryCreate(nullptr, keys, keys, 1, &kCFTypeDictionaryKeyCallBacks,
                                                  &kCFTypeDictionaryValueCallBacks));
        const auto data = hold(CFPropertyListCreateData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
        const auto read = hold(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr));
        return CFEqual(read, list) && CFHash(read) == CFHash(list) ? 1 : 0;
    });
}

TEST(FirstUse, ThreadsGiveUpAndCountWhatTheyShare) {
    const auto shared = hold(CFStringCreateWithCString(nullptr, "shared by all", kCFStringEncodingUTF8));
    expectOneAnswer("counted", [&] {
        for (int i = 0; i < 1000; ++i) {
            CFAutorelease(CFRetain(shared));
            CFRelease(CFRetain(shared));
        }
        return CFHash(shared);
    });
    EXPECT_EQ(CFGetRetainCount(shared), 1);
}
