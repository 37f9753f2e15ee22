// A record written to bytes and read back, beside the formats that a program would otherwise use. Everybody writes the
// same fourteen texts and four numbers into memory that is used again, and reads all of them out of bytes that are not
// trusted. Who has an object to fill first (ours, Protocol Buffers) has it filled; the others write from the texts.

#include <KXCoreLib/AuditRecord.h>

#include <benchmark/benchmark.h>
#include <capnp/message.h>
#include <capnp/serialize.h>
#include <flatbuffers/flatbuffers.h>
#include <google/protobuf/arena.h>
#include <record.capnp.h>
#include <record.pb.h>
#include <record_generated.h>
#include <array>
#include <cstdint>
#include <cstring>
#include <msgpack.hpp>
#include <string>
#include <vector>

namespace {

using KXCore::AuditRecord;

constexpr std::size_t kTextCount = 14;

// In the order of the record. C texts, as an agent has them; not constant, so that no compiler knows their lengths.
std::array<const char*, kTextCount> texts = {"HOST",
                                             "2026-11-15T16:02:42.123",
                                             "afailure",
                                             "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5",
                                             "S-1-5-21-1004336348-1177238915-682003330-512",
                                             "HOST\\alice",
                                             "/usr/sbin/mount",
                                             "USB port",
                                             "mount",
                                             "SanDisk Ultra 32GB",
                                             "vid=0781 pid=5581 serial=4C530001230725107182",
                                             "device-access",
                                             "refused by the list",
                                             ""};
constexpr std::int64_t kRecordID = 1794758562123456;
constexpr std::int32_t kEventID = 1001, kPid = 412, kStatus = -13;

/// What reading a record comes to: every number, and the first character of every text.
struct Sum {
    std::uint64_t value = 0;
    void add(std::int64_t number) { value += static_cast<std::uint64_t>(number); }
    void add(const char* text) { value += static_cast<unsigned char>(*text) + 1u; }
};

std::uint64_t expectedSum() {
    Sum sum;
    for (const std::int64_t number : {kRecordID, std::int64_t{kEventID}, std::int64_t{kPid}, std::int64_t{kStatus}}) {
        sum.add(number);
    }
    for (const char* const text : texts) sum.add(text);
    return sum.value;
}

// ---- Ours

void fill(AuditRecord& record) {
    record.set_record_id(kRecordID);
    record.set_event_id(kEventID);
    record.set_pid(kPid);
    record.set_status(kStatus);
    record.set_computer_name_str(texts[0]);
    record.set_date_str(texts[1]);
    record.set_type_str(texts[2]);
    record.set_user_uuid_str(texts[3]);
    record.set_sid_str(texts[4]);
    record.set_user_name_str(texts[5]);
    record.set_process_name_str(texts[6]);
    record.set_device_type_str(texts[7]);
    record.set_action_str(texts[8]);
    record.set_name_str(texts[9]);
    record.set_information_str(texts[10]);
    record.set_schema_tag_str(texts[11]);
    record.set_reason_str(texts[12]);
    record.set_extra_str(texts[13]);
}

struct Ours {
    AuditRecord record;
    std::vector<unsigned char> buffer;

    Ours() { fill(record); }
    std::size_t encode() {
        buffer.clear();
        record.append_to_buffer(buffer);
        return buffer.size();
    }
    std::uint64_t decode() {
        if (record.read_from_buffer(buffer, 0) == AuditRecord::kNoRecord) return 0;
        Sum sum;
        for (const std::int64_t number : {std::int64_t{record.get_record_id()}, std::int64_t{record.get_event_id()},
                                          std::int64_t{record.get_pid()}, std::int64_t{record.get_status()}}) {
            sum.add(number);
        }
        for (const char* const text : {record.get_computer_name_str(), record.get_date_str(), record.get_type_str(),
                                       record.get_user_uuid_str(), record.get_sid_str(), record.get_user_name_str(),
                                       record.get_process_name_str(), record.get_device_type_str(),
                                       record.get_action_str(), record.get_name_str(), record.get_information_str(),
                                       record.get_schema_tag_str(), record.get_reason_str(), record.get_extra_str()}) {
            sum.add(text);
        }
        return sum.value;
    }
};

// ---- FlatBuffers

struct FlatBuffers {
    flatbuffers::FlatBufferBuilder builder{1024};

    std::size_t encode() {
        builder.Clear();
        std::array<flatbuffers::Offset<flatbuffers::String>, kTextCount> t;
        for (std::size_t i = 0; i < kTextCount; ++i) t[i] = builder.CreateString(texts[i]);
        builder.Finish(peers::flat::CreateRecord(builder, kRecordID, kEventID, kPid, kStatus, t[0], t[1], t[2], t[3],
                                                 t[4], t[5], t[6], t[7], t[8], t[9], t[10], t[11], t[12], t[13]));
        return builder.GetSize();
    }
    std::uint64_t decode() {
        flatbuffers::Verifier verifier(builder.GetBufferPointer(), builder.GetSize());
        if (!peers::flat::VerifyRecordBuffer(verifier)) return 0;
        const peers::flat::Record& r = *peers::flat::GetRecord(builder.GetBufferPointer());
        Sum sum;
        for (const std::int64_t number : {std::int64_t{r.record_id()}, std::int64_t{r.event_id()},
                                          std::int64_t{r.pid()}, std::int64_t{r.status()}}) {
            sum.add(number);
        }
        for (const flatbuffers::String* const text :
             {r.computer_name(), r.date(), r.type(), r.user_uuid(), r.sid(), r.user_name(), r.process_name(),
              r.device_type(), r.action(), r.name(), r.information(), r.schema_tag(), r.reason(), r.extra()}) {
            sum.add(text->c_str());
        }
        return sum.value;
    }
};

// ---- Cap'n Proto

struct CapnProto {
    std::array<capnp::word, 256> scratch{};
    std::array<capnp::word, 256> output{};
    std::size_t words = 0;

    std::size_t encode() {
        std::memset(scratch.data(), 0, words * sizeof(capnp::word));
        capnp::MallocMessageBuilder message(kj::arrayPtr(scratch.data(), scratch.size()));
        auto r = message.initRoot<peers::capn::Record>();
        r.setRecordId(kRecordID);
        r.setEventId(kEventID);
        r.setPid(kPid);
        r.setStatus(kStatus);
        r.setComputerName(texts[0]);
        r.setDate(texts[1]);
        r.setType(texts[2]);
        r.setUserUuid(texts[3]);
        r.setSid(texts[4]);
        r.setUserName(texts[5]);
        r.setProcessName(texts[6]);
        r.setDeviceType(texts[7]);
        r.setAction(texts[8]);
        r.setName(texts[9]);
        r.setInformation(texts[10]);
        r.setSchemaTag(texts[11]);
        r.setReason(texts[12]);
        r.setExtra(texts[13]);
        words = capnp::computeSerializedSizeInWords(message);
        kj::ArrayOutputStream stream(kj::arrayPtr(reinterpret_cast<kj::byte*>(output.data()), sizeof output));
        capnp::writeMessage(stream, message);
        return words * sizeof(capnp::word);
    }
    std::uint64_t decode() {
        capnp::FlatArrayMessageReader reader(kj::arrayPtr(output.data(), words));
        const auto r = reader.getRoot<peers::capn::Record>();
        Sum sum;
        for (const std::int64_t number : {std::int64_t{r.getRecordId()}, std::int64_t{r.getEventId()},
                                          std::int64_t{r.getPid()}, std::int64_t{r.getStatus()}}) {
            sum.add(number);
        }
        for (const capnp::Text::Reader text :
             {r.getComputerName(), r.getDate(), r.getType(), r.getUserUuid(), r.getSid(), r.getUserName(),
              r.getProcessName(), r.getDeviceType(), r.getAction(), r.getName(), r.getInformation(), r.getSchemaTag(),
              r.getReason(), r.getExtra()}) {
            sum.add(text.cStr());
        }
        return sum.value;
    }
};

// ---- Protocol Buffers

struct ProtocolBuffers {
    peers::proto::Record record, read;
    std::string output;

    ProtocolBuffers() {
        record.set_record_id(kRecordID);
        record.set_event_id(kEventID);
        record.set_pid(kPid);
        record.set_status(kStatus);
        record.set_computer_name(texts[0]);
        record.set_date(texts[1]);
        record.set_type(texts[2]);
        record.set_user_uuid(texts[3]);
        record.set_sid(texts[4]);
        record.set_user_name(texts[5]);
        record.set_process_name(texts[6]);
        record.set_device_type(texts[7]);
        record.set_action(texts[8]);
        record.set_name(texts[9]);
        record.set_information(texts[10]);
        record.set_schema_tag(texts[11]);
        record.set_reason(texts[12]);
        record.set_extra(texts[13]);
    }
    std::size_t encode() {
        output.clear();
        record.AppendToString(&output);
        return output.size();
    }
    std::uint64_t decode() {
        if (!read.ParseFromString(output)) return 0;
        Sum sum;
        for (const std::int64_t number : {std::int64_t{read.record_id()}, std::int64_t{read.event_id()},
                                          std::int64_t{read.pid()}, std::int64_t{read.status()}}) {
            sum.add(number);
        }
        for (const std::string* const text :
             {&read.computer_name(), &read.date(), &read.type(), &read.user_uuid(), &read.sid(), &read.user_name(),
              &read.process_name(), &read.device_type(), &read.action(), &read.name(), &read.information(),
              &read.schema_tag(), &read.reason(), &read.extra()}) {
            sum.add(text->c_str());
        }
        return sum.value;
    }
};

// ---- MessagePack: an array of numbers and texts, read in place

struct MessagePack {
    msgpack::sbuffer buffer{1024};

    std::size_t encode() {
        buffer.clear();
        msgpack::packer<msgpack::sbuffer> packer(buffer);
        packer.pack_array(4 + kTextCount).pack(kRecordID).pack(kEventID).pack(kPid).pack(kStatus);
        for (const char* const text : texts) {
            const auto length = static_cast<std::uint32_t>(std::strlen(text));
            packer.pack_str(length).pack_str_body(text, length);
        }
        return buffer.size();
    }
    std::uint64_t decode() {
        Sum sum;
        msgpack::zone zone;
        const msgpack::object object = msgpack::unpack(
            zone, buffer.data(), buffer.size(), [](msgpack::type::object_type, std::size_t, void*) { return true; });
        if (object.type != msgpack::type::ARRAY || object.via.array.size != 4 + kTextCount) return 0;
        const msgpack::object* const fields = object.via.array.ptr;
        for (std::size_t i = 0; i < 4; ++i) sum.add(fields[i].as<std::int64_t>());
        for (std::size_t i = 4; i < 4 + kTextCount; ++i) {
            if (fields[i].type != msgpack::type::STR) return 0;
            sum.add(fields[i].via.str.size == 0 ? "" : fields[i].via.str.ptr);
        }
        return sum.value;
    }
};

template <class Format>
void BM_RecordEncode(benchmark::State& state) {
    Format format;
    std::size_t size = 0;
    for (auto _ : state) {
        size = format.encode();
        benchmark::DoNotOptimize(size);
        benchmark::ClobberMemory();
    }
    if (format.decode() != expectedSum()) state.SkipWithError("wrong answer");
    state.counters["bytes"] = static_cast<double>(size);
}

template <class Format>
void BM_RecordDecode(benchmark::State& state) {
    Format format;
    const std::size_t size = format.encode();
    std::uint64_t sum = 0;
    for (auto _ : state) {
        benchmark::ClobberMemory();
        sum = format.decode();
        benchmark::DoNotOptimize(sum);
    }
    if (sum != expectedSum()) state.SkipWithError("wrong answer");
    state.counters["bytes"] = static_cast<double>(size);
}

template <class Format>
void add(const std::string& who) {
    benchmark::RegisterBenchmark(("BM_RecordEncode/" + who).c_str(), BM_RecordEncode<Format>);
    benchmark::RegisterBenchmark(("BM_RecordDecode/" + who).c_str(), BM_RecordDecode<Format>);
}

const bool registered = [] {
    add<Ours>("KXCoreLib");
    add<FlatBuffers>("FlatBuffers");
    add<CapnProto>("CapnProto");
    add<ProtocolBuffers>("ProtocolBuffers");
    add<MessagePack>("MessagePack");
    return true;
}();

}  // namespace
