// Every function of the platform's types is an operation of their wrappers, with the same arguments: checked by the
// compiler, signature against signature. That none is left out, Tests/EveryFunctionHasAnOperation.cmake checks.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <type_traits>

namespace KXCore::CoreFoundation {
namespace {

/// A result as a caller of the wrapper sees it: the same, or the wrapper of the raw type.
template <class Offered, class Raw>
constexpr bool sameResult = std::is_same_v<Offered, Raw>;
template <Wrapper Offered, class Raw>
constexpr bool sameResult<Offered, Raw> = std::is_same_v<typename Offered::RawType, Raw>;

/// An argument: the same, or a holder for what the platform writes through it.
template <class Offered, class Raw>
constexpr bool sameArgument = std::is_same_v<Offered, Raw>;
template <Wrapper Holder, class Raw>
constexpr bool sameArgument<Holder*, Raw*> = std::is_same_v<typename Holder::RawType, Raw>;

template <class... Arguments>
struct List {};

template <class Offered, class Raw>
constexpr bool sameArguments = false;
template <class... Offered, class... Raw>
requires(sizeof...(Offered) ==
         sizeof...(Raw)) constexpr bool sameArguments<List<Offered...>, List<Raw...>> = (sameArgument<Offered, Raw> &&
                                                                                         ...);

/// Whether an operation is how its function is to be offered: static with the whole list of arguments, or a member of
/// the class whose object is the first of them.
template <class Operation, class Function>
constexpr bool forwards = false;

template <class R, class... A, class FR, class... FA>
constexpr bool forwards<R (*)(A...), FR (*)(FA...)> = sameResult<R, FR>&& sameArguments<List<A...>, List<FA...>>;

template <class R, class C, class... A, class FR, class... FA>
constexpr bool forwards<R (C::*)(A...) const, FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<typename C::RawType, A...>, List<FA...>>;
template <class R, class C, class... A, class FR, class... FA>
constexpr bool forwards<R (C::*)(A...), FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<typename C::RawType, A...>, List<FA...>>;

// Of an operation that has both forms, the one or the other.
template <class R, class... A>
constexpr auto staticForm(R (*form)(A...)) {
    return form;
}
template <class R, class C, class... A>
constexpr auto memberForm(R (C::*form)(A...) const) {
    return form;
}

/// The arguments without the first that is an `Object`.
template <class Object, class Before, class After>
struct Without;
template <class Object, class... Before, class... After>
struct Without<Object, List<Before...>, List<Object, After...>> {
    using Type = List<Before..., After...>;
};
template <class Object, class... Before, class First, class... After>
struct Without<Object, List<Before...>, List<First, After...>>
    : Without<Object, List<Before..., First>, List<After...>> {};

/// Whether a member creates from its object what the function creates from an object among its arguments.
template <class Operation, class Function>
constexpr bool forwardsItself = false;
template <class R, class C, class... A, class FR, class... FA>
constexpr bool forwardsItself<R (C::*)(A...) const, FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<A...>, typename Without<typename C::RawType, List<>, List<FA...>>::Type>;

// The check itself tells apart what it must.
static_assert(!forwards<CFIndex (*)(), decltype(&CFArrayGetCount)>);
static_assert(!forwards<CFIndex (DataRef::*)() const, decltype(&CFArrayGetCount)>);
static_assert(!forwards<DataRef (*)(CFAllocatorRef), decltype(&CFUUIDCreate)>);
static_assert(!forwards<void (MutableArrayRef::*)(CFIndex), decltype(&CFArrayAppendValue)>);
static_assert(!forwardsItself<ArrayRef (ArrayRef::*)() const, decltype(&CFArrayCreateCopy)>);
static_assert(!forwardsItself<DataRef (ArrayRef::*)(CFAllocatorRef) const, decltype(&CFArrayCreateCopy)>);

// What has two forms.
static_assert(forwards<decltype(staticForm(&AllocatorRef::create)), decltype(&CFAllocatorCreate)>);
static_assert(forwardsItself<decltype(memberForm(&AllocatorRef::create)), decltype(&CFAllocatorCreate)>);
static_assert(
    forwards<decltype(static_cast<DictionaryRef (*)(CFAllocatorRef, const void**, const void**, CFIndex,
                                                    const CFDictionaryKeyCallBacks*,
                                                    const CFDictionaryValueCallBacks*)>(&DictionaryRef::create)),
             decltype(&CFDictionaryCreate)>);
static_assert(
    forwards<decltype(static_cast<MutableDictionaryRef (*)(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks*,
                                                           const CFDictionaryValueCallBacks*)>(
                 &DictionaryRef::createMutable)),
             decltype(&CFDictionaryCreateMutable)>);
static_assert(std::is_same_v<decltype(DictionaryRef::create(nullptr, nullptr, nullptr, 0)), DictionaryRef>);
static_assert(std::is_same_v<decltype(DictionaryRef::createMutable(nullptr, 0)), MutableDictionaryRef>);

// <CoreFoundation/CFBase.h>
static_assert(forwards<decltype(&NullRef::getTypeID), decltype(&CFNullGetTypeID)>);
static_assert(forwards<decltype(&AllocatorRef::getTypeID), decltype(&CFAllocatorGetTypeID)>);
static_assert(forwards<decltype(&AllocatorRef::setDefault), decltype(&CFAllocatorSetDefault)>);
static_assert(forwards<decltype(&AllocatorRef::getDefault), decltype(&CFAllocatorGetDefault)>);
static_assert(forwards<decltype(&AllocatorRef::allocate), decltype(&CFAllocatorAllocate)>);
static_assert(forwards<decltype(&AllocatorRef::reallocate), decltype(&CFAllocatorReallocate)>);
static_assert(forwards<decltype(&AllocatorRef::deallocate), decltype(&CFAllocatorDeallocate)>);
static_assert(
    forwards<decltype(&AllocatorRef::getPreferredSizeForSize), decltype(&CFAllocatorGetPreferredSizeForSize)>);
static_assert(forwards<decltype(&AllocatorRef::getContext), decltype(&CFAllocatorGetContext)>);

// <CoreFoundation/CFArray.h>
static_assert(forwards<decltype(&ArrayRef::getTypeID), decltype(&CFArrayGetTypeID)>);
static_assert(forwards<decltype(&ArrayRef::create), decltype(&CFArrayCreate)>);
static_assert(forwards<decltype(staticForm(&ArrayRef::createCopy)), decltype(&CFArrayCreateCopy)>);
static_assert(forwardsItself<decltype(memberForm(&ArrayRef::createCopy)), decltype(&CFArrayCreateCopy)>);
static_assert(forwards<decltype(&ArrayRef::createMutable), decltype(&CFArrayCreateMutable)>);
static_assert(forwards<decltype(staticForm(&ArrayRef::createMutableCopy)), decltype(&CFArrayCreateMutableCopy)>);
static_assert(forwardsItself<decltype(memberForm(&ArrayRef::createMutableCopy)), decltype(&CFArrayCreateMutableCopy)>);
static_assert(forwards<decltype(&ArrayRef::getCount), decltype(&CFArrayGetCount)>);
static_assert(forwards<decltype(&ArrayRef::getCountOfValue), decltype(&CFArrayGetCountOfValue)>);
static_assert(forwards<decltype(&ArrayRef::containsValue), decltype(&CFArrayContainsValue)>);
static_assert(forwards<decltype(&ArrayRef::getValueAtIndex), decltype(&CFArrayGetValueAtIndex)>);
static_assert(forwards<decltype(&ArrayRef::getValues), decltype(&CFArrayGetValues)>);
static_assert(forwards<decltype(&ArrayRef::applyFunction), decltype(&CFArrayApplyFunction)>);
static_assert(forwards<decltype(&ArrayRef::getFirstIndexOfValue), decltype(&CFArrayGetFirstIndexOfValue)>);
static_assert(forwards<decltype(&ArrayRef::getLastIndexOfValue), decltype(&CFArrayGetLastIndexOfValue)>);
static_assert(forwards<decltype(&ArrayRef::bSearchValues), decltype(&CFArrayBSearchValues)>);
static_assert(forwards<decltype(&MutableArrayRef::appendValue), decltype(&CFArrayAppendValue)>);
static_assert(forwards<decltype(&MutableArrayRef::insertValueAtIndex), decltype(&CFArrayInsertValueAtIndex)>);
static_assert(forwards<decltype(&MutableArrayRef::setValueAtIndex), decltype(&CFArraySetValueAtIndex)>);
static_assert(forwards<decltype(&MutableArrayRef::removeValueAtIndex), decltype(&CFArrayRemoveValueAtIndex)>);
static_assert(forwards<decltype(&MutableArrayRef::removeAllValues), decltype(&CFArrayRemoveAllValues)>);
static_assert(forwards<decltype(&MutableArrayRef::replaceValues), decltype(&CFArrayReplaceValues)>);
static_assert(forwards<decltype(&MutableArrayRef::exchangeValuesAtIndices), decltype(&CFArrayExchangeValuesAtIndices)>);
static_assert(forwards<decltype(&MutableArrayRef::sortValues), decltype(&CFArraySortValues)>);
static_assert(forwards<decltype(&MutableArrayRef::appendArray), decltype(&CFArrayAppendArray)>);

// <CoreFoundation/CFNumber.h>
static_assert(forwards<decltype(&BooleanRef::getTypeID), decltype(&CFBooleanGetTypeID)>);
static_assert(forwards<decltype(&BooleanRef::getValue), decltype(&CFBooleanGetValue)>);
static_assert(forwards<decltype(&NumberRef::getTypeID), decltype(&CFNumberGetTypeID)>);
static_assert(forwards<decltype(&NumberRef::create), decltype(&CFNumberCreate)>);
static_assert(forwards<decltype(&NumberRef::getType), decltype(&CFNumberGetType)>);
static_assert(forwards<decltype(&NumberRef::getByteSize), decltype(&CFNumberGetByteSize)>);
static_assert(forwards<decltype(&NumberRef::isFloatType), decltype(&CFNumberIsFloatType)>);
static_assert(forwards<decltype(&NumberRef::getValue), decltype(&CFNumberGetValue)>);
static_assert(forwards<decltype(&NumberRef::compare), decltype(&CFNumberCompare)>);

// <CoreFoundation/CFData.h>
static_assert(forwards<decltype(&DataRef::getTypeID), decltype(&CFDataGetTypeID)>);
static_assert(forwards<decltype(&DataRef::create), decltype(&CFDataCreate)>);
static_assert(forwards<decltype(&DataRef::createWithBytesNoCopy), decltype(&CFDataCreateWithBytesNoCopy)>);
static_assert(forwards<decltype(staticForm(&DataRef::createCopy)), decltype(&CFDataCreateCopy)>);
static_assert(forwardsItself<decltype(memberForm(&DataRef::createCopy)), decltype(&CFDataCreateCopy)>);
static_assert(forwards<decltype(&DataRef::createMutable), decltype(&CFDataCreateMutable)>);
static_assert(forwards<decltype(staticForm(&DataRef::createMutableCopy)), decltype(&CFDataCreateMutableCopy)>);
static_assert(forwardsItself<decltype(memberForm(&DataRef::createMutableCopy)), decltype(&CFDataCreateMutableCopy)>);
static_assert(forwards<decltype(&DataRef::getLength), decltype(&CFDataGetLength)>);
static_assert(forwards<decltype(&DataRef::getBytePtr), decltype(&CFDataGetBytePtr)>);
static_assert(forwards<decltype(&MutableDataRef::getMutableBytePtr), decltype(&CFDataGetMutableBytePtr)>);
static_assert(forwards<decltype(&DataRef::getBytes), decltype(&CFDataGetBytes)>);
static_assert(forwards<decltype(&MutableDataRef::setLength), decltype(&CFDataSetLength)>);
static_assert(forwards<decltype(&MutableDataRef::increaseLength), decltype(&CFDataIncreaseLength)>);
static_assert(forwards<decltype(&MutableDataRef::appendBytes), decltype(&CFDataAppendBytes)>);
static_assert(forwards<decltype(&MutableDataRef::replaceBytes), decltype(&CFDataReplaceBytes)>);
static_assert(forwards<decltype(&MutableDataRef::deleteBytes), decltype(&CFDataDeleteBytes)>);
static_assert(forwards<decltype(&DataRef::find), decltype(&CFDataFind)>);

// <CoreFoundation/CFDate.h>
static_assert(forwards<decltype(&DateRef::absoluteTimeGetCurrent), decltype(&CFAbsoluteTimeGetCurrent)>);
static_assert(forwards<decltype(&DateRef::getTypeID), decltype(&CFDateGetTypeID)>);
static_assert(forwards<decltype(&DateRef::create), decltype(&CFDateCreate)>);
static_assert(forwards<decltype(&DateRef::getAbsoluteTime), decltype(&CFDateGetAbsoluteTime)>);
static_assert(forwards<decltype(&DateRef::getTimeIntervalSinceDate), decltype(&CFDateGetTimeIntervalSinceDate)>);
static_assert(forwards<decltype(&DateRef::compare), decltype(&CFDateCompare)>);
static_assert(forwards<decltype(&DateRef::gregorianDateIsValid), decltype(&CFGregorianDateIsValid)>);
static_assert(forwards<decltype(&DateRef::gregorianDateGetAbsoluteTime), decltype(&CFGregorianDateGetAbsoluteTime)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeGetGregorianDate), decltype(&CFAbsoluteTimeGetGregorianDate)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeAddGregorianUnits), decltype(&CFAbsoluteTimeAddGregorianUnits)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeGetDifferenceAsGregorianUnits),
                       decltype(&CFAbsoluteTimeGetDifferenceAsGregorianUnits)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeGetDayOfWeek), decltype(&CFAbsoluteTimeGetDayOfWeek)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeGetDayOfYear), decltype(&CFAbsoluteTimeGetDayOfYear)>);
static_assert(forwards<decltype(&DateRef::absoluteTimeGetWeekOfYear), decltype(&CFAbsoluteTimeGetWeekOfYear)>);

// <CoreFoundation/CFDictionary.h>
static_assert(forwards<decltype(&DictionaryRef::getTypeID), decltype(&CFDictionaryGetTypeID)>);
static_assert(forwards<decltype(staticForm(&DictionaryRef::createCopy)), decltype(&CFDictionaryCreateCopy)>);
static_assert(forwardsItself<decltype(memberForm(&DictionaryRef::createCopy)), decltype(&CFDictionaryCreateCopy)>);
static_assert(
    forwards<decltype(staticForm(&DictionaryRef::createMutableCopy)), decltype(&CFDictionaryCreateMutableCopy)>);
static_assert(
    forwardsItself<decltype(memberForm(&DictionaryRef::createMutableCopy)), decltype(&CFDictionaryCreateMutableCopy)>);
static_assert(forwards<decltype(&DictionaryRef::getCount), decltype(&CFDictionaryGetCount)>);
static_assert(forwards<decltype(&DictionaryRef::getCountOfKey), decltype(&CFDictionaryGetCountOfKey)>);
static_assert(forwards<decltype(&DictionaryRef::getCountOfValue), decltype(&CFDictionaryGetCountOfValue)>);
static_assert(forwards<decltype(&DictionaryRef::containsKey), decltype(&CFDictionaryContainsKey)>);
static_assert(forwards<decltype(&DictionaryRef::containsValue), decltype(&CFDictionaryContainsValue)>);
static_assert(forwards<decltype(&DictionaryRef::getValue), decltype(&CFDictionaryGetValue)>);
static_assert(forwards<decltype(&DictionaryRef::getValueIfPresent), decltype(&CFDictionaryGetValueIfPresent)>);
static_assert(forwards<decltype(&DictionaryRef::getKeysAndValues), decltype(&CFDictionaryGetKeysAndValues)>);
static_assert(forwards<decltype(&DictionaryRef::applyFunction), decltype(&CFDictionaryApplyFunction)>);
static_assert(forwards<decltype(&MutableDictionaryRef::addValue), decltype(&CFDictionaryAddValue)>);
static_assert(forwards<decltype(&MutableDictionaryRef::setValue), decltype(&CFDictionarySetValue)>);
static_assert(forwards<decltype(&MutableDictionaryRef::replaceValue), decltype(&CFDictionaryReplaceValue)>);
static_assert(forwards<decltype(&MutableDictionaryRef::removeValue), decltype(&CFDictionaryRemoveValue)>);
static_assert(forwards<decltype(&MutableDictionaryRef::removeAllValues), decltype(&CFDictionaryRemoveAllValues)>);

// <CoreFoundation/CFError.h>
static_assert(forwards<decltype(&ErrorRef::getTypeID), decltype(&CFErrorGetTypeID)>);
static_assert(forwards<decltype(&ErrorRef::create), decltype(&CFErrorCreate)>);
static_assert(
    forwards<decltype(&ErrorRef::createWithUserInfoKeysAndValues), decltype(&CFErrorCreateWithUserInfoKeysAndValues)>);
static_assert(forwards<decltype(&ErrorRef::getDomain), decltype(&CFErrorGetDomain)>);
static_assert(forwards<decltype(&ErrorRef::getCode), decltype(&CFErrorGetCode)>);
static_assert(forwards<decltype(&ErrorRef::copyUserInfo), decltype(&CFErrorCopyUserInfo)>);
static_assert(forwards<decltype(&ErrorRef::copyDescription), decltype(&CFErrorCopyDescription)>);
static_assert(forwards<decltype(&ErrorRef::copyFailureReason), decltype(&CFErrorCopyFailureReason)>);
static_assert(forwards<decltype(&ErrorRef::copyRecoverySuggestion), decltype(&CFErrorCopyRecoverySuggestion)>);

// <CoreFoundation/CFPropertyList.h>
static_assert(forwards<decltype(&PropertyListRef::createFromXMLData), decltype(&CFPropertyListCreateFromXMLData)>);
static_assert(forwards<decltype(staticForm(&PropertyListRef::createXMLData)), decltype(&CFPropertyListCreateXMLData)>);
static_assert(
    forwardsItself<decltype(memberForm(&PropertyListRef::createXMLData)), decltype(&CFPropertyListCreateXMLData)>);
static_assert(
    forwards<decltype(staticForm(&PropertyListRef::createDeepCopy)), decltype(&CFPropertyListCreateDeepCopy)>);
static_assert(
    forwardsItself<decltype(memberForm(&PropertyListRef::createDeepCopy)), decltype(&CFPropertyListCreateDeepCopy)>);
static_assert(forwards<decltype(&PropertyListRef::isValid), decltype(&CFPropertyListIsValid)>);
static_assert(forwards<decltype(&PropertyListRef::writeToStream), decltype(&CFPropertyListWriteToStream)>);
static_assert(forwards<decltype(&PropertyListRef::createFromStream), decltype(&CFPropertyListCreateFromStream)>);
static_assert(forwards<decltype(&PropertyListRef::createWithData), decltype(&CFPropertyListCreateWithData)>);
static_assert(forwards<decltype(&PropertyListRef::createWithStream), decltype(&CFPropertyListCreateWithStream)>);
static_assert(forwards<decltype(&PropertyListRef::write), decltype(&CFPropertyListWrite)>);
static_assert(forwards<decltype(staticForm(&PropertyListRef::createData)), decltype(&CFPropertyListCreateData)>);
static_assert(forwardsItself<decltype(memberForm(&PropertyListRef::createData)), decltype(&CFPropertyListCreateData)>);

// <CoreFoundation/CFSet.h>
static_assert(forwards<decltype(&SetRef::getTypeID), decltype(&CFSetGetTypeID)>);
static_assert(forwards<decltype(&SetRef::create), decltype(&CFSetCreate)>);
static_assert(forwards<decltype(staticForm(&SetRef::createCopy)), decltype(&CFSetCreateCopy)>);
static_assert(forwardsItself<decltype(memberForm(&SetRef::createCopy)), decltype(&CFSetCreateCopy)>);
static_assert(forwards<decltype(&SetRef::createMutable), decltype(&CFSetCreateMutable)>);
static_assert(forwards<decltype(staticForm(&SetRef::createMutableCopy)), decltype(&CFSetCreateMutableCopy)>);
static_assert(forwardsItself<decltype(memberForm(&SetRef::createMutableCopy)), decltype(&CFSetCreateMutableCopy)>);
static_assert(forwards<decltype(&SetRef::getCount), decltype(&CFSetGetCount)>);
static_assert(forwards<decltype(&SetRef::getCountOfValue), decltype(&CFSetGetCountOfValue)>);
static_assert(forwards<decltype(&SetRef::containsValue), decltype(&CFSetContainsValue)>);
static_assert(forwards<decltype(&SetRef::getValue), decltype(&CFSetGetValue)>);
static_assert(forwards<decltype(&SetRef::getValueIfPresent), decltype(&CFSetGetValueIfPresent)>);
static_assert(forwards<decltype(&SetRef::getValues), decltype(&CFSetGetValues)>);
static_assert(forwards<decltype(&SetRef::applyFunction), decltype(&CFSetApplyFunction)>);
static_assert(forwards<decltype(&MutableSetRef::addValue), decltype(&CFSetAddValue)>);
static_assert(forwards<decltype(&MutableSetRef::replaceValue), decltype(&CFSetReplaceValue)>);
static_assert(forwards<decltype(&MutableSetRef::setValue), decltype(&CFSetSetValue)>);
static_assert(forwards<decltype(&MutableSetRef::removeValue), decltype(&CFSetRemoveValue)>);
static_assert(forwards<decltype(&MutableSetRef::removeAllValues), decltype(&CFSetRemoveAllValues)>);

// <CoreFoundation/CFString.h>
static_assert(forwards<decltype(&StringRef::getTypeID), decltype(&CFStringGetTypeID)>);
static_assert(forwards<decltype(&StringRef::createWithPascalString), decltype(&CFStringCreateWithPascalString)>);
static_assert(forwards<decltype(&StringRef::createWithCString), decltype(&CFStringCreateWithCString)>);
static_assert(forwards<decltype(&StringRef::createWithBytes), decltype(&CFStringCreateWithBytes)>);
static_assert(forwards<decltype(&StringRef::createWithCharacters), decltype(&CFStringCreateWithCharacters)>);
static_assert(
    forwards<decltype(&StringRef::createWithPascalStringNoCopy), decltype(&CFStringCreateWithPascalStringNoCopy)>);
static_assert(forwards<decltype(&StringRef::createWithCStringNoCopy), decltype(&CFStringCreateWithCStringNoCopy)>);
static_assert(forwards<decltype(&StringRef::createWithBytesNoCopy), decltype(&CFStringCreateWithBytesNoCopy)>);
static_assert(
    forwards<decltype(&StringRef::createWithCharactersNoCopy), decltype(&CFStringCreateWithCharactersNoCopy)>);
static_assert(forwards<decltype(staticForm(&StringRef::createWithSubstring)), decltype(&CFStringCreateWithSubstring)>);
static_assert(
    forwardsItself<decltype(memberForm(&StringRef::createWithSubstring)), decltype(&CFStringCreateWithSubstring)>);
static_assert(forwards<decltype(staticForm(&StringRef::createCopy)), decltype(&CFStringCreateCopy)>);
static_assert(forwardsItself<decltype(memberForm(&StringRef::createCopy)), decltype(&CFStringCreateCopy)>);
static_assert(
    forwards<decltype(&StringRef::createWithFormatAndArguments), decltype(&CFStringCreateWithFormatAndArguments)>);
static_assert(forwards<decltype(&StringRef::createStringWithValidatedFormatAndArguments),
                       decltype(&CFStringCreateStringWithValidatedFormatAndArguments)>);
static_assert(forwards<decltype(&StringRef::createMutable), decltype(&CFStringCreateMutable)>);
static_assert(forwards<decltype(staticForm(&StringRef::createMutableCopy)), decltype(&CFStringCreateMutableCopy)>);
static_assert(
    forwardsItself<decltype(memberForm(&StringRef::createMutableCopy)), decltype(&CFStringCreateMutableCopy)>);
static_assert(forwards<decltype(&StringRef::createMutableWithExternalCharactersNoCopy),
                       decltype(&CFStringCreateMutableWithExternalCharactersNoCopy)>);
static_assert(forwards<decltype(&StringRef::getLength), decltype(&CFStringGetLength)>);
static_assert(forwards<decltype(&StringRef::getCharacterAtIndex), decltype(&CFStringGetCharacterAtIndex)>);
static_assert(forwards<decltype(&StringRef::getCharacters), decltype(&CFStringGetCharacters)>);
static_assert(forwards<decltype(&StringRef::getPascalString), decltype(&CFStringGetPascalString)>);
static_assert(forwards<decltype(&StringRef::getCString), decltype(&CFStringGetCString)>);
static_assert(forwards<decltype(&StringRef::getPascalStringPtr), decltype(&CFStringGetPascalStringPtr)>);
static_assert(forwards<decltype(&StringRef::getCStringPtr), decltype(&CFStringGetCStringPtr)>);
static_assert(forwards<decltype(&StringRef::getCharactersPtr), decltype(&CFStringGetCharactersPtr)>);
static_assert(forwards<decltype(&StringRef::getBytes), decltype(&CFStringGetBytes)>);
static_assert(forwards<decltype(&StringRef::createFromExternalRepresentation),
                       decltype(&CFStringCreateFromExternalRepresentation)>);
static_assert(forwards<decltype(staticForm(&StringRef::createExternalRepresentation)),
                       decltype(&CFStringCreateExternalRepresentation)>);
static_assert(forwardsItself<decltype(memberForm(&StringRef::createExternalRepresentation)),
                             decltype(&CFStringCreateExternalRepresentation)>);
static_assert(forwards<decltype(&StringRef::getSmallestEncoding), decltype(&CFStringGetSmallestEncoding)>);
static_assert(forwards<decltype(&StringRef::getFastestEncoding), decltype(&CFStringGetFastestEncoding)>);
static_assert(forwards<decltype(&StringRef::getSystemEncoding), decltype(&CFStringGetSystemEncoding)>);
static_assert(forwards<decltype(&StringRef::getMaximumSizeForEncoding), decltype(&CFStringGetMaximumSizeForEncoding)>);
static_assert(
    forwards<decltype(&StringRef::getFileSystemRepresentation), decltype(&CFStringGetFileSystemRepresentation)>);
static_assert(forwards<decltype(&StringRef::getMaximumSizeOfFileSystemRepresentation),
                       decltype(&CFStringGetMaximumSizeOfFileSystemRepresentation)>);
static_assert(forwards<decltype(&StringRef::createWithFileSystemRepresentation),
                       decltype(&CFStringCreateWithFileSystemRepresentation)>);
static_assert(
    forwards<decltype(&StringRef::compareWithOptionsAndLocale), decltype(&CFStringCompareWithOptionsAndLocale)>);
static_assert(forwards<decltype(&StringRef::compareWithOptions), decltype(&CFStringCompareWithOptions)>);
static_assert(forwards<decltype(&StringRef::compare), decltype(&CFStringCompare)>);
static_assert(forwards<decltype(&StringRef::findWithOptionsAndLocale), decltype(&CFStringFindWithOptionsAndLocale)>);
static_assert(forwards<decltype(&StringRef::findWithOptions), decltype(&CFStringFindWithOptions)>);
static_assert(forwards<decltype(staticForm(&StringRef::createArrayWithFindResults)),
                       decltype(&CFStringCreateArrayWithFindResults)>);
static_assert(forwardsItself<decltype(memberForm(&StringRef::createArrayWithFindResults)),
                             decltype(&CFStringCreateArrayWithFindResults)>);
static_assert(forwards<decltype(&StringRef::find), decltype(&CFStringFind)>);
static_assert(forwards<decltype(&StringRef::hasPrefix), decltype(&CFStringHasPrefix)>);
static_assert(forwards<decltype(&StringRef::hasSuffix), decltype(&CFStringHasSuffix)>);
static_assert(forwards<decltype(&StringRef::getRangeOfComposedCharactersAtIndex),
                       decltype(&CFStringGetRangeOfComposedCharactersAtIndex)>);
static_assert(forwards<decltype(&StringRef::findCharacterFromSet), decltype(&CFStringFindCharacterFromSet)>);
static_assert(forwards<decltype(&StringRef::getLineBounds), decltype(&CFStringGetLineBounds)>);
static_assert(forwards<decltype(&StringRef::getParagraphBounds), decltype(&CFStringGetParagraphBounds)>);
static_assert(forwards<decltype(&StringRef::getHyphenationLocationBeforeIndex),
                       decltype(&CFStringGetHyphenationLocationBeforeIndex)>);
static_assert(forwards<decltype(&StringRef::isHyphenationAvailableForLocale),
                       decltype(&CFStringIsHyphenationAvailableForLocale)>);
static_assert(forwards<decltype(&StringRef::createByCombiningStrings), decltype(&CFStringCreateByCombiningStrings)>);
static_assert(forwards<decltype(staticForm(&StringRef::createArrayBySeparatingStrings)),
                       decltype(&CFStringCreateArrayBySeparatingStrings)>);
static_assert(forwardsItself<decltype(memberForm(&StringRef::createArrayBySeparatingStrings)),
                             decltype(&CFStringCreateArrayBySeparatingStrings)>);
static_assert(forwards<decltype(&StringRef::getIntValue), decltype(&CFStringGetIntValue)>);
static_assert(forwards<decltype(&StringRef::getDoubleValue), decltype(&CFStringGetDoubleValue)>);
static_assert(forwards<decltype(&MutableStringRef::append), decltype(&CFStringAppend)>);
static_assert(forwards<decltype(&MutableStringRef::appendCharacters), decltype(&CFStringAppendCharacters)>);
static_assert(forwards<decltype(&MutableStringRef::appendPascalString), decltype(&CFStringAppendPascalString)>);
static_assert(forwards<decltype(&MutableStringRef::appendCString), decltype(&CFStringAppendCString)>);
static_assert(
    forwards<decltype(&MutableStringRef::appendFormatAndArguments), decltype(&CFStringAppendFormatAndArguments)>);
static_assert(forwards<decltype(&MutableStringRef::insert), decltype(&CFStringInsert)>);
static_assert(forwards<decltype(&MutableStringRef::dElete), decltype(&CFStringDelete)>);
static_assert(forwards<decltype(&MutableStringRef::replace), decltype(&CFStringReplace)>);
static_assert(forwards<decltype(&MutableStringRef::replaceAll), decltype(&CFStringReplaceAll)>);
static_assert(forwards<decltype(&MutableStringRef::findAndReplace), decltype(&CFStringFindAndReplace)>);
static_assert(
    forwards<decltype(&MutableStringRef::setExternalCharactersNoCopy), decltype(&CFStringSetExternalCharactersNoCopy)>);
static_assert(forwards<decltype(&MutableStringRef::pad), decltype(&CFStringPad)>);
static_assert(forwards<decltype(&MutableStringRef::trim), decltype(&CFStringTrim)>);
static_assert(forwards<decltype(&MutableStringRef::trimWhitespace), decltype(&CFStringTrimWhitespace)>);
static_assert(forwards<decltype(&MutableStringRef::lowercase), decltype(&CFStringLowercase)>);
static_assert(forwards<decltype(&MutableStringRef::uppercase), decltype(&CFStringUppercase)>);
static_assert(forwards<decltype(&MutableStringRef::capitalize), decltype(&CFStringCapitalize)>);
static_assert(forwards<decltype(&MutableStringRef::normalize), decltype(&CFStringNormalize)>);
static_assert(forwards<decltype(&MutableStringRef::fold), decltype(&CFStringFold)>);
static_assert(forwards<decltype(&MutableStringRef::transform), decltype(&CFStringTransform)>);
static_assert(forwards<decltype(&StringRef::isEncodingAvailable), decltype(&CFStringIsEncodingAvailable)>);
static_assert(
    forwards<decltype(&StringRef::getListOfAvailableEncodings), decltype(&CFStringGetListOfAvailableEncodings)>);
static_assert(forwards<decltype(&StringRef::getNameOfEncoding), decltype(&CFStringGetNameOfEncoding)>);
static_assert(forwards<decltype(&StringRef::convertEncodingToNSStringEncoding),
                       decltype(&CFStringConvertEncodingToNSStringEncoding)>);
static_assert(forwards<decltype(&StringRef::convertNSStringEncodingToEncoding),
                       decltype(&CFStringConvertNSStringEncodingToEncoding)>);
static_assert(forwards<decltype(&StringRef::convertEncodingToWindowsCodepage),
                       decltype(&CFStringConvertEncodingToWindowsCodepage)>);
static_assert(forwards<decltype(&StringRef::convertWindowsCodepageToEncoding),
                       decltype(&CFStringConvertWindowsCodepageToEncoding)>);
static_assert(forwards<decltype(&StringRef::convertIANACharSetNameToEncoding),
                       decltype(&CFStringConvertIANACharSetNameToEncoding)>);
static_assert(forwards<decltype(&StringRef::convertEncodingToIANACharSetName),
                       decltype(&CFStringConvertEncodingToIANACharSetName)>);
static_assert(forwards<decltype(&StringRef::getMostCompatibleMacStringEncoding),
                       decltype(&CFStringGetMostCompatibleMacStringEncoding)>);
static_assert(forwards<decltype(&StringRef::initInlineBuffer), decltype(&CFStringInitInlineBuffer)>);
static_assert(
    forwards<decltype(&StringRef::getCharacterFromInlineBuffer), decltype(&CFStringGetCharacterFromInlineBuffer)>);
static_assert(forwards<decltype(&StringRef::isSurrogateHighCharacter), decltype(&CFStringIsSurrogateHighCharacter)>);
static_assert(forwards<decltype(&StringRef::isSurrogateLowCharacter), decltype(&CFStringIsSurrogateLowCharacter)>);
static_assert(forwards<decltype(&StringRef::getLongCharacterForSurrogatePair),
                       decltype(&CFStringGetLongCharacterForSurrogatePair)>);
static_assert(forwards<decltype(&StringRef::getSurrogatePairForLongCharacter),
                       decltype(&CFStringGetSurrogatePairForLongCharacter)>);
static_assert(forwards<decltype(&StringRef::show), decltype(&CFShow)>);
static_assert(forwards<decltype(&StringRef::showStr), decltype(&CFShowStr)>);

// <CoreFoundation/CFUUID.h>
static_assert(forwards<decltype(&UUIDRef::getTypeID), decltype(&CFUUIDGetTypeID)>);
static_assert(forwards<decltype(&UUIDRef::create), decltype(&CFUUIDCreate)>);
static_assert(forwards<decltype(&UUIDRef::createWithBytes), decltype(&CFUUIDCreateWithBytes)>);
static_assert(forwards<decltype(&UUIDRef::createFromString), decltype(&CFUUIDCreateFromString)>);
static_assert(forwards<decltype(staticForm(&UUIDRef::createString)), decltype(&CFUUIDCreateString)>);
static_assert(forwardsItself<decltype(memberForm(&UUIDRef::createString)), decltype(&CFUUIDCreateString)>);
static_assert(forwards<decltype(&UUIDRef::getConstantUUIDWithBytes), decltype(&CFUUIDGetConstantUUIDWithBytes)>);
static_assert(forwards<decltype(&UUIDRef::getUUIDBytes), decltype(&CFUUIDGetUUIDBytes)>);
static_assert(forwards<decltype(&UUIDRef::createFromUUIDBytes), decltype(&CFUUIDCreateFromUUIDBytes)>);

// <CoreFoundation/CFFileDescriptor.h>
static_assert(forwards<decltype(&FileDescriptorRef::getTypeID), decltype(&CFFileDescriptorGetTypeID)>);
static_assert(forwards<decltype(&FileDescriptorRef::create), decltype(&CFFileDescriptorCreate)>);
static_assert(
    forwards<decltype(&FileDescriptorRef::getNativeDescriptor), decltype(&CFFileDescriptorGetNativeDescriptor)>);
static_assert(forwards<decltype(&FileDescriptorRef::getContext), decltype(&CFFileDescriptorGetContext)>);
static_assert(forwards<decltype(&FileDescriptorRef::enableCallBacks), decltype(&CFFileDescriptorEnableCallBacks)>);
static_assert(forwards<decltype(&FileDescriptorRef::disableCallBacks), decltype(&CFFileDescriptorDisableCallBacks)>);
static_assert(forwards<decltype(&FileDescriptorRef::invalidate), decltype(&CFFileDescriptorInvalidate)>);
static_assert(forwards<decltype(&FileDescriptorRef::isValid), decltype(&CFFileDescriptorIsValid)>);
static_assert(forwards<decltype(staticForm(&FileDescriptorRef::createRunLoopSource)),
                       decltype(&CFFileDescriptorCreateRunLoopSource)>);
static_assert(forwardsItself<decltype(memberForm(&FileDescriptorRef::createRunLoopSource)),
                             decltype(&CFFileDescriptorCreateRunLoopSource)>);

// <CoreFoundation/CFMachPort.h>
static_assert(forwards<decltype(&MachPortRef::getTypeID), decltype(&CFMachPortGetTypeID)>);
static_assert(forwards<decltype(&MachPortRef::create), decltype(&CFMachPortCreate)>);
static_assert(forwards<decltype(&MachPortRef::createWithPort), decltype(&CFMachPortCreateWithPort)>);
static_assert(forwards<decltype(&MachPortRef::getPort), decltype(&CFMachPortGetPort)>);
static_assert(forwards<decltype(&MachPortRef::getContext), decltype(&CFMachPortGetContext)>);
static_assert(forwards<decltype(&MachPortRef::invalidate), decltype(&CFMachPortInvalidate)>);
static_assert(forwards<decltype(&MachPortRef::isValid), decltype(&CFMachPortIsValid)>);
static_assert(forwards<decltype(&MachPortRef::getInvalidationCallBack), decltype(&CFMachPortGetInvalidationCallBack)>);
static_assert(forwards<decltype(&MachPortRef::setInvalidationCallBack), decltype(&CFMachPortSetInvalidationCallBack)>);
static_assert(
    forwards<decltype(staticForm(&MachPortRef::createRunLoopSource)), decltype(&CFMachPortCreateRunLoopSource)>);
static_assert(
    forwardsItself<decltype(memberForm(&MachPortRef::createRunLoopSource)), decltype(&CFMachPortCreateRunLoopSource)>);

// <CoreFoundation/CFRunLoop.h>
static_assert(forwards<decltype(&RunLoopRef::getTypeID), decltype(&CFRunLoopGetTypeID)>);
static_assert(forwards<decltype(&RunLoopRef::getCurrent), decltype(&CFRunLoopGetCurrent)>);
static_assert(forwards<decltype(&RunLoopRef::getMain), decltype(&CFRunLoopGetMain)>);
static_assert(forwards<decltype(&RunLoopRef::copyCurrentMode), decltype(&CFRunLoopCopyCurrentMode)>);
static_assert(forwards<decltype(&RunLoopRef::copyAllModes), decltype(&CFRunLoopCopyAllModes)>);
static_assert(forwards<decltype(&RunLoopRef::addCommonMode), decltype(&CFRunLoopAddCommonMode)>);
static_assert(forwards<decltype(&RunLoopRef::getNextTimerFireDate), decltype(&CFRunLoopGetNextTimerFireDate)>);
static_assert(forwards<decltype(&RunLoopRef::run), decltype(&CFRunLoopRun)>);
static_assert(forwards<decltype(&RunLoopRef::runInMode), decltype(&CFRunLoopRunInMode)>);
static_assert(forwards<decltype(&RunLoopRef::isWaiting), decltype(&CFRunLoopIsWaiting)>);
static_assert(forwards<decltype(&RunLoopRef::wakeUp), decltype(&CFRunLoopWakeUp)>);
static_assert(forwards<decltype(&RunLoopRef::stop), decltype(&CFRunLoopStop)>);
static_assert(forwards<decltype(&RunLoopRef::containsSource), decltype(&CFRunLoopContainsSource)>);
static_assert(forwards<decltype(&RunLoopRef::addSource), decltype(&CFRunLoopAddSource)>);
static_assert(forwards<decltype(&RunLoopRef::removeSource), decltype(&CFRunLoopRemoveSource)>);
static_assert(forwards<decltype(&RunLoopRef::containsObserver), decltype(&CFRunLoopContainsObserver)>);
static_assert(forwards<decltype(&RunLoopRef::addObserver), decltype(&CFRunLoopAddObserver)>);
static_assert(forwards<decltype(&RunLoopRef::removeObserver), decltype(&CFRunLoopRemoveObserver)>);
static_assert(forwards<decltype(&RunLoopRef::containsTimer), decltype(&CFRunLoopContainsTimer)>);
static_assert(forwards<decltype(&RunLoopRef::addTimer), decltype(&CFRunLoopAddTimer)>);
static_assert(forwards<decltype(&RunLoopRef::removeTimer), decltype(&CFRunLoopRemoveTimer)>);
static_assert(forwards<decltype(&RunLoopSourceRef::getTypeID), decltype(&CFRunLoopSourceGetTypeID)>);
static_assert(forwards<decltype(&RunLoopSourceRef::create), decltype(&CFRunLoopSourceCreate)>);
static_assert(forwards<decltype(&RunLoopSourceRef::getOrder), decltype(&CFRunLoopSourceGetOrder)>);
static_assert(forwards<decltype(&RunLoopSourceRef::invalidate), decltype(&CFRunLoopSourceInvalidate)>);
static_assert(forwards<decltype(&RunLoopSourceRef::isValid), decltype(&CFRunLoopSourceIsValid)>);
static_assert(forwards<decltype(&RunLoopSourceRef::getContext), decltype(&CFRunLoopSourceGetContext)>);
static_assert(forwards<decltype(&RunLoopSourceRef::signal), decltype(&CFRunLoopSourceSignal)>);
static_assert(forwards<decltype(&RunLoopObserverRef::getTypeID), decltype(&CFRunLoopObserverGetTypeID)>);
static_assert(forwards<decltype(&RunLoopObserverRef::create), decltype(&CFRunLoopObserverCreate)>);
static_assert(forwards<decltype(&RunLoopObserverRef::getActivities), decltype(&CFRunLoopObserverGetActivities)>);
static_assert(forwards<decltype(&RunLoopObserverRef::doesRepeat), decltype(&CFRunLoopObserverDoesRepeat)>);
static_assert(forwards<decltype(&RunLoopObserverRef::getOrder), decltype(&CFRunLoopObserverGetOrder)>);
static_assert(forwards<decltype(&RunLoopObserverRef::invalidate), decltype(&CFRunLoopObserverInvalidate)>);
static_assert(forwards<decltype(&RunLoopObserverRef::isValid), decltype(&CFRunLoopObserverIsValid)>);
static_assert(forwards<decltype(&RunLoopObserverRef::getContext), decltype(&CFRunLoopObserverGetContext)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getTypeID), decltype(&CFRunLoopTimerGetTypeID)>);
static_assert(forwards<decltype(&RunLoopTimerRef::create), decltype(&CFRunLoopTimerCreate)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getNextFireDate), decltype(&CFRunLoopTimerGetNextFireDate)>);
static_assert(forwards<decltype(&RunLoopTimerRef::setNextFireDate), decltype(&CFRunLoopTimerSetNextFireDate)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getInterval), decltype(&CFRunLoopTimerGetInterval)>);
static_assert(forwards<decltype(&RunLoopTimerRef::doesRepeat), decltype(&CFRunLoopTimerDoesRepeat)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getOrder), decltype(&CFRunLoopTimerGetOrder)>);
static_assert(forwards<decltype(&RunLoopTimerRef::invalidate), decltype(&CFRunLoopTimerInvalidate)>);
static_assert(forwards<decltype(&RunLoopTimerRef::isValid), decltype(&CFRunLoopTimerIsValid)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getContext), decltype(&CFRunLoopTimerGetContext)>);
static_assert(forwards<decltype(&RunLoopTimerRef::getTolerance), decltype(&CFRunLoopTimerGetTolerance)>);
static_assert(forwards<decltype(&RunLoopTimerRef::setTolerance), decltype(&CFRunLoopTimerSetTolerance)>);

// What takes any number of arguments: CFStringCreateWithFormat, CFStringCreateStringWithValidatedFormat,
// CFStringAppendFormat.
static_assert(requires(CFStringRef format) { StringRef::createWithFormat(nullptr, nullptr, format, 1, 2.5, format); });
static_assert(requires(CFStringRef format, ErrorRef* error) {
    StringRef::createStringWithValidatedFormat(nullptr, nullptr, format, format, error, 1, "x");
});
static_assert(requires(CFStringRef format, MutableStringRef string) { string.appendFormat(nullptr, format, 1, 'c'); });

// Error holders may be left out.
static_assert(requires(PropertyListRef list) { list.createData(nullptr, kCFPropertyListXMLFormat_v1_0, 0); });
static_assert(requires(CFDataRef data) { PropertyListRef::createWithData(nullptr, data, 0, nullptr); });
static_assert(requires(CFPropertyListRef list) {
    PropertyListRef::createData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0);
});
static_assert(requires(CFDataRef data) { PropertyListRef::createFromXMLData(nullptr, data, 0); });

}  // namespace
}  // namespace KXCore::CoreFoundation
