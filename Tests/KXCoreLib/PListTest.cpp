#include <KXCoreLib/PList.h>

#include "PListTesting.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

using namespace KXCore;

// Steps.

TEST(PListNode, RootHoldsTheList) {
    const PListNavigator list(info(text("a text")));
    EXPECT_EQ(list.root().parent(), nullptr);
    EXPECT_EQ(list.root().index(), -1);
    EXPECT_FALSE(list.root().key());
    EXPECT_EQ(list.root().value(), text("a text"));
}

TEST(PListNode, AStepByKeyFindsTheEntry) {
    const PListNavigator list(info(Dict().set("A", Dict().set("B", text("found")))));
    EXPECT_EQ((list.root() / "A" / "B").value(), text("found"));
    EXPECT_EQ((list.root() / CFSTR("A") / CFSTR("B")).value(), text("found"));
}

TEST(PListNode, AStepByKeyRemembersHowItWasReached) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    const PListNode& node = list.root() / "A";
    EXPECT_EQ(node.parent(), &list.root());
    EXPECT_EQ(node.index(), -1);
    EXPECT_EQ(node.key(), text("A"));
}

TEST(PListNode, AKeyMayBeAnyUTF8) {
    const PListNavigator list(info(Dict().set("Größe 🎉", text("x"))));
    EXPECT_TRUE((list.root() / "Größe 🎉").value());
}

TEST(PListNode, AKeyThatIsNoUTF8LeadsNowhere) {
    const PListNavigator list(info(Dict().set("\xC3\xBF", text("x"))));
    const PListNode& node = list.root() / "\xFF";
    EXPECT_FALSE(node.value());
    EXPECT_EQ(node.parent(), &list.root());
    CFTypeRef raw = nullptr;
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { (node / "B").getValue(raw); }), L"info [/\u00FF]");
}

TEST(PListNode, OfNoListLeadsToItself) {
    const PListNode& nowhere = PListArrayIter(nullptr).next();
    EXPECT_EQ(&(nowhere / "A"), &nowhere);
    EXPECT_EQ(&(nowhere / "\xFF"), &nowhere);
    EXPECT_EQ(&(nowhere / CFSTR("A")), &nowhere);
    EXPECT_EQ(&PListArrayIter(&nowhere).next(), &nowhere);
}

TEST(PListNode, AStepThatLeadsNowhereIsNoError) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    EXPECT_FALSE((list.root() / "B").value());
    EXPECT_FALSE((list.root() / "A" / "B").value());
    EXPECT_FALSE((list.root() / "B" / "C" / "D").value());
    EXPECT_FALSE((list.root() / static_cast<CFStringRef>(nullptr)).value());
    EXPECT_FALSE((list.root() / static_cast<const char*>(nullptr)).value());
}

TEST(PListNode, StaysWhereItIsWhileMoreAreMade) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    std::vector<const PListNode*> nodes;
    for (int i = 0; i < 5000; ++i) nodes.push_back(&(list.root() / "A"));
    std::string value;
    for (const PListNode* node : nodes) {
        ASSERT_TRUE(node->getValue(value));
        ASSERT_EQ(value, "x");
    }
}

TEST(PListNavigator, KeepsTheListAlive) {
    DataRef data = sample<DataRef>();
    const PListNavigator list({PropertyListRef::retain(data.get()), L""});
    EXPECT_GE(CFGetRetainCount(data.get()), 2);
    data = DataRef();
    DataRef found;
    EXPECT_TRUE(list.root().getValue(found));
    EXPECT_EQ(found, sample<DataRef>());
}

TEST(PListNavigator, ReleasesWhatItsNodesHold) {
    const DataRef data = sample<DataRef>();
    {
        const PListNavigator list(info(Dict().set("A", data).set("L", arrayOf(data, data))));
        for (int i = 0; i < 100; ++i) (void)(list.root() / "A");
        PListArrayIter items(&(list.root() / "L"));
        while (items.next().value()) {
        }
        EXPECT_GT(CFGetRetainCount(data.get()), 100);
    }
    EXPECT_EQ(CFGetRetainCount(data.get()), 1);
}

TEST(PListNode, KeepsItsValueWhenTheListChanges) {
    MutableDictionaryRef dictionary = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    dictionary.setValue(text("A").get(), text("a value of its own").get());
    const PListNavigator list({PropertyListRef::retain(dictionary.get()), L""});
    const PListNode& node = list.root() / "A";
    dictionary.removeAllValues();
    std::string value;
    EXPECT_TRUE(node.getValue(value));
    EXPECT_EQ(value, "a value of its own");
}

// Values without a type.

TEST(PListGetValue, GivesTheValueOfAnyType) {
    const PListNavigator list(info(Dict().set("A", number(7))));
    CFTypeRef raw = nullptr;
    EXPECT_TRUE((list.root() / "A").getValue(raw));
    EXPECT_EQ(intValue(raw), 7);
    PropertyListRef value;
    EXPECT_TRUE((list.root() / "A").getValue(value, Optional));
    EXPECT_EQ(value, number(7));
    TypeRef any;
    EXPECT_TRUE((list.root() / "A").getValue(any));
    EXPECT_EQ(any, number(7));
    EXPECT_THROW((list.root() / "B").getValue(any), PListItemMissingError);
    EXPECT_THROW((list.root() / "B").getValue(value), PListItemMissingError);
}

TEST(PListGetValue, LeavesTheOutputOfAnOptionalRequestThatIsNotMet) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    const StringRef before = text("before");
    const PListNode& none = list.root() / "B";
    CFTypeRef raw = before.get();
    EXPECT_FALSE(none.getValue(raw, Optional));
    EXPECT_EQ(raw, before.get());
    TypeRef any = before;
    EXPECT_FALSE(none.getValue(any, Optional));
    EXPECT_EQ(any.get(), before.get());
    PropertyListRef value = PropertyListRef::retain(before.get());
    EXPECT_FALSE(none.getValue(value, Optional));
    EXPECT_EQ(value.get(), before.get());
    bool truth = true;
    EXPECT_FALSE(none.getValue(truth, Optional));
    EXPECT_TRUE(truth);
    std::string narrow = "before";
    EXPECT_FALSE(none.getValue(narrow, Optional));
    EXPECT_EQ(narrow, "before");
}

TEST(PListGetValue, RequiresByDefault) {
    const PListNavigator list(info(Dict()));
    CFTypeRef raw = nullptr;
    EXPECT_THROW((list.root() / "A").getValue(raw), PListItemMissingError);
}

TEST(PListGetValue, TakesEveryKindButTwoForOptional) {
    const PListNavigator list(info(Dict()));
    CFTypeRef raw = nullptr;
    for (int kind : {INT32_MIN, -1, 0, 1, 3, 100, INT32_MAX}) {
        EXPECT_FALSE((list.root() / "A").getValue(raw, ItemKind(kind))) << kind;
    }
    EXPECT_THROW((list.root() / "A").getValue(raw, ItemKind(2)), PListItemMissingError);
}

TEST(PListGetValue, TakesEveryKindButTwoForOptionalInEveryFailure) {
    const PListNavigator list(info(Dict().set("A", real(0.5))));
    const PListNode& node = list.root() / "A";
    std::string text;
    int number = 0;
    PListArrayIter items;
    for (int kind : {INT32_MIN, -1, 0, 3, INT32_MAX}) {
        EXPECT_FALSE(node.getValue(text, ItemKind(kind))) << kind;
        EXPECT_FALSE(node.getValue(number, ItemKind(kind))) << kind;
        EXPECT_FALSE(node.getArrayIter(items, ItemKind(kind))) << kind;
    }
    EXPECT_THROW(node.getValue(text, ItemKind(2)), PListUnexpectedTypeError);
    EXPECT_THROW(node.getValue(number, ItemKind(2)), PListConversionError);
    EXPECT_THROW(node.getArrayIter(items, ItemKind(2)), PListUnexpectedTypeError);
}

TEST(PListGetValue, NamesTheFirstMissingStep) {
    const PListNavigator list(info(Dict()));
    const PListNode& node = list.root() / "A" / "B" / "C";
    CFTypeRef raw = nullptr;
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { node.getValue(raw, Required); }), L"info [/A]");
    EXPECT_FALSE(node.getValue(raw, Optional));
    EXPECT_EQ(raw, nullptr);
}

TEST(PListGetValue, NamesTheStepThatIsMissingBelowOthers) {
    const PListNavigator list(info(Dict().set("A", Dict())));
    std::string out;
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { (list.root() / "A" / "B" / "C").getValue(out); }),
              L"info [/A/B]");
}

TEST(PListGetValue, NamesAnAncestorThatIsNoDictionary) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    CFTypeRef raw = nullptr;
    const auto ask = [&] { (list.root() / "A" / "B" / "C").getValue(raw, Required); };
    EXPECT_EQ(locationOf<PListUnexpectedTypeError>(ask), L"info [/A]");
    EXPECT_EQ(expectedTypeOf(ask), 3);
    EXPECT_FALSE((list.root() / "A" / "B" / "C").getValue(raw, Optional));
}

TEST(PListGetValue, NamesARootOrAnArrayThatIsNoDictionary) {
    const PListNavigator root(info(arrayOf(number(1))));
    const PListNavigator list(info(Dict().set("L", arrayOf(number(1)))));
    std::string out;
    const auto askRoot = [&] { (root.root() / "A").getValue(out); };
    const auto askArray = [&] { (list.root() / "L" / "A").getValue(out); };
    EXPECT_EQ(locationOf<PListUnexpectedTypeError>(askRoot), L"info");
    EXPECT_EQ(expectedTypeOf(askRoot), 3);
    EXPECT_EQ(locationOf<PListUnexpectedTypeError>(askArray), L"info [/L]");
    EXPECT_EQ(expectedTypeOf(askArray), 3);
}

TEST(PListGetValue, NamesTheRootOfAnEmptyList) {
    const PListNavigator list(info(TypeRef()));
    CFTypeRef raw = nullptr;
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { list.root().getValue(raw); }), L"info");
    EXPECT_EQ(locationOf<PListItemMissingError>([&] { (list.root() / "A" / "B").getValue(raw); }), L"info");
    EXPECT_FALSE((list.root() / "A").getValue(raw, Optional));
}

// Values of a type.

namespace {

const Dict& oneOfEachType() {
    static const Dict dictionary = Dict()
                                       .set("string", text("text"))
                                       .set("array", arrayOf(number(1)))
                                       .set("dictionary", Dict().set("x", number(1)))
                                       .set("date", sample<DateRef>())
                                       .set("boolean", sample<BooleanRef>())
                                       .set("number", number(5))
                                       .set("data", sample<DataRef>());
    return dictionary;
}

/// A wrapper class, the key of the value of its type above, and the code errors give the type.
template <class RefType, std::int32_t code>
struct TypeCase {
    using Ref = RefType;
    static constexpr std::int32_t typeCode = code;
    static const char* key() {
        constexpr const char* keys[] = {"", "string", "array", "dictionary", "date", "boolean", "number", "data"};
        return keys[code];
    }
};

template <class Case>
class PListTypedValue : public testing::Test {};
using TypeCases =
    testing::Types<TypeCase<StringRef, 1>, TypeCase<ArrayRef, 2>, TypeCase<DictionaryRef, 3>, TypeCase<DateRef, 4>,
                   TypeCase<BooleanRef, 5>, TypeCase<NumberRef, 6>, TypeCase<DataRef, 7>>;
class NameOfCase {
  public:
    template <class Case>
    static std::string GetName(int) {
        return Case::key();
    }
};
TYPED_TEST_SUITE(PListTypedValue, TypeCases, NameOfCase);

}  // namespace

TYPED_TEST(PListTypedValue, IsGivenAsARawReferenceAndAsAWrapper) {
    using Ref = typename TypeParam::Ref;
    const PListNavigator list(info(oneOfEachType()));
    const PListNode& node = list.root() / TypeParam::key();
    typename Ref::RawType raw = nullptr;
    EXPECT_TRUE(node.getValue(raw, Required));
    EXPECT_EQ(raw, node.value().get());
    const CFIndex count = CFGetRetainCount(raw);
    {
        Ref wrapped;
        EXPECT_TRUE(node.getValue(wrapped, Optional));
        EXPECT_EQ(wrapped.get(), raw);
        if (!std::is_same_v<Ref, BooleanRef> && !std::is_same_v<Ref, NumberRef>) {
            EXPECT_EQ(CFGetRetainCount(raw), count + 1) << "a wrapper owns, a raw reference does not";
        }
    }
    EXPECT_EQ(CFGetRetainCount(raw), count);
}

TYPED_TEST(PListTypedValue, OfAnotherTypeIsAnUnexpectedType) {
    using Ref = typename TypeParam::Ref;
    const PListNavigator list(info(oneOfEachType()));
    for (const char* key : {"string", "array", "dictionary", "date", "boolean", "number", "data"}) {
        if (key == std::string(TypeParam::key())) continue;
        const PListNode& node = list.root() / key;
        const Ref before = sample<Ref>();
        typename Ref::RawType raw = before.get();
        Ref wrapped = before;
        EXPECT_FALSE(node.getValue(raw, Optional)) << key;
        EXPECT_FALSE(node.getValue(wrapped, Optional)) << key;
        EXPECT_EQ(raw, before.get());
        EXPECT_EQ(wrapped.get(), before.get());
        EXPECT_EQ(expectedTypeOf([&] { node.getValue(raw, Required); }), TypeParam::typeCode) << key;
        EXPECT_EQ(expectedTypeOf([&] { node.getValue(wrapped, Required); }), TypeParam::typeCode) << key;
        EXPECT_EQ(locationOf<PListUnexpectedTypeError>([&] { node.getValue(raw); }),
                  L"info [/" + std::wstring(key, key + std::string(key).size()) + L"]");
    }
}

TYPED_TEST(PListTypedValue, ThatIsMissingIsMissing) {
    using Ref = typename TypeParam::Ref;
    const PListNavigator list(info(oneOfEachType()));
    const Ref before = sample<Ref>();
    typename Ref::RawType raw = before.get();
    Ref wrapped = before;
    EXPECT_FALSE((list.root() / "none").getValue(raw, Optional));
    EXPECT_FALSE((list.root() / "none").getValue(wrapped, Optional));
    EXPECT_EQ(raw, before.get());
    EXPECT_EQ(wrapped.get(), before.get());
    EXPECT_THROW((list.root() / "none").getValue(raw), PListItemMissingError);
    EXPECT_THROW((list.root() / "none").getValue(wrapped), PListItemMissingError);
}

// Text.

TEST(PListText, IsGivenAsUTF8) {
    const PListNavigator list(
        info(Dict().set("plain", text("plain")).set("wide", text("grün € 🎉")).set("empty", text(""))));
    std::string out;
    EXPECT_TRUE((list.root() / "plain").getValue(out));
    EXPECT_EQ(out, "plain");
    EXPECT_TRUE((list.root() / "wide").getValue(out));
    EXPECT_EQ(out, "grün € 🎉");
    EXPECT_TRUE((list.root() / "empty").getValue(out));
    EXPECT_EQ(out, "");
}

TEST(PListText, IsGivenAsCodePoints) {
    const PListNavigator list(info(text("aü€🎉")));
    std::wstring out = L"old";
    EXPECT_TRUE(list.root().getValue(out));
    EXPECT_EQ(out, L"aü€🎉");
}

TEST(PListText, IsGivenWholeAtAnyLength) {
    std::string utf8;
    std::wstring wide;
    for (int i = 0; i < 3000; ++i) {
        utf8 += i % 2 ? "🎉" : "x";
        wide += i % 2 ? L'🎉' : L'x';
    }
    const PListNavigator list(info(text(utf8)));
    std::string narrowOut;
    std::wstring wideOut;
    EXPECT_TRUE(list.root().getValue(narrowOut));
    EXPECT_TRUE(list.root().getValue(wideOut));
    EXPECT_EQ(narrowOut, utf8);
    EXPECT_EQ(wideOut, wide);
}

TEST(PListText, KeepsANulWithinTheText) {
    const PListNavigator list(
        info(Dict().set("plain", text(std::string("a\0b", 3))).set("wide", text(std::string("ü\0b", 4)))));
    std::string out;
    EXPECT_TRUE((list.root() / "plain").getValue(out));
    EXPECT_EQ(out, std::string("a\0b", 3));
    EXPECT_TRUE((list.root() / "wide").getValue(out));
    EXPECT_EQ(out, std::string("ü\0b", 4));
}

TEST(PListText, EndsBeforeHalfOfASurrogatePair) {
    const UniChar units[] = {0x20AC, 'b', 0xDC00, 'c'};
    const PListNavigator list(info(StringRef::createWithCharacters(kCFAllocatorDefault, units, 4)));
    std::string narrow;
    std::wstring wide;
    EXPECT_TRUE(list.root().getValue(narrow));
    EXPECT_TRUE(list.root().getValue(wide));
    EXPECT_EQ(narrow, "€b");
    EXPECT_EQ(wide, L"€b");
}

TEST(PListText, OfAnotherTypeLeavesTheOutput) {
    const PListNavigator list(info(number(1)));
    std::string narrow = "old";
    std::wstring wide = L"old";
    EXPECT_FALSE(list.root().getValue(narrow, Optional));
    EXPECT_FALSE(list.root().getValue(wide, Optional));
    EXPECT_EQ(narrow, "old");
    EXPECT_EQ(wide, L"old");
    EXPECT_EQ(expectedTypeOf([&] { list.root().getValue(narrow); }), 1);
    EXPECT_EQ(expectedTypeOf([&] { list.root().getValue(wide); }), 1);
}

TEST(GetStringData, FillsCodePointsAndNoMore) {
    std::vector<wchar_t> out(10, L'x');
    _GetStringData(out, text("a🎉").get());
    EXPECT_EQ(out, (std::vector<wchar_t>{L'a', L'🎉'}));
    _GetStringData(out, text("").get());
    EXPECT_TRUE(out.empty());
}

TEST(GetStringData, EndsBeforeHalfOfASurrogatePair) {
    const UniChar units[] = {'a', 0xD83C, 'b'};
    std::vector<wchar_t> out;
    _GetStringData(out, StringRef::createWithCharacters(kCFAllocatorDefault, units, 3).get());
    EXPECT_EQ(out, std::vector<wchar_t>{L'a'});
}

// Bytes and booleans.

TEST(PListData, IsGivenAsBytes) {
    const PListNavigator list(
        info(Dict().set("data", sample<DataRef>()).set("none", DataRef::createWithStdVector(kCFAllocatorDefault, {}))));
    std::vector<unsigned char> out{9};
    EXPECT_TRUE((list.root() / "data").getValue(out));
    EXPECT_EQ(out, (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_TRUE((list.root() / "none").getValue(out));
    EXPECT_TRUE(out.empty());
}

TEST(PListData, OfAnotherTypeLeavesTheOutput) {
    const PListNavigator list(info(text("x")));
    std::vector<unsigned char> out{9};
    EXPECT_FALSE(list.root().getValue(out, Optional));
    EXPECT_EQ(out, std::vector<unsigned char>{9});
    EXPECT_EQ(expectedTypeOf([&] { list.root().getValue(out); }), 7);
}

TEST(PListBool, IsTheTruthOfABoolean) {
    const PListNavigator list(
        info(Dict().set("yes", BooleanRef::retain(kCFBooleanTrue)).set("no", BooleanRef::retain(kCFBooleanFalse))));
    bool out = false;
    EXPECT_TRUE((list.root() / "yes").getValue(out));
    EXPECT_TRUE(out);
    EXPECT_TRUE((list.root() / "no").getValue(out));
    EXPECT_FALSE(out);
}

TEST(PListBool, IsNoNumber) {
    const PListNavigator list(info(number(1)));
    bool out = false;
    EXPECT_FALSE(list.root().getValue(out, Optional));
    EXPECT_FALSE(out);
    EXPECT_EQ(expectedTypeOf([&] { list.root().getValue(out); }), 5);
}

// Numbers.

namespace {

/// One way to ask for a number, on a value that fits and one that does not.
struct NumberCase {
    const char* name;
    NumberRef (*fits)();
    bool (*getsIt)(const PListNode&);
    NumberRef (*fitsNot)();
    bool (*leavesOutput)(const PListNode&, ItemKind);
};

/// Whether the request is met with the number expected.
template <class Number, bool (PListNode::*get)(Number&, ItemKind) const>
bool gets(const PListNode& node, Number expected) {
    Number out{};
    return (node.*get)(out, Required) && out == expected;
}

/// Whether the request fails and leaves its output.
template <class Number, bool (PListNode::*get)(Number&, ItemKind) const>
bool leaves(const PListNode& node, ItemKind kind) {
    Number out = 42;
    return !(node.*get)(out, kind) && out == 42;
}

constexpr long long kLargest = std::numeric_limits<long long>::max();

const NumberCase kNumberCases[] = {
    {.name = "Int",
     .fits = [] { return integer(INT32_MIN); },
     .getsIt = [](const PListNode& node) { return gets<int, &PListNode::getValue>(node, INT32_MIN); },
     .fitsNot = [] { return integer(1LL << 31); },
     .leavesOutput = leaves<int, &PListNode::getValue>},
    {.name = "Int32",
     .fits = [] { return integer(INT32_MAX); },
     .getsIt = [](const PListNode& node) { return gets<int, &PListNode::getInt32Value>(node, INT32_MAX); },
     .fitsNot = [] { return real(0.5); },
     .leavesOutput = leaves<int, &PListNode::getInt32Value>},
    {.name = "Int64",
     .fits = [] { return integer(kLargest); },
     .getsIt = [](const PListNode& node) { return gets<long long, &PListNode::getInt64Value>(node, kLargest); },
     .fitsNot = [] { return real(1e30); },
     .leavesOutput = leaves<long long, &PListNode::getInt64Value>},
    {.name = "Long",
     .fits = [] { return integer(-5); },
     .getsIt = [](const PListNode& node) { return gets<long, &PListNode::getLongValue>(node, -5); },
     .fitsNot = [] { return real(2.25); },
     .leavesOutput = leaves<long, &PListNode::getLongValue>},
    {.name = "LongLong",
     .fits = [] { return integer(-kLargest - 1); },
     .getsIt = [](const PListNode& node) { return gets<long long, &PListNode::getLongLongValue>(node, -kLargest - 1); },
     .fitsNot = [] { return real(7.5); },
     .leavesOutput = leaves<long long, &PListNode::getLongLongValue>},
    {.name = "Float",
     .fits = [] { return real(0.5); },
     .getsIt = [](const PListNode& node) { return gets<float, &PListNode::getValue>(node, 0.5f); },
     .fitsNot = [] { return real(0.1); },
     .leavesOutput = leaves<float, &PListNode::getValue>},
    {.name = "Double",
     .fits = [] { return real(0.1); },
     .getsIt = [](const PListNode& node) { return gets<double, &PListNode::getValue>(node, 0.1); },
     .fitsNot = [] { return integer(kLargest); },
     .leavesOutput = leaves<double, &PListNode::getValue>},
};

class PListNumber : public testing::TestWithParam<NumberCase> {};

}  // namespace

TEST_P(PListNumber, IsGivenWhenItFits) {
    const PListNavigator list(info(GetParam().fits()));
    EXPECT_TRUE(GetParam().getsIt(list.root()));
}

TEST_P(PListNumber, ThatDoesNotFitIsAConversionError) {
    const PListNavigator list(info(Dict().set("N", GetParam().fitsNot())));
    const PListNode& node = list.root() / "N";
    EXPECT_EQ(locationOf<PListConversionError>([&] { GetParam().leavesOutput(node, Required); }), L"info [/N]");
}

TEST_P(PListNumber, ThatDoesNotFitLeavesTheOutputOfAnOptionalRequest) {
    const PListNavigator list(info(GetParam().fitsNot()));
    EXPECT_TRUE(GetParam().leavesOutput(list.root(), Optional));
}

TEST_P(PListNumber, OfAnotherTypeIsAnUnexpectedType) {
    const PListNavigator list(info(sample<BooleanRef>()));
    EXPECT_EQ(expectedTypeOf([&] { GetParam().leavesOutput(list.root(), Required); }), 6);
    EXPECT_TRUE(GetParam().leavesOutput(list.root(), Optional));
}

TEST_P(PListNumber, ThatIsMissingIsMissing) {
    const PListNavigator list(info(Dict()));
    EXPECT_THROW(GetParam().leavesOutput(list.root() / "N", Required), PListItemMissingError);
    EXPECT_TRUE(GetParam().leavesOutput(list.root() / "N", Optional));
}

INSTANTIATE_TEST_SUITE_P(Of, PListNumber, testing::ValuesIn(kNumberCases),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(PListNumberValue, WithAFractionIsADoubleButNoInt) {
    const PListNavigator list(info(real(3.5)));
    int asInt = 0;
    double asDouble = 0;
    EXPECT_THROW(list.root().getValue(asInt, Required), PListConversionError);
    EXPECT_TRUE(list.root().getValue(asDouble, Required));
    EXPECT_EQ(asDouble, 3.5);
}

TEST(PListNumberValue, ThatIsWholeIsAnIntWhateverItsType) {
    const PListNavigator list(info(real(7.0)));
    int small = 0;
    long long large = 0;
    EXPECT_TRUE(list.root().getValue(small));
    EXPECT_TRUE(list.root().getLongLongValue(large));
    EXPECT_EQ(small, 7);
    EXPECT_EQ(large, 7);
}

TEST(PListNumberValue, IsRequiredByDefaultInTheNamedGetters) {
    const PListNavigator list(info(Dict()));
    const PListNode& none = list.root() / "N";
    int small = 0;
    long medium = 0;
    long long large = 0;
    EXPECT_THROW(none.getInt32Value(small), PListItemMissingError);
    EXPECT_THROW(none.getLongValue(medium), PListItemMissingError);
    EXPECT_THROW(none.getLongLongValue(large), PListItemMissingError);
    EXPECT_THROW(none.getInt64Value(large), PListItemMissingError);
}
