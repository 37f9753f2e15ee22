// The reader of the store's file, on any bytes: what it takes for a batch or a header is written back as it was read.

#include "SystemConfiguration/StoreFormat.h"

#include <cstdlib>
#include <string>
#include <string_view>

using namespace KXPlatform;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void readBatch(std::string_view bytes) {
    const auto changes = decodeBatch(bytes);
    if (!changes) return;
    std::string encoded;
    for (const StoreChange& change : *changes) encodeChange(change, encoded);
    require(encodeBatch(encoded) == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (const auto header = decodeHeader(input)) require(encodeHeader(*header) == input.substr(0, kHeaderSize));
    readBatch(input);
    // With a head that fits, so that the changes are looked at.
    if (size >= kChangeHeadSize && size <= kLargestBatch) readBatch(encodeBatch(input));
    return 0;
}
