#pragma once

/// Types that other headers name and that this platform does not provide yet: they are declared, nothing makes an
/// object of them, and a function that takes one is given null.

typedef const struct __CFLocale* CFLocaleRef;
typedef const struct __CFCharacterSet* CFCharacterSetRef;
typedef struct __CFCharacterSet* CFMutableCharacterSetRef;
typedef struct __CFReadStream* CFReadStreamRef;
typedef struct __CFWriteStream* CFWriteStreamRef;
