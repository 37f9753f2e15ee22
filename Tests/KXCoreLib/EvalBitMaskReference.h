#pragma once

#include <KXCoreLib/EvalBitMask.h>

#include <cstdint>
#include <string>

/// What a call of EvalBitMask comes to.
struct MaskOutcome {
    int code = 0;
    std::uint64_t value = 0;  // 0 unless the code is 0
    std::string messages;     // all that goes to the standard error

    bool operator==(const MaskOutcome&) const = default;
};

/// The same language evaluated in another way, as plainly as it can be told: all tokens first, then one function a
/// level of precedence, calling each other as deep as the text nests. It counts a parser's states beside that, to know
/// where the ceiling lies. Shares nothing with the library; for texts of a few thousand bytes.
MaskOutcome ReferenceEvalBitMask(const std::string& text, const BitMaskConstant* table);
