// The readers of the system's files, on any bytes: names that come out are usable. A key and its string always lead to
// each other.

#include "SystemConfiguration/SystemNames.h"

#include "SystemConfiguration/StoreKey.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace KXPlatform;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void requireUsable(const std::string& name) {
    require(name.size() <= 255 && keyString(name));
    require(std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    requireUsable(prettyHostName(input));
    requireUsable(netbiosName(input, "host"));

    if (const auto string = keyString(input)) require(keyText(string.get()) == input);
    return 0;
}
