#include "LanguageDetector.h"

const char* KXPlatform::detectLanguage(std::string_view) noexcept { return nullptr; }
