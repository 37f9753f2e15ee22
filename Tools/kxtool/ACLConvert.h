#pragma once

// Access-control lists between their two forms, text and property list, without asking who anybody is: names stay
// names, and masks stay as they are written.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <string>

namespace kxtool {

/// The property list that says what the text says. Throws BadInput.
KXCore::CoreFoundation::PropertyListRef ListOfACLText(const std::string& text);

/// The text that says what the property list says; `name` is for messages. Throws BadInput.
std::string TextOfACLList(CFPropertyListRef list, const std::string& name);

}  // namespace kxtool
