// Misuse of the wrappers; see CMakeLists.txt.

#include <KXCoreLib/CoreFoundationWrappers.h>

using namespace KXCore::CoreFoundation;

void use(CFStringRef raw, CFNumberRef number, StringRef string, NumberRef numberRef, TypeRef any) {
    // What is right.
    string = StringRef::retain(raw);
    string.assign(number);
    any.assign(string.get());
    if (string) CFStringGetLength(string.get());
    MutableStringRef changing = StringRef::createMutable(nullptr, 0);
    changing.append(string.get());
    string = changing;
    StringRef::createWithFormat(nullptr, nullptr, raw, string.get(), numberRef.get());

#if defined AssigningARawPointer
    string = raw;
#elif defined InitialisingFromARawPointer
    StringRef made{raw};
#elif defined AssigningNull
    string = nullptr;
#elif defined ANumberWhereAStringIsDue
    string = numberRef;
#elif defined AdoptingAnObjectOfAnotherType
    string = StringRef::adopt(number);
#elif defined AnyObjectWhereAStringIsDue
    string = any;
#elif defined AssigningThroughTheBase
    TypeRef& base = string;
    base = numberRef;
#elif defined AssigningAnyObjectThroughTheBase
    TypeRef& base = string;
    base = any;
#elif defined MovingThroughTheBase
    TypeRef& base = string;
    base = TypeRef(numberRef);
#elif defined AnImmutableStringWhereAMutableOneIsDue
    changing = string;
#elif defined PassingAWrapperAsARawPointer
    CFStringGetLength(string);
#elif defined TakingAWrapperForABool
    const bool isThere = string;
#elif defined ChangingAnImmutableString
    string.append(raw);
#elif defined ASecondFormOfAnOperation
    string.createCopy(nullptr);
#elif defined AWrapperAmongFormatArguments
    StringRef::createWithFormat(nullptr, nullptr, raw, string);
#elif defined ThrowingTheAbstractException
    throw CFException();
#endif
}
