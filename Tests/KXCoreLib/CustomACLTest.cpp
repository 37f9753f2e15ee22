#include "CustomACLIdentity.h"
#include "NameService.h"
#include "PropertyLists.h"
#include "Sanitizers.h"

#include <KXCoreLib/CustomACL.h>
#include <KXCoreLib/PList.h>

#include <dlfcn.h>
#include <grp.h>
#include <membership.h>
#include <pwd.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

using namespace KXCore;
using namespace plist;

// Name and membership services that fail: this program's definitions come before the platform's.

namespace {

bool membershipFails = false;
bool namesFail = false;
bool textsOfSIDsFail = false;

/// What a function that fails may leave where its result would be.
int failWithRubbish(unsigned char* uuid) {
    std::memset(uuid, 0xEE, sizeof(uuid_t));
    return EIO;
}

template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int mbr_uid_to_uuid(uid_t uid, uuid_t uuid) {
    return membershipFails ? failWithRubbish(uuid) : next(mbr_uid_to_uuid, "mbr_uid_to_uuid")(uid, uuid);
}
__attribute__((visibility("default"))) int mbr_gid_to_uuid(gid_t gid, uuid_t uuid) {
    return membershipFails ? failWithRubbish(uuid) : next(mbr_gid_to_uuid, "mbr_gid_to_uuid")(gid, uuid);
}
__attribute__((visibility("default"))) int mbr_sid_to_uuid(const nt_sid_t* sid, uuid_t uuid) {
    return membershipFails ? failWithRubbish(uuid) : next(mbr_sid_to_uuid, "mbr_sid_to_uuid")(sid, uuid);
}
__attribute__((visibility("default"))) int mbr_sid_to_string(const nt_sid_t* sid, char* text) {
    if (textsOfSIDsFail) {
        std::strcpy(text, "rubbish");
        return EINVAL;
    }
    return next(mbr_sid_to_string, "mbr_sid_to_string")(sid, text);
}
__attribute__((visibility("default"))) int getpwnam_r(const char* name, passwd* entry, char* room, size_t size,
                                                      passwd** found) {
    *found = nullptr;
    errno = EDOM;  // which says nothing: the reason is what is returned
    return namesFail ? EIO : next(getpwnam_r, "getpwnam_r")(name, entry, room, size, found);
}
__attribute__((visibility("default"))) int getgrnam_r(const char* name, group* entry, char* room, size_t size,
                                                      group** found) {
    *found = nullptr;
    errno = EDOM;  // which says nothing: the reason is what is returned
    return namesFail ? EIO : next(getgrnam_r, "getgrnam_r")(name, entry, room, size, found);
}
}

namespace {

constexpr std::uint32_t kRead = 1, kWrite = 2, kExecute = 4;
constexpr BitMaskConstant kNames[] = {{"read", kRead}, {"write", kWrite}, {"execute", kExecute}, {nullptr, 0}};

UUID user(unsigned id) {
    UUID uuid{{0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA, 0, 0, 0, 0}};
    for (int i = 0; i < 4; ++i) uuid.bytes[12 + i] = static_cast<unsigned char>(id >> (24 - 8 * i));
    return uuid;
}

UUID wellknown(unsigned number) {
    UUID uuid{{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0, 0, 0, 0}};
    for (int i = 0; i < 4; ++i) uuid.bytes[12 + i] = static_cast<unsigned char>(number >> (24 - 8 * i));
    return uuid;
}

const UUID kAlice = user(70001), kBob = user(70002), kStranger = user(79999);
const UUID kForeign{{0x12, 0x34, 0x56, 0x78, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x56, 0x78, 0x90, 0x12}};

/// What `run` writes to the standard error stream, without the program's name.
std::string said(const std::function<void()>& run) {
    ::testing::internal::CaptureStderr();
    run();
    std::string text = ::testing::internal::GetCapturedStderr();
    const std::string name = std::string(program_invocation_short_name) + ": ";
    for (std::size_t at; (at = text.find(name)) != std::string::npos;) text.erase(at, name.size());
    return text;
}

class CustomACLTest : public ::testing::Test {
  protected:
    static CustomACL parsed(const char* text, InitMode mode = InitModeStrict) {
        CustomACL acl;
        EXPECT_TRUE(CustomACL::parse(acl, text, kNames, mode)) << text;
        return acl;
    }

    /// What a text that must be refused says.
    static std::string refused(const char* text, InitMode mode = InitModeStrict) {
        return said([&] {
            CustomACL acl;
            EXPECT_FALSE(CustomACL::parse(acl, text, kNames, mode)) << text;
        });
    }

    static CustomACL read(const PropertyListRef& plist, InitMode mode = InitModeStrict,
                          const BitMaskConstant* names = kNames) {
        CustomACL acl;
        const PListNavigator navigator({plist, L"list"});
        EXPECT_TRUE(CustomACL::read(acl, navigator.root(), names, mode));
        return acl;
    }

    /// Message and place of the error that reading must throw.
    static std::wstring errorOf(const PropertyListRef& plist, const BitMaskConstant* names = kNames) {
        CustomACL acl;
        const PListNavigator navigator({plist, L"list"});
        try {
            CustomACL::read(acl, navigator.root(), names, InitModeStrict);
        } catch (const PListValueError& error) {
            return error.getMessage() + L" at " + error.getLocationInfo();
        }
        return L"none";
    }

    static PropertyListRef entry(const PropertyListRef& type, const char* key, const PropertyListRef& id,
                                 const PropertyListRef& mask) {
        return dict({{"Type", type}, {key, id}, {"AccessMask", mask}});
    }

    NameService names{
        "alice:x:70001:70100::/:/bin/sh\nbob:x:70002:70101::/:/bin/sh\n"
        "DOMAIN\\carol:x:70003:70101::/:/bin/sh\nJ\xC3\xBCrgen M.:x:70004:70101::/:/bin/sh\n"
        "%odd:x:70005:70101::/:/bin/sh\n",
        "users:x:70100:\nothers:x:70101:\nstaff:x:70200:bob\n"};
};

using CustomACLDeathTest = CustomACLTest;

}  // namespace

// ---- The text form

TEST_F(CustomACLTest, ANullTextIsUnrestrictedAndGrantsEverything) {
    const CustomACL acl = parsed(nullptr);
    EXPECT_TRUE(acl.isUnrestricted());
    EXPECT_TRUE(acl.checkAccess(kStranger, 0xFFFFFFFF));
    EXPECT_TRUE(acl.checkAccess(UUID{}, 0));
}

TEST_F(CustomACLTest, ATextWithoutEntriesGrantsOnlyTheRequestForNothing) {
    for (const char* text : {"", "/", "///"}) {
        const CustomACL acl = parsed(text);
        EXPECT_FALSE(acl.isUnrestricted()) << text;
        EXPECT_TRUE(acl.getEntries().empty());
        EXPECT_TRUE(acl.checkAccess(kAlice, 0));
        EXPECT_FALSE(acl.checkAccess(kAlice, 1));
    }
}

TEST_F(CustomACLTest, AnEmptyTypeAllows) {
    const CustomACL acl = parsed("alice::read");
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].type, CustomACETypeAllow);
    EXPECT_EQ(acl.getEntries()[0].mask, kRead);
    EXPECT_EQ(acl.getEntries()[0].uuid, kAlice);
    EXPECT_EQ(acl.getEntries()[0].status, 0);
}

TEST_F(CustomACLTest, EmptyPiecesAreHarmless) {
    EXPECT_EQ(parsed("/alice:allow:1//bob:deny:2/").getEntries().size(), 2u);
}

TEST_F(CustomACLTest, ADenyBeforeAnAllowRefusesItsBits) {
    const CustomACL acl = parsed("alice:deny:write/alice:allow:read|write");
    EXPECT_FALSE(acl.checkAccess(kAlice, kWrite));
    EXPECT_FALSE(acl.checkAccess(kAlice, kRead | kWrite));
    EXPECT_TRUE(acl.checkAccess(kAlice, kRead));
}

TEST_F(CustomACLTest, ADenyAfterAnAllowTakesNothingBack) {
    const CustomACL acl = parsed("alice:allow:read|write/alice:deny:write");
    EXPECT_TRUE(acl.checkAccess(kAlice, kWrite));
    EXPECT_FALSE(acl.checkAccess(kAlice, kWrite | kExecute));
}

TEST_F(CustomACLTest, BitsMayComeFromSeveralEntries) {
    const CustomACL acl = parsed("alice:allow:read/bob:allow:execute/alice:allow:write");
    EXPECT_TRUE(acl.checkAccess(kAlice, kRead | kWrite));
    EXPECT_FALSE(acl.checkAccess(kAlice, kRead | kExecute));
    EXPECT_FALSE(acl.checkAccess(kBob, kRead));
}

TEST_F(CustomACLTest, AGroupEntryMatchesItsMembers) {
    const CustomACL acl = parsed("%staff:allow:read/%users:allow:write");
    EXPECT_TRUE(acl.checkAccess(kBob, kRead));
    EXPECT_FALSE(acl.checkAccess(kAlice, kRead));
    EXPECT_TRUE(acl.checkAccess(kAlice, kWrite)) << "the primary group counts";
}

TEST_F(CustomACLTest, AnIdMayBeAUUID) {
    EXPECT_EQ(parsed("12345678-1234-1234-1234-123456789012:allow:1").getEntries()[0].uuid, kForeign);
    EXPECT_EQ(parsed("abcdefab-cdef-abcd-efab-cdef0000000c:allow:1").getEntries()[0].uuid, wellknown(12));
}

TEST_F(CustomACLTest, AnIdMayBeASID) {
    EXPECT_EQ(parsed("S-1-22-1-70001:allow:1").getEntries()[0].uuid, kAlice);
    EXPECT_TRUE(parsed("S-1-22-2-70200:allow:1").checkAccess(kBob, 1));
}

TEST_F(CustomACLTest, AMissingFieldIsASyntaxErrorAtItsPosition) {
    EXPECT_EQ(refused("alice:allow"), "syntax error in ACL string, position 1: alice:allow\n\n");
    EXPECT_EQ(refused("alice"), "syntax error in ACL string, position 1: alice\n\n");
    EXPECT_EQ(refused(":allow:1"), "syntax error in ACL string, position 1: :allow:1\n\n");
    EXPECT_EQ(refused("x/alice:permit:read"), "syntax error in ACL string, position 1: x/alice:permit:read\n\n");
}

TEST_F(CustomACLTest, ThePositionOfALaterEntryCountsDownFromOne) {
    EXPECT_EQ(refused("alice:allow:1/bob"), "syntax error in ACL string, position 18446744073709551603: bob\n\n");
    EXPECT_EQ(refused("/bob"), "syntax error in ACL string, position 0: bob\n\n");
}

TEST_F(CustomACLTest, ASyntaxErrorShowsTwentyCharactersAtMost) {
    EXPECT_EQ(refused("abcdefghijklmnopqrstuvwxyz"),
              "syntax error in ACL string, position 1: abcdefghijklmnopqrst\n\n");
}

TEST_F(CustomACLTest, AnUnknownTypeIsReported) {
    EXPECT_EQ(refused("alice:permit:read"), "unrecognized ACE type permit\n");
    EXPECT_EQ(refused("alice:Allow:read"), "unrecognized ACE type Allow\n");
    EXPECT_EQ(refused("alice: allow:read"), "unrecognized ACE type  allow\n");
}

TEST_F(CustomACLTest, AMaskThatDoesNotEvaluateIsRefused) {
    EXPECT_EQ(refused("alice:allow:read|"), "syntax error\n");
    EXPECT_EQ(refused("alice:allow:"), "syntax error\n");
}

TEST_F(CustomACLTest, AFurtherColonReachesTheMask) {
    CustomACL acl;
    const std::string text =
        said([&] { EXPECT_TRUE(CustomACL::parse(acl, "alice:allow:read:", kNames, InitModeStrict)); });
    EXPECT_EQ(text, "unexpected character: :\n");
    EXPECT_EQ(acl.getEntries()[0].mask, kRead);
}

TEST_F(CustomACLTest, AMaskKeepsItsLow32Bits) {
    EXPECT_EQ(parsed("alice:allow:0x1FFFFFFF5").getEntries()[0].mask, 0xFFFFFFF5u);
    EXPECT_EQ(parsed("alice:allow:~0").getEntries()[0].mask, 0xFFFFFFFFu);
}

TEST_F(CustomACLTest, WithoutATableAMaskHasNoNames) {
    CustomACL acl;
    EXPECT_TRUE(CustomACL::parse(acl, "alice:allow:3", nullptr, InitModeStrict));
    said([&] { EXPECT_FALSE(CustomACL::parse(acl, "alice:allow:read", nullptr, InitModeStrict)); });
}

TEST_F(CustomACLTest, AnUnknownUserIsRefusedInStrictMode) {
    EXPECT_EQ(refused("nosuchuser:allow:1").substr(0, 25), "user nosuchuser unknown: ");
    EXPECT_EQ(refused("nosuchuser:allow:1", static_cast<InitMode>(0)).substr(0, 24), "user nosuchuser unknown:");
    EXPECT_EQ(refused("nosuchuser:allow:1", static_cast<InitMode>(3)).substr(0, 24), "user nosuchuser unknown:");
}

TEST_F(CustomACLTest, AnUnknownGroupIsRefusedInStrictMode) {
    EXPECT_EQ(refused("%nosuchgroup:allow:1").substr(0, 27), "group nosuchgroup unknown: ");
    EXPECT_EQ(refused("%:allow:1").substr(0, 16), "group  unknown: ");
}

TEST_F(CustomACLTest, AnUnknownSIDIsRefusedInStrictMode) {
    EXPECT_EQ(refused("S-1-5-21-1-2-3-1000:allow:1"),
              std::string("mbr_sid_to_uuid (S-1-5-21-1-2-3-1000): ") + std::strerror(ENOENT) + "\n");
}

TEST_F(CustomACLTest, TolerantModeKeepsWhatCannotBeResolvedWithANullIdentity) {
    CustomACL acl;
    said([&] {
        acl = parsed("nosuchuser:allow:1/%nosuchgroup:deny:2/S-1-5-21-9:allow:4/alice:allow:8", InitModeTolerant);
    });
    ASSERT_EQ(acl.getEntries().size(), 4u);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(acl.getEntries()[static_cast<std::size_t>(i)].uuid.isNull());
    EXPECT_EQ(acl.getEntries()[0].status, 0);
    EXPECT_EQ(acl.getEntries()[2].status, ENOENT) << "only a SID keeps why";
    EXPECT_EQ(acl.getUnresolvedCount(), 0u) << "a text does not count them";
    acl.cleanup();
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].uuid, kAlice);
}

TEST_F(CustomACLTest, TheEntriesBeforeAFailureStay) {
    CustomACL acl;
    said([&] { EXPECT_FALSE(CustomACL::parse(acl, "alice:allow:1/bob:deny:2/x", kNames, InitModeStrict)); });
    EXPECT_EQ(acl.getEntries().size(), 2u);
    EXPECT_FALSE(acl.isUnrestricted());
}

TEST_F(CustomACLTest, ReadingAgainReplacesTheEntries) {
    CustomACL acl = parsed("alice:allow:1/bob:allow:1");
    EXPECT_TRUE(CustomACL::parse(acl, "bob:allow:2", kNames, InitModeStrict));
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].uuid, kBob);
    const PListNavigator navigator(
        PListAndInfo{list({entry(text("deny"), "UserName", text("alice"), number(4))}), L""});
    EXPECT_TRUE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict));
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].uuid, kAlice);
}

TEST_F(CustomACLTest, ATextLeavesTheCountOfUnresolvedEntriesAsItIs) {
    CustomACL acl;
    said([&] { acl = read(list({entry(text("allow"), "SID", text("S-1-5-21-1"), number(1))}), InitModeTolerant); });
    said([&] { EXPECT_TRUE(CustomACL::parse(acl, "S-1-5-21-2:allow:1", kNames, InitModeTolerant)); });
    EXPECT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].status, ENOENT);
    EXPECT_EQ(acl.getUnresolvedCount(), 1u);
    EXPECT_TRUE(CustomACL::parse(acl, nullptr, kNames, InitModeTolerant));
    EXPECT_EQ(acl.getUnresolvedCount(), 1u);
}

TEST_F(CustomACLTest, ReadsMegabytesOfEntries) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::string text;
    for (int i = 0; i < 100000; ++i) text += "S-1-22-1-" + std::to_string(i) + ":allow:1/";
    const CustomACL acl = parsed(text.c_str());
    ASSERT_EQ(acl.getEntries().size(), 100000u);
    EXPECT_EQ(acl.getEntries()[99999].uuid, user(99999));
    EXPECT_TRUE(acl.checkAccess(user(99999), 1));
}

TEST_F(CustomACLTest, ANameThatCannotBeLookedUpIsRefusedWithTheReason) {
    namesFail = true;
    const std::string ofUser = refused("alice:allow:1"), ofGroup = refused("%staff:allow:1");
    namesFail = false;
    EXPECT_EQ(ofUser, std::string("user alice unknown: ") + std::strerror(EIO) + "\n");
    EXPECT_EQ(ofGroup, std::string("group staff unknown: ") + std::strerror(EIO) + "\n");
}

TEST_F(CustomACLTest, ANameThatNobodyHasIsNoErrorOfTheSystem) {
    for (const char* text : {"nosuchuser:allow:1", "%nosuchgroup:allow:1"}) {
        EXPECT_EQ(refused(text).find(std::strerror(EDOM)), std::string::npos) << "an error of something else";
    }
}

TEST_F(CustomACLTest, ASIDThatCannotBeResolvedIsRefusedWithTheReason) {
    membershipFails = true;
    const std::string ofSID = refused("S-1-22-1-70001:allow:1");
    textsOfSIDsFail = true;
    const std::string withoutText = refused("S-1-22-1-70001:allow:1");
    textsOfSIDsFail = membershipFails = false;
    EXPECT_EQ(ofSID, std::string("mbr_sid_to_uuid (S-1-22-1-70001): ") + std::strerror(EIO) + "\n");
    EXPECT_EQ(withoutText, std::string("mbr_sid_to_uuid (): ") + std::strerror(EIO) + "\n");
}

TEST_F(CustomACLTest, ANameWithoutAUUIDIsRefused) {
    membershipFails = true;
    errno = 0;
    const std::string ofUser = refused("alice:allow:1");
    const int errorOfUser = std::exchange(errno, 0);
    const std::string ofGroup = refused("%staff:allow:1");
    const int errorOfGroup = errno;
    CustomACL tolerant;
    said([&] { tolerant = parsed("alice:allow:1/%staff:allow:1/S-1-22-1-70001:allow:1", InitModeTolerant); });
    membershipFails = false;
    EXPECT_EQ(ofUser, "mbr_uid_to_uuid (alice)\n");
    EXPECT_EQ(ofGroup, "mbr_gid_to_uuid (staff)\n");
    EXPECT_EQ(errorOfUser, EIO);
    EXPECT_EQ(errorOfGroup, EIO);
    ASSERT_EQ(tolerant.getEntries().size(), 3u);
    for (const CustomACE& each : tolerant.getEntries()) EXPECT_TRUE(each.uuid.isNull());
}

TEST_F(CustomACLTest, ALongNameIsJustUnknown) {
    const std::string text = std::string(1 << 20, 'n') + ":allow:1";
    EXPECT_NE(refused(text.c_str()).find(" unknown"), std::string::npos);
}

TEST_F(CustomACLTest, ReadsAMaskOfAMegabyte) {
    std::string text = "alice:allow:1";
    while (text.size() < (1u << 20)) text += "|read , 0x10";
    EXPECT_EQ(parsed(text.c_str()).getEntries()[0].mask, 0x11u);
}

TEST_F(CustomACLTest, MegabytesOfSeparatorsAreNoEntries) {
    EXPECT_TRUE(parsed(std::string(1 << 22, '/').c_str()).getEntries().empty());
    EXPECT_EQ(refused(std::string(1 << 22, ':').c_str()),
              "syntax error in ACL string, position 1: ::::::::::::::::::::\n\n");
}

TEST_F(CustomACLTest, ANameMayHoldABackslashSpacesAndCharactersBeyondASCII) {
    EXPECT_EQ(parsed("DOMAIN\\carol:allow:1").getEntries()[0].uuid, user(70003));
    EXPECT_EQ(parsed("J\xC3\xBCrgen M.:allow:1").getEntries()[0].uuid, user(70004));
    EXPECT_EQ(refused("\xFF\xFE:allow:1").substr(0, 15), "user \xFF\xFE unknown");
    EXPECT_EQ(refused(" alice:allow:1").substr(0, 19), "user  alice unknown");
}

TEST_F(CustomACLTest, AnIdThatIsAlmostAUUIDOrASIDIsAName) {
    EXPECT_EQ(refused("12345678-1234-1234-1234-12345678901:allow:1").substr(0, 10), "user 12345");
    EXPECT_EQ(refused("s-1-22-1-70001:allow:1").substr(0, 10), "user s-1-2");
    EXPECT_EQ(refused("{12345678-1234-1234-1234-123456789012}:allow:1").substr(0, 6), "user {");
}

TEST_F(CustomACLDeathTest, AConstructorThatCannotReadItsTextEndsTheProcess) {
    EXPECT_DEATH(CustomACL("alice", kNames, InitModeStrict),
                 "syntax error in ACL string, position 1: alice\n\n.*\\]KXCoreLib/CustomACL:41: abort\\(\\) called");
}

// ---- The property-list form

TEST_F(CustomACLTest, ANodeWithoutAValueIsUnrestricted) {
    CustomACL acl = parsed("alice:allow:1");
    const PListNavigator navigator({dict({}), L"list"});
    EXPECT_TRUE(CustomACL::read(acl, navigator.root() / "ACL", kNames, InitModeStrict));
    EXPECT_TRUE(acl.isUnrestricted());
    EXPECT_TRUE(acl.checkAccess(kStranger, 0xFFFFFFFF));
}

TEST_F(CustomACLTest, AStringIsReadAsAText) {
    EXPECT_TRUE(read(text("alice:allow:read")).checkAccess(kAlice, kRead));
    CustomACL acl;
    const PListNavigator navigator({text("x"), L"list"});
    EXPECT_EQ(said([&] { EXPECT_FALSE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict)); }),
              "syntax error in ACL string, position 1: x\n\n");
}

TEST_F(CustomACLTest, AnEmptyArrayIsAListWithoutEntries) {
    const CustomACL acl = read(list({}));
    EXPECT_FALSE(acl.isUnrestricted());
    EXPECT_FALSE(acl.checkAccess(kAlice, 1));
}

TEST_F(CustomACLTest, AnythingElseIsABadACL) {
    for (const PropertyListRef& value : {number(1), boolean(true), dict({}), data("x"), date(0)}) {
        EXPECT_EQ(errorOf(value), L"bad ACL at list");
    }
}

TEST_F(CustomACLTest, AnElementThatIsNoDictionaryIsABadACE) {
    for (const PropertyListRef& value : {number(1), text("alice:allow:1"), list({}), boolean(false)}) {
        EXPECT_EQ(errorOf(list({entry(text("allow"), "UserName", text("alice"), number(1)), value})),
                  L"bad ACE at list [/Item_1]");
    }
}

TEST_F(CustomACLTest, ReadsUserGroupAndSIDEntries) {
    const CustomACL acl = read(list({entry(text("deny"), "UserName", text("alice"), number(2)),
                                     entry(text("allow"), "GroupName", text("staff"), text("read|write")),
                                     entry(text("allow"), "SID", text("S-1-22-1-70001"), text("execute"))}));
    ASSERT_EQ(acl.getEntries().size(), 3u);
    EXPECT_EQ(acl.getEntries()[0].type, CustomACETypeDeny);
    EXPECT_TRUE(acl.checkAccess(kBob, kRead | kWrite));
    EXPECT_TRUE(acl.checkAccess(kAlice, kExecute));
    EXPECT_FALSE(acl.checkAccess(kAlice, kWrite));
}

TEST_F(CustomACLTest, TheTypeMustBeAllowOrDeny) {
    for (const PropertyListRef& type : {text(""), text("Allow"), text("permit"), number(2), boolean(true)}) {
        EXPECT_EQ(errorOf(list({entry(type, "UserName", text("alice"), number(1))})),
                  L"bad type of ACL entry at list [/Item_0/Type]");
    }
    EXPECT_EQ(errorOf(list({dict({{"UserName", text("alice")}, {"AccessMask", number(1)}})})),
              L"bad type of ACL entry at list [/Item_0/Type]");
}

TEST_F(CustomACLTest, AWellFormedUUIDIsRefusedAndAnyOtherTextGivesANullIdentity) {
    EXPECT_EQ(errorOf(list({entry(text("allow"), "UUID", text("12345678-1234-1234-1234-123456789012"), number(1))})),
              L"bad UUID in ACL entry at list [/Item_0/UUID]");
    CustomACL acl = read(list({entry(text("allow"), "UUID", text("not a UUID"), number(1))}));
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_TRUE(acl.getEntries()[0].uuid.isNull());
    acl.cleanup();
    EXPECT_TRUE(acl.getEntries().empty());
}

TEST_F(CustomACLTest, TheFirstIdentityKeyCounts) {
    const CustomACL acl = read(list({dict({{"Type", text("allow")},
                                           {"AccessMask", number(1)},
                                           {"UserName", text("alice")},
                                           {"GroupName", text("nosuchgroup")},
                                           {"SID", text("no SID")}})}));
    EXPECT_EQ(acl.getEntries()[0].uuid, kAlice);
    EXPECT_TRUE(read(list({dict({{"Type", text("allow")},
                                 {"AccessMask", number(1)},
                                 {"UUID", text("x")},
                                 {"UserName", text("alice")}})}))
                    .getEntries()[0]
                    .uuid.isNull());
}

TEST_F(CustomACLTest, AnEntryWithoutAnIdentityIsRefused) {
    EXPECT_EQ(errorOf(list({dict({{"Type", text("allow")}, {"AccessMask", number(1)}})})),
              L"bad ACL entry: id missing at list [/Item_0]");
}

TEST_F(CustomACLTest, ABadSIDIsRefused) {
    EXPECT_EQ(errorOf(list({entry(text("allow"), "SID", text("S-1"), number(1))})),
              L"bad SID in ACL entry at list [/Item_0/SID]");
}

TEST_F(CustomACLTest, AnIdentityOfAnotherTypeIsAnUnexpectedType) {
    for (const char* key : {"UUID", "UserName", "GroupName", "SID"}) {
        CustomACL acl;
        const PListNavigator navigator({list({entry(text("allow"), key, number(5), number(1))}), L"list"});
        EXPECT_THROW(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict), PListUnexpectedTypeError) << key;
    }
}

TEST_F(CustomACLTest, AMaskOfANumberKeepsItsLow32Bits) {
    EXPECT_EQ(read(list({entry(text("allow"), "UserName", text("alice"), number(4294967301))})).getEntries()[0].mask,
              5u);
    EXPECT_EQ(read(list({entry(text("allow"), "UserName", text("alice"), number(-1))})).getEntries()[0].mask,
              0xFFFFFFFFu);
}

TEST_F(CustomACLTest, AMaskOfARealIsItsIntegerWhere64BitsHoldIt) {
    const auto maskOf = [](double value) {
        return read(list({entry(text("allow"), "UserName", text("alice"), real(value))})).getEntries()[0].mask;
    };
    EXPECT_EQ(maskOf(5), 5u);
    EXPECT_EQ(maskOf(5.9), 5u);
    EXPECT_EQ(maskOf(-1), 0xFFFFFFFFu);
    EXPECT_EQ(maskOf(4294967301.5), 5u);
    EXPECT_EQ(maskOf(-0x1p63), 0u);
    EXPECT_EQ(maskOf(0x1.fffffffffffffp62), 0xFFFFFC00u);
    for (const double none : {double{INFINITY}, -double{INFINITY}, double{NAN}, 1e30, -1e30, 0x1p63, 1e19,
                              std::nextafter(-0x1p63, -1e30)}) {
        EXPECT_EQ(errorOf(list({entry(text("allow"), "UserName", text("alice"), real(none))})),
                  L"bad access mask in ACL entry at list [/Item_0/AccessMask]")
            << none;
    }
}

TEST_F(CustomACLTest, ABadMaskIsRefused) {
    const std::wstring expected = L"bad access mask in ACL entry at list [/Item_0/AccessMask]";
    const auto error = [&](const PropertyListRef& mask, const BitMaskConstant* table = kNames) {
        std::wstring got;
        said([&] { got = errorOf(list({entry(text("allow"), "UserName", text("alice"), mask)}), table); });
        return got;
    };
    EXPECT_EQ(error(text("read|")), expected);
    EXPECT_EQ(error(text("")), expected);
    EXPECT_EQ(error(boolean(true)), expected);
    EXPECT_EQ(error(list({})), expected);
    EXPECT_EQ(error(text("1"), nullptr), expected) << "a text needs a table";
    EXPECT_EQ(errorOf(list({dict({{"Type", text("allow")}, {"UserName", text("alice")}})})), expected);
}

TEST_F(CustomACLTest, CountsTheSIDsThatCouldNotBeResolved) {
    CustomACL acl;
    said([&] {
        acl = read(list({entry(text("allow"), "SID", text("S-1-5-21-1"), number(1)),
                         entry(text("allow"), "SID", text("S-1-5-21-2"), number(1)),
                         entry(text("allow"), "UserName", text("nosuchuser"), number(1)),
                         entry(text("allow"), "UserName", text("alice"), number(1))}),
                   InitModeTolerant);
    });
    EXPECT_EQ(acl.getUnresolvedCount(), 2u);
    EXPECT_EQ(acl.getEntries()[0].status, ENOENT);
    read(list({}));
    const PListNavigator navigator({list({}), L"list"});
    EXPECT_TRUE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict));
    EXPECT_EQ(acl.getUnresolvedCount(), 0u);
}

TEST_F(CustomACLTest, AnUnresolvedNameFailsReadingInStrictMode) {
    for (const auto& [key, id] :
         {std::pair("UserName", "nosuchuser"), {"GroupName", "nosuchgroup"}, {"SID", "S-1-5-21-1"}}) {
        CustomACL acl;
        const PListNavigator navigator({list({entry(text("allow"), key, text(id), number(1))}), L"list"});
        said([&] { EXPECT_FALSE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict)); });
    }
}

TEST_F(CustomACLTest, AListNamesItsUsersWithoutAnySyntax) {
    const auto userOf = [](const char* name) {
        return read(list({entry(text("allow"), "UserName", text(name), number(1))})).getEntries()[0].uuid;
    };
    EXPECT_EQ(userOf("%odd"), user(70005));
    EXPECT_EQ(userOf("DOMAIN\\carol"), user(70003));
    EXPECT_EQ(userOf("J\xC3\xBCrgen M."), user(70004));
    for (const char* name : {"", "alice:allow:1", "a/b", "12345678-1234-1234-1234-123456789012", "S-1-22-1-70001"}) {
        CustomACL acl;
        const PListNavigator navigator({list({entry(text("allow"), "UserName", text(name), number(1))}), L"list"});
        const std::string expected = "user " + std::string(name) + " unknown: ";
        EXPECT_EQ(said([&] {
                      EXPECT_FALSE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict));
                  }).substr(0, expected.size()),
                  expected);
    }
}

TEST_F(CustomACLTest, ATextThatUTF8OrANULCutsShortIsNeverTakenForWhatStandsBeforeTheCut) {
    for (const char16_t* cutter : {u"\0", u"\xD800", u"\xDC00", u"\xDC00\xD800"}) {
        const auto cut = [cutter](const char* before, const char* after = "x") {
            std::u16string units(before, before + std::strlen(before));
            units += std::u16string_view(cutter).empty() ? std::u16string_view(u"\0", 1) : cutter;
            units.append(after, after + std::strlen(after));
            return PropertyListRef::adopt(CFStringCreateWithCharacters(
                nullptr, reinterpret_cast<const UniChar*>(units.data()), static_cast<CFIndex>(units.size())));
        };
        for (const char* after : {"x", ""}) {
            EXPECT_EQ(errorOf(list({entry(cut("allow", after), "UserName", text("alice"), number(1))})),
                      L"bad type of ACL entry at list [/Item_0/Type]");
            EXPECT_EQ(errorOf(list({entry(text("allow"), "SID", cut("S-1-22-1-70001", after), number(1))})),
                      L"bad SID in ACL entry at list [/Item_0/SID]");
            EXPECT_EQ(errorOf(list({entry(text("allow"), "UserName", text("alice"), cut("read", after))})),
                      L"bad access mask in ACL entry at list [/Item_0/AccessMask]");
            EXPECT_EQ(errorOf(list({entry(text("allow"), "UUID", cut("12345678-1234-1234-1234-123456789012", after),
                                          number(1))})),
                      L"none");
            EXPECT_EQ(errorOf(cut("alice:allow:1", after)), L"bad ACL at list");
            for (const auto& [key, name, message] :
                 {std::tuple("UserName", "alice", "user  unknown: "), {"GroupName", "staff", "group  unknown: "}}) {
                CustomACL acl;
                const PListNavigator navigator({list({entry(text("allow"), key, cut(name, after), number(1))}), L"l"});
                EXPECT_EQ(said([&] {
                              EXPECT_FALSE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict));
                          }).substr(0, std::strlen(message)),
                          message);
            }
        }
    }
}

TEST_F(CustomACLTest, AWholePairIsATextLikeAnyOther) {
    EXPECT_EQ(said([] {
                  CustomACL acl;
                  const PListNavigator navigator(
                      {list({entry(text("allow"), "UserName", text("\xF0\x9F\x98\x80"), number(1))}), L"list"});
                  EXPECT_FALSE(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict));
              }).substr(0, 18),
              "user \xF0\x9F\x98\x80 unknown:");
}

TEST_F(CustomACLTest, ReadsAListOf100000Entries) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::vector<PropertyListRef> elements;
    for (int i = 0; i < 100000; ++i) {
        elements.push_back(
            entry(text(i % 2 ? "allow" : "deny"), "SID", text("S-1-22-1-" + std::to_string(i)), number(i)));
    }
    const CustomACL acl = read(list(elements));
    ASSERT_EQ(acl.getEntries().size(), 100000u);
    for (unsigned i = 0; i < 100000; i += 777) {
        EXPECT_EQ(acl.getEntries()[i].uuid, user(i));
        EXPECT_EQ(acl.getEntries()[i].mask, i);
        EXPECT_EQ(acl.getEntries()[i].type, i % 2 ? CustomACETypeAllow : CustomACETypeDeny);
    }
}

TEST_F(CustomACLTest, AFaultLateInAListLeavesTheEntriesBeforeIt) {
    CustomACL acl;
    const PListNavigator navigator({list({entry(text("allow"), "SID", text("S-1-22-1-1"), number(1)), text("x"),
                                          entry(text("allow"), "SID", text("S-1-22-1-2"), number(1))}),
                                    L"list"});
    EXPECT_THROW(CustomACL::read(acl, navigator.root(), kNames, InitModeStrict), PListValueError);
    EXPECT_FALSE(acl.isUnrestricted());
    ASSERT_EQ(acl.getEntries().size(), 1u);
    EXPECT_EQ(acl.getEntries()[0].uuid, user(1));
}

TEST_F(CustomACLTest, AConstructorPassesAnErrorOfTheListOn) {
    const PListNavigator navigator({number(1), L"list"});
    EXPECT_THROW(CustomACL(navigator.root(), kNames, InitModeStrict), PListValueError);
}

TEST_F(CustomACLDeathTest, AConstructorThatCannotReadItsNodeEndsTheProcess) {
    const PListNavigator navigator({text("x"), L"list"});
    EXPECT_DEATH(CustomACL(navigator.root(), kNames, InitModeStrict), "\\]KXCoreLib/CustomACL:53: abort\\(\\) called");
}

// ---- The decision

TEST_F(CustomACLTest, EverybodyMatchesAnyUser) {
    const CustomACL acl = parsed("ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C:allow:0xFF");
    for (const UUID& someone : {kAlice, kStranger, kForeign, UUID{}}) EXPECT_TRUE(acl.checkAccess(someone, 0x0F));
    EXPECT_FALSE(acl.checkAccess(kAlice, 0x100));
}

TEST_F(CustomACLTest, NobodyNeverMatchesNotEvenItself) {
    const CustomACL acl = parsed("ABCDEFAB-CDEF-ABCD-EFAB-CDEFFFFFFFFE:deny:1/alice:allow:1");
    EXPECT_TRUE(acl.checkAccess(kAlice, 1));
    EXPECT_FALSE(parsed("ABCDEFAB-CDEF-ABCD-EFAB-CDEFFFFFFFFE:allow:1").checkAccess(wellknown(0xFFFFFFFE), 1));
}

TEST_F(CustomACLTest, AnOrdinaryGroupIsNeverEverybodyOrNobody) {
    names.setGroups("man:x:12:bob\nlast:x:4294967294:bob\n");
    for (const char* id : {"%man", "S-1-22-2-12", "%last", "S-1-22-2-4294967294"}) {
        const CustomACL allowing = parsed((std::string(id) + ":allow:0xFF").c_str());
        EXPECT_TRUE(allowing.checkAccess(kBob, 0xFF)) << id;
        EXPECT_FALSE(allowing.checkAccess(kAlice, 1)) << id;
        const CustomACL denying =
            parsed((std::string(id) + ":deny:1/ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C:allow:1").c_str());
        EXPECT_FALSE(denying.checkAccess(kBob, 1)) << id;
        EXPECT_TRUE(denying.checkAccess(kAlice, 1)) << id;
    }
}

TEST(KxdKauthWellknownGuid, IsTheLastFourBytesBehindTheTwelveOfEveryWellKnownIdentity) {
    for (const unsigned expected : {0u, 12u, 0x01020304u, 0xFFFFFFFEu}) {
        std::uint32_t number = ~expected;
        EXPECT_TRUE(KxdKauthWellknownGuid(wellknown(expected), number));
        EXPECT_EQ(number, expected);
    }
    for (int i = 0; i < 12; ++i) {
        UUID other = wellknown(kWellknownEverybody);
        other.bytes[i] ^= 1;
        std::uint32_t number = 0;
        EXPECT_FALSE(KxdKauthWellknownGuid(other, number)) << i;
    }
}

TEST_F(CustomACLTest, AnyOtherWellKnownIdentityIsAnOrdinaryOne) {
    const CustomACL acl = parsed("ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000D:allow:1");
    EXPECT_TRUE(acl.checkAccess(wellknown(13), 1));
    EXPECT_FALSE(acl.checkAccess(kAlice, 1));
}

TEST_F(CustomACLTest, WhereMembershipCannotBeFoundOutADenyMatchesAndAnAllowDoesNot) {
    EXPECT_FALSE(parsed("%staff:deny:1/ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C:allow:1").checkAccess(kStranger, 1));
    EXPECT_FALSE(parsed("%staff:allow:1").checkAccess(kStranger, 1));
    EXPECT_FALSE(parsed("12345678-1234-1234-1234-123456789012:deny:1/alice:allow:1").checkAccess(kAlice, 1));
}

TEST_F(CustomACLTest, ADenyOfOtherBitsDoesNotRefuse) {
    EXPECT_TRUE(parsed("alice:deny:write/alice:allow:read").checkAccess(kAlice, kRead));
}

TEST_F(CustomACLTest, ARequestForNothingIsGrantedWhereNothingDeniesIt) {
    EXPECT_TRUE(parsed("alice:deny:~0").checkAccess(kAlice, 0));
}

TEST_F(CustomACLTest, CleanupKeepsTheOrderOfTheRest) {
    CustomACL acl({{CustomACETypeAllow, 0, 1, kBob},
                   {CustomACETypeAllow, 0, 2, UUID{}},
                   {CustomACETypeDeny, 0, 4, kAlice},
                   {CustomACETypeAllow, 0, 8, UUID{}}});
    acl.cleanup();
    ASSERT_EQ(acl.getEntries().size(), 2u);
    EXPECT_EQ(acl.getEntries()[0].uuid, kBob);
    EXPECT_EQ(acl.getEntries()[1].uuid, kAlice);
}

TEST_F(CustomACLDeathTest, AMatchingEntryOfAnotherTypeEndsTheProcess) {
    for (const std::uint32_t type : {0u, 3u}) {
        const CustomACL acl({{static_cast<CustomACEType>(type), 0, 1, kAlice}});
        EXPECT_DEATH((void)acl.checkAccess(kAlice, 1), "\\]KXCoreLib/CustomACL:614: abort\\(\\) called");
    }
}

TEST_F(CustomACLDeathTest, EveryEntryIsVisitedEvenWhenNothingRemainsToBeGranted) {
    const CustomACL acl({{CustomACETypeAllow, 0, 1, kAlice}, {3, 0, 0, kAlice}});
    EXPECT_DEATH((void)acl.checkAccess(kAlice, 1), "\\]KXCoreLib/CustomACL:614: abort\\(\\) called");
    EXPECT_DEATH((void)acl.checkAccess(kAlice, 0), "\\]KXCoreLib/CustomACL:614: abort\\(\\) called");
}

TEST_F(CustomACLDeathTest, AListOfTooManyEntriesEndsTheProcess) {
    constexpr std::size_t kTooMany = 0xFFFFFFFF;
    // The entries are room that no memory stands behind, but for the first, which decides.
    void* const room = mmap(nullptr, kTooMany * sizeof(CustomACE), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) GTEST_SKIP() << "no such room here, as under valgrind";
    auto* const first = new (room) CustomACE{CustomACETypeDeny, 0, 1, kAlice};
    const auto check = [first](std::size_t count) {
        // A vector made of its three pointers, and never destroyed: none could be filled.
        CustomACE* const pointers[] = {first, first + count, first + count};
        alignas(std::vector<CustomACE>) unsigned char vector[sizeof(std::vector<CustomACE>)];
        static_assert(sizeof vector == sizeof pointers);
        std::memcpy(vector, pointers, sizeof vector);
        alignas(CustomACL) unsigned char place[sizeof(CustomACL)];
        return (new (place) CustomACL(std::move(*reinterpret_cast<std::vector<CustomACE>*>(vector))))
            ->checkAccess(kAlice, 1);
    };
    EXPECT_FALSE(check(kTooMany - 1));
    EXPECT_DEATH((void)check(kTooMany), "\\]KXCoreLib/CustomACL:543: abort\\(\\) called");
    munmap(room, kTooMany * sizeof(CustomACE));
}

TEST_F(CustomACLDeathTest, AnEntryOfAnotherTypeWhoseMembershipCannotBeFoundOutEndsTheProcess) {
    const CustomACL acl({{static_cast<CustomACEType>(3), 0, 1, kForeign}});
    EXPECT_DEATH((void)acl.checkAccess(kAlice, 1), "\\]KXCoreLib/CustomACL:592: abort\\(\\) called");
}

TEST_F(CustomACLTest, ManyThreadsCheckAgainstOneList) {
    // No groups here: the wrapper that stands in for the name service lists them for one thread at a time only.
    const CustomACL acl = parsed("bob:deny:write/ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C:allow:read|write/alice:deny:1");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_TRUE(acl.checkAccess(kBob, kRead));
                EXPECT_FALSE(acl.checkAccess(kBob, kWrite));
                EXPECT_TRUE(acl.checkAccess(kAlice, kRead));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}
