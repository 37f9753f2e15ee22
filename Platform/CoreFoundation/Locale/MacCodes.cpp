#include "MacCodes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

struct Language {
    std::int16_t code;
    const char* name;  ///< null where none was in use
    const char* identifier;
};

/// By code.
constexpr Language kLanguages[] = {
    {0, "English", "en"},         {1, "French", "fr"},
    {2, "German", "de"},          {3, "Italian", "it"},
    {4, "Dutch", "nl"},           {5, "Swedish", "sv"},
    {6, "Spanish", "es"},         {7, "Danish", "da"},
    {8, "Portuguese", "pt"},      {9, "Norwegian", "nb"},
    {10, "Hebrew", "he"},         {11, "Japanese", "ja"},
    {12, "Arabic", "ar"},         {13, "Finnish", "fi"},
    {14, "Greek", "el"},          {15, "Icelandic", "is"},
    {16, "Maltese", "mt"},        {17, "Turkish", "tr"},
    {18, "Croatian", "hr"},       {19, "Traditional Chinese", "zh_Hant"},
    {20, "Urdu", "ur"},           {21, "Hindi", "hi"},
    {22, "Thai", "th"},           {23, "Korean", "ko"},
    {24, "Lithuanian", "lt"},     {25, "Polish", "pl"},
    {26, "Hungarian", "hu"},      {27, "Estonian", "et"},
    {28, "Latvian", "lv"},        {29, "Sami", "se"},
    {30, "Faroese", "fo"},        {31, "Farsi", "fa"},
    {32, "Russian", "ru"},        {33, "Simplified Chinese", "zh_Hans"},
    {34, "Flemish", "nl_BE"},     {35, "Irish", "ga"},
    {36, "Albanian", "sq"},       {37, "Romanian", "ro"},
    {38, "Czech", "cs"},          {39, "Slovak", "sk"},
    {40, "Slovenian", "sl"},      {41, "Yiddish", "yi"},
    {42, "Serbian", "sr"},        {43, "Macedonian", "mk"},
    {44, "Bulgarian", "bg"},      {45, "Ukrainian", "uk"},
    {46, "Belorussian", "be"},    {47, "Uzbek", "uz"},
    {48, "Kazakh", "kk"},         {49, "Azerbaijani", "az_Cyrl"},
    {50, nullptr, "az_Arab"},     {51, "Armenian", "hy"},
    {52, "Georgian", "ka"},       {53, "Moldavian", "ro_MD"},
    {54, "Kirghiz", "ky"},        {55, "Tajiki", "tg"},
    {56, "Turkmen", "tk"},        {57, nullptr, "mn_Mong"},
    {58, "Mongolian", "mn_Cyrl"}, {59, "Pashto", "ps"},
    {60, "Kurdish", "ku"},        {61, "Kashmiri", "ks"},
    {62, "Sindhi", "sd"},         {63, "Tibetan", "bo"},
    {64, "Nepali", "ne"},         {65, "Sanskrit", "sa"},
    {66, "Marathi", "mr"},        {67, "Bengali", "bn"},
    {68, "Assamese", "as"},       {69, "Gujarati", "gu"},
    {70, "Punjabi", "pa"},        {71, "Oriya", "or"},
    {72, "Malayalam", "ml"},      {73, "Kannada", "kn"},
    {74, "Tamil", "ta"},          {75, "Telugu", "te"},
    {76, "Sinhalese", "si"},      {77, "Burmese", "my"},
    {78, "Khmer", "km"},          {79, "Lao", "lo"},
    {80, "Vietnamese", "vi"},     {81, "Indonesian", "id"},
    {82, "Tagalog", "tl"},        {83, "Malay", "ms"},
    {84, nullptr, "ms_Arab"},     {85, "Amharic", "am"},
    {86, "Tigrinya", "ti"},       {87, "Oromo", "om"},
    {88, "Somali", "so"},         {89, "Swahili", "sw"},
    {90, "Kinyarwanda", "rw"},    {91, "Rundi", "rn"},
    {92, "Nyanja", "ny"},         {93, "Malagasy", "mg"},
    {94, "Esperanto", "eo"},      {128, "Welsh", "cy"},
    {129, "Basque", "eu"},        {130, "Catalan", "ca"},
    {131, "Latin", "la"},         {132, "Quechua", "qu"},
    {133, "Guarani", "gn"},       {134, "Aymara", "ay"},
    {135, "Tatar", "tt"},         {136, "Uighur", "ug"},
    {137, "Dzongkha", "dz"},      {138, "Javanese", "jv"},
    {139, "Sundanese", "su"},     {140, "Galician", "gl"},
    {141, "Afrikaans", "af"},     {142, "Breton", "br"},
    {143, "Inuktitut", "iu"},     {144, "Scottish", "gd"},
    {145, "Manx", "gv"},          {146, nullptr, "ga"},
    {147, "Tongan", "to"},        {148, nullptr, "grc"},
    {149, "Greenlandic", "kl"},   {150, nullptr, "az_Latn"},
    {151, "Nynorsk", "nn"},
};

struct Region {
    std::int16_t code;
    const char* identifier;
};

/// By code. Codes of a script or of several regions have none.
constexpr Region kRegions[] = {
    {0, "en_US"},  {1, "fr_FR"},   {2, "en_GB"},   {3, "de_DE"},   {4, "it_IT"},   {5, "nl_NL"},   {6, "nl_BE"},
    {7, "sv_SE"},  {8, "es_ES"},   {9, "da_DK"},   {10, "pt_PT"},  {11, "fr_CA"},  {12, "nb_NO"},  {13, "he_IL"},
    {14, "ja_JP"}, {15, "en_AU"},  {16, "ar"},     {17, "fi_FI"},  {18, "fr_CH"},  {19, "de_CH"},  {20, "el_GR"},
    {21, "is_IS"}, {22, "mt_MT"},  {23, "el_CY"},  {24, "tr_TR"},  {25, "hr_HR"},  {33, "hi_IN"},  {34, "ur_PK"},
    {35, "tr_TR"}, {36, "it_CH"},  {37, "en_001"}, {39, "ro_RO"},  {40, "el_GR"},  {41, "lt_LT"},  {42, "pl_PL"},
    {43, "hu_HU"}, {44, "et_EE"},  {45, "lv_LV"},  {46, "se"},     {47, "fo_FO"},  {48, "fa_IR"},  {49, "ru_RU"},
    {50, "ga_IE"}, {51, "ko_KR"},  {52, "zh_CN"},  {53, "zh_TW"},  {54, "th_TH"},  {56, "cs_CZ"},  {57, "sk_SK"},
    {60, "bn"},    {61, "be_BY"},  {62, "uk_UA"},  {64, "el_GR"},  {65, "sr_RS"},  {66, "sl_SI"},  {67, "mk_MK"},
    {68, "hr_HR"}, {70, "de_DE"},  {71, "pt_BR"},  {72, "bg_BG"},  {73, "ca_ES"},  {75, "gd"},     {76, "gv"},
    {77, "br"},    {78, "iu_CA"},  {79, "cy"},     {81, "ga_IE"},  {82, "en_CA"},  {83, "dz_BT"},  {84, "hy_AM"},
    {85, "ka_GE"}, {86, "es_419"}, {88, "to_TO"},  {91, "fr"},     {92, "de_AT"},  {94, "gu_IN"},  {95, "pa"},
    {96, "ur_IN"}, {97, "vi_VN"},  {98, "fr_BE"},  {99, "uz_UZ"},  {100, "en_SG"}, {101, "nn_NO"}, {102, "af_ZA"},
    {103, "eo"},   {104, "mr_IN"}, {105, "bo"},    {106, "ne_NP"}, {107, "kl"},    {108, "en_IE"},
};

template <class Entry, std::size_t N>
const char* identifierOf(const Entry (&entries)[N], std::int16_t code) noexcept {
    const auto* const found = std::ranges::lower_bound(entries, code, {}, &Entry::code);
    return found != std::end(entries) && found->code == code ? found->identifier : nullptr;
}

static_assert(std::ranges::is_sorted(kLanguages, {}, &Language::code));
static_assert(std::ranges::is_sorted(kRegions, {}, &Region::code));

}  // namespace

const char* KXPlatform::languageOfMacCode(std::int16_t code) noexcept { return identifierOf(kLanguages, code); }

const char* KXPlatform::regionOfMacCode(std::int16_t code) noexcept { return identifierOf(kRegions, code); }

const char* KXPlatform::languageOfMacName(const char* name) noexcept {
    for (const Language& language : kLanguages)
        if (language.name && !std::strcmp(language.name, name)) return language.identifier;
    return nullptr;
}
