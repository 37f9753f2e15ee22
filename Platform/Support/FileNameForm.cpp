#include "FileNameForm.h"

#include <unicode/unorm2.h>
#include <unicode/uset.h>

namespace KXPlatform {
namespace {

const UNormalizer2* makeFiltered(const UNormalizer2* (*instance)(UErrorCode*)) noexcept {
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const canonical = instance(&error);
    USet* const changed = uset_open(0, 0x1FFF);
    if (!changed) return nullptr;
    uset_addRange(changed, 0x3000, 0xF8FF);
    uset_addRange(changed, 0xFB00, 0x2F7FF);
    uset_addRange(changed, 0x2FB00, 0x10FFFF);
    uset_freeze(changed);
    const UNormalizer2* const made = U_SUCCESS(error) ? unorm2_openFiltered(canonical, changed, &error) : nullptr;
    if (U_SUCCESS(error)) return made;  // which looks into the set from now on
    uset_close(changed);
    return nullptr;
}

}  // namespace

const UNormalizer2* fileNameDecomposer() noexcept {
    static const UNormalizer2* const decomposer = makeFiltered(unorm2_getNFDInstance);
    return decomposer;
}

const UNormalizer2* fileNameComposer() noexcept {
    static const UNormalizer2* const composer = makeFiltered(unorm2_getNFCInstance);
    return composer;
}

}  // namespace KXPlatform
