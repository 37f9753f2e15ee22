#pragma once

// Numbers as format texts write them, by the rules of printf in the "C" locale whatever locale the process is in.

#include "CFStringFormatOutput.h"
#include "CFStringFormatParser.h"

namespace KXPlatform {

/// `value` as the conversions d D i u U x X o O write it; width and precision of `specifier` are resolved. May throw
/// std::bad_alloc, as all here.
void writeInteger(FormatOutput& output, const FormatSpecifier& specifier, std::int64_t value);

/// `value` as p writes it.
void writePointer(FormatOutput& output, const FormatSpecifier& specifier, const void* value);

/// `value` as the conversions f F e E g G a A write it.
void writeDouble(FormatOutput& output, const FormatSpecifier& specifier, double value);
void writeLongDouble(FormatOutput& output, const FormatSpecifier& specifier, long double value);

/// The shortest plain text that reads back as `value`, of at most 16 digits where that suffices.
void writePlainDouble(FormatOutput& output, double value);
void writePlainFloat(FormatOutput& output, float value);

}  // namespace KXPlatform
