// Every operation reaches its own function: what each of them does, on one example.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include "WrapperSamples.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <initializer_list>
#include <vector>

using namespace KXCore::CoreFoundation;

namespace {

/// An array of numbers.
MutableArrayRef numbers(std::initializer_list<int> values) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (int value : values) array.appendValue(number(value).get());
    return array;
}

std::vector<int> valuesOf(const ArrayRef& array) {
    std::vector<int> values;
    for (CFIndex i = 0; i < array.getCount(); ++i) values.push_back(intValue(array.getValueAtIndex(i)));
    return values;
}

CFComparisonResult compareNumbers(const void* a, const void* b, void*) {
    return CFNumberCompare(static_cast<CFNumberRef>(a), static_cast<CFNumberRef>(b), nullptr);
}

void addUp(const void* value, void* sum) { *static_cast<int*>(sum) += intValue(value); }

}  // namespace

// AllocatorRef

TEST(AllocatorRef, AllocatesThroughItsCallBacks) {
    std::array<int, 4> calls{};
    CFAllocatorContext context{};
    context.info = &calls;
    context.allocate = [](CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[0];
        return std::malloc(static_cast<std::size_t>(size));
    };
    context.reallocate = [](void* memory, CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[1];
        return std::realloc(memory, static_cast<std::size_t>(size));
    };
    context.deallocate = [](void* memory, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[2];
        std::free(memory);
    };
    context.preferredSize = [](CFIndex size, CFOptionFlags, void* info) {
        ++(*static_cast<std::array<int, 4>*>(info))[3];
        return size + 1;
    };
    const AllocatorRef allocator = AllocatorRef::create(kCFAllocatorSystemDefault, &context);
    void* memory = allocator.allocate(10, 0);
    memory = allocator.reallocate(memory, 20, 0);
    allocator.deallocate(memory);
    EXPECT_EQ(allocator.getPreferredSizeForSize(10, 0), 11);
    EXPECT_EQ(calls, (std::array<int, 4>{1, 1, 1, 1}));
    CFAllocatorContext got{};
    allocator.getContext(&got);
    EXPECT_EQ(got.info, &calls);
    EXPECT_EQ(got.allocate, context.allocate);
}

TEST(AllocatorRef, IsCreatedInTheMemoryOfAnother) {
    CFAllocatorContext context{};
    context.allocate = [](CFIndex size, CFOptionFlags, void*) { return std::malloc(static_cast<std::size_t>(size)); };
    context.deallocate = [](void* memory, void*) { std::free(memory); };
    const AllocatorRef outer = AllocatorRef::create(kCFAllocatorSystemDefault, &context);
    const AllocatorRef inner = outer.create(&context);
    EXPECT_EQ(CFGetAllocator(inner.get()), outer.get());
}

TEST(AllocatorRef, GetsAndSetsTheThreadsDefault) {
    const AllocatorRef before = AllocatorRef::getDefault();
    ASSERT_TRUE(before);
    AllocatorRef::retain(kCFAllocatorMalloc).setDefault();
    EXPECT_EQ(AllocatorRef::getDefault().get(), kCFAllocatorMalloc);
    before.setDefault();
    EXPECT_EQ(AllocatorRef::getDefault().get(), before.get());
}

// ArrayRef

TEST(ArrayRef, IsCreatedFromValuesAndCopied) {
    const NumberRef one = number(1000001);
    const void* values[] = {one.get(), one.get()};
    const ArrayRef array = ArrayRef::create(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(array.getCount(), 2);
    EXPECT_EQ(array.getValueAtIndex(1), one.get());
    EXPECT_EQ(ArrayRef::createCopy(kCFAllocatorDefault, array.get()), array);
    MutableArrayRef copy = ArrayRef::createMutableCopy(kCFAllocatorDefault, 0, array.get());
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
    EXPECT_EQ(array.getCount(), 2);
}

TEST(ArrayRef, ReadsItsValues) {
    const ArrayRef array = numbers({5, 6, 7, 6});
    const CFRange all{0, 4};
    const NumberRef six = number(6);
    EXPECT_EQ(array.getCountOfValue(all, six.get()), 2);
    EXPECT_TRUE(array.containsValue(all, six.get()));
    EXPECT_FALSE(array.containsValue(CFRangeMake(2, 1), six.get()));
    EXPECT_EQ(array.getFirstIndexOfValue(all, six.get()), 1);
    EXPECT_EQ(array.getLastIndexOfValue(all, six.get()), 3);
    EXPECT_EQ(array.getFirstIndexOfValue(all, number(9).get()), kCFNotFound);
    const void* values[2] = {};
    array.getValues(CFRangeMake(1, 2), values);
    EXPECT_EQ(intValue(values[0]), 6);
    EXPECT_EQ(intValue(values[1]), 7);
    int sum = 0;
    array.applyFunction(CFRangeMake(0, 3), addUp, &sum);
    EXPECT_EQ(sum, 18);
    EXPECT_EQ(ArrayRef(numbers({1, 3, 5})).bSearchValues(CFRangeMake(0, 3), number(5).get(), compareNumbers, nullptr),
              2);
}

TEST(ArrayRef, GivesBorrowedValues) {
    const DataRef data = sample<DataRef>();
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    array.appendValue(data.get());
    EXPECT_EQ(CFGetRetainCount(array.getValueAtIndex(0)), 2);
}

TEST(MutableArrayRef, ChangesItsValues) {
    MutableArrayRef array = numbers({1, 2, 3});
    array.insertValueAtIndex(0, number(0).get());
    array.setValueAtIndex(3, number(4).get());
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 1, 2, 4}));
    array.removeValueAtIndex(1);
    array.exchangeValuesAtIndices(0, 2);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{4, 2, 0}));
    array.sortValues(CFRangeMake(0, 3), compareNumbers, nullptr);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 2, 4}));
    array.appendArray(numbers({7, 8, 9}).get(), CFRangeMake(1, 2));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 2, 4, 8, 9}));
    const NumberRef five = number(5);
    const void* values[] = {five.get()};
    array.replaceValues(CFRangeMake(1, 3), values, 1);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 5, 9}));
}

// BooleanRef, NumberRef, DateRef

TEST(BooleanRef, TellsItsTruth) {
    EXPECT_TRUE(BooleanRef::retain(kCFBooleanTrue).getValue());
    EXPECT_FALSE(BooleanRef::retain(kCFBooleanFalse).getValue());
}

TEST(NumberRef, TellsItsValueAndType) {
    const double value = 2.5;
    const NumberRef real = NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value);
    EXPECT_TRUE(real.isFloatType());
    EXPECT_EQ(real.getByteSize(), 8);
    double got = 0;
    EXPECT_TRUE(real.getValue(kCFNumberDoubleType, &got));
    EXPECT_EQ(got, 2.5);
    int lossy = 0;
    EXPECT_FALSE(real.getValue(kCFNumberIntType, &lossy));
    EXPECT_FALSE(number(3).isFloatType());
    EXPECT_EQ(number(3).getType(), kCFNumberSInt32Type);
    EXPECT_EQ(real.compare(number(3).get(), nullptr), kCFCompareLessThan);
    EXPECT_EQ(number(3).compare(real.get(), nullptr), kCFCompareGreaterThan);
}

TEST(DateRef, TellsItsTime) {
    const DateRef early = DateRef::create(kCFAllocatorDefault, 100.5);
    const DateRef late = DateRef::create(kCFAllocatorDefault, 200.0);
    EXPECT_EQ(early.getAbsoluteTime(), 100.5);
    EXPECT_EQ(late.getTimeIntervalSinceDate(early.get()), 99.5);
    EXPECT_EQ(early.compare(late.get(), nullptr), kCFCompareLessThan);
    EXPECT_GT(DateRef::absoluteTimeGetCurrent(), 700000000.0) << "the clock stands before 2023";
}

TEST(DateRef, CountsTheCalendar) {
    // 2001-01-01 was a Monday.
    const CFGregorianDate date{2001, 1, 31, 12, 30, 0};
    EXPECT_TRUE(DateRef::gregorianDateIsValid(date, kCFGregorianAllUnits));
    EXPECT_FALSE(DateRef::gregorianDateIsValid({2001, 2, 31, 0, 0, 0}, kCFGregorianAllUnits));
    const CFAbsoluteTime at = DateRef::gregorianDateGetAbsoluteTime(date, nullptr);
    EXPECT_EQ(at, 30 * 86400.0 + 12.5 * 3600);
    const CFGregorianDate back = DateRef::absoluteTimeGetGregorianDate(at, nullptr);
    EXPECT_EQ(back.day, 31);
    EXPECT_EQ(back.hour, 12);
    EXPECT_EQ(back.minute, 30);
    const CFAbsoluteTime later = DateRef::absoluteTimeAddGregorianUnits(at, nullptr, {0, 0, 2, 0, 0, 0});
    EXPECT_EQ(later, at + 2 * 86400);
    EXPECT_EQ(DateRef::absoluteTimeGetDifferenceAsGregorianUnits(later, at, nullptr, kCFGregorianUnitsDays).days, 2);
    EXPECT_EQ(DateRef::absoluteTimeGetDayOfWeek(0, nullptr), 1);
    EXPECT_EQ(DateRef::absoluteTimeGetDayOfYear(at, nullptr), 31);
    EXPECT_EQ(DateRef::absoluteTimeGetWeekOfYear(0, nullptr), 1);
}

// DataRef

TEST(DataRef, GivesItsBytes) {
    const UInt8 bytes[] = {10, 20, 30};
    const DataRef data = DataRef::create(kCFAllocatorDefault, bytes, 3);
    EXPECT_EQ(data.getLength(), 3);
    EXPECT_EQ(data.getBytePtr()[2], 30);
    UInt8 got[2] = {};
    data.getBytes(CFRangeMake(1, 2), got);
    EXPECT_EQ(got[0], 20);
    EXPECT_EQ(got[1], 30);
    EXPECT_TRUE(
        isRange(data.find(DataRef::create(kCFAllocatorDefault, bytes + 1, 1).get(), CFRangeMake(0, 3), 0), 1, 1));
    EXPECT_EQ(DataRef::createCopy(kCFAllocatorDefault, data.get()), data);
    EXPECT_EQ(DataRef::createWithBytesNoCopy(kCFAllocatorDefault, bytes, 3, kCFAllocatorNull).getBytePtr(), bytes);
}

TEST(DataRef, IsMadeOfAStdVectorAndCopiedToOne) {
    const std::vector<unsigned char> bytes{0, 1, 255};
    const DataRef data = DataRef::createWithStdVector(kCFAllocatorDefault, bytes);
    EXPECT_EQ(data.copyStdVector(), bytes);
    std::vector<unsigned char> out(10, 9);
    data.copyStdVector(out);
    EXPECT_EQ(out, bytes);
}

TEST(DataRef, IsMadeOfAnEmptyStdVectorAndCopiedToOne) {
    const DataRef data = DataRef::createWithStdVector(kCFAllocatorDefault, {});
    EXPECT_EQ(data.getLength(), 0);
    std::vector<unsigned char> out(10, 9);
    data.copyStdVector(out);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(data.copyStdVector().empty());
}

TEST(MutableDataRef, ChangesItsBytes) {
    MutableDataRef data = DataRef::createMutable(kCFAllocatorDefault, 0);
    const UInt8 bytes[] = {1, 2, 3, 4};
    data.appendBytes(bytes, 4);
    data.getMutableBytePtr()[0] = 9;
    data.deleteBytes(CFRangeMake(1, 1));
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{9, 3, 4}));
    data.replaceBytes(CFRangeMake(0, 1), bytes, 2);
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{1, 2, 3, 4}));
    data.setLength(2);
    data.increaseLength(1);
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{1, 2, 0}));
    EXPECT_EQ(DataRef::createMutableCopy(kCFAllocatorDefault, 0, data.get()), data);
}

// DictionaryRef

TEST(DictionaryRef, WithoutCallBacksHoldsObjects) {
    const StringRef key = sample<StringRef>();
    const DataRef value = sample<DataRef>();
    const void* keys[] = {key.get()};
    const void* values[] = {value.get()};
    const DictionaryRef dictionary = DictionaryRef::create(kCFAllocatorDefault, keys, values, 1);
    EXPECT_EQ(CFGetRetainCount(value.get()), 2);
    EXPECT_EQ(dictionary.getValue(sample<StringRef>().get()), value.get()) << "keys go by equality";
    MutableDictionaryRef other = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    other.setValue(key.get(), value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 3);
    EXPECT_EQ(other, dictionary);
}

TEST(DictionaryRef, WithNullCallBacksHoldsPointers) {
    const DataRef value = sample<DataRef>();
    const void* keys[] = {"key"};
    const void* values[] = {value.get()};
    const DictionaryRef dictionary = DictionaryRef::create(kCFAllocatorDefault, keys, values, 1, nullptr, nullptr);
    EXPECT_EQ(dictionary.getValue(keys[0]), value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 1);
    MutableDictionaryRef other = DictionaryRef::createMutable(kCFAllocatorDefault, 0, nullptr, nullptr);
    other.setValue(keys[0], value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 1);
}

TEST(DictionaryRef, ReadsItsEntries) {
    MutableDictionaryRef made = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    made.setValue(text("a").get(), number(1).get());
    made.setValue(text("b").get(), number(2).get());
    const DictionaryRef dictionary = DictionaryRef::createCopy(kCFAllocatorDefault, made.get());
    EXPECT_EQ(dictionary.getCount(), 2);
    EXPECT_EQ(dictionary.getCountOfKey(text("a").get()), 1);
    EXPECT_EQ(dictionary.getCountOfValue(number(2).get()), 1);
    EXPECT_TRUE(dictionary.containsKey(text("b").get()));
    EXPECT_FALSE(dictionary.containsKey(text("c").get()));
    EXPECT_TRUE(dictionary.containsValue(number(1).get()));
    EXPECT_EQ(dictionary.getValue(text("c").get()), nullptr);
    const void* value = nullptr;
    EXPECT_TRUE(dictionary.getValueIfPresent(text("b").get(), &value));
    EXPECT_EQ(intValue(value), 2);
    const void* keys[2] = {};
    const void* values[2] = {};
    dictionary.getKeysAndValues(keys, values);
    EXPECT_EQ(dictionary.getValue(keys[0]), values[0]);
    EXPECT_EQ(intValue(values[0]) + intValue(values[1]), 3);
    int sum = 0;
    dictionary.applyFunction([](const void*, const void* entry, void* context) { addUp(entry, context); }, &sum);
    EXPECT_EQ(sum, 3);
}

TEST(MutableDictionaryRef, ChangesItsEntries) {
    MutableDictionaryRef dictionary = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    const StringRef a = text("a");
    const auto value = [&] { return intValue(dictionary.getValue(a.get())); };
    dictionary.replaceValue(a.get(), number(1).get());
    EXPECT_EQ(dictionary.getCount(), 0);
    dictionary.addValue(a.get(), number(2).get());
    dictionary.addValue(a.get(), number(3).get());
    EXPECT_EQ(value(), 2);
    dictionary.setValue(a.get(), number(4).get());
    EXPECT_EQ(value(), 4);
    dictionary.replaceValue(a.get(), number(5).get());
    EXPECT_EQ(value(), 5);
    MutableDictionaryRef copy = DictionaryRef::createMutableCopy(kCFAllocatorDefault, 0, dictionary.get());
    dictionary.removeValue(a.get());
    EXPECT_EQ(dictionary.getCount(), 0);
    EXPECT_EQ(copy.getCount(), 1);
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
}

// ErrorRef

TEST(ErrorRef, TellsWhatWentWrong) {
    const StringRef why = text("the disk is full");
    const StringRef how = text("delete something");
    const StringRef what = text("nothing was saved");
    const void* keys[] = {kCFErrorLocalizedDescriptionKey, kCFErrorLocalizedFailureReasonKey,
                          kCFErrorLocalizedRecoverySuggestionKey};
    const void* values[] = {what.get(), why.get(), how.get()};
    const ErrorRef error =
        ErrorRef::createWithUserInfoKeysAndValues(kCFAllocatorDefault, kCFErrorDomainPOSIX, 28, keys, values, 3);
    EXPECT_EQ(error.getDomain().get(), kCFErrorDomainPOSIX);
    EXPECT_EQ(error.getCode(), 28);
    EXPECT_EQ(error.copyDescription(), what);
    EXPECT_EQ(error.copyFailureReason(), why);
    EXPECT_EQ(error.copyRecoverySuggestion(), how);
    const DictionaryRef userInfo = error.copyUserInfo();
    EXPECT_EQ(userInfo.getCount(), 3);
    const ErrorRef same = ErrorRef::create(kCFAllocatorDefault, kCFErrorDomainPOSIX, 28, userInfo.get());
    EXPECT_EQ(same.copyDescription(), what);
}

TEST(ErrorRef, OfAGetterRetainsWhatItBorrowed) {
    const StringRef domain = text("a domain of our own");
    const ErrorRef error = ErrorRef::create(kCFAllocatorDefault, domain.get(), 1, nullptr);
    const CFIndex count = CFGetRetainCount(error.getDomain().get());
    const StringRef held = error.getDomain();
    EXPECT_EQ(CFGetRetainCount(held.get()), count);
    EXPECT_EQ(held, domain);
}

// PropertyListRef

TEST(PropertyListRef, IsWrittenAndRead) {
    MutableDictionaryRef dictionary = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    dictionary.setValue(text("Größe").get(), number(7).get());
    for (const CFPropertyListFormat written : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const DataRef data = PropertyListRef::createData(kCFAllocatorDefault, dictionary.get(), written, 0);
        CFPropertyListFormat read{};
        const PropertyListRef list =
            PropertyListRef::createWithData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, &read);
        EXPECT_EQ(list, dictionary);
        EXPECT_EQ(read, written);
        EXPECT_EQ(CFGetRetainCount(list.get()), 1);
    }
}

TEST(PropertyListRef, IsWrittenAndReadByTheOlderOperations) {
    const ArrayRef array = numbers({1, 2});
    const DataRef data = PropertyListRef::createXMLData(kCFAllocatorDefault, array.get());
    EXPECT_EQ(PropertyListRef::createFromXMLData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable), array);
}

TEST(PropertyListRef, IsCopiedDeeply) {
    MutableArrayRef inner = numbers({1});
    MutableArrayRef outer = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    outer.appendValue(inner.get());
    const PropertyListRef copy =
        PropertyListRef::createDeepCopy(kCFAllocatorDefault, outer.get(), kCFPropertyListMutableContainers);
    inner.removeAllValues();
    ArrayRef array;
    array.assign(copy.get());
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(array.getValueAtIndex(0))), 1);
}

TEST(PropertyListRef, TellsWhetherItCanBeWritten) {
    EXPECT_TRUE(PropertyListRef::retain(text("x").get()).isValid(kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(PropertyListRef::retain(kCFNull).isValid(kCFPropertyListXMLFormat_v1_0));
}

// SetRef

TEST(SetRef, ReadsItsValues) {
    const StringRef a = sample<StringRef>();
    const void* values[] = {a.get()};
    const SetRef set = SetRef::create(kCFAllocatorDefault, values, 1, &kCFTypeSetCallBacks);
    const StringRef equal = sample<StringRef>();
    EXPECT_EQ(set.getCount(), 1);
    EXPECT_EQ(set.getCountOfValue(equal.get()), 1);
    EXPECT_TRUE(set.containsValue(equal.get()));
    EXPECT_EQ(set.getValue(equal.get()), a.get());
    const void* value = nullptr;
    EXPECT_TRUE(set.getValueIfPresent(equal.get(), &value));
    EXPECT_EQ(value, a.get());
    const void* all[1] = {};
    set.getValues(all);
    EXPECT_EQ(all[0], a.get());
    EXPECT_EQ(SetRef::createCopy(kCFAllocatorDefault, set.get()), set);
    int calls = 0;
    set.applyFunction([](const void*, void* context) { ++*static_cast<int*>(context); }, &calls);
    EXPECT_EQ(calls, 1);
}

TEST(MutableSetRef, ChangesItsValues) {
    MutableSetRef set = SetRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks);
    const StringRef first = sample<StringRef>();
    const StringRef second = sample<StringRef>();
    set.replaceValue(first.get());
    EXPECT_EQ(set.getCount(), 0);
    set.addValue(first.get());
    set.addValue(second.get());
    EXPECT_EQ(set.getValue(second.get()), first.get());
    set.replaceValue(second.get());
    EXPECT_EQ(set.getValue(second.get()), second.get());
    set.setValue(first.get());
    EXPECT_EQ(set.getValue(second.get()), first.get());
    MutableSetRef copy = SetRef::createMutableCopy(kCFAllocatorDefault, 0, set.get());
    set.removeValue(second.get());
    EXPECT_EQ(set.getCount(), 0);
    EXPECT_EQ(copy.getCount(), 1);
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
}

// UUIDRef

TEST(UUIDRef, IsMadeOfATextAndOfBytes) {
    const UUIDRef uuid =
        UUIDRef::createFromString(kCFAllocatorDefault, text("68753A44-4D6F-1226-9C60-0050E4C00067").get());
    const CFUUIDBytes bytes = uuid.getUUIDBytes();
    EXPECT_EQ(bytes.byte0, 0x68);
    EXPECT_EQ(bytes.byte15, 0x67);
    EXPECT_EQ(UUIDRef::createFromUUIDBytes(kCFAllocatorDefault, bytes), uuid);
    EXPECT_EQ(UUIDRef::createString(kCFAllocatorDefault, uuid.get()), text("68753A44-4D6F-1226-9C60-0050E4C00067"));
    EXPECT_EQ(UUIDRef::createWithBytes(kCFAllocatorDefault, 0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26, 0x9C, 0x60,
                                       0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67),
              uuid);
    EXPECT_EQ(UUIDRef::getConstantUUIDWithBytes(kCFAllocatorDefault, 0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26,
                                                0x9C, 0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67),
              uuid);
    EXPECT_NE(UUIDRef::create(kCFAllocatorDefault), UUIDRef::create(kCFAllocatorDefault));
}

// What creates from an object of the class does so from the held one too.

template <class Ref>
class CopiedByItself : public testing::Test {};
using CopiedClasses = testing::Types<ArrayRef, DataRef, DictionaryRef, SetRef, StringRef>;
TYPED_TEST_SUITE(CopiedByItself, CopiedClasses);

TYPED_TEST(CopiedByItself, IsEqualToWhatItIsACopyOf) {
    const TypeParam object = sample<TypeParam>();
    EXPECT_EQ(object.createCopy(kCFAllocatorDefault), object);
    EXPECT_EQ(object.createMutableCopy(kCFAllocatorDefault, 0), object);
    EXPECT_NE(object.createMutableCopy(kCFAllocatorDefault, 0).get(), object.get());
    EXPECT_EQ(CFGetRetainCount(object.get()), 1);
}

TEST(StringRef, MakesOtherThingsOfItself) {
    const StringRef string = text("a,ü");
    EXPECT_EQ(string.createWithSubstring(nullptr, CFRangeMake(2, 1)), text("ü"));
    EXPECT_EQ(string.createExternalRepresentation(nullptr, kCFStringEncodingUTF8, 0).getLength(), 4);
    EXPECT_EQ(string.createArrayBySeparatingStrings(nullptr, text(",").get()).getCount(), 2);
    EXPECT_EQ(string.createArrayWithFindResults(nullptr, text("ü").get(), CFRangeMake(0, 3), 0).getCount(), 1);
}

TEST(UUIDRef, MakesATextOfItself) {
    const StringRef string = text("68753A44-4D6F-1226-9C60-0050E4C00067");
    EXPECT_EQ(UUIDRef::createFromString(nullptr, string.get()).createString(nullptr), string);
}

TEST(PropertyListRef, IsWrittenAndCopiedByItself) {
    const PropertyListRef list = PropertyListRef::retain(numbers({1, 2}).get());
    const DataRef xml = list.createXMLData(nullptr);
    EXPECT_EQ(PropertyListRef::createFromXMLData(nullptr, xml.get(), kCFPropertyListImmutable), list);
    EXPECT_EQ(list.createData(nullptr, kCFPropertyListXMLFormat_v1_0, 0), xml);
    EXPECT_EQ(list.createDeepCopy(nullptr, kCFPropertyListMutableContainers), list);
    EXPECT_NE(list.createDeepCopy(nullptr, kCFPropertyListMutableContainers).get(), list.get());
    ErrorRef error;
    EXPECT_FALSE(PropertyListRef::retain(kCFNull).createData(nullptr, kCFPropertyListXMLFormat_v1_0, 0, &error));
    EXPECT_TRUE(error);
}
