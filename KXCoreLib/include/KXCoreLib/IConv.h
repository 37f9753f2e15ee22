#pragma once

// Text from one character encoding to another, in a stream: a source hands out the input in chunks, the converter turns
// them into pieces of at most 1024 bytes, a sink receives the pieces. Sources and sinks exist for plain memory, the
// standard containers and the platform's strings and data; others are a class with one operation away.
//
// Input that is invalid, and characters that the target encoding lacks, are dropped and never replaced. Input that ends
// inside a character is an error.
//
//     std::wstring wide;
//     KXCore::IConv("wchar_t", "UTF-8")(std::string("Gr\xC3\xBC\xC3\x9F"), wide);   // appends L"Grüß"
//
// Sources and sinks borrow what they are made from, which must outlive them. An IConv holds conversion state and serves
// one thread at a time; separate objects are independent. It allocates nothing while it converts; sinks may.
//
// When the library is loaded it sets the process's character-type locale from the environment, which decides what the
// encoding "char" is.

#include <KXCoreLib/Export.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

struct __CFData;
struct __CFString;

namespace KXCore {

/// The base of what goes wrong here. The classes tell the cases apart; they carry no text.
class KX_EXPORT IConvError : public std::runtime_error {
  public:
    IConvError();
    ~IConvError() override;
};

/// There is no such conversion: an encoding is not known, or the number of a stock setup is not one.
class KX_EXPORT IConvOpenError : public IConvError {
  public:
    ~IConvOpenError() override;
};

/// The input ends inside a character, or the conversion cannot go on. What was converted before is in the sink.
class KX_EXPORT IConvConversionError : public IConvError {
  public:
    ~IConvConversionError() override;
};

/// Where input comes from.
class KX_EXPORT IConvSource {
  public:
    virtual ~IConvSource();

    /// Hands out the next chunk, valid until the next call, and returns its length. At the end, and ever after: a null
    /// pointer and 0. Sources are passed as constants, so what keeps their place is mutable.
    virtual unsigned long operator()(const unsigned char*& data, unsigned long& length) const = 0;
};

/// Where output goes.
class KX_EXPORT IConvSink {
  public:
    virtual ~IConvSink();

    /// Receives a piece, which is only lent and may be empty. A piece ends anywhere between two characters. It may
    /// throw: the conversion then ends with its exception.
    virtual void operator()(unsigned char* data, unsigned long length) const = 0;
};

class KX_EXPORT IConv {
  public:
    /// Ready-made conversions. The numbers are what callers keep; some stand for the same conversion.
    enum StockCvtSetup : std::int32_t {
        WideToChar = 1,           ///< "wchar_t" to "char"
        CharToWide = 2,           ///< "char" to "wchar_t"
        WideToUTF8 = 3,           ///< "wchar_t" to "UTF-8"
        UTF8ToWide = 4,           ///< "UTF-8" to "wchar_t"
        WideToUTF8Again = 5,      ///< as 3
        UTF8ToWideAgain = 6,      ///< as 4
        WideToUTF16LE = 7,        ///< "wchar_t" to "UTF-16LE", which the platform's strings hold
        UTF16LEToWide = 8,        ///< "UTF-16LE" to "wchar_t"
        UTF8MacToUTF16LE = 9,     ///< "utf8-mac", the decomposed UTF-8 of file names, to "UTF-16LE"
        UTF16LEToWideAgain = 10,  ///< as 8
        CharToUTF16LE = 11,       ///< "char", the locale's encoding, to "UTF-16LE"
        UTF16LEToChar = 12,       ///< "UTF-16LE" to "char"
    };

    /// Any two encodings that the system's iconv knows, "char", "wchar_t" and "utf8-mac" among them. Throws
    /// IConvOpenError.
    IConv(const char* to_encoding, const char* from_encoding);

    /// Throws IConvOpenError for a number that is no setup.
    IConv(StockCvtSetup setup);

    ~IConv();
    IConv(const IConv&) = delete;
    IConv& operator=(const IConv&) = delete;

    /// Converts the whole source into the sink, each call afresh. Throws IConvConversionError.
    void operator()(const IConvSource& source, const IConvSink& sink);

    // The same from and to containers and the platform's strings. The output is appended to. The caller picks a
    // conversion whose encodings fit: "wchar_t" for a wide string, "UTF-16LE" for the platform's.

    void operator()(const std::wstring& input, std::vector<unsigned char>& output);
    void operator()(const std::wstring& input, std::string& output);
    void operator()(const std::wstring& input, __CFString* output);

    void operator()(const std::string& input, std::vector<unsigned char>& output);
    void operator()(const std::string& input, std::wstring& output);
    void operator()(const std::string& input, __CFString* output);

    void operator()(const std::vector<unsigned char>& input, std::string& output);
    void operator()(const std::vector<unsigned char>& input, std::wstring& output);
    void operator()(const std::vector<unsigned char>& input, __CFString* output);

    void operator()(const __CFString* input, std::string& output);
    void operator()(const __CFString* input, std::wstring& output);
    void operator()(const __CFString* input, std::vector<unsigned char>& output);

    class MemSource;
    class CFDataSource;
    class CFStringSource;
    class CFStringSink;
    class CFDataSink;

  private:
    void* handle_;
    [[maybe_unused]] std::int32_t setup_;  ///< for whoever looks at one in a debugger; 0 when made from two names
};

/// A range of bytes: one chunk.
class KX_EXPORT IConv::MemSource : public IConvSource {
  public:
    MemSource(const void* data, unsigned long length) noexcept;
    MemSource(const void* begin, const void* end) noexcept;
    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override;

  private:
    mutable const unsigned char* data_;
    mutable unsigned long length_;
};

/// The bytes of a data object: one chunk.
class KX_EXPORT IConv::CFDataSource : public IConvSource {
  public:
    explicit CFDataSource(const __CFData* data) noexcept;
    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override;

  private:
    mutable const __CFData* data_;
};

/// The UTF-16 units of a platform string, in the machine's order: one chunk where the string exposes them, otherwise
/// chunks of up to 128.
class KX_EXPORT IConv::CFStringSource : public IConvSource {
  public:
    explicit CFStringSource(const __CFString* string) noexcept;
    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override;

  private:
    static constexpr long kUnits = 128;

    const __CFString* string_;
    mutable long next_ = 0;
    long length_;
    mutable std::uint16_t buffer_[kUnits];
};

/// Appends UTF-16 units to a mutable platform string.
class KX_EXPORT IConv::CFStringSink : public IConvSink {
  public:
    explicit CFStringSink(__CFString* string) noexcept : string_(string) {}
    void operator()(unsigned char* data, unsigned long length) const override;

  private:
    __CFString* string_;
};

/// Appends bytes to a mutable data object.
class KX_EXPORT IConv::CFDataSink : public IConvSink {
  public:
    explicit CFDataSink(__CFData* data) noexcept : data_(data) {}
    void operator()(unsigned char* data, unsigned long length) const override;

  private:
    __CFData* data_;
};

/// The containers that text comes in.
template <class Container>
concept IConvCppContainer = std::is_same_v<Container, std::string> || std::is_same_v<Container, std::wstring> ||
    std::is_same_v<Container, std::vector<unsigned char>>;

/// A range of a container's elements as bytes: one chunk. The elements lie in one piece, as the containers keep them.
template <class Iterator, IConvCppContainer Container>
class IConvCppRangeSource : public IConvSource {
  public:
    IConvCppRangeSource(Iterator begin, Iterator end) : begin_(begin), end_(end) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        using Element = typename Container::value_type;
        length = static_cast<unsigned long>(std::distance(begin_, end_)) * sizeof(Element);
        data = length != 0 ? reinterpret_cast<const unsigned char*>(&*begin_) : nullptr;
        begin_ = end_;
        return length;
    }

  private:
    mutable Iterator begin_;
    Iterator end_;
};

/// All elements of a container as bytes: one chunk.
template <IConvCppContainer Container>
class IConvCppContainerSource : public IConvCppRangeSource<typename Container::const_iterator, Container> {
  public:
    explicit IConvCppContainerSource(const Container& container)
        : IConvCppRangeSource<typename Container::const_iterator, Container>(container.begin(), container.end()) {}
};

/// Appends to a container. A remainder that makes no whole element is dropped.
template <IConvCppContainer Container>
class IConvCppContainerSink : public IConvSink {
  public:
    explicit IConvCppContainerSink(Container& container) noexcept : container_(container) {}

    void operator()(unsigned char* data, unsigned long length) const override {
        using Element = typename Container::value_type;
        if constexpr (sizeof(Element) == 1) {
            container_.insert(container_.end(), data, data + length);
        } else {
            // The piece need not be aligned as the elements are.
            const std::size_t count = length / sizeof(Element);
            if (count == 0) return;
            const std::size_t before = container_.size();
            container_.resize(before + count);
            std::memcpy(&container_[before], data, count * sizeof(Element));
        }
    }

  private:
    Container& container_;
};

}  // namespace KXCore
