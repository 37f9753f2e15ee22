#pragma once

/// Locales: what a language and a region are used to, from names of languages to the sign before a fraction.
///
/// A locale is an identifier in the form of CLDR, "en_US" or "zh-Hant_TW" or "th_TH@calendar=gregorian", and what the
/// data of the system know of it. Any identifier makes a locale; where there are no data for it, those of its language
/// serve, and then those of the root. Locales never change and may be used from any thread.
///
/// Ownership follows the names. What is null or no locale, text that is no identifier, and a lack of memory give null,
/// 0 or false.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFLocale* CFLocaleRef;
typedef CFStringRef CFLocaleIdentifier;
typedef CFStringRef CFLocaleKey;
typedef CFStringRef CFCalendarIdentifier;
typedef CFStringRef CFNotificationName;
/// Languages and regions as classic Mac software numbered them.
typedef SInt16 LangCode;
typedef SInt16 RegionCode;

CF_ENUM_TYPE(CFIndex, CFLocaleLanguageDirection){
    kCFLocaleLanguageDirectionUnknown = 0,     kCFLocaleLanguageDirectionLeftToRight = 1,
    kCFLocaleLanguageDirectionRightToLeft = 2, kCFLocaleLanguageDirectionTopToBottom = 3,
    kCFLocaleLanguageDirectionBottomToTop = 4,
};

/// Posted by the local notification centre when the locale of the user changes.
CF_EXPORT const CFNotificationName kCFLocaleCurrentLocaleDidChangeNotification;

/// What CFLocaleGetValue can be asked for; the texts also stand for the parts of an identifier.
CF_EXPORT const CFLocaleKey kCFLocaleIdentifier;
CF_EXPORT const CFLocaleKey kCFLocaleLanguageCode;
CF_EXPORT const CFLocaleKey kCFLocaleCountryCode;
CF_EXPORT const CFLocaleKey kCFLocaleScriptCode;
CF_EXPORT const CFLocaleKey kCFLocaleVariantCode;
CF_EXPORT const CFLocaleKey kCFLocaleExemplarCharacterSet;  ///< CFCharacterSet: the letters of the language
CF_EXPORT const CFLocaleKey kCFLocaleCalendarIdentifier;
CF_EXPORT const CFLocaleKey kCFLocaleCalendar;  ///< CFCalendar
CF_EXPORT const CFLocaleKey kCFLocaleCollationIdentifier;
CF_EXPORT const CFLocaleKey kCFLocaleUsesMetricSystem;   ///< CFBoolean
CF_EXPORT const CFLocaleKey kCFLocaleMeasurementSystem;  ///< "Metric", "U.S." or "U.K."
CF_EXPORT const CFLocaleKey kCFLocaleDecimalSeparator;
CF_EXPORT const CFLocaleKey kCFLocaleGroupingSeparator;
CF_EXPORT const CFLocaleKey kCFLocaleCurrencySymbol;
CF_EXPORT const CFLocaleKey kCFLocaleCurrencyCode;  ///< of ISO 4217
CF_EXPORT const CFLocaleKey kCFLocaleCollatorIdentifier;
CF_EXPORT const CFLocaleKey kCFLocaleQuotationBeginDelimiterKey;
CF_EXPORT const CFLocaleKey kCFLocaleQuotationEndDelimiterKey;
CF_EXPORT const CFLocaleKey kCFLocaleAlternateQuotationBeginDelimiterKey;
CF_EXPORT const CFLocaleKey kCFLocaleAlternateQuotationEndDelimiterKey;

CF_EXPORT const CFCalendarIdentifier kCFGregorianCalendar;
CF_EXPORT const CFCalendarIdentifier kCFBuddhistCalendar;
CF_EXPORT const CFCalendarIdentifier kCFChineseCalendar;
CF_EXPORT const CFCalendarIdentifier kCFHebrewCalendar;
CF_EXPORT const CFCalendarIdentifier kCFIslamicCalendar;
CF_EXPORT const CFCalendarIdentifier kCFIslamicCivilCalendar;
CF_EXPORT const CFCalendarIdentifier kCFJapaneseCalendar;
CF_EXPORT const CFCalendarIdentifier kCFRepublicOfChinaCalendar;
CF_EXPORT const CFCalendarIdentifier kCFPersianCalendar;
CF_EXPORT const CFCalendarIdentifier kCFIndianCalendar;
CF_EXPORT const CFCalendarIdentifier kCFISO8601Calendar;
CF_EXPORT const CFCalendarIdentifier kCFIslamicTabularCalendar;
CF_EXPORT const CFCalendarIdentifier kCFIslamicUmmAlQuraCalendar;

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);

// ---- Locales

/// The root: the locale of no language, with the identifier "". Never freed.
CF_EXPORT CFLocaleRef CFLocaleGetSystem(void);
/// The locale of the user, as the environment tells it at the time of the call: LC_ALL, else LC_MESSAGES, else LANG;
/// "en_US_POSIX" where that is "C", "POSIX" or nothing. Its numbers, money, dates, collation and units follow
/// LC_NUMERIC, LC_MONETARY, LC_TIME, LC_COLLATE and LC_MEASUREMENT where these differ. Reads the environment, so no
/// other thread may change it meanwhile.
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);
/// The locale of an identifier, which is made canonical. Null when the text can be none: when it is not ASCII, or
/// longer than 156 characters.
CF_EXPORT CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier);
CF_EXPORT CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef allocator, CFLocaleRef locale);
/// Borrowed; the canonical form of what the locale was made with.
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);
/// What the locale knows under a key, borrowed; a string where the key says nothing else. Null where it knows nothing:
/// no country, no keyword of that name, no currency in a language without a region.
CF_EXPORT CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key);
/// What `value`, an identifier, a language, country, script, variant, calendar, collation or currency as the key says,
/// is called in the language of `displayLocale`: "Deutsch", "Japan". For the key of the currency's symbol, the symbol
/// of the currency with the code `value`. Null when the language has no name of it, and for any other key.
CF_EXPORT CFStringRef CFLocaleCopyDisplayNameForPropertyValue(CFLocaleRef displayLocale, CFLocaleKey key,
                                                              CFStringRef value);

// ---- Lists of strings

/// The identifiers that there are data for, in ICU's form: "zh_Hant_TW".
CF_EXPORT CFArrayRef CFLocaleCopyAvailableLocaleIdentifiers(void);
/// Of ISO 639: two letters, or three where there are not two.
CF_EXPORT CFArrayRef CFLocaleCopyISOLanguageCodes(void);
/// Of ISO 3166, two letters.
CF_EXPORT CFArrayRef CFLocaleCopyISOCountryCodes(void);
/// Of ISO 4217, by the alphabet: all that ever were, or those in common use today.
CF_EXPORT CFArrayRef CFLocaleCopyISOCurrencyCodes(void);
CF_EXPORT CFArrayRef CFLocaleCopyCommonISOCurrencyCodes(void);
/// The languages the user reads, best first, as tags ("de-DE"): those that LANGUAGE lists, then that of the current
/// locale. Reads the environment.
CF_EXPORT CFArrayRef CFLocaleCopyPreferredLanguages(void);

// ---- Identifiers

/// The canonical form of an identifier written in any way ("EN-us", "de_DE.UTF-8", "French"), as a language
/// ("zh-Hant", "en-US") or as a locale ("zh-Hant_TW", "en_US").
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLanguageIdentifierFromString(CFAllocatorRef allocator,
                                                                                 CFStringRef localeIdentifier);
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(CFAllocatorRef allocator,
                                                                               CFStringRef localeIdentifier);
/// Of the numbers of a language and a region; one of them may be -1 or stand for none. Null when both do.
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(CFAllocatorRef allocator,
                                                                                           LangCode lcode,
                                                                                           RegionCode rcode);
/// From and to the numbers that Windows has for locales (0x0409 is en_US). Null and 0 for what has none.
CF_EXPORT CFLocaleIdentifier CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode(CFAllocatorRef allocator,
                                                                                 uint32_t lcid);
CF_EXPORT uint32_t CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(CFLocaleIdentifier localeIdentifier);
/// Where the characters of a line, and the lines of a page, follow each other. Unknown for an unknown language.
CF_EXPORT CFLocaleLanguageDirection CFLocaleGetLanguageCharacterDirection(CFStringRef isoLangCode);
CF_EXPORT CFLocaleLanguageDirection CFLocaleGetLanguageLineDirection(CFStringRef isoLangCode);
/// "en_US@calendar=japanese" as a dictionary of strings: kCFLocaleLanguageCode = en, kCFLocaleCountryCode = US,
/// kCFLocaleCalendarIdentifier = japanese; other keywords stand under their names.
CF_EXPORT CFDictionaryRef CFLocaleCreateComponentsFromLocaleIdentifier(CFAllocatorRef allocator,
                                                                       CFLocaleIdentifier localeID);
/// The reverse. Null when a component is no string, or has characters that cannot stand in an identifier.
CF_EXPORT CFLocaleIdentifier CFLocaleCreateLocaleIdentifierFromComponents(CFAllocatorRef allocator,
                                                                          CFDictionaryRef dictionary);

CF_EXTERN_C_END
