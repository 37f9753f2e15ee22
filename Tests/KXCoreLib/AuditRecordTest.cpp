#include "Deletions.h"
#include "TemporaryFolder.h"

#include <KXCoreLib/AuditRecord.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

using namespace KXCore;

namespace {

constexpr UUID kUUID{{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0x00, 0x00, 0x00, 0x0C}};
constexpr const char* kUUIDText = "ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C";

std::uint64_t fileTime(timeval date) {
    AuditRecord record;
    record.set_date(date);
    return record.get_date_as_winnt_file_time();
}

int typeOf(const char* text) {
    AuditRecord record;
    record.set_type_str(text);
    return record.get_type();
}

std::string textOfType(int type) {
    AuditRecord record;
    record.set_type(type);
    return record.get_type_str();
}

int deviceTypeOf(const char* text) {
    AuditRecord record;
    record.set_device_type_str(text);
    return record.get_device_type();
}

std::string textOfDeviceType(int type) {
    AuditRecord record;
    record.set_device_type(type);
    return record.get_device_type_str();
}

TEST(AuditRecordNames, StandForTheValuesThatRecordsHold) {
    AuditRecord record;
    const std::pair<AuditType, const char*> types[] = {{AuditTypeError, "error"},
                                                       {AuditTypeWarning, "warning"},
                                                       {AuditTypeInfo, "info"},
                                                       {AuditTypeSuccess, "asuccess"},
                                                       {AuditTypeFailure, "afailure"}};
    for (const auto& [value, text] : types) {
        record.set_type(value);
        EXPECT_STREQ(record.get_type_str(), text);
    }
    const std::pair<AuditDeviceType, const char*> devices[] = {{AuditDeviceTypeUnknown, "Unknown"},
                                                               {AuditDeviceTypeFloppy, "Floppy"},
                                                               {AuditDeviceTypeRemovable, "Removable"},
                                                               {AuditDeviceTypeHardDisk, "Hard disk"},
                                                               {AuditDeviceTypeOpticalDrive, "Optical drive"},
                                                               {AuditDeviceTypeSerialPort, "Serial port"},
                                                               {AuditDeviceTypeUSBPort, "USB port"},
                                                               {AuditDeviceTypeFireWirePort, "FireWire port"},
                                                               {AuditDeviceTypeBluetooth, "BlueTooth"},
                                                               {AuditDeviceTypeWiFi, "WiFi"},
                                                               {AuditDeviceTypeService, "Service"}};
    for (const auto& [value, text] : devices) {
        record.set_device_type(value);
        EXPECT_STREQ(record.get_device_type_str(), text);
    }
}

}  // namespace

static_assert(std::is_nothrow_copy_constructible_v<AuditRecord> && std::is_nothrow_copy_assignable_v<AuditRecord>);

TEST(AuditRecord, AFreshRecordHasNothingSet) {
    const AuditRecord record;
    EXPECT_STREQ(record.get_computer_name_str(), "");
    EXPECT_STREQ(record.get_date_str(), "");
    EXPECT_STREQ(record.get_type_str(), "");
    EXPECT_STREQ(record.get_user_uuid_str(), "");
    EXPECT_STREQ(record.get_sid_str(), "");
    EXPECT_STREQ(record.get_user_name_str(), "");
    EXPECT_STREQ(record.get_process_name_str(), "");
    EXPECT_STREQ(record.get_device_type_str(), "");
    EXPECT_STREQ(record.get_action_str(), "");
    EXPECT_STREQ(record.get_name_str(), "");
    EXPECT_STREQ(record.get_information_str(), "");
    EXPECT_STREQ(record.get_schema_tag_str(), "");
    EXPECT_STREQ(record.get_reason_str(), "");
    EXPECT_STREQ(record.get_extra_str(), "");
    EXPECT_EQ(record.get_record_id(), 0);
    EXPECT_EQ(record.get_event_id(), 0);
    EXPECT_EQ(record.get_pid(), -1);
    EXPECT_EQ(record.get_status(), 0);
    EXPECT_FALSE(record.is_set_computer_name());
    EXPECT_FALSE(record.is_set_user_uuid());
    EXPECT_FALSE(record.is_set_sid());
    EXPECT_FALSE(record.is_set_user_name());
    EXPECT_FALSE(record.is_set_pid());
    EXPECT_FALSE(record.is_set_process_name());
    EXPECT_FALSE(record.is_set_device_type());
    EXPECT_FALSE(record.is_set_action());
    EXPECT_FALSE(record.is_set_name());
    EXPECT_FALSE(record.is_set_information());
    EXPECT_FALSE(record.is_set_schema_tag());
    EXPECT_FALSE(record.is_set_reason());
    EXPECT_FALSE(record.is_set_extra());
}

TEST(AuditRecord, AFreshRecordGivesTheValuesOfEmptyTexts) {
    const AuditRecord record;
    EXPECT_EQ(record.get_type(), 0);
    EXPECT_EQ(record.get_device_type(), 0);
    EXPECT_EQ(record.get_schema_tag(), 0);
    EXPECT_TRUE(record.get_user_uuid().isNull());
}

TEST(AuditRecord, KeepsNumbersAsTheyAreSet) {
    AuditRecord record;
    record.set_record_id(std::numeric_limits<long long>::min());
    record.set_event_id(-7);
    record.set_pid(0);
    record.set_status(std::numeric_limits<int>::min());
    EXPECT_EQ(record.get_record_id(), std::numeric_limits<long long>::min());
    EXPECT_EQ(record.get_event_id(), -7);
    EXPECT_EQ(record.get_pid(), 0);
    EXPECT_TRUE(record.is_set_pid());
    EXPECT_EQ(record.get_status(), std::numeric_limits<int>::min());
}

TEST(AuditRecord, PidMinusOneIsNotSet) {
    AuditRecord record;
    record.set_pid(5);
    record.set_pid(-1);
    EXPECT_FALSE(record.is_set_pid());
}

TEST(AuditRecord, BorrowsTextsWithoutCopying) {
    AuditRecord record;
    char text[] = "text";
    record.set_sid_str(text);
    record.set_user_name_str(text);
    record.set_process_name_str(text);
    record.set_action_str(text);
    record.set_name_str(text);
    record.set_information_str(text);
    record.set_reason_str(text);
    record.set_extra_str(text);
    record.set_computer_name_str(text);
    text[0] = 'n';
    for (const char* got : {record.get_sid_str(), record.get_user_name_str(), record.get_process_name_str(),
                            record.get_action_str(), record.get_name_str(), record.get_information_str(),
                            record.get_reason_str(), record.get_extra_str(), record.get_computer_name_str()}) {
        EXPECT_EQ(got, text);
    }
    EXPECT_TRUE(record.is_set_sid() && record.is_set_user_name() && record.is_set_process_name() &&
                record.is_set_action() && record.is_set_name() && record.is_set_information() &&
                record.is_set_reason() && record.is_set_extra() && record.is_set_computer_name());
    text[0] = '\0';
    EXPECT_FALSE(record.is_set_sid() || record.is_set_user_name() || record.is_set_process_name() ||
                 record.is_set_action() || record.is_set_name() || record.is_set_information() ||
                 record.is_set_reason() || record.is_set_extra() || record.is_set_computer_name());
}

TEST(AuditRecord, KeepsTheComputerNameObjectAlive) {
    AuditRecord record;
    record.set_computer_name(NetBiosName::create("host"));
    EXPECT_STREQ(record.get_computer_name_str(), "HOST");
    EXPECT_TRUE(record.is_set_computer_name());
}

TEST(AuditRecord, AComputerNameTextReplacesTheObject) {
    AuditRecord record;
    record.set_computer_name(NetBiosName::create("host"));
    record.set_computer_name_str("Other");
    EXPECT_STREQ(record.get_computer_name_str(), "Other");
}

TEST(AuditRecord, AComputerNameTextReleasesTheObject) {
    AuditRecord record;
    boost::intrusive_ptr<NetBiosName> name = NetBiosName::create("host");
    Deletions::await(name.get());
    record.set_computer_name(name);
    name.reset();
    EXPECT_FALSE(Deletions::came());
    record.set_computer_name_str("Other");
    EXPECT_TRUE(Deletions::came());
}

TEST(AuditRecord, ANullComputerNameClearsIt) {
    AuditRecord record;
    record.set_computer_name_str("Other");
    record.set_computer_name(nullptr);
    EXPECT_STREQ(record.get_computer_name_str(), "");
}

TEST(AuditRecord, FormatsADateAsUTCWithMilliseconds) {
    AuditRecord record;
    record.set_date({1794758562, 123456});
    EXPECT_STREQ(record.get_date_str(), "2026-11-15T16:02:42.123");
}

TEST(AuditRecord, CutsMicrosecondsOffADateWithoutRounding) {
    AuditRecord record;
    record.set_date({0, 999999});
    EXPECT_STREQ(record.get_date_str(), "1970-01-01T00:00:00.999");
}

TEST(AuditRecord, FormatsDatesBefore1970AndFarInTheFuture) {
    AuditRecord record;
    record.set_date({-1, 0});
    EXPECT_STREQ(record.get_date_str(), "1969-12-31T23:59:59.000");
    record.set_date({253402300800, 1000});
    EXPECT_STREQ(record.get_date_str(), "10000-01-01T00:00:00.001");
    record.set_date({std::numeric_limits<time_t>::max(), 0});
    EXPECT_STREQ(record.get_date_str(), ".000");
}

TEST(AuditRecord, WritesMicrosecondsOutsideASecondAsTheyAre) {
    for (const auto& [microseconds, text] : {std::pair(1'000'000L, "1970-01-01T00:00:00.1000"),
                                             {1'234'567L, "1970-01-01T00:00:00.1234"},
                                             {-1L, "1970-01-01T00:00:00.000"},
                                             {-999L, "1970-01-01T00:00:00.000"},
                                             {-1'000L, "1970-01-01T00:00:00.-01"},
                                             {-250'000L, "1970-01-01T00:00:00.-250"}}) {
        AuditRecord record;
        record.set_date({0, microseconds});
        EXPECT_STREQ(record.get_date_str(), text) << microseconds;
        EXPECT_EQ(record.get_date().tv_usec, microseconds);
    }
    EXPECT_EQ(fileTime({0, 1'234'567}), 116444736012345670u);
    EXPECT_EQ(fileTime({0, -1}), 116444735999999990u);
    EXPECT_EQ(fileTime({1, -1'000'000}), fileTime({0, 0}));
    for (const long extreme : {std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
        AuditRecord record;
        record.set_date({253402300799, extreme});
        EXPECT_LT(std::strlen(record.get_date_str()), 32u);
        EXPECT_EQ(std::string(record.get_date_str()).substr(0, 20), "9999-12-31T23:59:59.");
    }
}

TEST(AuditRecord, ADateTextReplacesTheValueAndIsNeverParsed) {
    AuditRecord record;
    record.set_date({77, 5});
    record.set_date_str("yesterday");
    EXPECT_STREQ(record.get_date_str(), "yesterday");
    EXPECT_EQ(record.get_date().tv_sec, 77);
    EXPECT_EQ(record.get_date().tv_usec, 5);
}

TEST(AuditRecord, GivesAFileTimeInHundredsOfNanosecondsSince1601) {
    EXPECT_EQ(fileTime({0, 0}), 116444736000000000u);
    EXPECT_EQ(fileTime({0, 999999}), 116444736009999990u);
    EXPECT_EQ(fileTime({1, 1}), 116444736010000010u);
    EXPECT_EQ(fileTime({-11644473600, 0}), 0u);
}

TEST(AuditRecord, MapsTypesToTexts) {
    EXPECT_EQ(textOfType(1), "error");
    EXPECT_EQ(textOfType(2), "warning");
    EXPECT_EQ(textOfType(4), "info");
    EXPECT_EQ(textOfType(8), "asuccess");
    EXPECT_EQ(textOfType(16), "afailure");
    EXPECT_EQ(textOfType(3), "3");
    EXPECT_EQ(textOfType(0), "0");
    EXPECT_EQ(textOfType(-2147483648), "-2147483648");
}

TEST(AuditRecord, ATypeTextThatNamesAKindGivesTheInvertedValue) {
    EXPECT_EQ(typeOf("error"), 0);
    EXPECT_EQ(typeOf("ERROR"), 0);
    EXPECT_EQ(typeOf("errors"), 1);
    EXPECT_EQ(typeOf("Errors"), 1);
    EXPECT_EQ(typeOf("e"), 1);
    EXPECT_EQ(typeOf("Warning"), 0);
    EXPECT_EQ(typeOf("Warn"), 2);
    EXPECT_EQ(typeOf("w"), 2);
    EXPECT_EQ(typeOf("info"), 0);
    EXPECT_EQ(typeOf("Information"), 4);
    EXPECT_EQ(typeOf("information"), 4);
    EXPECT_EQ(typeOf("asuccess"), 16);
    EXPECT_EQ(typeOf("AFailure"), 8);
    EXPECT_EQ(typeOf("audit"), 16);
}

TEST(AuditRecord, AnyOtherTypeTextIsANumberWithItsPrefix) {
    EXPECT_EQ(typeOf("Bogus"), 0);
    EXPECT_EQ(typeOf("0x10"), 16);
    EXPECT_EQ(typeOf("010"), 8);
    EXPECT_EQ(typeOf("-3"), -3);
    EXPECT_EQ(typeOf("4294967301"), 5);
    EXPECT_EQ(typeOf(""), 0);
}

TEST(AuditRecord, ATypeTextBeyondALongIsTheNearestLongCutTo32Bits) {
    EXPECT_EQ(typeOf("99999999999999999999"), -1);
    EXPECT_EQ(typeOf("0xFFFFFFFFFFFFFFFFFF"), -1);
    EXPECT_EQ(typeOf("-99999999999999999999"), 0);
    EXPECT_EQ(typeOf("9223372036854775807"), -1);
    EXPECT_EQ(typeOf("-9223372036854775808"), 0);
    EXPECT_EQ(typeOf("4294967299"), 3);
    EXPECT_EQ(typeOf("-4294967295"), 1);
    EXPECT_EQ(typeOf("2147483648"), std::numeric_limits<int>::min());
}

TEST(AuditRecord, DerivesTheTypeOnceAndKeepsIt) {
    AuditRecord record;
    char text[] = "16";
    record.set_type_str(text);
    EXPECT_EQ(record.get_type(), 16);
    text[0] = '2';
    EXPECT_EQ(record.get_type(), 16);
    record.set_type_str(text);
    EXPECT_EQ(record.get_type(), 26);
}

TEST(AuditRecord, DerivesIdentityAndDeviceTypeOnceAndKeepsThem) {
    AuditRecord record;
    std::string uuid = kUUIDText, deviceType = "USB port";
    record.set_user_uuid_str(uuid.c_str());
    record.set_device_type_str(deviceType.c_str());
    EXPECT_EQ(record.get_user_uuid(), kUUID);
    EXPECT_EQ(record.get_device_type(), 10);
    uuid[0] = '0';
    deviceType = "Floppy";
    EXPECT_EQ(record.get_user_uuid(), kUUID);
    EXPECT_EQ(record.get_device_type(), 10);
}

TEST(AuditRecord, MapsDeviceTypesToTexts) {
    EXPECT_EQ(textOfDeviceType(0), "Unknown");
    EXPECT_EQ(textOfDeviceType(1), "Floppy");
    EXPECT_EQ(textOfDeviceType(2), "Removable");
    EXPECT_EQ(textOfDeviceType(3), "Hard disk");
    EXPECT_EQ(textOfDeviceType(5), "Optical drive");
    EXPECT_EQ(textOfDeviceType(7), "Serial port");
    EXPECT_EQ(textOfDeviceType(10), "USB port");
    EXPECT_EQ(textOfDeviceType(12), "FireWire port");
    EXPECT_EQ(textOfDeviceType(13), "BlueTooth");
    EXPECT_EQ(textOfDeviceType(14), "WiFi");
    EXPECT_EQ(textOfDeviceType(255), "Service");
    EXPECT_EQ(textOfDeviceType(4), "Unknown");
    EXPECT_EQ(textOfDeviceType(-1), "Unknown");
}

TEST(AuditRecord, FindsTheDeviceTypeOfATextWhateverItsCase) {
    EXPECT_EQ(deviceTypeOf("Unknown"), 0);
    EXPECT_EQ(deviceTypeOf("FLOPPY"), 1);
    EXPECT_EQ(deviceTypeOf("removable"), 2);
    EXPECT_EQ(deviceTypeOf("hard disk"), 3);
    EXPECT_EQ(deviceTypeOf("Optical Drive"), 5);
    EXPECT_EQ(deviceTypeOf("serial port"), 7);
    EXPECT_EQ(deviceTypeOf("usb port"), 10);
    EXPECT_EQ(deviceTypeOf("firewire port"), 12);
    EXPECT_EQ(deviceTypeOf("Bluetooth"), 13);
    EXPECT_EQ(deviceTypeOf("wifi"), 14);
    EXPECT_EQ(deviceTypeOf("service"), 255);
    EXPECT_EQ(deviceTypeOf("usb"), 0);
    EXPECT_EQ(deviceTypeOf("10"), 0);
}

TEST(AuditRecord, ComparesTextsByTheLettersAToZInAnyLocale) {
    // In a Turkish locale the small letter of I is another one than i.
    const TemporaryFolder folder;
    const std::string make = "localedef -i tr_TR -f UTF-8 '" + folder.path().string() + "/tr_TR.UTF-8' >/dev/null 2>&1";
    if (std::system(make.c_str()) != 0) GTEST_SKIP() << "the sources of the Turkish locale are not installed";
    setenv("LOCPATH", folder.path().c_str(), 1);
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    const bool turkish = std::setlocale(LC_CTYPE, "tr_TR.UTF-8") != nullptr;
    const int type = typeOf("INFO"), deviceType = deviceTypeOf("SERIAL PORT");
    std::setlocale(LC_CTYPE, before.c_str());
    unsetenv("LOCPATH");
    ASSERT_TRUE(turkish);
    EXPECT_EQ(type, 0);
    EXPECT_EQ(deviceType, 7);
}

TEST(AuditRecord, ADualFieldSetAsAValueIsSetBeforeItsTextIsMade) {
    AuditRecord record;
    record.set_device_type(0);
    record.set_user_uuid(UUID{});
    record.set_schema_tag(0);
    EXPECT_TRUE(record.is_set_device_type());
    EXPECT_TRUE(record.is_set_user_uuid());
    EXPECT_TRUE(record.is_set_schema_tag());
}

TEST(AuditRecord, FormatsAnIdentityInUpperCase) {
    AuditRecord record;
    record.set_user_uuid(kUUID);
    EXPECT_STREQ(record.get_user_uuid_str(), kUUIDText);
    EXPECT_EQ(record.get_user_uuid(), kUUID);
}

TEST(AuditRecord, ReadsAnIdentityOutOfItsText) {
    AuditRecord record;
    record.set_user_uuid_str("abcdefab-cdef-abcd-efab-cdef0000000c");
    EXPECT_EQ(record.get_user_uuid(), kUUID);
    EXPECT_STREQ(record.get_user_uuid_str(), "abcdefab-cdef-abcd-efab-cdef0000000c");
}

TEST(AuditRecord, AnUnparsableIdentityIsAllZero) {
    AuditRecord record;
    record.set_user_uuid(kUUID);
    record.set_user_uuid_str("not an identity");
    EXPECT_TRUE(record.get_user_uuid().isNull());
}

TEST(AuditRecord, TakesIdentitySIDAndNameFromAnAccountAndKeepsItAlive) {
    AuditRecord record;
    record.set_user(AccountInfo::create(AccountTypeUser, 501, kUUID, "S-1-5-21-1", "HOST\\alice"));
    EXPECT_STREQ(record.get_user_uuid_str(), kUUIDText);
    EXPECT_STREQ(record.get_sid_str(), "S-1-5-21-1");
    EXPECT_STREQ(record.get_user_name_str(), "HOST\\alice");
}

TEST(AuditRecord, KeepsTheAccountWhenALaterSetterReplacesOneOfItsTexts) {
    const std::pair<const char*, void (*)(AuditRecord&)> setters[] = {
        {"name", [](AuditRecord& record) { record.set_user_name_str("other"); }},
        {"SID", [](AuditRecord& record) { record.set_sid_str("other"); }},
        {"identity", [](AuditRecord& record) { record.set_user_uuid(UUID{}); }},
        {"text of the identity", [](AuditRecord& record) { record.set_user_uuid_str("other"); }},
        {"computer", [](AuditRecord& record) { record.set_computer_name_str("other"); }}};
    for (const auto& [what, set] : setters) {
        SCOPED_TRACE(what);
        AuditRecord record;
        boost::intrusive_ptr<AccountInfo> account =
            AccountInfo::create(AccountTypeUser, 501, kUUID, "S-1-5-21-1", "HOST\\alice");
        Deletions::await(account.get());
        record.set_user(account);
        account.reset();
        set(record);
        ASSERT_FALSE(Deletions::came());
        EXPECT_STREQ(record.get_sid_str(), std::string(what) == "SID" ? "other" : "S-1-5-21-1");
        EXPECT_STREQ(record.get_user_name_str(), std::string(what) == "name" ? "other" : "HOST\\alice");
        record.set_user(AccountInfo::create(AccountTypeUser, 502, kUUID, "S-1-5-21-2", "HOST\\bob"));
        EXPECT_TRUE(Deletions::came()) << "another account takes its place";
    }
}

TEST(AuditRecord, ANullAccountClearsIdentitySIDAndName) {
    AuditRecord record;
    record.set_user(AccountInfo::create(AccountTypeUser, 501, kUUID, "S-1-5-21-1", "HOST\\alice"));
    record.set_user(nullptr);
    EXPECT_FALSE(record.is_set_user_uuid());
    EXPECT_FALSE(record.is_set_sid());
    EXPECT_FALSE(record.is_set_user_name());
}

TEST(AuditRecord, SchemaTagValueAndTextAreIndependent) {
    AuditRecord record;
    record.set_schema_tag(7);
    EXPECT_STREQ(record.get_schema_tag_str(), "");
    EXPECT_EQ(record.get_schema_tag(), 7);
    EXPECT_FALSE(record.is_set_schema_tag()) << "asking for the text made it the empty one";
    record.set_schema_tag_str("12");
    EXPECT_TRUE(record.is_set_schema_tag());
    EXPECT_EQ(record.get_schema_tag(), 0);
    EXPECT_STREQ(record.get_schema_tag_str(), "12");
}

TEST(AuditRecord, ACopyMakesItsOwnTexts) {
    AuditRecord copy;
    {
        AuditRecord record;
        record.set_date({0, 5000});
        record.set_type(3);
        record.set_user_uuid(kUUID);
        record.set_device_type(10);
        ASSERT_STREQ(record.get_date_str(), "1970-01-01T00:00:00.005");
        ASSERT_STREQ(record.get_type_str(), "3");
        ASSERT_STREQ(record.get_user_uuid_str(), kUUIDText);
        ASSERT_STREQ(record.get_device_type_str(), "USB port");
        copy = record;
        EXPECT_NE(copy.get_date_str(), record.get_date_str());
        record.set_date({99, 0});
        record.set_type(5);
        record.set_user_uuid(UUID{});
        record.get_date_str();
        record.get_type_str();
        record.get_user_uuid_str();
    }
    EXPECT_STREQ(copy.get_date_str(), "1970-01-01T00:00:00.005");
    EXPECT_STREQ(copy.get_type_str(), "3");
    EXPECT_STREQ(copy.get_user_uuid_str(), kUUIDText);
    EXPECT_STREQ(copy.get_device_type_str(), "USB port");
}

TEST(AuditRecord, ACopyOfARecordThatWasGivenItsOwnTextHoldsTheText) {
    AuditRecord copy;
    {
        AuditRecord record;
        record.set_date({0, 5000});
        record.set_type(3);
        record.set_user_uuid(kUUID);
        record.set_date_str(record.get_date_str() + 11);
        record.set_type_str(record.get_type_str());
        record.set_user_uuid_str(record.get_user_uuid_str());
        copy = record;
    }
    EXPECT_STREQ(copy.get_date_str(), "00:00:00.005");
    EXPECT_STREQ(copy.get_type_str(), "3");
    EXPECT_EQ(copy.get_type(), 3);
    EXPECT_STREQ(copy.get_user_uuid_str(), kUUIDText);
    EXPECT_EQ(copy.get_user_uuid(), kUUID);
}

TEST(AuditRecord, ACopyMakesTheTextsThatTheSourceHasNotMadeYet) {
    AuditRecord record;
    record.set_date({0, 5000});
    record.set_type(3);
    record.set_user_uuid(kUUID);
    record.set_device_type(4);
    record.set_schema_tag(9);
    const AuditRecord copy = record;
    EXPECT_TRUE(copy.is_set_user_uuid() && copy.is_set_device_type() && copy.is_set_schema_tag());
    EXPECT_STREQ(copy.get_date_str(), "1970-01-01T00:00:00.005");
    EXPECT_STREQ(copy.get_type_str(), "3");
    EXPECT_STREQ(copy.get_user_uuid_str(), kUUIDText);
    EXPECT_STREQ(copy.get_device_type_str(), "Unknown");
    EXPECT_EQ(copy.get_schema_tag(), 9);
}

TEST(AuditRecord, ACopySharesBorrowedTextsAndNumbers) {
    AuditRecord record;
    const std::string text = "borrowed";
    record.set_record_id(1);
    record.set_event_id(2);
    record.set_pid(3);
    record.set_status(4);
    record.set_computer_name_str(text.c_str());
    record.set_date_str(text.c_str());
    record.set_type_str(text.c_str());
    record.set_user_uuid_str(text.c_str());
    record.set_sid_str(text.c_str());
    record.set_user_name_str(text.c_str());
    record.set_process_name_str(text.c_str());
    record.set_device_type_str(text.c_str());
    record.set_action_str(text.c_str());
    record.set_name_str(text.c_str());
    record.set_information_str(text.c_str());
    record.set_schema_tag_str(text.c_str());
    record.set_reason_str(text.c_str());
    record.set_extra_str(text.c_str());
    const AuditRecord copy(record);
    EXPECT_EQ(copy.get_record_id(), 1);
    EXPECT_EQ(copy.get_event_id(), 2);
    EXPECT_EQ(copy.get_pid(), 3);
    EXPECT_EQ(copy.get_status(), 4);
    for (const char* got :
         {copy.get_computer_name_str(), copy.get_date_str(), copy.get_type_str(), copy.get_user_uuid_str(),
          copy.get_sid_str(), copy.get_user_name_str(), copy.get_process_name_str(), copy.get_device_type_str(),
          copy.get_action_str(), copy.get_name_str(), copy.get_information_str(), copy.get_schema_tag_str(),
          copy.get_reason_str(), copy.get_extra_str()}) {
        EXPECT_EQ(got, text.c_str());
    }
}

TEST(AuditRecord, ACopyKeepsTheObjectsBehindItsTextsAlive) {
    AuditRecord copy;
    {
        AuditRecord record;
        const boost::intrusive_ptr<NetBiosName> name = NetBiosName::create("host");
        Deletions::await(name.get());
        record.set_computer_name(name);
        copy = record;
    }
    EXPECT_FALSE(Deletions::came());
    EXPECT_STREQ(copy.get_computer_name_str(), "HOST");
    {
        AuditRecord record;
        const boost::intrusive_ptr<AccountInfo> user =
            AccountInfo::create(AccountTypeUser, 501, kUUID, "S-1-5-21-1", "HOST\\alice");
        Deletions::await(user.get());
        record.set_user(user);
        copy = record;
    }
    EXPECT_FALSE(Deletions::came());
    EXPECT_STREQ(copy.get_user_name_str(), "HOST\\alice");
}

TEST(AuditRecord, AssignmentCopiesAValueOnlyWhereItIsValid) {
    AuditRecord target;
    target.set_type(8);
    target.set_device_type(10);
    AuditRecord source;
    source.set_type_str("0x20");
    source.set_device_type_str("floppy");
    target = source;
    EXPECT_EQ(target.get_type(), 32) << "the target's own value would be stale";
    EXPECT_EQ(target.get_device_type(), 1);
}

TEST(AuditRecord, ADateIsCopiedOnceItWasSetOrAskedFor) {
    AuditRecord source;
    source.set_date({77, 0});
    source.set_date_str("yesterday");
    AuditRecord target;
    target.set_date({5, 0});
    target = source;
    EXPECT_EQ(target.get_date().tv_sec, 5) << "the source has a text and no value";
    EXPECT_STREQ(target.get_date_str(), "yesterday");
    source.get_date();
    target = source;
    EXPECT_EQ(target.get_date().tv_sec, 77) << "being asked for makes it valid";

    source.set_date({78, 0});
    source.set_date_str("today");
    source.get_date_as_winnt_file_time();
    target = source;
    EXPECT_EQ(target.get_date().tv_sec, 78) << "in either form";
}

TEST(AuditRecord, AFreshRecordHasNoDateToCopy) {
    AuditRecord record;
    record.set_date({77, 0});
    record = AuditRecord();
    EXPECT_EQ(record.get_date().tv_sec, 77);
}

TEST(AuditRecord, ADeviceTypeIsAValueOrATextWhicheverWasSetLast) {
    AuditRecord record;
    record.set_device_type(AuditDeviceTypeUSBPort);
    EXPECT_EQ(record.get_device_type(), AuditDeviceTypeUSBPort);
    EXPECT_EQ(AuditRecord(record).get_device_type(), AuditDeviceTypeUSBPort);
    record.set_device_type_str("Floppy");
    EXPECT_EQ(record.get_device_type(), AuditDeviceTypeFloppy);
    record.set_device_type_str("no such device");
    EXPECT_EQ(record.get_device_type(), AuditDeviceTypeUnknown);
}

TEST(AuditRecord, SelfAssignmentChangesNothing) {
    AuditRecord record;
    record.set_date({0, 5000});
    record.set_type(3);
    record.set_computer_name(NetBiosName::create("host"));
    const char* const date = record.get_date_str();
    const AuditRecord& same = record;
    record = same;
    EXPECT_EQ(record.get_date_str(), date);
    EXPECT_STREQ(record.get_date_str(), "1970-01-01T00:00:00.005");
    EXPECT_STREQ(record.get_computer_name_str(), "HOST");
}
