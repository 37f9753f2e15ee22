// C sees the same headers and the same constants.

#include <CoreFoundation/CoreFoundation.h>

CFStringRef literalFromC(void);
Boolean inlineFunctionsWorkInC(void);
Boolean macrosWorkInC(void);

CFStringRef literalFromC(void) { return CFSTR("one text, many places"); }

Boolean inlineFunctionsWorkInC(void) {
    CFStringInlineBuffer buffer;
    UniChar pair[2];
    CFStringInitInlineBuffer(CFSTR("abc"), &buffer, CFRangeMake(0, 3));
    return CFStringGetCharacterFromInlineBuffer(&buffer, 2) == 'c' &&
           CFStringGetSurrogatePairForLongCharacter(0x1F600, pair) && CFStringIsSurrogateHighCharacter(pair[0]) &&
           CFStringIsSurrogateLowCharacter(pair[1]) &&
           CFStringGetLongCharacterForSurrogatePair(pair[0], pair[1]) == 0x1F600;
}

Boolean macrosWorkInC(void) {
    return CFStringIsEncodingAvailable(kCFStringEncodingInvalidId) == FALSE &&
           CFStringIsEncodingAvailable(kCFStringEncodingUTF8) == TRUE;
}
