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

CF_EXTERN_C_END
