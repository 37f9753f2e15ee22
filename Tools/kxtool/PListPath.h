#pragma once

// Places in a property list by path: "/Devices/2/Na~1me", as in RFC 6901.

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/PList.h>

#include <functional>
#include <string>
#include <vector>

namespace kxtool {

/// The path's steps; none for "" and "/". Throws BadUsage for a path that does not begin with "/".
std::vector<std::string> StepsOf(const std::string& path);

/// The list with `value` at the place: a new entry of a dictionary, a new last element of an array (its count or "-"),
/// or in place of what is there. What the path goes through must be there. Throws BadInput.
KXCore::CoreFoundation::PropertyListRef WithValueAt(CFPropertyListRef list, const std::vector<std::string>& steps,
                                                    CFPropertyListRef value, const std::string& name);

/// The list without what is at the place. Throws BadInput when nothing is.
KXCore::CoreFoundation::PropertyListRef WithoutValueAt(CFPropertyListRef list, const std::vector<std::string>& steps,
                                                       const std::string& name);

/// What is at the place; throws BadInput when nothing is.
KXCore::CoreFoundation::PropertyListRef ValueAt(const KXCore::CoreFoundation::PropertyListRef& list,
                                                const std::vector<std::string>& steps, const std::string& name);

/// Calls `use` with the node at the place; what it throws of the navigation's errors becomes BadInput with the place.
void UseNodeAt(const KXCore::CoreFoundation::PropertyListRef& list, const std::vector<std::string>& steps,
               const std::string& name, const std::function<void(const KXCore::PListNode&)>& use);

}  // namespace kxtool
