#include <KXCoreLib/PList.h>

#include "WrapperSamples.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

constexpr auto Optional = ItemKind::Optional;
constexpr auto Required = ItemKind::Required;

/// A dictionary in the making.
class Dict {
  public:
    Dict& set(const char* key, const TypeRef& value) {
        dictionary_.setValue(text(key).get(), value.get());
        return *this;
    }
    Dict& set(const char* key, const Dict& value) { return set(key, value.dictionary_); }
    const MutableDictionaryRef& ref() const { return dictionary_; }

  private:
    MutableDictionaryRef dictionary_ = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
};

template <class... Values>
ArrayRef arrayOf(const Values&... values) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    (array.appendValue(values.get()), ...);
    return array;
}

NumberRef real(double value) { return NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value); }

NumberRef integer(long long value) { return NumberRef::create(kCFAllocatorDefault, kCFNumberLongLongType, &value); }

PListAndInfo info(const TypeRef& list) { return {PropertyListRef::retain(list.get()), L"info"}; }
PListAndInfo info(const Dict& list) { return info(list.ref()); }

/// Where an error of the given class says it happened.
template <class Error, class Operation>
std::wstring locationOf(Operation operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error.getLocationInfo();
    } catch (const PListError& error) {
        ADD_FAILURE() << "another error: " << error.what();
    }
    return L"(no error)";
}

template <class Operation>
std::int32_t expectedTypeOf(Operation operation) {
    try {
        operation();
    } catch (const PListUnexpectedTypeError& error) {
        return error.getExpectedType();
    }
    return 0;
}

}  // namespace

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

TEST(PListNode, AStepThatLeadsNowhereIsNoError) {
    const PListNavigator list(info(Dict().set("A", text("x"))));
    EXPECT_FALSE((list.root() / "B").value());
    EXPECT_FALSE((list.root() / "A" / "B").value());
    EXPECT_FALSE((list.root() / "B" / "C" / "D").value());
    EXPECT_FALSE((list.root() / static_cast<CFStringRef>(nullptr)).value());
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
}

TEST(PListGetValue, RequiresByDefault) {
    const PListNavigator list(info(Dict()));
    CFTypeRef raw = nullptr;
    EXPECT_THROW((list.root() / "A").getValue(raw), PListItemMissingError);
}

TEST(PListGetValue, TakesEveryKindButTwoForOptional) {
    const PListNavigator list(info(Dict()));
    CFTypeRef raw = nullptr;
    for (int kind : {-1, 0, 1, 3, 100}) EXPECT_FALSE((list.root() / "A").getValue(raw, ItemKind(kind)));
    EXPECT_THROW((list.root() / "A").getValue(raw, ItemKind(2)), PListItemMissingError);
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
        typename Ref::RawType raw = nullptr;
        Ref wrapped;
        EXPECT_FALSE(node.getValue(raw, Optional)) << key;
        EXPECT_FALSE(node.getValue(wrapped, Optional)) << key;
        EXPECT_EQ(raw, nullptr);
        EXPECT_FALSE(wrapped);
        EXPECT_EQ(expectedTypeOf([&] { node.getValue(raw, Required); }), TypeParam::typeCode) << key;
        EXPECT_EQ(expectedTypeOf([&] { node.getValue(wrapped, Required); }), TypeParam::typeCode) << key;
        EXPECT_EQ(locationOf<PListUnexpectedTypeError>([&] { node.getValue(raw); }),
                  L"info [/" + std::wstring(key, key + std::string(key).size()) + L"]");
    }
}

TYPED_TEST(PListTypedValue, ThatIsMissingIsMissing) {
    using Ref = typename TypeParam::Ref;
    const PListNavigator list(info(oneOfEachType()));
    typename Ref::RawType raw = nullptr;
    Ref wrapped;
    EXPECT_FALSE((list.root() / "none").getValue(raw, Optional));
    EXPECT_FALSE((list.root() / "none").getValue(wrapped, Optional));
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
     .fits = [] { return real(7.0); },
     .getsIt = [](const PListNode& node) { return gets<long long, &PListNode::getLongLongValue>(node, 7); },
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
    EXPECT_FALSE(items.next().value());
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
static_assert(CanBeAskedFor<StringRef> && !CanBeAskedFor<MutableStringRef> && !CanBeAskedFor<TypeRef>);
static_assert(CanBeAskedFor<int> && !CanBeAskedFor<long> && !CanBeAskedFor<unsigned>);
static_assert(!CanBeAskedFor<int, int>);
static_assert(std::is_base_of_v<std::runtime_error, PListError>);
