#include <KXCoreLib/CoreFoundation/NullRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
NullRef KXCore::CoreFoundation::sample() {
    return NullRef::retain(kCFNull);
}
INSTANTIATE_TYPED_TEST_SUITE_P(NullRef, TypedWrapper, NullRef);

FORWARDS(NullRef, getTypeID, CFNullGetTypeID);
