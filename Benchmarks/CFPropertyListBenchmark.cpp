// Property lists read and written, beside libplist (the same work) and pugixml (a general XML tree: what reading and
// writing the text alone costs). Each read frees what it made.

#include <CoreFoundation/CoreFoundation.h>

#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <pugixml.hpp>

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

namespace {

/// Owns one reference.
template <class T>
class Held {
  public:
    explicit Held(T object) : object_(object) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { CFRelease(object_); }
    T get() const { return object_; }

  private:
    T object_;
};

/// A record of a device event, as the stream storage keeps it: 14 keys in about 600 bytes from "<plist" on.
constexpr std::string_view kRecord =
    "<plist version=\"1.0\">\n<dict>\n"
    "\t<key>Act</key>\n\t<string>read</string>\n"
    "\t<key>Cls</key>\n\t<integer>8</integer>\n"
    "\t<key>Dev</key>\n\t<string>disk2s1</string>\n"
    "\t<key>Evt</key>\n\t<integer>4711</integer>\n"
    "\t<key>Ok</key>\n\t<true/>\n"
    "\t<key>Pid</key>\n\t<integer>812</integer>\n"
    "\t<key>Pth</key>\n\t<string>/Volumes/A/b.txt</string>\n"
    "\t<key>Prc</key>\n\t<string>Finder</string>\n"
    "\t<key>Ser</key>\n\t<string>0A1B2C3D</string>\n"
    "\t<key>Siz</key>\n\t<integer>104857</integer>\n"
    "\t<key>Tim</key>\n\t<date>2026-11-21T03:04:05Z</date>\n"
    "\t<key>Uid</key>\n\t<integer>501</integer>\n"
    "\t<key>Usr</key>\n\t<string>alice</string>\n"
    "\t<key>Vnd</key>\n\t<integer>1234</integer>\n"
    "</dict>\n</plist>\n";

/// 10,000 entries: 1,000 dictionaries of ten in an array.
std::string makeTree() {
    std::string xml = "<plist version=\"1.0\">\n<array>\n";
    for (int i = 0; i < 1000; ++i) {
        const std::string n = std::to_string(i);
        xml += "\t<dict>\n\t\t<key>Active</key>\n\t\t<" + std::string(i % 2 ? "true" : "false") + "/>\n" +
               "\t\t<key>Comment</key>\n\t\t<string>The device number " + n + " &amp; its owner</string>\n" +
               "\t\t<key>Identifier</key>\n\t\t<integer>" + std::to_string(i * 7919) + "</integer>\n" +
               "\t\t<key>Name</key>\n\t\t<string>Device " + n + "</string>\n" +
               "\t\t<key>Product</key>\n\t\t<integer>" + std::to_string(i % 977) + "</integer>\n" +
               "\t\t<key>Ratio</key>\n\t\t<real>" + std::to_string(i) + ".5</real>\n" +
               "\t\t<key>Seen</key>\n\t\t<date>2026-11-21T03:04:05Z</date>\n" +
               "\t\t<key>Serial</key>\n\t\t<string>SN-" + n + "-0123456789</string>\n" +
               "\t\t<key>Token</key>\n\t\t<data>\n\t\tAAECAwQFBgcICQ==\n\t\t</data>\n" +
               "\t\t<key>Vendor</key>\n\t\t<integer>" + std::to_string(i % 31) + "</integer>\n\t</dict>\n";
    }
    return xml + "</array>\n</plist>\n";
}

const std::string& tree() {
    static const std::string made = makeTree();
    return made;
}

std::string_view item(const benchmark::State& state) {
    return state.range(0) == 0 ? kRecord : std::string_view(tree());
}

CFTypeRef readList(std::string_view bytes) {
    const Held<CFDataRef> data(CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                           static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    return CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr);
}

std::string binaryOf(std::string_view xml) {
    const Held<CFTypeRef> list(readList(xml));
    const Held<CFDataRef> data(
        CFPropertyListCreateData(nullptr, list.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
            static_cast<std::size_t>(CFDataGetLength(data.get()))};
}

void count(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
    state.SetLabel(state.range(0) == 0 ? "record" : "tree");
}

void readWith(benchmark::State& state, std::string_view bytes) {
    for (auto _ : state) {
        const Held<CFTypeRef> list(readList(bytes));
        if (!list.get()) state.SkipWithError("cannot be read");
        benchmark::DoNotOptimize(list.get());
    }
    count(state, bytes.size());
}

void writeWith(benchmark::State& state, CFPropertyListFormat format) {
    const Held<CFTypeRef> list(readList(item(state)));
    std::size_t size = 0;
    for (auto _ : state) {
        const Held<CFDataRef> data(CFPropertyListCreateData(nullptr, list.get(), format, 0, nullptr));
        size = static_cast<std::size_t>(CFDataGetLength(data.get()));
    }
    count(state, size);
}

void BM_PropertyListReadXML_KXPlatform(benchmark::State& state) { readWith(state, item(state)); }

void BM_PropertyListReadBinary_KXPlatform(benchmark::State& state) { readWith(state, binaryOf(item(state))); }

void BM_PropertyListWriteXML_KXPlatform(benchmark::State& state) { writeWith(state, kCFPropertyListXMLFormat_v1_0); }

void BM_PropertyListWriteBinary_KXPlatform(benchmark::State& state) {
    writeWith(state, kCFPropertyListBinaryFormat_v1_0);
}

void BM_PropertyListReadXML_libplist(benchmark::State& state) {
    const std::string_view xml = item(state);
    for (auto _ : state) {
        plist_t list = nullptr;
        plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &list);
        if (!list) state.SkipWithError("cannot be read");
        plist_free(list);
    }
    count(state, xml.size());
}

void BM_PropertyListReadBinary_libplist(benchmark::State& state) {
    const std::string binary = binaryOf(item(state));
    for (auto _ : state) {
        plist_t list = nullptr;
        plist_from_bin(binary.data(), static_cast<std::uint32_t>(binary.size()), &list);
        if (!list) state.SkipWithError("cannot be read");
        plist_free(list);
    }
    count(state, binary.size());
}

template <auto write>
void writeWithPeer(benchmark::State& state) {
    const std::string_view xml = item(state);
    plist_t list = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &list);
    std::uint32_t size = 0;
    for (auto _ : state) {
        char* bytes = nullptr;
        write(list, &bytes, &size);
        std::free(bytes);
    }
    plist_free(list);
    count(state, size);
}

void BM_PropertyListWriteXML_libplist(benchmark::State& state) { writeWithPeer<plist_to_xml>(state); }

void BM_PropertyListWriteBinary_libplist(benchmark::State& state) { writeWithPeer<plist_to_bin>(state); }

void BM_PropertyListReadXML_pugixml(benchmark::State& state) {
    const std::string_view xml = item(state);
    for (auto _ : state) {
        pugi::xml_document document;
        benchmark::DoNotOptimize(document.load_buffer(xml.data(), xml.size()));
    }
    count(state, xml.size());
}

void BM_PropertyListWriteXML_pugixml(benchmark::State& state) {
    struct Writer : pugi::xml_writer {
        void write(const void* bytes, std::size_t size) override { out.append(static_cast<const char*>(bytes), size); }
        std::string out;
    };
    const std::string_view xml = item(state);
    pugi::xml_document document;
    document.load_buffer(xml.data(), xml.size());
    std::size_t size = 0;
    for (auto _ : state) {
        Writer writer;
        document.save(writer, "\t", pugi::format_default | pugi::format_no_declaration, pugi::encoding_utf8);
        size = writer.out.size();
    }
    count(state, size);
}

void registerPair(const char* what, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(what, run)->Arg(0)->Arg(1);
}

[[maybe_unused]] const bool registered = [] {
    registerPair("BM_PropertyListReadXML/KXPlatform", BM_PropertyListReadXML_KXPlatform);
    registerPair("BM_PropertyListReadXML/libplist", BM_PropertyListReadXML_libplist);
    registerPair("BM_PropertyListReadXML/pugixml", BM_PropertyListReadXML_pugixml);
    registerPair("BM_PropertyListWriteXML/KXPlatform", BM_PropertyListWriteXML_KXPlatform);
    registerPair("BM_PropertyListWriteXML/libplist", BM_PropertyListWriteXML_libplist);
    registerPair("BM_PropertyListWriteXML/pugixml", BM_PropertyListWriteXML_pugixml);
    registerPair("BM_PropertyListReadBinary/KXPlatform", BM_PropertyListReadBinary_KXPlatform);
    registerPair("BM_PropertyListReadBinary/libplist", BM_PropertyListReadBinary_libplist);
    registerPair("BM_PropertyListWriteBinary/KXPlatform", BM_PropertyListWriteBinary_KXPlatform);
    registerPair("BM_PropertyListWriteBinary/libplist", BM_PropertyListWriteBinary_libplist);
    return true;
}();

}  // namespace
