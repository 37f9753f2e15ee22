#include "PListFile.h"

#include <KXCoreLib/PList.h>
#include <fmt/format.h>

#include <vector>

#include "Command.h"
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
