#pragma once

// The language of EvalBitMask in other hands: what the evaluator is measured against.

#include <KXCoreLib/EvalBitMask.h>

#include <cstdint>

/// The same grammar, names and messages, made by flex and bison; the scanner is made and destroyed in each call.
int EvalByFlexAndBison(std::uint64_t* result, const char* text, const BitMaskConstant* table);

/// The same grammar by Boost.Spirit X3, names in a symbol table made beforehand; no messages, no name by its beginning.
int EvalBySpirit(std::uint64_t* result, const char* text);

/// A bare recursive descent: names by their first letter only, no messages, no ceiling, no checks: the limit.
int EvalByBareDescent(std::uint64_t* result, const char* text);
