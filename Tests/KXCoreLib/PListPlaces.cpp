// Property-list navigation: the elements of arrays, the texts of locations, the errors.

#include <KXCoreLib/CoreFoundation/UUIDRef.h>
#include <KXCoreLib/PList.h>

#include "PListTesting.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

using namespace KXCore;

// Arrays.

TEST(PListArrayIter, GivesTheElementsInOrder) {
    const PListNavigator list(info(Dict().set("L", arrayOf(number(10), number(20), number(30)))));
    const PListNode& array = list.root() / "L";
    PListArrayIter items;
    ASSERT_TRUE(array.getArrayIter(items, Required));
    for (int i = 0; i < 3; ++i) {
        const PListNode& node = items.next();
        int value = 0;
        EXPECT_EQ(node.index(), i);
        EXPECT_EQ(node.parent(), &array);
        EXPECT_TRUE(node.getValue(value));
        EXPECT_EQ(value, 10 * (i + 1));
    }
    EXPECT_FALSE(items.next().value());
}

TEST(PListArrayIter, GivesANodeWithoutAValuePastTheEnd) {
    const PListNavigator list(info(arrayOf(number(1))));
    PListArrayIter items(&list.root(), CFSTR("Name"));
    items.next();
    for (int i = 0; i < 3; ++i) {
        const PListNode& end = items.next();
        CFTypeRef raw = nullptr;
        EXPECT_FALSE(end.value());
        EXPECT_EQ(end.index(), -1);
        EXPECT_FALSE(end.getValue(raw, Optional));
        EXPECT_THROW(end.getValue(raw, Required), PListItemMissingError);
        EXPECT_THROW((end / "A").getValue(raw, Required), PListItemMissingError);
        EXPECT_EQ(locationOf<PListItemMissingError>([&] { end.getValue(raw); }), L"info");
        PListArrayIter inner;
        EXPECT_FALSE(end.getArrayIter(inner, Optional));
        EXPECT_THROW(end.getArrayIter(inner, Required), PListItemMissingError);
    }
}

TEST(PListArrayIter, OfAnEmptyArrayIsAtTheEnd) {
    const PListNavigator list(info(arrayOf()));
    PListArrayIter items;
    EXPECT_TRUE(list.root().getArrayIter(items));
    EXPECT_FALSE(items.next().value());
}

TEST(PListArrayIter, OfAnotherTypeIsAnUnexpectedType) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    PListArrayIter items;
    const auto ask = [&] { (list.root() / "A").getArrayIter(items, Required); };
    EXPECT_EQ(expectedTypeOf(ask), 2);
    EXPECT_EQ(locationOf<PListUnexpectedTypeError>(ask), L"info [/A]");
    EXPECT_FALSE((list.root() / "A").getArrayIter(items, Optional));
    EXPECT_FALSE((list.root() / "B").getArrayIter(items, Optional));
    EXPECT_THROW((list.root() / "B").getArrayIter(items, Required), PListItemMissingError);
}

TEST(PListArrayIter, ThatCouldNotBeFilledStaysAsItWas) {
    const PListNavigator list(info(Dict().set("L", arrayOf(number(1), number(2))).set("A", text("x"))));
    PListArrayIter items;
    ASSERT_TRUE((list.root() / "L").getArrayIter(items));
    items.next();
    EXPECT_FALSE((list.root() / "A").getArrayIter(items, Optional));
    EXPECT_EQ(items.next().value(), number(2));
}

TEST(PListArrayIter, OverWhatIsNoArrayIsAtTheEnd) {
    const PListNavigator list(info(text("x")));
    EXPECT_FALSE(PListArrayIter(&list.root()).next().value());
    EXPECT_FALSE(PListArrayIter(&(list.root() / "A")).next().value());
    EXPECT_FALSE(PListArrayIter(nullptr).next().value());
}

TEST(PListArrayIter, ThatWasNeverFilledIsAtTheEnd) {
    PListArrayIter items;
    const PListNode& end = items.next();
    CFTypeRef raw = nullptr;
    EXPECT_FALSE(end.getValue(raw, Optional));
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { (end / "A").getValue(raw); }), L"");
}

TEST(PListArrayIter, StopsWhereAShortenedArrayEnds) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (int i = 0; i < 3; ++i) array.appendValue(number(i).get());
    const PListNavigator list({PropertyListRef::retain(array.get()), L""});
    PListArrayIter items(&list.root());
    items.next();
    array.removeValueAtIndex(2);
    array.removeValueAtIndex(1);
    const PListNode& end = items.next();
    EXPECT_FALSE(end.value());
    EXPECT_EQ(end.index(), -1);
}

TEST(PListArrayIter, StopsAtTheCountItWasFilledWith) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    array.appendValue(number(0).get());
    const PListNavigator list({PropertyListRef::retain(array.get()), L""});
    PListArrayIter items(&list.root());
    array.appendValue(number(1).get());
    EXPECT_TRUE(items.next().value());
    EXPECT_FALSE(items.next().value());
}

TEST(PListArrayIter, HoldsItsLabelKey) {
    const StringRef label = StringRef::createMutableCopy(kCFAllocatorDefault, 0, CFSTR("Name"));
    const PListNavigator list(info(arrayOf(number(1))));
    {
        PListArrayIter items(&list.root(), label.get());
        EXPECT_EQ(CFGetRetainCount(label.get()), 2);
        EXPECT_EQ(items.next().key().get(), label.get());
    }
    EXPECT_EQ(CFGetRetainCount(label.get()), 2) << "the node holds it still";
}

// Locations.

TEST(PListLocation, OfTheRootIsTheInfoTextAlone) {
    EXPECT_EQ(PListNavigator(info(Dict())).root().getLocationInfo(), L"info");
    EXPECT_EQ(PListNavigator({PropertyListRef::retain(Dict().ref().get()), L""}).root().getLocationInfo(), L"");
}

TEST(PListLocation, NamesEveryStep) {
    const PListNavigator list({PropertyListRef::retain(Dict().ref().get()), L"Ünfo €"});
    EXPECT_EQ((list.root() / "A").getLocationInfo(), L"Ünfo € [/A]");
    EXPECT_EQ((list.root() / "A" / "Größe" / "🎉").getLocationInfo(), L"Ünfo € [/A/Größe/🎉]");
    EXPECT_EQ((list.root() / "" / "a/b").getLocationInfo(), L"Ünfo € [//a/b]");
    EXPECT_EQ((list.root() / static_cast<CFStringRef>(nullptr)).getLocationInfo(), L"Ünfo € [/]");
}

namespace {

/// The location of the first element of an array whose label key is "Name".
std::wstring labelled(const TypeRef& element) {
    const PListNavigator list({PropertyListRef::retain(arrayOf(element).get()), L""});
    return PListArrayIter(&list.root(), CFSTR("Name")).next().getLocationInfo();
}

}  // namespace

TEST(PListLocation, TellsAnElementByItsIndex) {
    const PListNavigator list(info(Dict().set("L", arrayOf(number(1), number(2)))));
    PListArrayIter items(&(list.root() / "L"));
    EXPECT_EQ(items.next().getLocationInfo(), L"info [/L/Item_0]");
    EXPECT_EQ(items.next().getLocationInfo(), L"info [/L/Item_1]");
}

TEST(PListLocation, TellsAnElementByItsLabelToo) {
    const Dict device = Dict().set("Name", text("USB"));
    const PListNavigator list(info(Dict().set("Devices", arrayOf(number(0), number(1), device.ref()))));
    PListArrayIter devices;
    ASSERT_TRUE((list.root() / "Devices").getArrayIter(devices, Required, CFSTR("Name")));
    devices.next();
    devices.next();
    int permissions = 0;
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { (devices.next() / "Permissions").getValue(permissions); }),
              L"info [/Devices/Item_2{Name=USB}/Permissions]");
}

TEST(PListLocation, TellsALabelThatIsANumber) {
    EXPECT_EQ(labelled(Dict().set("Name", number(7)).ref()), L" [/Item_0{Name=7}]");
    EXPECT_EQ(labelled(Dict().set("Name", integer(INT64_MIN)).ref()), L" [/Item_0{Name=-9223372036854775808}]");
    EXPECT_EQ(labelled(Dict().set("Name", real(3.5)).ref()), L" [/Item_0{Name=3.500000}]");
    EXPECT_EQ(labelled(Dict().set("Name", real(-std::numeric_limits<double>::max())).ref()).size(),
              std::wstring(L" [/Item_0{Name=}]").size() + 317);
}

TEST(PListLocation, TellsAnyTextOfALabel) {
    EXPECT_EQ(labelled(Dict().set("Name", text("grün🎉")).ref()), L" [/Item_0{Name=grün🎉}]");
    EXPECT_EQ(labelled(Dict().set("Name", text("")).ref()), L" [/Item_0{Name=}]");
}

TEST(PListLocation, LeavesOutALabelOfAnyOtherKind) {
    EXPECT_EQ(labelled(Dict().set("Name", sample<BooleanRef>()).ref()), L" [/Item_0]");
    EXPECT_EQ(labelled(Dict().set("Name", sample<DateRef>()).ref()), L" [/Item_0]");
    EXPECT_EQ(labelled(Dict().set("Name", sample<DataRef>()).ref()), L" [/Item_0]");
    EXPECT_EQ(labelled(Dict().set("Name", Dict()).ref()), L" [/Item_0]");
    EXPECT_EQ(labelled(Dict().set("Other", text("x")).ref()), L" [/Item_0]");
    EXPECT_EQ(labelled(text("x")), L" [/Item_0]");
}

TEST(PListLocation, OfANestedArrayNamesEachIndex) {
    const PListNavigator list({PropertyListRef::retain(arrayOf(arrayOf(number(1), number(2))).get()), L""});
    PListArrayIter outer(&list.root());
    PListArrayIter inner;
    ASSERT_TRUE(outer.next().getArrayIter(inner));
    inner.next();
    EXPECT_EQ(inner.next().getLocationInfo(), L" [/Item_0/Item_1]");
}

// Errors.

TEST(PListErrors, AreNamedAfterTheirClass) {
    const PListNavigator list(info(Dict()));
    const PListNode& node = list.root();
    EXPECT_STREQ(PListItemMissingError(node).what(), "PListItemMissingError");
    EXPECT_STREQ(PListUnexpectedTypeError(node, 1).what(), "PListUnexpectedTypeError");
    EXPECT_STREQ(PListConversionError(node).what(), "PListConversionError");
    EXPECT_STREQ(PListValueError(node, L"no").what(), "PListValueError");
    EXPECT_STREQ(PListError(node).what(), "");
}

TEST(PListErrors, AreRuntimeErrorsThatKnowTheirPlace) {
    const PListNavigator list(info(Dict()));
    try {
        int out = 0;
        (list.root() / "A").getValue(out);
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "PListItemMissingError");
        EXPECT_EQ(dynamic_cast<const PListError&>(error).getLocationInfo(), L"info [/A]");
    }
}

TEST(PListErrors, OutliveTheNavigator) {
    std::exception_ptr kept;
    {
        const PListNavigator list(info(Dict()));
        try {
            int out = 0;
            (list.root() / "A").getValue(out);
        } catch (...) {
            kept = std::current_exception();
        }
    }
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { std::rethrow_exception(kept); }), L"info [/A]");
}

TEST(PListValueError, KeepsTheValueAndTheMessage) {
    const DataRef data = sample<DataRef>();
    {
        PListValueError error = [&] {
            const PListNavigator list(info(Dict().set("A", data)));
            return PListValueError(list.root() / "A", L"must be a UUID");
        }();
        EXPECT_EQ(error.getValue().get(), data.get());
        EXPECT_EQ(error.getMessage(), L"must be a UUID");
        EXPECT_EQ(error.getLocationInfo(), L"info [/A]");
        EXPECT_EQ(CFGetRetainCount(data.get()), 2);
    }
    EXPECT_EQ(CFGetRetainCount(data.get()), 1);
}

TEST(PListValueError, OfAMissingValueHasNone) {
    const PListNavigator list(info(Dict()));
    const PListValueError error(list.root() / "A", L"is needed");
    EXPECT_FALSE(error.getValue());
    EXPECT_EQ(error.getLocationInfo(), L"info [/A]");
}

// Misuse that a compiler must refuse.

static_assert(std::is_same_v<decltype(std::declval<const PListNode&>() / "A"), const PListNode&>);
static_assert(!std::is_copy_constructible_v<PListNode> && !std::is_copy_constructible_v<PListNavigator>);
template <class Out, class Kind = ItemKind>
concept CanBeAskedFor = requires(const PListNode& node, Out out, Kind kind) {
    node.getValue(out, kind);
};
static_assert(CanBeAskedFor<StringRef> && !CanBeAskedFor<MutableStringRef> && !CanBeAskedFor<UUIDRef>);
static_assert(CanBeAskedFor<int> && !CanBeAskedFor<long> && !CanBeAskedFor<unsigned>);
static_assert(!CanBeAskedFor<int, int>);
static_assert(std::is_base_of_v<std::runtime_error, PListError>);
