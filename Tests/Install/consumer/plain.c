/* The plain functions, from C. */

#include <KXCoreLib/Codecs.h>
#include <KXCoreLib/EvalBitMask.h>

#include <string.h>

int usePlainFunctions(void);

int usePlainFunctions(void) {
    static const struct BitMaskConstant names[] = {{"read", 1}, {"write", 2}, {0, 0}};
    uint64_t mask = 0;
    char text[16];
    if (EvalBitMask(&mask, "read|write", names) != 0 || mask != 3) return 1;
    if (kx_base64_encode("foo", 3, text, sizeof text) != 4 || strcmp(text, "Zm9v") != 0) return 2;
    return 0;
}
