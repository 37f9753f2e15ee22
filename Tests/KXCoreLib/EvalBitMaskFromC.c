/* The header as C reads it, and the call as C makes it. */

#include <KXCoreLib/EvalBitMask.h>

int EvalBitMaskFromC(uint64_t* result, const char* text);

int EvalBitMaskFromC(uint64_t* result, const char* text) {
    static const struct BitMaskConstant names[] = {{"read", 0x1}, {"write", 0x2}, {0, 0}};
    return EvalBitMask(result, text, names);
}
