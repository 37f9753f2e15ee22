#include "Platform/CoreFoundation/NullArguments.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

TEST(CFPropertyList, SurvivesNullArguments) {
    using namespace NullArguments;
    const auto empty = hold(CFDataCreate(nullptr, nullptr, 0));
    for (const CFDataRef document : {CFDataRef{}, empty.get()}) {
        CFErrorRef error = nullptr;
        EXPECT_EQ(CFPropertyListCreateWithData(nullptr, document, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateWithData(nullptr, document, ~0UL, nullptr, &error), nullptr);
        EXPECT_EQ(CFErrorGetCode(hold(error)), kCFPropertyListReadCorruptError);
        EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, document, 0, nullptr), nullptr);
    }
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, nullptr, 0), nullptr);
    for (const CFIndex number : kIndexes) {
        const auto format = static_cast<CFPropertyListFormat>(number);
        EXPECT_FALSE(CFPropertyListIsValid(nullptr, format));
        EXPECT_EQ(CFPropertyListIsValid(kObjects[0], format), number == kCFPropertyListOpenStepFormat);
        EXPECT_EQ(CFPropertyListCreateData(nullptr, nullptr, format, ~0UL, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateData(nullptr, kObjects[0], format, 0, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, nullptr, number, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateFromStream(nullptr, nullptr, number, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListWrite(kObjects[0], nullptr, format, 0, nullptr), 0);
        EXPECT_EQ(CFPropertyListWriteToStream(nullptr, nullptr, format, nullptr), 0);
    }
}
