#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/PList.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

/// What is said of the error that `ask` meets in {"Name": "Stick", "Half": 0.5}.
std::string Described(const std::function<void(const PListNode&)>& ask) {
    MutableDictionaryRef list = DictionaryRef::createMutable(nullptr, 0);
    list.setValue(CFSTR("Name"), CFSTR("Stick"));
    const double half = 0.5;
    list.setValue(CFSTR("Half"), NumberRef::adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &half)).get());
    const PListNavigator navigator({PropertyListRef::retain(list.get()), L"J\u00fcrgen.plist"});
    try {
        ask(navigator.root());
    } catch (const PListError& error) {
        return DescribePListError(error);
    }
    return "no error";
}

TEST(PListErrorText, SaysWhatIsWrongAndWhere) {
    std::string text;
    int number = 0;
    EXPECT_EQ(Described([&](const PListNode& root) { (root / "Colour").getValue(text); }),
              "J\xC3\xBCrgen.plist [/Colour]: there is no such value");
    EXPECT_EQ(Described([&](const PListNode& root) { (root / "Half").getValue(text); }),
              "J\xC3\xBCrgen.plist [/Half]: the value is not a string");
    EXPECT_EQ(Described([&](const PListNode& root) { (root / "Name" / "First").getValue(text); }),
              "J\xC3\xBCrgen.plist [/Name]: the value is not a dictionary");
    EXPECT_EQ(Described([&](const PListNode& root) { (root / "Half").getValue(number); }),
              "J\xC3\xBCrgen.plist [/Half]: the number does not fit");
    EXPECT_EQ(Described([&](const PListNode& root) { throw PListValueError(root / "Name", L"no \u201cname\u201d"); }),
              "J\xC3\xBCrgen.plist [/Name]: no \xE2\x80\x9Cname\xE2\x80\x9D");
}

TEST(PListErrorText, LeavesTheNamesOfTheClassesAsTheyAre) {
    const PListNavigator navigator({PropertyListRef(), L"list"});
    EXPECT_STREQ(PListItemMissingError(navigator.root()).what(), "PListItemMissingError");
    EXPECT_EQ(DescribePListError(PListError(navigator.root())), "list: ");
}

}  // namespace
