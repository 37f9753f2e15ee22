#pragma once

#include <KXCoreLib/PList.h>

#include <span>
#include <string>

namespace agent {

/// Throws a PListValueError at the first key of the dictionary at `node` that is none of `known`; it suggests the one
/// that was meant. Throws a PListUnexpectedTypeError where there is no dictionary.
void requireKnownKeys(const KXCore::PListNode& node, std::span<const char* const> known);

/// "; did you mean X?" for the one of `known` that is close to `word`, else "".
std::string suggestionFor(const std::string& word, std::span<const char* const> known);

}  // namespace agent
