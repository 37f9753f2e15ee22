// Every function that the platform's library exports, called with each request of memory refused once, alone and with
// all after it: it comes back, and no exception leaves it.
//
// The functions are those of the library's own table of symbols, which the build lists (ListExportedFunctions.cmake).
// A function is called with values that its parameters' types name; one that needs others has a call of its own below.
// So a new function is walked without being named here, and a parameter of a type that nothing is known of fails.

#include "FailingMalloc.h"
#include "Platform/SystemConfiguration/StoreTesting.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <iconv.h>
#include <mach/mach.h>
#include <membership.h>
#include <pthread.h>
#include <unicode/uclean.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

// The type of a va_list has an attribute that does not matter here.
#pragma GCC diagnostic ignored "-Wattributes"
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace {

using Held::hold;

/// Each function is called in some ways, which differ in the objects and numbers that it is given.
constexpr int kWays = 3;

std::set<std::string> unknownTypes;

template <class T>
constexpr std::string_view nameOf() {
    return __PRETTY_FUNCTION__;
}

CFStringRef wideText() {
    static const CFStringRef text = CFSTR("\u00C4rger \u4E00\u0301 und STRA\u00DFE, \u00C4rger");
    return text;
}

CFMutableStringRef newText(int way) {
    return CFStringCreateMutableCopy(nullptr, 0, way == 1 ? CFSTR("plain text: 17, 3.5") : wideText());
}

CFMutableDataRef newData(int way) {
    constexpr std::string_view texts[kWays] = {
        "<plist "
        "version=\"1.0\"><dict><key>a</key><array><string>\xC3\xA4</string><real>1</real></array></dict></plist>",
        "{ a = (b, \"c\", <0a0b>); }", "bplist00 or not"};
    const CFMutableDataRef made = CFDataCreateMutable(nullptr, 0);
    const std::string_view text = texts[way];
    CFDataAppendBytes(made, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()));
    return made;
}

CFMutableArrayRef newArray() {
    const CFMutableArrayRef made = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (const CFStringRef each : {CFSTR("first"), wideText(), CFSTR("third"), CFSTR("fourth")}) {
        CFArrayAppendValue(made, each);
    }
    return made;
}

CFMutableDictionaryRef newDictionary() {
    const CFMutableDictionaryRef made =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    const auto list = hold(newArray());
    CFDictionarySetValue(made, CFSTR("list"), list);
    CFDictionarySetValue(made, wideText(), CFSTR("value"));
    return made;
}

CFErrorRef newError() {
    const auto info = hold(newDictionary());
    return CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 5, info);
}

CFTreeRef newTree() {
    CFTreeContext context{};
    const CFTreeRef made = CFTreeCreate(nullptr, &context);
    for (int i = 0; i < 3; ++i) {
        const auto child = hold(CFTreeCreate(nullptr, &context));
        CFTreeAppendChild(made, child);
    }
    return made;
}

/// One for the whole program: to make one takes a folder of the test's own.
SCDynamicStoreRef store() {
    static StoreTesting::TestStore folder;
    static const SCDynamicStoreRef made = SCDynamicStoreCreate(nullptr, CFSTR("test"), nullptr, nullptr);
    return made;
}

/// The values for one call, and what has to be given back after it.
class Values {
  public:
    explicit Values(int way) : way_(way) {}
    Values(const Values&) = delete;
    Values& operator=(const Values&) = delete;
    ~Values() {
        for (auto at = endings_.rbegin(); at != endings_.rend(); ++at) (*at)();
    }

    int way() const { return way_; }

    /// The function that is called. Some take any object, and have more to do with one that holds others.
    void setFunction(std::string_view name) {
        takesAnything_ = name.starts_with("CFPropertyList") || name.starts_with("CFShow") ||
                         name.starts_with("CFCopy") || name == "CFEqual" || name == "CFHash";
    }

    /// A value of a parameter's type.
    template <class T>
    T make() {
        if constexpr (std::is_same_v<T, CFAllocatorRef>) {
            // The first makes what the function returns; another one would give back memory that is not its own.
            return std::exchange(hasAllocator_, true) ? kCFAllocatorNull : kCFAllocatorDefault;
        } else if constexpr (std::is_enum_v<T> || std::is_floating_point_v<T>) {
            return static_cast<T>(way_);
        } else if constexpr (std::is_same_v<T, CFOptionFlags>) {
            constexpr T flags[kWays] = {0, 1,
                                        kCFCompareCaseInsensitive | kCFCompareNonliteral | kCFCompareNumerically |
                                            kCFCompareDiacriticInsensitive};
            return flags[way_];
        } else if constexpr (std::is_same_v<T, CFStringEncoding>) {
            constexpr T encodings[kWays] = {kCFStringEncodingUTF8, kCFStringEncodingUTF16, kCFStringEncodingBig5};
            return encodings[way_];
        } else if constexpr (std::is_integral_v<T>) {
            return static_cast<T>(way_ + 1);
        } else if constexpr (std::is_same_v<T, CFRange>) {
            return CFRangeMake(0, way_ + 1);
        } else if constexpr (!std::is_pointer_v<T>) {
            return T{};
        } else {
            return makePointer<std::remove_pointer_t<T>>();
        }
    }

    /// Releases an object after the call.
    template <class Ref>
    Ref own(Ref made) {
        endings_.emplace_back([made] {
            if (made) CFRelease(made);
        });
        return made;
    }

    void atEnd(std::function<void()> ending) { endings_.push_back(std::move(ending)); }

    /// Zeroed memory, enough for every record and text that the ways ask for.
    std::byte* memory() {
        constexpr std::size_t kSize = 8192;
        auto* const made = static_cast<std::byte*>(std::calloc(1, kSize));
        endings_.emplace_back([made] { std::free(made); });
        return made;
    }

  private:
    template <class Result, class... Parameters>
    static Result nothing(Parameters...) {
        return Result();
    }
    template <class Result, class... Parameters>
    static auto functionOf(std::type_identity<Result(Parameters...)>) {
        return nothing<Result, Parameters...>;
    }

    template <class Pointee>
    Pointee* makePointer() {
        using Plain = std::remove_const_t<Pointee>;
        if constexpr (std::is_function_v<Pointee>) {
            return functionOf(std::type_identity<Pointee>());
        } else if constexpr (std::is_same_v<Pointee, const void>) {
            return object();
        } else if constexpr (std::is_same_v<Pointee, const char>) {
            return way_ == 1 ? "utf-8" : "text \xC3\xA4";
        } else if constexpr (std::is_same_v<Plain, const void*>) {
            auto* const places = reinterpret_cast<const void**>(memory());
            for (int i = 0; i < 8; ++i) places[i] = i % 2 ? wideText() : CFSTR("value");
            return places;
        } else if constexpr (std::is_same_v<Pointee, CFErrorRef>) {
            auto* const place = reinterpret_cast<CFErrorRef*>(memory());
            endings_.emplace_back([place] {
                if (*place) CFRelease(*place);
            });
            return place;
        } else if constexpr (std::is_same_v<Pointee, const CFArrayCallBacks>) {
            return &kCFTypeArrayCallBacks;
        } else if constexpr (std::is_same_v<Pointee, const CFBagCallBacks>) {
            return &kCFTypeBagCallBacks;
        } else if constexpr (std::is_same_v<Pointee, const CFBinaryHeapCallBacks>) {
            return &kCFStringBinaryHeapCallBacks;
        } else if constexpr (std::is_same_v<Pointee, const CFSetCallBacks>) {
            return &kCFTypeSetCallBacks;
        } else if constexpr (std::is_same_v<Pointee, const CFDictionaryKeyCallBacks>) {
            return &kCFTypeDictionaryKeyCallBacks;
        } else if constexpr (std::is_same_v<Pointee, const CFDictionaryValueCallBacks>) {
            return &kCFTypeDictionaryValueCallBacks;
        } else if constexpr (std::is_same_v<Pointee, void>) {
            return memory();
        } else if constexpr (requires { sizeof(Pointee); }) {
            return reinterpret_cast<Plain*>(memory());
        } else {
            return known(static_cast<Pointee*>(nullptr));
        }
    }

    CFTypeRef object() {
        if (takesAnything_) return own<CFTypeRef>(way_ == 0 ? newArray() : CFTypeRef(newDictionary()));
        return way_ == 0 ? wideText() : own<CFTypeRef>(newText(way_));
    }

    /// An object of an opaque type.
    template <class Opaque>
    Opaque* known(Opaque*) {
        unknownTypes.insert(std::string(nameOf<Opaque>()));
        return nullptr;
    }
    CFStringRef known(CFStringRef) { return own(CFStringCreateCopy(nullptr, hold(newText(way_)))); }
    CFMutableStringRef known(CFMutableStringRef) { return own(newText(way_)); }
    CFDataRef known(CFDataRef) { return own(CFDataCreateCopy(nullptr, hold(newData(way_)))); }
    CFMutableDataRef known(CFMutableDataRef) { return own(newData(way_)); }
    CFArrayRef known(CFArrayRef) { return own(CFArrayCreateCopy(nullptr, hold(newArray()))); }
    CFMutableArrayRef known(CFMutableArrayRef) { return own(newArray()); }
    CFDictionaryRef known(CFDictionaryRef) { return own(CFDictionaryCreateCopy(nullptr, hold(newDictionary()))); }
    CFMutableDictionaryRef known(CFMutableDictionaryRef) { return own(newDictionary()); }
    CFSetRef known(CFSetRef) { return known(CFMutableSetRef()); }
    CFMutableSetRef known(CFMutableSetRef) {
        const CFMutableSetRef made = own(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
        CFSetAddValue(made, wideText());
        return made;
    }
    CFBagRef known(CFBagRef) { return known(CFMutableBagRef()); }
    CFMutableBagRef known(CFMutableBagRef) {
        const CFMutableBagRef made = own(CFBagCreateMutable(nullptr, 0, &kCFTypeBagCallBacks));
        CFBagAddValue(made, wideText());
        return made;
    }
    CFBinaryHeapRef known(CFBinaryHeapRef) {
        const CFBinaryHeapRef made = own(CFBinaryHeapCreate(nullptr, 0, &kCFStringBinaryHeapCallBacks, nullptr));
        CFBinaryHeapAddValue(made, wideText());
        return made;
    }
    CFBitVectorRef known(CFBitVectorRef) { return known(CFMutableBitVectorRef()); }
    CFMutableBitVectorRef known(CFMutableBitVectorRef) {
        const CFMutableBitVectorRef made = own(CFBitVectorCreateMutable(nullptr, 0));
        CFBitVectorSetCount(made, 100);
        return made;
    }
    CFCharacterSetRef known(CFCharacterSetRef) {
        return own(CFCharacterSetCreateWithCharactersInRange(nullptr, {'a', 3}));
    }
    CFMutableCharacterSetRef known(CFMutableCharacterSetRef) { return own(CFCharacterSetCreateMutable(nullptr)); }
    CFURLRef known(CFURLRef) {
        constexpr std::string_view texts[kWays] = {"file:///no/such%20file", "http://u%20:p@h:1/a/b.c?d%20#e", "../a"};
        const auto base = hold(CFURLCreateWithString(nullptr, CFSTR("file:///no/such/folder/"), nullptr));
        const std::string_view text = texts[way_];
        return own(CFURLCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                        static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, base));
    }
    CFURLEnumeratorRef known(CFURLEnumeratorRef) {
        const auto folder = hold(CFURLCreateWithString(nullptr, CFSTR("file:///usr/"), nullptr));
        return own(CFURLEnumeratorCreateForDirectoryURL(nullptr, folder, kCFURLEnumeratorDescendRecursively, nullptr));
    }
    CFSocketRef known(CFSocketRef) {
        const CFSocketRef made =
            own(CFSocketCreate(nullptr, PF_UNIX, SOCK_DGRAM, 0, kCFSocketReadCallBack, nullptr, nullptr));
        endings_.emplace_back([made] { CFSocketInvalidate(made); });
        return made;
    }
    // Nobody has one.
    FSRef* known(FSRef*) { return nullptr; }
    const FSRef* known(const FSRef*) { return nullptr; }
    CFErrorRef known(CFErrorRef) { return own(newError()); }
    CFNumberRef known(CFNumberRef) {
        const double value = 100'000.5;
        return own(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
    }
    CFBooleanRef known(CFBooleanRef) { return kCFBooleanTrue; }
    CFDateRef known(CFDateRef) { return own(CFDateCreate(nullptr, 5)); }
    CFUUIDRef known(CFUUIDRef) { return own(CFUUIDCreate(nullptr)); }
    CFTreeRef known(CFTreeRef) { return own(newTree()); }
    CFStringTokenizerRef known(CFStringTokenizerRef) {
        const auto made = own(CFStringTokenizerCreate(nullptr, wideText(), {0, CFStringGetLength(wideText())},
                                                      static_cast<CFOptionFlags>(way_), nullptr));
        CFStringTokenizerAdvanceToNextToken(made);
        return made;
    }
    CFAttributedStringRef known(CFAttributedStringRef) { return known(CFMutableAttributedStringRef()); }
    CFMutableAttributedStringRef known(CFMutableAttributedStringRef) {
        const auto plain = hold(CFAttributedStringCreate(nullptr, wideText(), nullptr));
        const CFMutableAttributedStringRef made = own(CFAttributedStringCreateMutableCopy(nullptr, 0, plain));
        CFAttributedStringSetAttribute(made, {1, 2}, CFSTR("list"), CFSTR("value"));
        return made;
    }
    CFNumberFormatterRef known(CFNumberFormatterRef) {
        constexpr CFNumberFormatterStyle styles[kWays] = {
            kCFNumberFormatterDecimalStyle, kCFNumberFormatterCurrencyStyle, kCFNumberFormatterPercentStyle};
        return own(CFNumberFormatterCreate(nullptr, known(CFLocaleRef()), styles[way_]));
    }
    CFXMLNodeRef known(CFXMLNodeRef) {
        return own(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeComment, CFSTR("text"), nullptr, 1));
    }
    CFXMLParserRef known(CFXMLParserRef) {
        CFXMLParserCallBacks callBacks{0,
                                       [](CFXMLParserRef, CFXMLNodeRef, void*) -> void* { return nullptr; },
                                       [](CFXMLParserRef, void*, void*, void*) {},
                                       [](CFXMLParserRef, void*, void*) {},
                                       nullptr,
                                       nullptr};
        return own(CFXMLParserCreate(nullptr, hold(newData(way_)), nullptr, 0, 1, &callBacks, nullptr));
    }
    CFLocaleRef known(CFLocaleRef) { return own(CFLocaleCreate(nullptr, way_ == 0 ? CFSTR("de_DE") : CFSTR("ja_JP"))); }
    CFTimeZoneRef known(CFTimeZoneRef) {
        return own(CFTimeZoneCreateWithName(nullptr, way_ == 0 ? CFSTR("Europe/Berlin") : CFSTR("GMT+0530"), false));
    }
    CFCalendarRef known(CFCalendarRef) {
        return own(CFCalendarCreateWithIdentifier(nullptr, way_ == 0 ? kCFGregorianCalendar : kCFHebrewCalendar));
    }
    CFDateFormatterRef known(CFDateFormatterRef) {
        const auto locale = hold(CFLocaleCreate(nullptr, way_ == 0 ? CFSTR("de_DE") : CFSTR("ja_JP")));
        return own(CFDateFormatterCreate(nullptr, locale, kCFDateFormatterLongStyle, kCFDateFormatterLongStyle));
    }
    // None of these can be made yet.
    CFReadStreamRef known(CFReadStreamRef) { return nullptr; }
    CFWriteStreamRef known(CFWriteStreamRef) { return nullptr; }
    CFRunLoopRef known(CFRunLoopRef) { return CFRunLoopGetCurrent(); }
    CFRunLoopSourceRef known(CFRunLoopSourceRef) {
        CFRunLoopSourceContext context{};
        const CFRunLoopSourceRef made = own(CFRunLoopSourceCreate(nullptr, 0, &context));
        endings_.emplace_back([made] { CFRunLoopSourceInvalidate(made); });
        return made;
    }
    CFRunLoopTimerRef known(CFRunLoopTimerRef) {
        const CFRunLoopTimerRef made = own(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr));
        endings_.emplace_back([made] { CFRunLoopTimerInvalidate(made); });
        return made;
    }
    CFRunLoopObserverRef known(CFRunLoopObserverRef) {
        const CFRunLoopObserverRef made =
            own(CFRunLoopObserverCreate(nullptr, kCFRunLoopAllActivities, true, 0, nullptr, nullptr));
        endings_.emplace_back([made] { CFRunLoopObserverInvalidate(made); });
        return made;
    }
    CFMachPortRef known(CFMachPortRef) {
        const CFMachPortRef made = own(CFMachPortCreate(nullptr, nullptr, nullptr, nullptr));
        endings_.emplace_back([made] { CFMachPortInvalidate(made); });
        return made;
    }
    CFFileDescriptorRef known(CFFileDescriptorRef) {
        const CFFileDescriptorRef made =
            own(CFFileDescriptorCreate(nullptr, ::eventfd(0, EFD_CLOEXEC), true, nullptr, nullptr));
        endings_.emplace_back([made] { CFFileDescriptorInvalidate(made); });
        return made;
    }
    SCDynamicStoreRef known(SCDynamicStoreRef) { return store(); }

    const int way_;
    bool hasAllocator_ = false;
    bool takesAnything_ = false;
    std::vector<std::function<void()>> endings_;
};

/// Prepares what one call needs, and returns the call.
using Walk = std::function<std::function<void()>(Values&)>;

bool returnsReference(std::string_view name) {
    return name.find("Create") != std::string_view::npos || name.find("Copy") != std::string_view::npos;
}

template <class Result, class Call>
void callAndRelease(std::string_view name, const Call& call) {
    if constexpr (std::is_pointer_v<Result> && std::is_convertible_v<Result, const void*>) {
        const void* const made = call();
        if (made && returnsReference(name)) CFRelease(made);
    } else {
        call();
    }
}

template <class Result, class... Parameters>
Walk walkOf(const char* name, Result (*function)(Parameters...)) {
    return [=](Values& values) -> std::function<void()> {
        values.setFunction(name);
        // In braces: the values are made from the first to the last.
        const std::tuple<Parameters...> parameters{values.make<Parameters>()...};
        return [=] { callAndRelease<Result>(name, [&] { return std::apply(function, parameters); }); };
    };
}

template <class Result, class... Parameters>
Walk walkOf(const char* name, Result (*function)(Parameters..., ...)) {
    return [=](Values& values) -> std::function<void()> {
        values.setFunction(name);
        const std::tuple<Parameters...> parameters{values.make<Parameters>()...};
        return [=] {
            callAndRelease<Result>(
                name, [&] { return std::apply([&](auto... given) { return function(given...); }, parameters); });
        };
    };
}

// ---- Functions that need more than a value of each type

mach_port_t newPort(Values& values) {
    mach_port_t port = MACH_PORT_NULL;
    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
    mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
    values.atEnd([port] { mach_port_destroy(mach_task_self(), port); });
    return port;
}

void sendAndReceive(mach_port_t port) {
    struct {
        mach_msg_header_t header;
        char body[64];
    } message{};
    message.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, 0);
    message.header.msgh_remote_port = port;
    mach_msg(&message.header, MACH_SEND_MSG | MACH_SEND_TIMEOUT, sizeof message, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
    mach_msg(&message.header, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof message, port, 0, MACH_PORT_NULL);
}

/// A loop with something of every kind.
struct Everything {
    explicit Everything(Values& values)
        : source(values.make<CFRunLoopSourceRef>()),
          timer(values.make<CFRunLoopTimerRef>()),
          observer(values.make<CFRunLoopObserverRef>()),
          port(values.make<CFMachPortRef>()),
          descriptor(values.make<CFFileDescriptorRef>()) {}

    void run() const {
        const CFStringRef mode = CFSTR("everything");
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddCommonMode(loop, CFSTR("another"));
        for (const CFStringRef each : {mode, kCFRunLoopCommonModes}) {
            CFRunLoopAddSource(loop, source, each);
            CFRunLoopAddTimer(loop, timer, each);
            CFRunLoopAddObserver(loop, observer, each);
            for (const CFRunLoopSourceRef made : {CFMachPortCreateRunLoopSource(nullptr, port, 0),
                                                  CFFileDescriptorCreateRunLoopSource(nullptr, descriptor, 0)}) {
                if (!made) continue;
                CFRunLoopAddSource(loop, made, each);
                CFRelease(made);
            }
        }
        CFRunLoopSourceSignal(source);
        CFFileDescriptorEnableCallBacks(descriptor, kCFFileDescriptorWriteCallBack);
        sendAndReceive(CFMachPortGetPort(port));
        CFRunLoopRunInMode(mode, 0.0001, false);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
        CFRunLoopRemoveSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopRemoveTimer(loop, timer, kCFRunLoopCommonModes);
        CFRunLoopRemoveObserver(loop, observer, kCFRunLoopCommonModes);
        CFMachPortInvalidate(port);
        CFFileDescriptorInvalidate(descriptor);
        CFRunLoopRun();  // nothing is left in the default mode
    }

    CFRunLoopSourceRef source;
    CFRunLoopTimerRef timer;
    CFRunLoopObserverRef observer;
    CFMachPortRef port;
    CFFileDescriptorRef descriptor;
};

void convert(const char* to) {
    const iconv_t conversion = iconv_open(to, "UTF-8");
    if (conversion == reinterpret_cast<iconv_t>(-1)) return;
    char text[] = "\xC3\xA4";
    char* in = text;
    char room[40];
    char* out = room;
    std::size_t inLeft = 2, outLeft = sizeof room;
    int one = 1;
    iconvctl(conversion, ICONV_SET_TRANSLITERATE, &one);
    iconv(conversion, &in, &inLeft, &out, &outLeft);
    iconv_close(conversion);
}

Walk conversions() {
    return [](Values& values) -> std::function<void()> {
        constexpr const char* kTargets[kWays] = {"UTF-8-MAC", "SHIFT_JIS//IGNORE", "ASCII//TRANSLIT"};
        return [to = kTargets[values.way()]] { convert(to); };
    };
}

std::map<std::string, Walk> ownWalks() {
    using Call = std::function<void()>;
    std::map<std::string, Walk> walks;
    walks["CFRetain"] = [](Values&) -> Call { return [] { CFRelease(CFRetain(wideText())); }; };
    walks["CFRelease"] = [](Values& values) -> Call {
        const CFTypeRef object = values.make<CFTypeRef>();
        return [object] { CFRelease(CFRetain(object)); };
    };
    walks["CFAutorelease"] = [](Values&) -> Call {
        // What cannot be noted down stays for good.
        return [] { CFAutorelease(wideText()); };
    };
    walks["CFAllocatorAllocate"] = walks["CFAllocatorDeallocate"] =
        walks["CFAllocatorReallocate"] = [](Values&) -> Call {
        return [] {
            void* const first = CFAllocatorAllocate(kCFAllocatorDefault, 10, 0);
            void* const second = CFAllocatorReallocate(kCFAllocatorDefault, first, 1000, 0);
            CFAllocatorDeallocate(kCFAllocatorDefault, second ? second : first);
        };
    };
    walks["CFRunLoopRun"] = walks["CFRunLoopRunInMode"] = [](Values& values) -> Call {
        return [everything = Everything(values)] { everything.run(); };
    };
    walks["CFRunLoopAddCommonMode"] = [](Values& values) -> Call {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddSource(loop, values.make<CFRunLoopSourceRef>(), kCFRunLoopCommonModes);
        CFRunLoopAddTimer(loop, values.make<CFRunLoopTimerRef>(), kCFRunLoopCommonModes);
        CFRunLoopAddObserver(loop, values.make<CFRunLoopObserverRef>(), kCFRunLoopCommonModes);
        static int count = 0;
        const CFStringRef name = values.own(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("mode %d"), ++count));
        return [=] { CFRunLoopAddCommonMode(loop, name); };
    };
    walks["CFFileDescriptorCreate"] = [](Values& values) -> Call {
        const int descriptor = ::eventfd(0, EFD_CLOEXEC);
        values.atEnd([descriptor] { ::close(descriptor); });
        return [descriptor] {
            CFFileDescriptorContext context{};
            const CFFileDescriptorRef made = CFFileDescriptorCreate(nullptr, descriptor, false, nullptr, &context);
            if (made) CFRelease(made);
        };
    };
    walks["CFSocketCreateWithNative"] = [](Values& values) -> Call {
        const int native = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        values.atEnd([native] { ::close(native); });
        return [native] {
            const CFSocketContext context{};
            const CFSocketRef made =
                CFSocketCreateWithNative(nullptr, native, kCFSocketAcceptCallBack, nullptr, &context);
            if (!made) return;
            CFSocketSetSocketFlags(made, 0);
            CFRelease(made);
        };
    };
    walks["mach_msg"] = [](Values& values) -> Call { return [port = newPort(values)] { sendAndReceive(port); }; };
    walks["mach_port_allocate"] = walks["mach_port_destroy"] = [](Values&) -> Call {
        return [] {
            mach_port_t port = MACH_PORT_NULL;
            if (mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port) != KERN_SUCCESS) return;
            mach_port_destroy(mach_task_self(), port);
        };
    };
    walks["mach_port_deallocate"] = [](Values& values) -> Call {
        return [port = newPort(values)] { mach_port_deallocate(mach_task_self(), port); };
    };
    walks["mach_port_mod_refs"] = walks["mach_port_insert_right"] = [](Values& values) -> Call {
        return [port = newPort(values)] {
            mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
            mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, 3);
            mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, -1);
        };
    };
    walks["mach_port_get_attributes"] = walks["mach_port_set_attributes"] = [](Values& values) -> Call {
        return [port = newPort(values)] {
            mach_port_limits_t limits{.mpl_qlimit = 3};
            mach_port_set_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO,
                                     reinterpret_cast<mach_port_info_t>(&limits), MACH_PORT_LIMITS_INFO_COUNT);
            mach_msg_type_number_t count = MACH_PORT_LIMITS_INFO_COUNT;
            mach_port_get_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO,
                                     reinterpret_cast<mach_port_info_t>(&limits), &count);
        };
    };
    walks["CFURLCopyResourcePropertiesForKeys"] = [](Values& values) -> Call {
        const CFMutableArrayRef keys = values.own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        for (const CFStringRef key :
             {kCFURLNameKey, kCFURLParentDirectoryURLKey, kCFURLVolumeURLKey, kCFURLContentModificationDateKey,
              kCFURLFileResourceIdentifierKey, kCFURLCanonicalPathKey, kCFURLIsVolumeKey, kCFURLVolumeTotalCapacityKey})
            CFArrayAppendValue(keys, key);
        const CFURLRef url = values.own(CFURLCreateWithString(nullptr, CFSTR("file:///usr/lib"), nullptr));
        return [=] {
            const CFDictionaryRef found = CFURLCopyResourcePropertiesForKeys(url, keys, nullptr);
            if (found) CFRelease(found);
        };
    };
    walks["CFURLCreateBookmarkData"] = walks["CFURLCreateByResolvingBookmarkData"] =
        walks["CFURLCreateResourcePropertyForKeyFromBookmarkData"] = [](Values& values) -> Call {
        const CFURLRef url = values.own(CFURLCreateWithString(nullptr, CFSTR("file:///usr/lib"), nullptr));
        const void* keys[] = {kCFURLNameKey};
        const CFArrayRef list = values.own(CFArrayCreate(nullptr, keys, 1, &kCFTypeArrayCallBacks));
        return [=] {
            const CFDataRef bookmark = CFURLCreateBookmarkData(nullptr, url, 0, list, nullptr, nullptr);
            const CFURLRef found =
                CFURLCreateByResolvingBookmarkData(nullptr, bookmark, 0, nullptr, list, nullptr, nullptr);
            const CFTypeRef name = CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLNameKey, bookmark);
            for (const CFTypeRef made : {CFTypeRef(bookmark), CFTypeRef(found), name})
                if (made) CFRelease(made);
        };
    };
    for (const char* const name : {"kx_iconv", "kx_iconv_open", "kx_iconv_close", "kx_iconvctl"}) {
        walks[name] = conversions();
    }
    walks["CFCalendarComposeAbsoluteTime"] = walks["CFCalendarDecomposeAbsoluteTime"] =
        walks["CFCalendarAddComponents"] = walks["CFCalendarGetComponentDifference"] = [](Values& values) -> Call {
            return [calendar = values.make<CFCalendarRef>()] {
                CFAbsoluteTime at = 0;
                int year = 0, day = 0;
                CFCalendarComposeAbsoluteTime(calendar, &at, "yd", 2024, 29);
                CFCalendarDecomposeAbsoluteTime(calendar, at, "yd", &year, &day);
                CFCalendarAddComponents(calendar, &at, 0, "yd", 1, 1);
                CFCalendarGetComponentDifference(calendar, 0, at, 0, "yd", &year, &day);
            };
        };
    walks["_Z18pthread_setname_npPKc"] = [](Values&) -> Call { return [] { pthread_setname_np("a name"); }; };
    return walks;
}

/// C++ functions that other libraries of this system use; theirs is the rule of C++.
const std::set<std::string>& notOfC() {
    static const std::set<std::string> names{"_ZN10KXPlatform20createUnsignedNumberEPK13__CFAllocatorm"};
    return names;
}

/// The functions by their symbols; one without a walk has an empty one.
const std::map<std::string, Walk>& functions() {
    static const std::map<std::string, Walk> walks = [] {
        std::map<std::string, Walk> own = ownWalks();
        std::map<std::string, Walk> all;
        const auto add = [&](const char* name, Walk common) {
            const auto found = own.find(name);
            all[name] = found == own.end() ? std::move(common) : found->second;
            if (found != own.end()) own.erase(found);
        };
#define KX_FUNCTION(name) add(#name, walkOf(#name, name));
#define KX_OTHER(name) add(name, Walk());
#include "ExportedFunctions.inc"
#undef KX_FUNCTION
#undef KX_OTHER
        for (const auto& [name, walk] : own) ADD_FAILURE() << name << " is not exported";
        return all;
    }();
    return walks;
}

// ---- ICU, whose calendars, formatters, breaks of Chinese and names of zones crash where memory is refused them (seen
// in version 72). While a function walks into one of those, ICU is given all that it asks for, and only our own
// requests are refused.

bool isICUSpared = false;

bool callsFragileICU(std::string_view name) {
    return name.starts_with("CFCalendar") || name.starts_with("CFDateFormatter") ||
           name.starts_with("CFNumberFormatter") || name.starts_with("CFStringTokenizer") ||
           name == "CFTimeZoneCopyLocalizedName";
}

template <class Request>
void* forICU(Request request) {
    if (!isICUSpared) return request();
    const FailingMalloc::Pause pause;
    return request();
}

void takeICUsRequests() {
    UErrorCode status = U_ZERO_ERROR;
    u_setMemoryFunctions(
        nullptr, [](const void*, std::size_t size) { return forICU([=] { return std::malloc(size); }); },
        [](const void*, void* memory, std::size_t size) { return forICU([=] { return std::realloc(memory, size); }); },
        [](const void*, void* memory) {
            forICU([=]() -> void* {
                std::free(memory);
                return nullptr;
            });
        },
        &status);
    ASSERT_TRUE(U_SUCCESS(status));
}

/// The function that is called, for who finds the process ended.
const char* current = "";

[[noreturn]] void reportAndAbort() noexcept {
    std::printf("ended in %s\n", current);
    std::fflush(stdout);
    std::abort();
}

/// Hides what functions print, and what libraries say of a lack of memory.
class SilentErrors {
  public:
    SilentErrors() : kept_(::dup(STDERR_FILENO)) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDERR_FILENO);
        ::close(nowhere);
    }
    ~SilentErrors() {
        ::dup2(kept_, STDERR_FILENO);
        ::close(kept_);
    }

  private:
    int kept_;
};

class ExportedFunctions : public testing::Test {
  protected:
    static void SetUpTestSuite() { takeICUsRequests(); }
    void SetUp() override {
        CFRunLoopGetCurrent();
        CFAutorelease(CFRetain(kCFNull));
        before_ = std::set_terminate(reportAndAbort);
    }
    void TearDown() override { std::set_terminate(before_); }

  private:
    std::terminate_handler before_ = nullptr;
};

/// Calls a function with one request of memory refused. Whether there was one to refuse.
bool callRefused(const Walk& walk, int way, long allowed, bool forGood) {
    Values values(way);
    const std::function<void()> call = walk(values);
    FailingMalloc::begin(allowed, forGood);
    std::string thrown;
    try {
        call();
    } catch (const std::exception& error) {
        FailingMalloc::end();
        ADD_FAILURE() << current << " threw " << error.what() << " for request " << allowed;
        return false;
    }
    return FailingMalloc::end();
}

}  // namespace

TEST_F(ExportedFunctions, AreWalkedEachAndAll) {
    EXPECT_GT(functions().size(), 300u);
    for (const auto& [name, walk] : functions()) {
        EXPECT_TRUE(walk || notOfC().contains(name)) << name << " has no walk";
    }
}

TEST_F(ExportedFunctions, ReturnWithTheValuesOfTheirTypes) {
    const SilentErrors silent;
    for (const auto& [name, walk] : functions()) {
        if (!walk) continue;
        current = name.c_str();
        for (int way = 0; way < kWays; ++way) {
            Values values(way);
            walk(values)();
        }
    }
    EXPECT_THAT(unknownTypes, testing::IsEmpty()) << "Values::known() knows nothing of these";
}

TEST_F(ExportedFunctions, ReportALackOfMemoryAndThrowNothing) {
    if (!FailingMalloc::isAvailable()) GTEST_SKIP() << "malloc is somebody else's";
    const SilentErrors silent;
    for (const auto& [name, walk] : functions()) {
        if (!walk) continue;
        current = name.c_str();
        isICUSpared = callsFragileICU(name);
        for (int way = 0; way < kWays; ++way) {
            {
                Values values(way);
                walk(values)();  // what is made once and kept is made
            }
            for (const bool forGood : {false, true}) {
                for (long allowed = 0; callRefused(walk, way, allowed, forGood);) {
                    // ICU asks for memory thousands of times; beyond a hundred, not each is refused.
                    allowed += 1 + allowed / 100;
                }
            }
        }
    }
}
