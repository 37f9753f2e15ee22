// A process that has no more memory: every request of each piece of work is refused once, those of the C library, of
// ICU and of the C++ library included. Each function comes back, and leaves nothing behind.

#include "FailingMalloc.h"
#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/Values.h"
#include "Platform/SystemConfiguration/StoreTesting.h"

#include <CoreFoundation/CoreFoundation.h>
#include <iconv.h>
#include <mach/mach.h>
#include <membership.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using FailingMalloc::failEachRequest;
using FailingMalloc::refuseEachRequest;
using Held::hold;

void drop(CFTypeRef made) {
    if (made) CFRelease(made);
}

CFStringRef wideText() {
    static const CFStringRef text = CFSTR("\u00C4rger \u4E00\u0301 und STRA\u00DFE, \u00C4rger");
    return text;
}

Held::Holder<CFMutableArrayRef> someList() {
    auto list = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    const void* keys[] = {CFSTR("name"), CFSTR("other"), wideText(), CFSTR("a key that is longer than the others")};
    const auto data = hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("data"), 4));
    const auto number = Values::number(100'000);
    const auto date = hold(CFDateCreate(nullptr, 1));
    const void* values[] = {wideText(), data, number, date};
    const auto dictionary = hold(
        CFDictionaryCreate(nullptr, keys, values, 4, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (int i = 0; i < 3; ++i) CFArrayAppendValue(list, dictionary);
    const auto longText = Held::string(std::u16string(3000, u'x'));
    CFArrayAppendValue(list, longText);
    return list;
}

CFPropertyListRef readBytes(std::string_view bytes) {
    const auto data = hold(CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                       static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    CFErrorRef error = nullptr;
    const CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, data, 0, nullptr, &error);
    drop(error);
    return list;
}

class OutOfMemory : public testing::Test {
  protected:
    void SetUp() override {
        if (!FailingMalloc::isAvailable()) GTEST_SKIP() << "malloc is somebody else's";
        // The C library ends a process that has no memory to note down what a thread's own variables end with.
        drop(readBytes("<plist><dict><key>key</key><true/></dict></plist>"));
        CFAutorelease(CFRetain(CFRunLoopGetCurrent()));
        CFStringGetRangeOfComposedCharactersAtIndex(wideText(), 0);
        const auto text = Held::mutableString(u"a");
        CFStringTransform(text, nullptr, kCFStringTransformToUnicodeName, false);
    }
};

}  // namespace

TEST_F(OutOfMemory, TextsInEveryEncodingAreMadeOrNot) {
    const CFIndex length = CFStringGetLength(wideText());
    for (const CFStringEncoding encoding :
         {CFStringEncoding{kCFStringEncodingUTF8}, CFStringEncoding{kCFStringEncodingUTF16},
          CFStringEncoding{kCFStringEncodingUTF32BE}, CFStringEncoding{kCFStringEncodingMacRoman},
          CFStringEncoding{kCFStringEncodingNonLossyASCII}, CFStringEncoding{kCFStringEncodingBig5},
          CFStringEncoding{kCFStringEncodingISO_2022_JP}, CFStringEncoding{kCFStringEncodingShiftJIS},
          CFStringEncoding{kCFStringEncodingDOSLatin1}}) {
        SCOPED_TRACE(encoding);
        failEachRequest("written", [&] {
            drop(CFStringCreateExternalRepresentation(nullptr, wideText(), encoding, '?'));
            char buffer[300];
            CFStringGetCString(wideText(), buffer, sizeof buffer, encoding);
            CFIndex used = 0;
            CFStringGetBytes(wideText(), {0, length}, encoding, '?', true, nullptr, 0, &used);
        });
        const auto data = hold(CFStringCreateExternalRepresentation(nullptr, wideText(), encoding, '?'));
        failEachRequest("read", [&] {
            drop(CFStringCreateFromExternalRepresentation(nullptr, data, encoding));
            drop(CFStringCreateWithBytes(nullptr, CFDataGetBytePtr(data), CFDataGetLength(data), encoding, false));
            drop(CFStringCreateWithCString(nullptr, "plain", encoding));
        });
    }
    const auto longName = Held::string(std::u16string(200, u'\u00C4'));
    failEachRequest("constant", [] { __CFStringMakeConstantString("a constant that is made without memory"); });
    char path[1000];
    // What decomposes names is made for the first one, and kept.
    ASSERT_TRUE(CFStringGetFileSystemRepresentation(longName, path, sizeof path));
    failEachRequest("file system", [&] {
        CFStringGetFileSystemRepresentation(longName, path, sizeof path);
        CFStringGetFileSystemRepresentation(wideText(), path, sizeof path);
        drop(CFStringCreateWithFileSystemRepresentation(nullptr, "/tmp/\xC3\x84rger"));
    });
}

TEST_F(OutOfMemory, DescriptionsAreGivenOrNot) {
    const auto list = someList();
    const void* values[] = {wideText(), kCFNull};
    const auto error = hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainPOSIX, 5, values, values, 2));
    const auto uuid = hold(CFUUIDCreate(nullptr));
    CFAllocatorContext context{};
    context.copyDescription = [](const void*) {
        return CFStringCreateWithCString(nullptr, "info", kCFStringEncodingASCII);
    };
    const auto allocator = hold(CFAllocatorCreate(nullptr, &context));
    const auto real = Values::real(2.5);
    const auto data = hold(CFDataCreateMutable(nullptr, 0));
    CFDataSetLength(data, 200);
    const CFTypeRef objects[] = {list,
                                 error,
                                 uuid,
                                 allocator,
                                 real,
                                 data,
                                 wideText(),
                                 kCFNull,
                                 kCFBooleanTrue,
                                 CFRunLoopGetMain(),
                                 kCFAllocatorDefault};
    for (const CFTypeRef object : objects) failEachRequest("description", [&] { drop(CFCopyDescription(object)); });
    failEachRequest("error", [&] {
        drop(CFErrorCopyDescription(error));
        drop(CFErrorCopyFailureReason(error));
        drop(CFErrorCopyUserInfo(error));
    });
    testing::internal::CaptureStderr();
    failEachRequest("shown", [&] {
        CFShow(list);
        CFShowStr(wideText());
    });
    testing::internal::GetCapturedStderr();
}

TEST_F(OutOfMemory, DescriptionsAreNeverCutShort) {
    const auto uuid = hold(CFUUIDCreate(nullptr));
    const auto real = Values::real(2.5);
    const auto data = hold(CFDataCreateMutable(nullptr, 0));
    CFDataSetLength(data, 200);
    for (const CFTypeRef object : std::initializer_list<CFTypeRef>{uuid, real, data, wideText(), kCFNull}) {
        const auto whole = hold(CFCopyDescription(object));
        bool isWholeOrNone = true;
        failEachRequest("description", [&] {
            const auto made = hold(CFCopyDescription(object));
            if (made && !CFEqual(made, whole)) isWholeOrNone = false;
        });
        EXPECT_TRUE(isWholeOrNone) << Held::utf8(whole);
    }
}

TEST_F(OutOfMemory, PropertyListsAreReadAndWrittenOrNot) {
    const auto list = someList();
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const auto data = hold(CFPropertyListCreateData(nullptr, list, format, 0, nullptr));
        for (const CFOptionFlags mutability :
             {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
            failEachRequest("read", [&] {
                CFErrorRef error = nullptr;
                drop(CFPropertyListCreateWithData(nullptr, data, mutability, nullptr, &error));
                drop(error);
            });
            failEachRequest("copied", [&] { drop(CFPropertyListCreateDeepCopy(nullptr, list, mutability)); });
        }
        failEachRequest("written", [&] {
            CFErrorRef error = nullptr;
            drop(CFPropertyListCreateData(nullptr, list, format, 0, &error));
            drop(error);
        });
    }
    failEachRequest("valid", [&] { CFPropertyListIsValid(list, kCFPropertyListXMLFormat_v1_0); });
    failEachRequest("text", [] { drop(readBytes("{ a = (1, \"\\U00e4\\344\", <0a0b>); \"b c\" = d; a = again; }")); });
    failEachRequest("strings", [] { drop(readBytes("a = b;\n\"c\" = \"d\";\n")); });
    failEachRequest("keys that occur twice", [] {
        drop(
            readBytes("<plist><dict><key>a</key><string>\xC3\xA4</string><key>a</key><array><true/></array>"
                      "<key>b</key><integer>5</integer><key>\xC3\xA4&#x4E00;</key><real>1</real></dict></plist>"));
    });
    failEachRequest("another encoding", [] {
        drop(readBytes("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist><string>\xE4</string></plist>"));
    });
    failEachRequest("UTF-16", [] {
        constexpr char16_t document[] = u"\uFEFF<plist><string>\u00E4\u4E00</string></plist>";
        drop(readBytes({reinterpret_cast<const char*>(document), sizeof document - sizeof document[0]}));
    });
    std::string many = "<plist><dict>";
    for (int i = 0; i < 300; ++i) many += "<key>key " + std::to_string(i) + "</key><string>value</string>";
    many += "</dict></plist>";
    failEachRequest("many keys", [&] { drop(readBytes(many)); });
    failEachRequest("a fault", [] { drop(readBytes("<plist><dict><string></dict></plist>")); });
}

TEST_F(OutOfMemory, TextsAreComparedAndSearchedAllTheSame) {
    const CFRange all = CFRangeMake(0, CFStringGetLength(wideText()));
    constexpr CFOptionFlags kFolded = kCFCompareCaseInsensitive | kCFCompareNonliteral |
                                      kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive |
                                      kCFCompareNumerically;
    failEachRequest("compared", [&] { CFStringCompare(wideText(), CFSTR("\u00E4rger \u4E00 unt"), kFolded); });
    failEachRequest("localized", [&] {
        CFStringCompare(wideText(), CFSTR("\u00E4rger"), kCFCompareLocalized);
        CFStringCompare(wideText(), CFSTR("\u00E4rger"), kCFCompareLocalized | kCFCompareNumerically);
    });
    failEachRequest("found", [&] {
        CFStringFind(wideText(), CFSTR("\u00E4RGER"), kFolded | kCFCompareBackwards);
        drop(CFStringCreateArrayWithFindResults(nullptr, wideText(), CFSTR("\u00E4RGER"), all, kFolded));
    });
    failEachRequest("taken apart", [&] {
        drop(CFStringCreateArrayBySeparatingStrings(nullptr, wideText(), CFSTR("r")));
        const auto pieces = hold(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR("a,b,\u00E4"), CFSTR(",")));
        if (pieces) drop(CFStringCreateByCombiningStrings(nullptr, pieces, CFSTR(";")));
    });
    failEachRequest("bounds", [&] {
        CFStringGetRangeOfComposedCharactersAtIndex(wideText(), 7);
        CFIndex begin, end, contents;
        CFStringGetLineBounds(wideText(), {0, 1}, &begin, &end, &contents);
    });
    failEachRequest("formatted", [&] {
        drop(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%2$@ %1$500.300f %3$s"), 2.5, wideText(), "abc"));
        CFErrorRef error = nullptr;
        drop(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, CFSTR("%d"), CFSTR("%@"), &error, 5));
        drop(error);
    });
    failEachRequest("names", [] {
        CFStringConvertIANACharSetNameToEncoding(CFSTR("a-name-of-no-encoding"));
        CFStringGetNameOfEncoding(kCFStringEncodingUTF16);
        CFStringConvertEncodingToIANACharSetName(kCFStringEncodingMacRoman);
    });
}

TEST_F(OutOfMemory, TextsThatCannotBeChangedStayAsTheyAre) {
    const auto copyChanged = [](void (*change)(CFMutableStringRef)) {
        return [change] {
            const CFMutableStringRef text = CFStringCreateMutableCopy(nullptr, 0, wideText());
            if (!text) return;
            change(text);
            drop(text);
        };
    };
    const auto changed = [&](const char* name, void (*change)(CFMutableStringRef)) {
        failEachRequest(name, copyChanged(change));
    };
    const auto changedByICU = [&](const char* name, void (*change)(CFMutableStringRef)) {
        refuseEachRequest(name, copyChanged(change));
    };
    changed("lower", [](CFMutableStringRef text) { CFStringLowercase(text, nullptr); });
    changed("upper", [](CFMutableStringRef text) { CFStringUppercase(text, nullptr); });
    changedByICU("capital", [](CFMutableStringRef text) { CFStringCapitalize(text, nullptr); });
    changed("fold", [](CFMutableStringRef text) {
        CFStringFold(text, kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive,
                     nullptr);
    });
    changed("normalize", [](CFMutableStringRef text) { CFStringNormalize(text, kCFStringNormalizationFormKD); });
    changed("transform",
            [](CFMutableStringRef text) { CFStringTransform(text, nullptr, kCFStringTransformToUnicodeName, false); });
    changedByICU("strip", [](CFMutableStringRef text) {
        CFStringTransform(text, nullptr, kCFStringTransformStripDiacritics, false);
    });
    changed("replace", [](CFMutableStringRef text) {
        CFStringFindAndReplace(text, CFSTR("r"), CFSTR("\u00E4"), CFRangeMake(0, CFStringGetLength(text)),
                               kCFCompareCaseInsensitive);
    });
    changed("insert itself", [](CFMutableStringRef text) { CFStringInsert(text, 1, text); });
    changed("pad", [](CFMutableStringRef text) { CFStringPad(text, CFSTR("xyz"), 1000, 0); });
    changed("pad with itself", [](CFMutableStringRef text) { CFStringPad(text, text, 1000, 0); });
    changed("trim", [](CFMutableStringRef text) { CFStringTrim(text, CFSTR("r")); });
    changed("format", [](CFMutableStringRef text) { CFStringAppendFormat(text, nullptr, CFSTR("%@"), wideText()); });
}

TEST_F(OutOfMemory, CollectionsAreMadeOrNot) {
    const auto key = Held::mutableString(u"a key");
    failEachRequest("array", [&] {
        const auto array = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        if (!array) return;
        for (int i = 0; i < 20; ++i) CFArrayAppendValue(array, key);
        CFArrayAppendArray(array, array, {0, CFArrayGetCount(array)});
        CFArraySortValues(
            array, {0, CFArrayGetCount(array)},
            [](const void* a, const void* b, void*) {
                return CFStringCompare(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b), 0);
            },
            nullptr);
        drop(CFArrayCreateCopy(nullptr, array));
        drop(CFArrayCreateMutableCopy(nullptr, 0, array));
    });
    failEachRequest("dictionary", [&] {
        const auto dictionary = hold(CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                                               &kCFTypeDictionaryValueCallBacks));
        if (!dictionary) return;
        for (const char16_t first : {u'a', u'b', u'c', u'd', u'e', u'f', u'g', u'h', u'i'}) {
            const auto other = Held::mutableString(std::u16string(1, first));
            if (other) CFDictionarySetValue(dictionary, other, key);
        }
        drop(CFDictionaryCreateCopy(nullptr, dictionary));
        drop(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary));
    });
    failEachRequest("set", [&] {
        const auto set = hold(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
        if (!set) return;
        CFSetAddValue(set, key);
        drop(CFSetCreateCopy(nullptr, set));
        drop(CFSetCreateMutableCopy(nullptr, 0, set));
    });
    failEachRequest("data", [&] {
        const auto data = hold(CFDataCreateMutable(nullptr, 0));
        if (!data) return;
        CFDataSetLength(data, 100);
        const auto sought = hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("abab"), 4));
        if (sought) CFDataFind(data, sought, {0, CFDataGetLength(data)}, kCFDataSearchBackwards);
        drop(CFDataCreateCopy(nullptr, data));
        drop(CFDataCreateMutableCopy(nullptr, 0, data));
    });
    failEachRequest("numbers and dates", [] {
        drop(Values::number(1'000'000).get() ? CFRetain(kCFNull) : nullptr);
        drop(CFUUIDCreateFromString(nullptr, CFSTR("68753A44-4D6F-1226-9C60-0050E4C00067")));
        const auto uuid = hold(CFUUIDCreate(nullptr));
        if (uuid) drop(CFUUIDCreateString(nullptr, uuid));
        drop(CFDateCreate(nullptr, 1));
    });
}

TEST_F(OutOfMemory, DeepContainersEndAllTheSame) {
    failEachRequest("nested", [] {
        CFTypeRef inner = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
        for (int i = 0; inner && i < 200; ++i) {
            const CFTypeRef outer = CFArrayCreate(nullptr, &inner, 1, &kCFTypeArrayCallBacks);
            if (!outer) break;
            CFRelease(inner);
            inner = outer;
        }
        drop(inner);
    });
}

TEST_F(OutOfMemory, ConversionsAreOpenedOrNot) {
    failEachRequest("iconv", [] {
        for (const char* const to : {"UTF-8-MAC", "UTF-16LE", "SHIFT_JIS", "ASCII//TRANSLIT"}) {
            const iconv_t conversion = iconv_open(to, "UTF-8");
            if (conversion == reinterpret_cast<iconv_t>(-1)) continue;
            char text[] = "\xC3\xA4";
            char* in = text;
            char room[40];
            char* out = room;
            std::size_t inLeft = 2, outLeft = sizeof room;
            iconv(conversion, &in, &inLeft, &out, &outLeft);
            int transliterate = 1;
            iconvctl(conversion, ICONV_SET_TRANSLITERATE, &transliterate);
            iconv_close(conversion);
        }
    });
}

TEST_F(OutOfMemory, PortsAreMadeOrNot) {
    drop(CFMachPortCreate(nullptr, nullptr, nullptr, nullptr));  // the process's tables stand from the first port on
    failEachRequest("port", [] {
        std::vector<mach_port_t> ports;
        mach_port_t port = MACH_PORT_NULL;
        if (mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port) != KERN_SUCCESS) return;
        mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
        struct {
            mach_msg_header_t header;
            char body[64];
        } message{};
        message.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, 0);
        message.header.msgh_remote_port = port;
        message.header.msgh_size = sizeof message;
        const mach_msg_return_t sent =
            mach_msg(&message.header, MACH_SEND_MSG, sizeof message, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
        if (sent == MACH_MSG_SUCCESS) {
            struct {
                mach_msg_header_t header;
                char body[128];
            } received{};
            mach_msg(&received.header, MACH_RCV_MSG, 0, sizeof received, port, 0, MACH_PORT_NULL);
        }
        mach_port_destroy(mach_task_self(), port);
    });
    failEachRequest("object over a port", [] {
        drop(CFMachPortCreate(nullptr, nullptr, nullptr, nullptr));
        int pipes[2];
        if (pipe(pipes) != 0) return;
        const auto descriptor = hold(CFFileDescriptorCreate(nullptr, pipes[0], true, nullptr, nullptr));
        if (!descriptor) close(pipes[0]);
        if (descriptor) CFFileDescriptorInvalidate(descriptor);
        close(pipes[1]);
    });
}

TEST_F(OutOfMemory, AnItemComesToAllOfTheCommonModesOrToNone) {
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    const CFStringRef other = CFSTR("another common mode");
    CFRunLoopAddCommonMode(loop, other);
    int scheduled = 0;
    CFRunLoopSourceContext context{};
    context.info = &scheduled;
    context.schedule = [](void* info, CFRunLoopRef, CFRunLoopMode) { ++*static_cast<int*>(info); };
    context.cancel = [](void* info, CFRunLoopRef, CFRunLoopMode) { --*static_cast<int*>(info); };
    const auto source = hold(CFRunLoopSourceCreate(nullptr, 0, &context));
    const auto timer = hold(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr));
    failEachRequest("item", [&] {
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopCommonModes);
        const bool holdsSource = CFRunLoopContainsSource(loop, source, kCFRunLoopCommonModes);
        const bool holdsTimer = CFRunLoopContainsTimer(loop, timer, kCFRunLoopCommonModes);
        for (const CFStringRef mode : {kCFRunLoopDefaultMode, other}) {
            EXPECT_EQ(CFRunLoopContainsSource(loop, source, mode), holdsSource);
            EXPECT_EQ(CFRunLoopContainsTimer(loop, timer, mode), holdsTimer);
        }
        EXPECT_EQ(scheduled, holdsSource ? 2 : 0);
        EXPECT_EQ(CFGetRetainCount(timer), holdsTimer ? 2 : 1);
        CFRunLoopRemoveSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopRemoveTimer(loop, timer, kCFRunLoopCommonModes);
        EXPECT_EQ(scheduled, 0);
        EXPECT_EQ(CFGetRetainCount(source), 1);
        EXPECT_EQ(CFGetRetainCount(timer), 1);
    });
}

TEST_F(OutOfMemory, AModeBecomesCommonForAllItemsOrForNone) {
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    const auto source = [] {
        CFRunLoopSourceContext context{};
        return hold(CFRunLoopSourceCreate(nullptr, 0, &context));
    };
    const auto first = source(), second = source(), there = source();
    CFRunLoopAddSource(loop, first, kCFRunLoopCommonModes);
    CFRunLoopAddSource(loop, second, kCFRunLoopCommonModes);
    CFRunLoopAddSource(loop, there, kCFRunLoopCommonModes);
    for (long allowed = 0;; ++allowed) {
        const auto mode = hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("mode %ld"), allowed));
        CFRunLoopAddSource(loop, there, mode);
        FailingMalloc::begin(allowed, false);
        CFRunLoopAddCommonMode(loop, mode);
        const bool failed = FailingMalloc::end();
        EXPECT_EQ(CFRunLoopContainsSource(loop, first, mode), !failed) << allowed;
        EXPECT_EQ(CFRunLoopContainsSource(loop, second, mode), !failed) << allowed;
        EXPECT_TRUE(CFRunLoopContainsSource(loop, there, mode));
        if (!failed) break;
    }
    for (const auto& each : {first.get(), second.get(), there.get()}) {
        CFRunLoopSourceInvalidate(each);
        EXPECT_EQ(CFGetRetainCount(each), 1);
    }
}

TEST_F(OutOfMemory, ALoopServesAndEndsWithoutMemory) {
    std::atomic<int> calls{0};
    bool failed = false;
    std::thread([&] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopSourceContext context{};
        context.info = &calls;
        context.perform = [](void* info) { ++*static_cast<std::atomic<int>*>(info); };
        context.cancel = [](void* info, CFRunLoopRef, CFRunLoopMode) { ++*static_cast<std::atomic<int>*>(info); };
        const auto source = hold(CFRunLoopSourceCreate(nullptr, 0, &context));
        CFRunLoopTimerContext timerContext{0, &calls, nullptr, nullptr, nullptr};
        const auto call = [](CFRunLoopTimerRef, void* info) { ++*static_cast<std::atomic<int>*>(info); };
        const auto timer = hold(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, call, &timerContext));
        CFRunLoopObserverContext observerContext{0, &calls, nullptr, nullptr, nullptr};
        const auto tell = [](CFRunLoopObserverRef, CFRunLoopActivity, void* info) {
            ++*static_cast<std::atomic<int>*>(info);
        };
        const auto observer = hold(CFRunLoopObserverCreate(nullptr, kCFRunLoopExit, true, 0, tell, &observerContext));
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        FailingMalloc::begin(0, true);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0001, false);
        failed = FailingMalloc::end();
        EXPECT_EQ(calls, 4);  // the source, the timer, and the exits of two runs
        FailingMalloc::begin(0, true);
    }).join();
    EXPECT_FALSE(failed) << "a run asks for no memory";
    EXPECT_EQ(calls, 5);  // the source has left the ended loop
}

TEST_F(OutOfMemory, AccountsAreFoundOrNot) {
    const auto ask = [] {
        uuid_t uuid;
        id_t id = 0;
        int type = 0;
        if (mbr_uid_to_uuid(0, uuid) == 0) mbr_uuid_to_id(uuid, &id, &type);
        uuid_t group;
        mbr_gid_to_uuid(0, group);
        int isMember = 0;
        mbr_check_membership(uuid, group, &isMember);
        nt_sid_t sid;
        if (mbr_uuid_to_sid(uuid, &sid) == 0) mbr_sid_to_uuid(&sid, uuid);
    };
    ask();  // what the C library reads of nsswitch.conf at first, it cannot do without
    failEachRequest("membership", ask);
}

TEST_F(OutOfMemory, WithoutICUsRulesACharacterIsAUnitOrASurrogatePair) {
    std::thread([] {
        const auto text = Held::string(u"a\u0301\U0001F468\xD800x\xDC00");
        const auto rangeAt = [&](CFIndex index) {
            const CFRange range = CFStringGetRangeOfComposedCharactersAtIndex(text, index);
            return std::pair(range.location, range.length);
        };
        // The thread opens its iterator once, at the first question.
        FailingMalloc::begin(0, false);
        const auto first = rangeAt(0);
        ASSERT_TRUE(FailingMalloc::end());
        using Range = std::pair<CFIndex, CFIndex>;
        EXPECT_EQ(first, Range(0, 1));
        EXPECT_EQ(rangeAt(1), Range(1, 1));
        EXPECT_EQ(rangeAt(2), Range(2, 2));
        EXPECT_EQ(rangeAt(3), Range(2, 2));
        EXPECT_EQ(rangeAt(4), Range(4, 1));
        EXPECT_EQ(rangeAt(5), Range(5, 1));
        EXPECT_EQ(rangeAt(6), Range(6, 1));
    }).join();
}

TEST_F(OutOfMemory, TheDynamicStoreIsReadAndChangedOrNot) {
    const StoreTesting::TestStore place;
    const auto value = StoreTesting::entry("name", "value");
    const auto keys = StoreTesting::array({"key", "other"});
    const auto patterns = StoreTesting::array({"k.*"});
    const auto changes = StoreTesting::dictionary({{"key", value.get()}, {"other", value.get()}});
    const auto inSession = [](auto work) {
        return [work] {
            const auto session = hold(SCDynamicStoreCreate(nullptr, CFSTR("test"), nullptr, nullptr));
            if (session) work(session.get());
        };
    };
    using Store = SCDynamicStoreRef;
    failEachRequest("set", inSession([&](Store store) { SCDynamicStoreSetValue(store, CFSTR("key"), value); }));
    failEachRequest("value", inSession([](Store store) { drop(SCDynamicStoreCopyValue(store, CFSTR("key"))); }));
    refuseEachRequest("several",
                      inSession([&](Store store) { drop(SCDynamicStoreCopyMultiple(store, keys, patterns)); }));
    refuseEachRequest("list", inSession([](Store store) { drop(SCDynamicStoreCopyKeyList(store, CFSTR("k.*"))); }));
    failEachRequest("set several",
                    inSession([&](Store store) { SCDynamicStoreSetMultiple(store, changes, nullptr, nullptr); }));
    failEachRequest("remove", inSession([](Store store) { SCDynamicStoreRemoveValue(store, CFSTR("key")); }));
    failEachRequest("notice", inSession([](Store store) { SCDynamicStoreNotifyValue(store, CFSTR("key")); }));
}

/// Ends the process that a death test runs its statement in.
[[noreturn]] void endWith(bool success) { _exit(success ? 0 : 1); }

TEST_F(OutOfMemory, TheFirstPortOfAProcessIsRefusedAndTheNextIsMade) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // a process that has used no port yet
    EXPECT_EXIT(
        {
            mach_port_t port = MACH_PORT_NULL;
            FailingMalloc::begin(0, true);
            const kern_return_t refused = mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
            const CFMachPortRef none = CFMachPortCreate(nullptr, nullptr, nullptr, nullptr);
            FailingMalloc::end();
            endWith(refused == KERN_RESOURCE_SHORTAGE && !none &&
                    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port) == KERN_SUCCESS &&
                    CFMachPortCreate(nullptr, nullptr, nullptr, nullptr));
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(OutOfMemory, AConstantThatCouldNotBeMadeIsMadeWhenItIsAskedForAgain) {
    const auto constant = [] { return CFSTR("asked for without memory: \u00C4"); };
    for (long allowed = 0;; ++allowed) {
        FailingMalloc::begin(allowed, true);
        const CFStringRef made = constant();
        if (!FailingMalloc::end()) break;
        EXPECT_EQ(made, nullptr) << allowed << " requests were granted";
    }
    const auto expected = Held::string(std::u16string(u"asked for without memory: \u00C4"));
    EXPECT_TRUE(CFEqual(constant(), expected));
    EXPECT_EQ(constant(), constant());
}
