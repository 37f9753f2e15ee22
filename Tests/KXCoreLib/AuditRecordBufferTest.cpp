#include "AuditRecordHeader.h"
#include "Deletions.h"

#include <KXCoreLib/AuditRecord.h>

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

using namespace KXCore;

namespace {

using Bytes = std::vector<unsigned char>;
using Texts = std::array<std::string, 14>;

constexpr std::size_t kHeader = 40;

AuditRecord recordOf(const Texts& texts) {
    AuditRecord record;
    record.set_computer_name_str(texts[0].c_str());
    record.set_date_str(texts[1].c_str());
    record.set_type_str(texts[2].c_str());
    record.set_user_uuid_str(texts[3].c_str());
    record.set_sid_str(texts[4].c_str());
    record.set_user_name_str(texts[5].c_str());
    record.set_process_name_str(texts[6].c_str());
    record.set_device_type_str(texts[7].c_str());
    record.set_action_str(texts[8].c_str());
    record.set_name_str(texts[9].c_str());
    record.set_information_str(texts[10].c_str());
    record.set_schema_tag_str(texts[11].c_str());
    record.set_reason_str(texts[12].c_str());
    record.set_extra_str(texts[13].c_str());
    return record;
}

Texts textsOf(const AuditRecord& record) {
    return {record.get_computer_name_str(), record.get_date_str(),        record.get_type_str(),
            record.get_user_uuid_str(),     record.get_sid_str(),         record.get_user_name_str(),
            record.get_process_name_str(),  record.get_device_type_str(), record.get_action_str(),
            record.get_name_str(),          record.get_information_str(), record.get_schema_tag_str(),
            record.get_reason_str(),        record.get_extra_str()};
}

const Texts kTexts = {"t0", "t1", "t2", "t3", "t4", "t5", "t6", "t7", "t8", "t9", "t10", "t11", "t12", "t13"};

void put32(Bytes& bytes, std::size_t at, std::uint32_t value) { std::memcpy(bytes.data() + at, &value, sizeof value); }

std::uint32_t get32(const Bytes& bytes, std::size_t at) {
    std::uint32_t value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

Bytes bytesOf(const AuditRecord& record) {
    Bytes bytes;
    record.append_to_buffer(bytes);
    return bytes;
}

/// Reads at `offset` into a record that is full already, and checks that a refusal left it as it was.
unsigned long readOverFull(const Bytes& bytes, unsigned long offset) {
    const Texts old = {"o0", "o1", "o2", "o3", "o4", "o5", "o6", "o7", "o8", "o9", "o10", "o11", "o12", "o13"};
    AuditRecord record = recordOf(old);
    record.set_record_id(91);
    record.set_event_id(92);
    record.set_pid(93);
    record.set_status(94);
    record.set_computer_name(NetBiosName::create("o0"));
    const unsigned long next = record.read_from_buffer(bytes, offset);
    if (next == AuditRecord::kNoRecord) {
        Texts expected = old;
        expected[0] = "O0";
        EXPECT_EQ(textsOf(record), expected);
        EXPECT_EQ(record.get_record_id(), 91);
        EXPECT_EQ(record.get_event_id(), 92);
        EXPECT_EQ(record.get_pid(), 93);
        EXPECT_EQ(record.get_status(), 94);
    }
    return next;
}

}  // namespace

TEST(AuditRecordBuffer, AnEmptyRecordTakes56Bytes) {
    const Bytes bytes = bytesOf(AuditRecord());
    ASSERT_EQ(bytes.size(), 56u);
    EXPECT_EQ(get32(bytes, 8), 56u);
    EXPECT_TRUE(std::all_of(bytes.begin() + kHeader, bytes.end(), [](unsigned char byte) { return byte == 0; }));
}

TEST(AuditRecordBuffer, WritesTheHeaderFieldByField) {
    AuditRecord record;
    record.set_record_id(0x0102030405060708);
    record.set_event_id(0x11121314);
    record.set_pid(0x21222324);
    record.set_status(-2);
    const Bytes bytes = bytesOf(record);
    const Bytes expected = {'A',  'U',  'D',  'I',  'T',  'R',  'E',  'C',  56,   0,    0,    0,    40,   0,
                            0,    0,    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0x14, 0x13, 0x12, 0x11,
                            0x24, 0x23, 0x22, 0x21, 0xFE, 0xFF, 0xFF, 0xFF, 0,    0,    0,    0};
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + kHeader), expected);
}

TEST(AuditRecordBuffer, APidThatIsNotSetIsWrittenAsMinusOne) {
    EXPECT_EQ(get32(bytesOf(AuditRecord()), 28), 0xFFFFFFFFu);
}

TEST(AuditRecordBuffer, WritesTheTextsInOrderEachWithItsNul) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    std::string expected;
    for (const std::string& text : kTexts) expected.append(text).push_back('\0');
    EXPECT_EQ(std::string(bytes.begin() + kHeader, bytes.begin() + kHeader + static_cast<long>(expected.size())),
              expected);
}

TEST(AuditRecordBuffer, PadsEveryRecordToAMultipleOfFour) {
    for (std::size_t length = 0; length < 9; ++length) {
        Texts texts;
        texts[0] = std::string(length, 'x');
        const Bytes bytes = bytesOf(recordOf(texts));
        EXPECT_EQ(bytes.size(), (kHeader + 14 + length + 3) / 4 * 4);
        EXPECT_EQ(get32(bytes, 8), bytes.size());
    }
}

TEST(AuditRecordBuffer, WritesDerivedTextsOfValues) {
    AuditRecord record;
    record.set_date({0, 5000});
    record.set_type(8);
    record.set_user_uuid(UUID{{1}});
    record.set_device_type(10);
    record.set_schema_tag(5);
    const Bytes bytes = bytesOf(record);
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_STREQ(read.get_date_str(), "1970-01-01T00:00:00.005");
    EXPECT_STREQ(read.get_type_str(), "asuccess");
    EXPECT_STREQ(read.get_user_uuid_str(), "01000000-0000-0000-0000-000000000000");
    EXPECT_STREQ(read.get_device_type_str(), "USB port");
    EXPECT_STREQ(read.get_schema_tag_str(), "") << "a schema tag's value has no text form";
}

TEST(AuditRecordBuffer, ReadsBackWhatWasWritten) {
    AuditRecord record = recordOf(kTexts);
    record.set_record_id(-5);
    record.set_event_id(6);
    record.set_pid(7);
    record.set_status(8);
    const Bytes bytes = bytesOf(record);
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_EQ(textsOf(read), kTexts);
    EXPECT_EQ(read.get_record_id(), -5);
    EXPECT_EQ(read.get_event_id(), 6);
    EXPECT_EQ(read.get_pid(), 7);
    EXPECT_EQ(read.get_status(), 8);
}

TEST(AuditRecordBuffer, ReadTextsPointIntoTheBuffer) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    AuditRecord read;
    ASSERT_NE(read.read_from_buffer(bytes, 0), AuditRecord::kNoRecord);
    EXPECT_EQ(static_cast<const void*>(read.get_computer_name_str()), bytes.data() + kHeader);
}

TEST(AuditRecordBuffer, ValuesAreDerivedAnewFromReadTexts) {
    AuditRecord record;
    record.set_type(8);
    record.set_user_uuid(UUID{{1}});
    record.set_device_type(10);
    record.set_schema_tag(5);
    const Bytes bytes = bytesOf(record);
    record.set_type(4);
    record.set_user_uuid(UUID{{2}});
    record.set_device_type(9);
    record.set_schema_tag(6);
    record.set_date({77, 0});
    ASSERT_NE(record.read_from_buffer(bytes, 0), AuditRecord::kNoRecord);
    EXPECT_EQ(record.get_type(), 16) << "\"asuccess\" reads as 16";
    EXPECT_EQ(record.get_user_uuid(), (UUID{{1}}));
    EXPECT_EQ(record.get_device_type(), 10);
    EXPECT_EQ(record.get_schema_tag(), 0);
    EXPECT_EQ(record.get_date().tv_sec, 77) << "a date is not read out of its text";
}

TEST(AuditRecordBuffer, ReadingDropsTheComputerNameObject) {
    const boost::intrusive_ptr<NetBiosName> name = NetBiosName::create("host");
    AuditRecord record;
    record.set_computer_name(name);
    const Bytes bytes = bytesOf(record);
    record.set_computer_name(NetBiosName::create("other"));
    ASSERT_NE(record.read_from_buffer(bytes, 0), AuditRecord::kNoRecord);
    EXPECT_STREQ(record.get_computer_name_str(), "HOST");
    EXPECT_NE(record.get_computer_name_str(), name->getName());
}

TEST(AuditRecordBuffer, ReadingReleasesTheComputerNameObjectAndKeepsTheAccount) {
    const Bytes bytes = bytesOf(AuditRecord());
    AuditRecord record;
    boost::intrusive_ptr<NetBiosName> name = NetBiosName::create("host");
    Deletions::await(name.get());
    record.set_computer_name(name);
    name.reset();
    record.read_from_buffer(bytes, 1);
    EXPECT_FALSE(Deletions::came()) << "a refusal changes nothing";
    record.read_from_buffer(bytes, 0);
    EXPECT_TRUE(Deletions::came());

    boost::intrusive_ptr<AccountInfo> account =
        AccountInfo::create(AccountTypeUser, 501, UUID{{1}}, "S-1-5-21-1", "HOST\\alice");
    Deletions::await(account.get());
    record.set_user(account);
    account.reset();
    record.read_from_buffer(bytes, 0);
    EXPECT_FALSE(Deletions::came());
    EXPECT_STREQ(record.get_user_name_str(), "");
    record.set_user(nullptr);
    EXPECT_TRUE(Deletions::came());
}

TEST(AuditRecordBuffer, RefusesARecordOfFourGigabytes) {
    // One piece of memory again and again, with a NUL in the last one: half a gigabyte of text that takes no room.
    constexpr std::size_t kPiece = std::size_t{1} << 21, kText = std::size_t{1} << 29;
    const int file = memfd_create("text", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(file, kPiece), 0);
    auto* const place = static_cast<char*>(
        mmap(nullptr, kText + kPiece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(place, MAP_FAILED);
    for (std::size_t at = 0; at < kText; at += kPiece) {
        ASSERT_NE(mmap(place + at, kPiece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0), MAP_FAILED);
    }
    std::memset(place, 'x', kPiece);
    place[kText] = '\0';

    // Seven whole texts, an eighth to fill up what is left of the largest record, and six NULs.
    constexpr std::size_t kLargest = 0xFFFFFFFC, kEighth = kLargest - kHeader - 7 * (kText + 1) - 1 - 6;
    AuditRecord record;
    record.set_computer_name_str(place);
    record.set_sid_str(place);
    record.set_user_name_str(place);
    record.set_process_name_str(place);
    record.set_action_str(place);
    record.set_name_str(place);
    record.set_information_str(place);
    Bytes bytes = {1, 2, 3};
    record.set_reason_str(place + kText - kEighth - 1);
    try {
        record.append_to_buffer(bytes);
        ADD_FAILURE() << "it was not refused";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "AuditRecord::append_to_buffer");
    }
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
    record.set_reason_str(place + kText - kEighth);
    Deletions::largestBlock = kLargest / 2;  // which the refusal does not come to ask for
    EXPECT_THROW(record.append_to_buffer(bytes), std::bad_alloc);
    Deletions::largestBlock = SIZE_MAX;
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
    munmap(place, kText + kPiece);
    close(file);
}

TEST(AuditRecordBuffer, WalksRecordsByTheReturnedOffsets) {
    Bytes bytes = {9, 9, 9};
    for (int i = 1; i <= 3; ++i) {
        Texts texts;
        texts[9] = std::string(static_cast<std::size_t>(i), 'n');
        AuditRecord record = recordOf(texts);
        record.set_record_id(i);
        record.append_to_buffer(bytes);
    }
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 3), (Bytes{9, 9, 9}));
    AuditRecord record;
    unsigned long offset = 3;
    for (int i = 1; i <= 3; ++i) {
        offset = record.read_from_buffer(bytes, offset);
        ASSERT_NE(offset, AuditRecord::kNoRecord);
        EXPECT_EQ(record.get_record_id(), i);
        EXPECT_EQ(std::strlen(record.get_name_str()), static_cast<std::size_t>(i));
    }
    EXPECT_EQ(offset, bytes.size());
    EXPECT_EQ(record.read_from_buffer(bytes, offset), AuditRecord::kNoRecord);
}

TEST(AuditRecordBuffer, RefusesAnyOffsetOutsideTheBuffer) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    const unsigned long size = bytes.size();
    for (const unsigned long offset : {size - 39, size - 1, size, size + 1, size + 40, ~0ul - 40, ~0ul - 39, ~0ul - 1,
                                       ~0ul, ~0ul / 2, ~0ul / 2 + 1}) {
        EXPECT_EQ(readOverFull(bytes, offset), AuditRecord::kNoRecord) << offset;
    }
    EXPECT_EQ(readOverFull(Bytes(), 0), AuditRecord::kNoRecord);
}

TEST(AuditRecordBuffer, RefusesAMagicThatDiffersInAnyByte) {
    for (std::size_t i = 0; i < 8; ++i) {
        Bytes bytes = bytesOf(recordOf(kTexts));
        bytes[i] ^= 0x20;
        EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord) << i;
    }
}

TEST(AuditRecordBuffer, RefusesATotalBelowTheHeaderLength) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    put32(bytes, 8, 39);
    EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord);
    put32(bytes, 8, 44);
    put32(bytes, 12, 48);
    EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord);
    put32(bytes, 8, 0);
    put32(bytes, 12, 0);
    EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord);
}

TEST(AuditRecordBuffer, RefusesAHeaderLengthBelow40) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    put32(bytes, 12, 39);
    EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord);
}

TEST(AuditRecordBuffer, RefusesATotalBeyondTheBuffer) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    for (const std::uint32_t total : {static_cast<std::uint32_t>(bytes.size()) + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        put32(bytes, 8, total);
        EXPECT_EQ(readOverFull(bytes, 0), AuditRecord::kNoRecord) << total;
    }
}

TEST(AuditRecordBuffer, RefusesARecordCutAnywhere) {
    const Bytes whole = bytesOf(recordOf(kTexts));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(readOverFull(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), 0),
                  AuditRecord::kNoRecord)
            << size;
    }
}

TEST(AuditRecordBuffer, AcceptsALongerHeaderAndReadsTheTextsAfterIt) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    bytes.insert(bytes.begin() + kHeader, 8, 0xEE);
    put32(bytes, 8, static_cast<std::uint32_t>(bytes.size()));
    put32(bytes, 12, 48);
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_EQ(textsOf(read), kTexts);
}

TEST(AuditRecordBuffer, AHeaderThatFillsTheRecordLeavesEveryTextEmpty) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    put32(bytes, 12, static_cast<std::uint32_t>(bytes.size()));
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_EQ(textsOf(read), Texts());
}

TEST(AuditRecordBuffer, TextsOfAnyLengthComeBack) {
    for (std::size_t length = 0; length <= 300; ++length) {
        Texts texts;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (std::size_t at = 0; at < length + i; ++at) texts[i] += static_cast<char>('a' + (at + i) % 26);
        }
        const Bytes bytes = bytesOf(recordOf(texts));
        AuditRecord read;
        ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
        ASSERT_EQ(textsOf(read), texts) << length;
    }
}

TEST(AuditRecordBuffer, ATotalThatEndsInATextEmptiesThatTextAndAllAfterIt) {
    const Bytes whole = bytesOf(recordOf(kTexts));
    for (std::size_t total = kHeader; total <= whole.size(); ++total) {
        Bytes bytes = whole;
        put32(bytes, 8, static_cast<std::uint32_t>(total));
        AuditRecord read;
        ASSERT_EQ(read.read_from_buffer(bytes, 0), total);
        Texts expected;
        for (std::size_t i = 0, end = kHeader; i < kTexts.size(); ++i) {
            end += kTexts[i].size() + 1;
            if (end <= total) expected[i] = kTexts[i];
        }
        EXPECT_EQ(textsOf(read), expected) << total;
    }
}

TEST(AuditRecordBuffer, IgnoresTheReservedWordAndBytesAfterTheTexts) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    put32(bytes, 36, 0xFFFFFFFF);
    bytes.insert(bytes.end(), 16, 0x41);
    put32(bytes, 8, static_cast<std::uint32_t>(bytes.size()));
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_EQ(textsOf(read), kTexts);
}

TEST(AuditRecordBuffer, CopiesTextsOfEveryLengthAndNothingBeforeThem) {
    for (std::size_t length = 0; length < 150; ++length) {
        const std::string text = "before" + std::string(length, 'x');
        AuditRecord record;
        record.set_sid_str("sid");
        record.set_user_name_str(text.c_str() + 6);
        AuditRecord read;
        const Bytes bytes = bytesOf(record);
        ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
        ASSERT_EQ(read.get_sid_str(), std::string("sid"));
        ASSERT_EQ(read.get_user_name_str(), std::string(length, 'x'));
    }
}

TEST(AuditRecordBuffer, ReadsTextsOfEveryLengthAtEveryAlignment) {
    for (std::size_t shift = 0; shift < 8; ++shift) {
        for (std::size_t length = 0; length < 40; ++length) {
            Texts texts;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                texts[i] = std::string((length + i * 7) % 40, static_cast<char>(0x80 + i));
            }
            Bytes bytes(shift, 0xAA);
            recordOf(texts).append_to_buffer(bytes);
            AuditRecord read;
            ASSERT_EQ(read.read_from_buffer(bytes, shift), bytes.size());
            ASSERT_EQ(textsOf(read), texts) << shift << ' ' << length;
        }
    }
}

TEST(AuditRecordBuffer, ARecordMayBeAppendedToTheBufferItBorrowsFrom) {
    Bytes bytes = bytesOf(recordOf(kTexts));
    bytes.shrink_to_fit();
    AuditRecord record;
    const unsigned long second = record.read_from_buffer(bytes, 0);
    ASSERT_EQ(second, bytes.size());
    record.append_to_buffer(bytes);
    AuditRecord read;
    ASSERT_EQ(read.read_from_buffer(bytes, second), bytes.size());
    EXPECT_EQ(textsOf(read), kTexts);
}

TEST(AuditRecordBuffer, CopiesOfAReadRecordOutliveTheRecord) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    AuditRecord copy;
    {
        AuditRecord read;
        ASSERT_NE(read.read_from_buffer(bytes, 0), AuditRecord::kNoRecord);
        copy = read;
    }
    EXPECT_EQ(textsOf(copy), kTexts);
}

TEST(AuditRecordBuffer, ACopyOfAReadRecordPointsIntoTheSameBuffer) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    AuditRecord read;
    ASSERT_NE(read.read_from_buffer(bytes, 0), AuditRecord::kNoRecord);
    const AuditRecord copy = read;
    EXPECT_EQ(copy.get_date_str(), read.get_date_str());
    EXPECT_EQ(copy.get_type_str(), read.get_type_str());
    EXPECT_EQ(copy.get_user_uuid_str(), read.get_user_uuid_str());
    EXPECT_EQ(copy.get_extra_str(), read.get_extra_str());
}

TEST(AuditRecordBuffer, ARecordWhoseBufferIsGoneMayBeFilledAnew) {
    const Bytes bytes = bytesOf(recordOf(kTexts));
    AuditRecord read, assigned;
    {
        const Bytes gone = bytes;
        ASSERT_NE(read.read_from_buffer(gone, 0), AuditRecord::kNoRecord);
    }
    assigned = read;
    assigned = AuditRecord();
    EXPECT_EQ(textsOf(assigned), Texts());
    ASSERT_EQ(read.read_from_buffer(bytes, 0), bytes.size());
    EXPECT_EQ(textsOf(read), kTexts);
}

TEST(AuditRecordBuffer, ARecordOutlivesABufferWhenItIsWrittenIntoAnother) {
    AuditRecord record;
    Bytes kept;
    {
        const Bytes gone = bytesOf(recordOf(kTexts));
        ASSERT_NE(record.read_from_buffer(gone, 0), AuditRecord::kNoRecord);
        record.append_to_buffer(kept);
        ASSERT_EQ(record.read_from_buffer(kept, 0), kept.size());
    }
    EXPECT_EQ(textsOf(record), kTexts);
}

TEST(AuditRecordBuffer, WritesTheBytesThatItsPageShows) {
    AuditRecord record;
    record.set_record_id(1);
    record.set_event_id(1001);
    record.set_pid(412);
    record.set_computer_name_str("HOST");
    record.set_date({1794758562, 123456});
    record.set_type(16);
    record.set_user(AccountInfo::create(
        AccountTypeUser, 501,
        UUID{{0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA, 0x00, 0x00, 0x01, 0xF5}},
        "S-1-22-1-501", "HOST\\alice"));
    record.set_process_name_str("mount");
    record.set_device_type(10);
    record.set_action_str("mount");
    record.set_name_str("Stick");
    record.set_reason_str("acl");

    // "0010  01 00 ... 00  ......  what they are"
    Bytes shown;
    std::ifstream page(KX_SOURCE_DIR "/docs/audit-record.md");
    for (std::string line; std::getline(page, line);) {
        char offset[8];
        std::snprintf(offset, sizeof offset, "%04zx  ", shown.size());
        if (!line.starts_with(offset)) continue;
        for (std::size_t at = 6; at < 6 + 16 * 3; at += 3) {
            shown.push_back(static_cast<unsigned char>(std::stoi(line.substr(at, 2), nullptr, 16)));
        }
    }
    EXPECT_EQ(bytesOf(record), shown);
}

TEST(AuditRecordBuffer, ARefusalKeepsValuesAndTheTextsMadeOfThem) {
    AuditRecord record;
    record.set_date({77, 5000});
    record.set_type(4);
    record.set_user_uuid(UUID{{1}});
    record.set_device_type(10);
    record.set_schema_tag(5);
    const char* const date = record.get_date_str();
    ASSERT_EQ(record.read_from_buffer(Bytes(56, 'A'), 0), AuditRecord::kNoRecord);
    EXPECT_EQ(record.get_date_str(), date);
    EXPECT_STREQ(date, "1970-01-01T00:01:17.005");
    EXPECT_EQ(record.get_type(), 4);
    EXPECT_EQ(record.get_user_uuid(), (UUID{{1}}));
    EXPECT_EQ(record.get_device_type(), 10);
    EXPECT_EQ(record.get_schema_tag(), 5);
}

TEST(AuditRecordHeader, TellsWhatIsWrongWithARecord) {
    using Fault = AuditRecordHeader::Fault;
    AuditRecordHeader header;
    Bytes record = bytesOf(recordOf(kTexts));
    for (std::size_t size = 0; size <= record.size(); ++size) {
        EXPECT_EQ(header.read(std::span(record).first(size)), size < kHeader         ? Fault::CutOff
                                                              : size < record.size() ? Fault::RecordGoesPast
                                                                                     : Fault::None)
            << size;
    }
    put32(record, 8, kHeader);
    EXPECT_EQ(header.read(std::span(record).first(kHeader)), Fault::None);
    put32(record, 8, kHeader - 1);
    EXPECT_EQ(header.read(record), Fault::ShortRecord);
    put32(record, 12, kHeader - 1);
    EXPECT_EQ(header.read(record), Fault::ShortHeader);
    record[7] = 'X';
    for (std::size_t size = 0; size <= record.size(); ++size) {
        EXPECT_EQ(header.read(std::span(record).first(size)), size < 8 ? Fault::CutOff : Fault::NoMagic) << size;
    }
}

TEST(ReadCString, GivesTheTextAndMovesPastItsNul) {
    const Bytes bytes = {'a', 'b', 0, 'c', 0};
    unsigned long position = 0;
    EXPECT_STREQ(read_c_string(bytes, position, 5), "ab");
    EXPECT_EQ(position, 3u);
    EXPECT_STREQ(read_c_string(bytes, position, 5), "c");
    EXPECT_EQ(position, 5u);
    EXPECT_STREQ(read_c_string(bytes, position, 5), "");
    EXPECT_EQ(position, 5u);
}

TEST(ReadCString, ATextWithoutANulBeforeTheLimitIsEmpty) {
    const Bytes bytes = {'a', 'b', 0};
    unsigned long position = 0;
    EXPECT_STREQ(read_c_string(bytes, position, 2), "");
    EXPECT_EQ(position, 2u);
    const Bytes two = {'a', 0, 'c', 'd', 'e', 0};
    position = 2;
    EXPECT_STREQ(read_c_string(two, position, 5), "");
    EXPECT_EQ(position, 5u);
}

TEST(ReadCString, ReadsNothingOutsideTheBufferWhateverTheNumbers) {
    const Bytes bytes = {'a', 'b', 'c'};
    for (const unsigned long limit : {3ul, 4ul, ~0ul}) {
        for (const unsigned long start : {0ul, 3ul, 4ul, ~0ul}) {
            unsigned long position = start;
            EXPECT_STREQ(read_c_string(bytes, position, limit), "");
            EXPECT_EQ(position, limit);
        }
    }
    unsigned long position = 5;
    EXPECT_STREQ(read_c_string(bytes, position, 1), "");
    EXPECT_EQ(position, 1u);
}
