#include <KXCoreLib/IConv.h>

#include <CoreFoundation/CoreFoundation.h>
#include <iconv.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstddef>
#include <cstring>
#include <utility>

namespace KXCore {
namespace {

static_assert(sizeof(UniChar) == sizeof(std::uint16_t));

/// "char" is the encoding of the user's locale, and so it must be known before the first conversion.
[[maybe_unused]] const char* const kLocale = std::setlocale(LC_CTYPE, "");

constexpr std::size_t kOutputBytes = 1024;
constexpr std::size_t kStagedBytes = 64;

struct Encodings {
    const char* to;
    const char* from;
};

/// By the number of the setup, less 1.
constexpr std::array<Encodings, 12> kStockSetups{{
    {"char", "wchar_t"},
    {"wchar_t", "char"},
    {"UTF-8", "wchar_t"},
    {"wchar_t", "UTF-8"},
    {"UTF-8", "wchar_t"},
    {"wchar_t", "UTF-8"},
    {"UTF-16LE", "wchar_t"},
    {"wchar_t", "UTF-16LE"},
    {"UTF-16LE", "utf8-mac"},
    {"wchar_t", "UTF-16LE"},
    {"UTF-16LE", "char"},
    {"char", "UTF-16LE"},
}};

const Encodings& encodingsOf(IConv::StockCvtSetup setup) {
    // What is below 1 becomes a large number.
    const std::size_t index = static_cast<std::size_t>(setup) - 1;
    if (index >= kStockSetups.size()) throw IConvOpenError();
    return kStockSetups[index];
}

iconv_t open(const Encodings& encodings) {
    if (!encodings.to || !encodings.from) throw IConvOpenError();
    const iconv_t handle = iconv_open((std::string(encodings.to) + "//IGNORE").c_str(), encodings.from);
    // The failure that iconv_open is defined to return.
    if (handle == reinterpret_cast<iconv_t>(-1)) throw IConvOpenError();  // NOLINT(performance-no-int-to-ptr)
    int discard = 1;
    iconvctl(handle, ICONV_SET_DISCARD_ILSEQ, &discard);
    return handle;
}

/// Converts what it can of [data, data + length) into the sink, through the output buffer once, and returns how much
/// of the input that was. That alone tells progress: what the call returns is not looked at.
std::size_t convert(iconv_t handle, const unsigned char* data, std::size_t length, const IConvSink& sink) {
    alignas(std::max_align_t) unsigned char buffer[kOutputBytes];
    // The call takes its input as not constant, and leaves it alone.
    char* in = reinterpret_cast<char*>(const_cast<unsigned char*>(data));
    char* out = reinterpret_cast<char*>(buffer);
    std::size_t left = length;
    std::size_t room = sizeof buffer;
    iconv(handle, &in, &left, &out, &room);
    sink(buffer, sizeof buffer - room);
    return length - left;
}

/// The chunk that the source handed out last, from the read position on.
class Chunk {
  public:
    explicit Chunk(const IConvSource& source) : source_(source) {}

    /// Asks for the next one if this is used up.
    void refill() {
        if (left_ != 0) return;
        source_(at_, left_);
        if (!at_) left_ = 0;
    }

    const unsigned char* data() const { return at_; }
    std::size_t left() const { return left_; }

    void advance(std::size_t count) {
        at_ += count;
        left_ -= static_cast<unsigned long>(count);
    }

  private:
    const IConvSource& source_;
    const unsigned char* at_ = nullptr;
    unsigned long left_ = 0;
};

/// A small area in which the end of one chunk meets the beginning of the next.
class Staging {
  public:
    bool isEmpty() const { return at_ == end_; }
    const unsigned char* data() const { return bytes_ + at_; }
    std::size_t size() const { return end_ - at_; }

    /// Takes as much of the chunk as fits, and says whether that was anything.
    bool take(Chunk& chunk) {
        std::memmove(bytes_, data(), size());
        end_ = size();
        at_ = 0;
        const std::size_t count = std::min(chunk.left(), sizeof bytes_ - end_);
        if (count == 0) return false;
        std::memcpy(bytes_ + end_, chunk.data(), count);
        end_ += count;
        chunk.advance(count);
        return true;
    }

    void advance(std::size_t count) { at_ += count; }

  private:
    alignas(std::max_align_t) unsigned char bytes_[kStagedBytes];
    std::size_t at_ = 0;
    std::size_t end_ = 0;
};

}  // namespace

IConvError::IConvError() : std::runtime_error("") {}
IConvError::~IConvError() = default;
IConvOpenError::~IConvOpenError() = default;
IConvConversionError::~IConvConversionError() = default;
IConvSource::~IConvSource() = default;
IConvSink::~IConvSink() = default;

IConv::IConv(const char* to_encoding, const char* from_encoding)
    : handle_(open({to_encoding, from_encoding})), setup_(0) {}

IConv::IConv(StockCvtSetup setup) : handle_(open(encodingsOf(setup))), setup_(setup) {}

IConv::~IConv() { iconv_close(static_cast<iconv_t>(handle_)); }

void IConv::operator()(const IConvSource& source, const IConvSink& sink) {
    const iconv_t handle = static_cast<iconv_t>(handle_);
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    Chunk chunk(source);
    Staging staging;
    for (;;) {
        chunk.refill();
        if (chunk.left() >= kStagedBytes && staging.isEmpty()) {
            const std::size_t done = convert(handle, chunk.data(), chunk.left(), sink);
            if (done == 0) throw IConvConversionError();
            chunk.advance(done);
            continue;
        }
        if (staging.take(chunk)) continue;
        const std::size_t offered = staging.size();
        const std::size_t done = convert(handle, staging.data(), offered, sink);
        if (done == 0) {
            if (offered == 0) return;
            throw IConvConversionError();
        }
        staging.advance(done);
    }
}

void IConv::operator()(const std::wstring& input, std::vector<unsigned char>& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::wstring& input, std::string& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::wstring& input, __CFString* output) {
    (*this)(IConvCppContainerSource(input), CFStringSink(output));
}
void IConv::operator()(const std::string& input, std::vector<unsigned char>& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::string& input, std::wstring& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::string& input, __CFString* output) {
    (*this)(IConvCppContainerSource(input), CFStringSink(output));
}
void IConv::operator()(const std::vector<unsigned char>& input, std::string& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::vector<unsigned char>& input, std::wstring& output) {
    (*this)(IConvCppContainerSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const std::vector<unsigned char>& input, __CFString* output) {
    (*this)(IConvCppContainerSource(input), CFStringSink(output));
}
void IConv::operator()(const __CFString* input, std::string& output) {
    (*this)(CFStringSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const __CFString* input, std::wstring& output) {
    (*this)(CFStringSource(input), IConvCppContainerSink(output));
}
void IConv::operator()(const __CFString* input, std::vector<unsigned char>& output) {
    (*this)(CFStringSource(input), IConvCppContainerSink(output));
}

IConv::MemSource::MemSource(const void* data, unsigned long length) noexcept
    : data_(static_cast<const unsigned char*>(data)), length_(length) {}

IConv::MemSource::MemSource(const void* begin, const void* end) noexcept
    : MemSource(begin, static_cast<unsigned long>(static_cast<const unsigned char*>(end) -
                                                  static_cast<const unsigned char*>(begin))) {}

unsigned long IConv::MemSource::operator()(const unsigned char*& data, unsigned long& length) const {
    length = std::exchange(length_, 0UL);
    data = length != 0 ? std::exchange(data_, nullptr) : nullptr;
    return length;
}

IConv::CFDataSource::CFDataSource(const __CFData* data) noexcept : data_(data) {}

unsigned long IConv::CFDataSource::operator()(const unsigned char*& data, unsigned long& length) const {
    const CFDataRef object = std::exchange(data_, nullptr);
    length = object ? static_cast<unsigned long>(CFDataGetLength(object)) : 0;
    data = length != 0 ? CFDataGetBytePtr(object) : nullptr;
    return length;
}

IConv::CFStringSource::CFStringSource(const __CFString* string) noexcept
    : string_(string), length_(string ? CFStringGetLength(string) : 0) {}

unsigned long IConv::CFStringSource::operator()(const unsigned char*& data, unsigned long& length) const {
    data = nullptr;
    length = 0;
    if (next_ >= length_) return 0;
    if (const UniChar* const units = CFStringGetCharactersPtr(string_)) {
        data = reinterpret_cast<const unsigned char*>(units + next_);
        length = static_cast<unsigned long>(length_ - next_) * sizeof(UniChar);
        next_ = length_;
        return length;
    }
    const CFIndex count = std::min<CFIndex>(length_ - next_, kUnits);
    CFStringGetCharacters(string_, CFRangeMake(next_, count), buffer_);
    next_ += count;
    data = reinterpret_cast<const unsigned char*>(buffer_);
    length = static_cast<unsigned long>(count) * sizeof(UniChar);
    return length;
}

void IConv::CFStringSink::operator()(unsigned char* data, unsigned long length) const {
    CFStringAppendCharacters(string_, reinterpret_cast<const UniChar*>(data), static_cast<CFIndex>(length / 2));
}

void IConv::CFDataSink::operator()(unsigned char* data, unsigned long length) const {
    CFDataAppendBytes(data_, data, static_cast<CFIndex>(length));
}

}  // namespace KXCore
