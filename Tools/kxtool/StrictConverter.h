#pragma once

// A conversion that says what it cannot convert, and where: beside the library's, which drops it silently.

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxtool {

class StrictConverter {
  public:
    enum class Fault {
        Invalid,  ///< bytes that are no character of the encoding
        Lacking,  ///< a character that the other encoding lacks
        CutOff,   ///< the text ends inside a character
    };

    /// Returns whether to go on behind the fault.
    using OnFault = std::function<bool(Fault fault, unsigned long long offset, std::size_t length)>;
    using OnOutput = std::function<void(std::string_view)>;

    /// Throws BadUsage when there is no such conversion.
    StrictConverter(const std::string& from, const std::string& to, OnFault onFault, OnOutput onOutput);
    ~StrictConverter();
    StrictConverter(const StrictConverter&) = delete;
    StrictConverter& operator=(const StrictConverter&) = delete;

    /// The next piece of the text. Does nothing once a fault ended the conversion.
    void add(std::span<const std::byte> piece);
    void finish();

  private:
    struct Handle;

    void convert(bool atEnd);
    Fault faultAt(const char* at, std::size_t left, std::size_t& length);

    const std::unique_ptr<Handle> whole_;
    const std::unique_ptr<Handle> decode_;
    const std::size_t unit_;
    OnFault onFault_;
    OnOutput onOutput_;
    std::vector<char> waiting_;      ///< what could not be converted yet
    unsigned long long offset_ = 0;  ///< of its first byte in the text
    bool ended_ = false;
};

/// The encodings, by their usual names, that can be converted from and to here.
std::vector<std::string> KnownEncodings();

}  // namespace kxtool
