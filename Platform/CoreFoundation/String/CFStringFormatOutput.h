#pragma once

// The text that a format makes: ASCII as long as nothing else comes, UTF-16 from then on.

#include "CFStringObject.h"

#include <memory_resource>
#include <string>
#include <string_view>

namespace KXPlatform {

class FormatOutput {
  public:
    explicit FormatOutput(std::pmr::memory_resource* memory) : ascii_(memory), wide_(memory) {
        ascii_.reserve(kExpected);
    }

    /// All may throw std::bad_alloc.
    void append(std::string_view ascii) {
        if (!isWide_)
            ascii_ += ascii;
        else
            widen(ascii);
    }

    void append(TextView text) {
        if (!text.isWide()) return append(text.asciiView());
        goWide();
        wide_.append(asUTF16(text.wide), static_cast<std::size_t>(text.length));
    }

    void append(char16_t unit) {
        if (unit < 0x80 && !isWide_) return ascii_.push_back(static_cast<char>(unit));
        goWide();
        wide_.push_back(unit);
    }

    void pad(char filling, std::size_t count) {
        if (isWide_)
            wide_.append(count, static_cast<char16_t>(filling));
        else
            ascii_.append(count, filling);
    }

    TextView text() const noexcept {
        return isWide_ ? TextView{nullptr, asUnits(wide_.data()), static_cast<CFIndex>(wide_.size())}
                       : TextView{ascii_.data(), nullptr, static_cast<CFIndex>(ascii_.size())};
    }

  private:
    static constexpr std::size_t kExpected = 120;  ///< what most texts fit in

    void goWide() {
        if (isWide_) return;
        wide_.reserve(ascii_.size() + kExpected);
        widen(ascii_);
        isWide_ = true;
    }

    void widen(std::string_view ascii) {
        for (const char c : ascii) wide_.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    }

    std::pmr::string ascii_;
    std::pmr::u16string wide_;
    bool isWide_ = false;
};

}  // namespace KXPlatform
