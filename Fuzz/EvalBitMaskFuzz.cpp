#include <KXCoreLib/EvalBitMask.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "KXCoreLib/EvalBitMaskReference.h"

// Any text gives the code, the value and the messages that the reference evaluator gives. What the library prints goes
// to a stream in memory for the length of the call.

namespace {

constexpr BitMaskConstant kNames[] = {{"read", 0x1},     {"write", 0x2}, {"execute", 0x4}, {"readattr", 0x8},
                                      {"READ_X", ~0ull}, {"", 0x10},     {"x1", 0x20},     {nullptr, 0}};

MaskOutcome Evaluate(const std::string& text) {
    MaskOutcome outcome;
    char* printed = nullptr;
    std::size_t length = 0;
    std::FILE* const memory = open_memstream(&printed, &length);
    if (!memory) std::abort();
    std::FILE* const saved = stderr;
    stderr = memory;
    std::uint64_t value = 0;
    outcome.code = EvalBitMask(&value, text.c_str(), kNames);
    stderr = saved;
    std::fclose(memory);
    outcome.messages.assign(printed, length);
    std::free(printed);
    outcome.value = value;
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string text = bytes.c_str();  // up to the first NUL, as the library reads it
    const MaskOutcome found = Evaluate(text);
    const MaskOutcome expected = ReferenceEvalBitMask(text, kNames);
    if (found == expected) return 0;
    std::fprintf(stderr, "found %d %llx \"%s\"\nexpected %d %llx \"%s\"\n", found.code,
                 static_cast<unsigned long long>(found.value), found.messages.c_str(), expected.code,
                 static_cast<unsigned long long>(expected.value), expected.messages.c_str());
    std::abort();
}
