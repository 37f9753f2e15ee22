#include "PropertyListFuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    PropertyListFuzzing::check(bytes, size, kCFPropertyListBinaryFormat_v1_0);
    return 0;
}
