#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFLocale.h>

using namespace KXPlatform;

// Keys that are also keywords of identifiers ("th_TH@calendar=gregorian") have the keyword's text.
#define KX_CONSTANT(name, text)                                 \
    static constinit const StringConstant name##Constant(text); \
    const CFStringRef name = &name##Constant;

KX_CONSTANT(kCFLocaleCurrentLocaleDidChangeNotification, "kCFLocaleCurrentLocaleDidChangeNotification")

KX_CONSTANT(kCFLocaleIdentifier, "kCFLocaleIdentifierKey")
KX_CONSTANT(kCFLocaleLanguageCode, "kCFLocaleLanguageCodeKey")
KX_CONSTANT(kCFLocaleCountryCode, "kCFLocaleCountryCodeKey")
KX_CONSTANT(kCFLocaleScriptCode, "kCFLocaleScriptCodeKey")
KX_CONSTANT(kCFLocaleVariantCode, "kCFLocaleVariantCodeKey")
KX_CONSTANT(kCFLocaleExemplarCharacterSet, "kCFLocaleExemplarCharacterSetKey")
KX_CONSTANT(kCFLocaleCalendarIdentifier, "calendar")
KX_CONSTANT(kCFLocaleCalendar, "kCFLocaleCalendarKey")
KX_CONSTANT(kCFLocaleCollationIdentifier, "collation")
KX_CONSTANT(kCFLocaleUsesMetricSystem, "kCFLocaleUsesMetricSystemKey")
KX_CONSTANT(kCFLocaleMeasurementSystem, "kCFLocaleMeasurementSystemKey")
KX_CONSTANT(kCFLocaleDecimalSeparator, "kCFLocaleDecimalSeparatorKey")
KX_CONSTANT(kCFLocaleGroupingSeparator, "kCFLocaleGroupingSeparatorKey")
KX_CONSTANT(kCFLocaleCurrencySymbol, "kCFLocaleCurrencySymbolKey")
KX_CONSTANT(kCFLocaleCurrencyCode, "currency")
KX_CONSTANT(kCFLocaleCollatorIdentifier, "kCFLocaleCollatorIdentifierKey")
KX_CONSTANT(kCFLocaleQuotationBeginDelimiterKey, "kCFLocaleQuotationBeginDelimiterKey")
KX_CONSTANT(kCFLocaleQuotationEndDelimiterKey, "kCFLocaleQuotationEndDelimiterKey")
KX_CONSTANT(kCFLocaleAlternateQuotationBeginDelimiterKey, "kCFLocaleAlternateQuotationBeginDelimiterKey")
KX_CONSTANT(kCFLocaleAlternateQuotationEndDelimiterKey, "kCFLocaleAlternateQuotationEndDelimiterKey")

// The names that CLDR has for the calendars.
KX_CONSTANT(kCFGregorianCalendar, "gregorian")
KX_CONSTANT(kCFBuddhistCalendar, "buddhist")
KX_CONSTANT(kCFChineseCalendar, "chinese")
KX_CONSTANT(kCFHebrewCalendar, "hebrew")
KX_CONSTANT(kCFIslamicCalendar, "islamic")
KX_CONSTANT(kCFIslamicCivilCalendar, "islamic-civil")
KX_CONSTANT(kCFJapaneseCalendar, "japanese")
KX_CONSTANT(kCFRepublicOfChinaCalendar, "roc")
KX_CONSTANT(kCFPersianCalendar, "persian")
KX_CONSTANT(kCFIndianCalendar, "indian")
KX_CONSTANT(kCFISO8601Calendar, "iso8601")
KX_CONSTANT(kCFIslamicTabularCalendar, "islamic-tbla")
KX_CONSTANT(kCFIslamicUmmAlQuraCalendar, "islamic-umalqura")
