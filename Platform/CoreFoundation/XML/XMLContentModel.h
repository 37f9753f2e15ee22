#pragma once

// What the elements of a type may contain, as a document type declares it.

#include <expat.h>

#include <string>

namespace KXPlatform {

/// "EMPTY", "ANY", "(#PCDATA|em)*", "(head,body?)". Does not recurse. Throws std::bad_alloc.
std::string describe(const XML_Content& model);

}  // namespace KXPlatform
