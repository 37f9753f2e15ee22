/* The header as C reads it, and the call as C makes it. */

#include <KXCoreLib/EvalBitMask.h>

int EvalBitMaskFromC(uint64_t* result, const char* text);

int EvalBitMaskFromC(uint64_t* result, const char* text) {
    static const BitMaskConstant names[] = {{"read", 0x1}, {"write", 0x2}, {0, 0}};
    const struct BitMaskConstant* const table = names;
    return EvalBitMask(result, text, table);
}
