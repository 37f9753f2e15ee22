#include "StrictConverter.h"

#include <fmt/format.h>
#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Errors.h"
#include "TextSearch.h"

namespace kxtool {
namespace {

/// What an encoding is made of: what is invalid is passed over by so many bytes.
std::size_t UnitOf(const std::string& encoding) {
    const std::string name = LowerCased(encoding);
    if (name.starts_with("utf-16") || name.starts_with("utf16") || name.starts_with("ucs-2")) return 2;
    if (name.starts_with("utf-32") || name.starts_with("utf32") || name.starts_with("ucs-4") || name == "wchar_t") {
        return 4;
    }
    return 1;
}

const iconv_t kNone = reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr): as iconv_open is defined

}  // namespace

struct StrictConverter::Handle {
    Handle(const std::string& from, const std::string& to) : handle(iconv_open(to.c_str(), from.c_str())) {
        if (handle == kNone) throw BadUsage(fmt::format("no conversion from {} to {}", Quoted(from), Quoted(to)));
    }
    ~Handle() { iconv_close(handle); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    iconv_t handle;
};

StrictConverter::StrictConverter(const std::string& from, const std::string& to, OnFault onFault, OnOutput onOutput)
    : whole_(std::make_unique<Handle>(from, to)),
      decode_(std::make_unique<Handle>(from, "UTF-32LE")),
      unit_(UnitOf(from)),
      onFault_(std::move(onFault)),
      onOutput_(std::move(onOutput)) {}

StrictConverter::~StrictConverter() = default;

void StrictConverter::add(std::span<const std::byte> piece) {
    if (ended_) return;
    const char* const bytes = reinterpret_cast<const char*>(piece.data());
    waiting_.insert(waiting_.end(), bytes, bytes + piece.size());
    convert(false);
}

void StrictConverter::finish() {
    if (!ended_) convert(true);
}

void StrictConverter::convert(bool atEnd) {
    char* in = waiting_.data();
    std::size_t left = waiting_.size();
    char buffer[4096];
    const auto step = [&](char** from, std::size_t* count) {
        char* out = buffer;
        std::size_t room = sizeof buffer;
        const std::size_t result = iconv(whole_->handle, from, count, &out, &room);
        const int code = errno;
        if (out != buffer && onOutput_) onOutput_({buffer, static_cast<std::size_t>(out - buffer)});
        return result == static_cast<std::size_t>(-1) ? code : 0;
    };
    const auto offset = [&] { return offset_ + static_cast<unsigned long long>(in - waiting_.data()); };
    while (left != 0 && !ended_) {
        const int code = step(&in, &left);
        if (code == EILSEQ) {
            std::size_t length = 0;
            const Fault fault = faultAt(in, left, length);
            ended_ = !onFault_(fault, offset(), length);
            in += length;
            left -= length;
        } else if (code == EINVAL) {
            if (atEnd) ended_ = !onFault_(Fault::CutOff, offset(), left);
            break;
        } else if (code != 0 && code != E2BIG) {
            break;
        }
    }
    if (atEnd && !ended_) {
        while (step(nullptr, nullptr) == E2BIG) {
        }
    }
    offset_ = offset();
    waiting_.erase(waiting_.begin(), waiting_.end() - static_cast<std::ptrdiff_t>(left));
}

StrictConverter::Fault StrictConverter::faultAt(const char* at, std::size_t left, std::size_t& length) {
    char out[4];  // of one character
    char* to = out;
    std::size_t room = sizeof out;
    char* in = const_cast<char*>(at);
    std::size_t count = left;
    iconv(decode_->handle, nullptr, nullptr, nullptr, nullptr);
    iconv(decode_->handle, &in, &count, &to, &room);
    if (room == 0 && count < left) {
        length = left - count;
        return Fault::Lacking;
    }
    length = std::min(unit_, left);
    return Fault::Invalid;
}

std::vector<std::string> KnownEncodings() {
    static constexpr const char* kNames[] = {
        "char",        "wchar_t",     "utf8-mac",      "UTF-8",        "UTF-16",      "UTF-16BE",    "UTF-16LE",
        "UTF-32",      "UTF-32BE",    "UTF-32LE",      "UTF-7",        "UCS-2",       "UCS-4",       "ASCII",
        "ISO-8859-1",  "ISO-8859-2",  "ISO-8859-3",    "ISO-8859-4",   "ISO-8859-5",  "ISO-8859-6",  "ISO-8859-7",
        "ISO-8859-8",  "ISO-8859-9",  "ISO-8859-10",   "ISO-8859-11",  "ISO-8859-13", "ISO-8859-14", "ISO-8859-15",
        "ISO-8859-16", "CP437",       "CP737",         "CP775",        "CP850",       "CP852",       "CP855",
        "CP856",       "CP857",       "CP858",         "CP860",        "CP861",       "CP862",       "CP863",
        "CP864",       "CP865",       "CP866",         "CP869",        "CP874",       "CP932",       "CP936",
        "CP949",       "CP950",       "CP1250",        "CP1251",       "CP1252",      "CP1253",      "CP1254",
        "CP1255",      "CP1256",      "CP1257",        "CP1258",       "CP1361",      "KOI8-R",      "KOI8-U",
        "KOI8-RU",     "KOI8-T",      "MACINTOSH",     "MAC-CYRILLIC", "GB2312",      "GBK",         "GB18030",
        "BIG5",        "BIG5-HKSCS",  "EUC-CN",        "EUC-TW",       "EUC-JP",      "EUC-KR",      "SHIFT_JIS",
        "ISO-2022-CN", "ISO-2022-JP", "ISO-2022-JP-2", "ISO-2022-KR",  "JOHAB",       "UHC",         "TIS-620",
        "VISCII",      "TCVN",        "ARMSCII-8",     "GEORGIAN-PS",  "PT154",       "RK1048",      "HP-ROMAN8",
        "CP037",       "CP273",       "CP277",         "CP280",        "CP284",       "CP285",       "CP297",
        "CP500",       "CP1026",      "CP1047",        "CP1140",       "CP1141",      "CP1148",
    };
    std::vector<std::string> known;
    for (const char* const name : kNames) {
        const iconv_t there = iconv_open("UTF-8", name);
        const iconv_t back = iconv_open(name, "UTF-8");
        if (there != kNone && back != kNone) known.emplace_back(name);
        if (there != kNone) iconv_close(there);
        if (back != kNone) iconv_close(back);
    }
    return known;
}

}  // namespace kxtool
