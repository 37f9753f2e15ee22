// The converter on any bytes. Between the encodings of Unicode: against ICU's converters told to skip what is invalid.
// Through every other encoding: the output must not depend on how the input is cut into chunks.

#include <KXCoreLib/IConv.h>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

class ChunkSource : public KXCore::IConvSource {
  public:
    ChunkSource(std::string_view text, std::size_t size) : text_(text), size_(size) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        const std::string_view next = text_.substr(0, size_);
        text_.remove_prefix(next.size());
        chunk_.assign(next.begin(), next.end());
        data = chunk_.empty() ? nullptr : chunk_.data();
        length = chunk_.size();
        return length;
    }

  private:
    mutable std::string_view text_;
    std::size_t size_;
    mutable std::vector<unsigned char> chunk_;
};

struct Outcome {
    std::string text;
    bool failed = false;

    bool operator==(const Outcome&) const = default;
};

Outcome convert(KXCore::IConv& converter, std::string_view text, std::size_t chunk) {
    Outcome outcome;
    try {
        converter(ChunkSource(text, chunk), KXCore::IConvCppContainerSink(outcome.text));
    } catch (const KXCore::IConvConversionError&) {
        outcome.failed = true;
    }
    return outcome;
}

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter skippingConverter(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &error));
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &error);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &error);
    require(U_SUCCESS(error));
    return converter;
}

/// What ICU makes of the text, what is invalid and what is cut off at the end left out.
std::string byICU(const char* to, const char* from, std::string_view text) {
    std::u16string units(text.size() + 16, u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length =
        ucnv_toUChars(skippingConverter(from).get(), units.data(), static_cast<std::int32_t>(units.size()), text.data(),
                      static_cast<std::int32_t>(text.size()), &error);
    require(U_SUCCESS(error));
    std::string out(4 * units.size(), '\0');
    error = U_ZERO_ERROR;
    const std::int32_t bytes = ucnv_fromUChars(skippingConverter(to).get(), out.data(),
                                               static_cast<std::int32_t>(out.size()), units.data(), length, &error);
    require(U_SUCCESS(error));
    out.resize(static_cast<std::size_t>(bytes));
    return out;
}

constexpr const char* kUnicode[] = {"UTF-8", "UTF-16LE", "UTF-32LE"};
constexpr const char* kOther[] = {
    "utf8-mac",     "UTF-16", "UTF-32",     "UTF-7", "GB18030",   "EUC-JP", "EUC-KR", "ISO-2022-JP", "BIG5-HKSCS",
    "EUC-JISX0213", "CP1258", "ISO-8859-1", "ASCII", "SHIFT_JIS", "TCVN",   "UCS-4",  "EUC-TW",      "ISO-2022-CN-EXT"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const unsigned which = data[0];
    const std::size_t chunk = std::size_t{data[1]} + 1;
    const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
    if (which < 128) {
        const char* const from = kUnicode[which % 3];
        const char* const to = kUnicode[which / 3 % 3];
        KXCore::IConv converter(to, from);
        const Outcome outcome = convert(converter, text, chunk);
        require(outcome.text == byICU(to, from, text));
        require(convert(converter, text, SIZE_MAX) == outcome);
    } else {
        const char* const other = kOther[which % std::size(kOther)];
        KXCore::IConv there(other, "UTF-8");
        require(convert(there, text, chunk) == convert(there, text, SIZE_MAX));
        KXCore::IConv back("UTF-8", other);
        require(convert(back, text, chunk) == convert(back, text, SIZE_MAX));
    }
    return 0;
}
