/* The header as C sees it. */

#include <KXCoreLib/Codecs.h>

#include <string.h>

int CodecsFromC(void) {
    char text[16];
    char bytes[16];
    if (kx_hex_encode("\x01\xAB", 2, text, sizeof text) != 4 || strcmp(text, "01ab") != 0) return 1;
    if (kx_hex_decode(text, 4, bytes, sizeof bytes) != 2 || memcmp(bytes, "\x01\xAB", 2) != 0) return 2;
    if (kx_base64_encode("fo", 2, text, sizeof text) != 4 || strcmp(text, "Zm8=") != 0) return 3;
    if (kx_base64_decode(text, 4, bytes, sizeof bytes) != 2 || memcmp(bytes, "fo", 2) != 0) return 4;
    return 0;
}
