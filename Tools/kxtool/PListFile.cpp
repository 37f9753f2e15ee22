#include "PListFile.h"

#include <KXCoreLib/PList.h>
#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "Errors.h"
#include "PropertyListText.h"
#include "Streams.h"

namespace kxtool {

using namespace KXCore::CoreFoundation;

std::pair<PropertyListRef, std::string> Load(const std::string& file) {
    Input input(file);
    Document document = ReadPropertyList(input.readAll(kLargestListFile));
    if (!document.list) throw BadInput(fmt::format("{}: {}", input.name(), document.fault));
    return {std::move(document.list), input.name()};
}

LoadedList LoadAny(const std::string& file) {
    Input input(file);
    const std::string bytes = input.readAll(kLargestListFile);
    Document document = ReadPropertyList(bytes);
    if (document.list) return {std::move(document.list), input.name(), document.format, false};
    const std::size_t first = bytes.find_first_not_of(" \t\r\n");
    const bool looksLikeJson = first != std::string::npos &&
                               std::string_view("{[\"-0123456789tfn").find(bytes[first]) != std::string_view::npos;
    if (!looksLikeJson) throw BadInput(fmt::format("{}: {}", input.name(), document.fault));
    try {
        return {PropertyListOfJson(nlohmann::json::parse(bytes)), input.name(), {}, true};
    } catch (const nlohmann::json::exception& error) {
        const std::string_view text = error.what();  // "[json.exception.parse_error.101] parse error at ..."
        throw BadInput(
            fmt::format("{}: {}; as JSON: {}", input.name(), document.fault, text.substr(text.find("] ") + 2)));
    } catch (const BadInput& error) {
        throw BadInput(fmt::format("{}: {}", input.name(), error.what()));
    }
}

std::string Narrow(const std::wstring& text) {
    std::string result;
    for (const wchar_t c : text) {
        const auto point = static_cast<char32_t>(c);
        const auto tail = [&](unsigned shift) { result += static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
        if (point < 0x80) {
            result += static_cast<char>(point);
        } else if (point < 0x800) {
            result += static_cast<char>(0xC0 | point >> 6);
            tail(0);
        } else if (point < 0x10000) {
            result += static_cast<char>(0xE0 | point >> 12);
            tail(6);
            tail(0);
        } else {
            result += static_cast<char>(0xF0 | point >> 18);
            tail(12);
            tail(6);
            tail(0);
        }
    }
    return result;
}

std::wstring Wide(const std::string& utf8) {
    const StringRef string =
        StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                                 static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
    if (!string) return L"the list";
    std::vector<wchar_t> units;
    KXCore::_GetStringData(units, string.get());
    return {units.begin(), units.end()};
}

}  // namespace kxtool
