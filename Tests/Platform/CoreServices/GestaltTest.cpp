#include <CoreServices/CoreServices.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

namespace {

constexpr const char* kVariable = "KXPLATFORM_SYSTEM_VERSION";

using Version = std::tuple<SInt32, SInt32, SInt32>;

SInt32 answer(OSType selector) {
    SInt32 response = -1;
    EXPECT_EQ(Gestalt(selector, &response), noErr);
    return response;
}

Version version() {
    return {answer(gestaltSystemVersionMajor), answer(gestaltSystemVersionMinor), answer(gestaltSystemVersionBugFix)};
}

Version versionSetTo(const char* text) {
    setenv(kVariable, text, 1);
    const Version told = version();
    unsetenv(kVariable);
    return told;
}

constexpr Version kFixed{12, 0, 0};

constexpr OSType code(const char (&text)[5]) {
    OSType value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(text[i]);
    return value;
}

}  // namespace

TEST(Gestalt, HasTheSelectorsAndStatusesOfThePlatform) {
    EXPECT_EQ(gestaltSystemVersionMajor, code("sys1"));
    EXPECT_EQ(gestaltSystemVersionMinor, code("sys2"));
    EXPECT_EQ(gestaltSystemVersionBugFix, code("sys3"));
    EXPECT_EQ(noErr, 0);
    EXPECT_EQ(gestaltUndefSelectorErr, -5551);
}

TEST(Gestalt, TellsAFixedVersionLaterThanTen) {
    unsetenv(kVariable);
    EXPECT_EQ(version(), kFixed);
}

TEST(Gestalt, TellsTheVersionThatTheEnvironmentSets) {
    EXPECT_EQ(versionSetTo("10.15.7"), (Version{10, 15, 7}));
    EXPECT_EQ(versionSetTo("10.6"), (Version{10, 6, 0}));
    EXPECT_EQ(versionSetTo("11"), (Version{11, 0, 0}));
}

TEST(Gestalt, KeepsTheFixedVersionWhenTheEnvironmentIsNotAVersion) {
    for (const char* const text : {"", ".", "10.", "10..1", "-1", "10.-1", "10.1.2.3", "10.1.2.", "ten", "10 ", " 10",
                                   "+10", "99999999999", "10.15.7b"}) {
        EXPECT_EQ(versionSetTo(text), kFixed) << '"' << text << '"';
    }
}

TEST(Gestalt, RefusesOtherSelectorsAndLeavesTheResponse) {
    for (const OSType selector : {OSType{0}, code("sysv"), code("sys0"), code("sys4"), code("SYS1"), ~OSType{0}}) {
        SInt32 response = 77;
        EXPECT_EQ(Gestalt(selector, &response), gestaltUndefSelectorErr);
        EXPECT_EQ(response, 77);
    }
}

TEST(Gestalt, SurvivesNullArguments) { EXPECT_EQ(Gestalt(gestaltSystemVersionMajor, nullptr), paramErr); }
