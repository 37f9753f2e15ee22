// One event from end to end: decided, filled, encoded, appended, and synced in batches of 100; then each step by
// itself, to tell where the time goes. The stream's file is in the folder for temporary files, on whatever disk that
// is.

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/CustomACL.h>
#include <KXCoreLib/StreamStorage.h>
#include <KXCoreLib/SystemInfo.h>

#include <benchmark/benchmark.h>

#include <membership.h>
#include <unistd.h>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using namespace KXCore;
using KXCore::CoreFoundation::DataRef;

namespace {

constexpr unsigned kBatch = 100;

UUID currentUser() {
    UUID uuid;
    mbr_uid_to_uuid(getuid(), uuid.bytes);
    return uuid;
}

/// What the steps share, as an agent would hold it.
struct Agent {
    Agent() : path(std::filesystem::temp_directory_path() / ("KXEventBenchmark." + std::to_string(getpid()))) {
        stream.reset(new StreamStorage(path.c_str(), FileAttributes()));
        stream->openStorage(StreamModeReadWrite);
    }
    ~Agent() {
        stream.reset();
        std::filesystem::remove(path);
    }

    bool decide() const { return acl.checkAccess(user, 1); }

    AuditRecord fill(bool granted) const {
        AuditRecord record;
        record.set_record_id(1);
        record.set_event_id(1000);
        record.set_date({1794758562, 123456});
        record.set_type(granted ? 8 : 16);
        record.set_computer_name(GetSystemNetBiosName());
        record.set_user(AccountInfo::get(user));
        record.set_pid(412);
        record.set_process_name_str("agent");
        record.set_device_type(10);
        record.set_action_str("arrive");
        record.set_name_str("Stick");
        record.set_information_str("/devices/pci0000:00/usb1/1-1");
        record.set_reason_str("granted by the list");
        return record;
    }

    void encode(const AuditRecord& record) {
        bytes.clear();
        record.append_to_buffer(bytes);
    }

    void append() { stream->appendItem(DataRef::createWithStdVector(nullptr, bytes).get(), 0); }

    const UUID user = currentUser();
    const CustomACL acl{
        {{CustomACETypeDeny, 0, 2, UUID{{1}}}, {CustomACETypeDeny, 0, 4, user}, {CustomACETypeAllow, 0, 3, user}}};
    std::filesystem::path path;
    std::unique_ptr<StreamStorage> stream;
    std::vector<unsigned char> bytes;
};

void BM_EventFromEndToEnd(benchmark::State& state) {
    Agent agent;
    unsigned pending = 0;
    for (auto _ : state) {
        agent.encode(agent.fill(agent.decide()));
        agent.append();
        if (++pending % kBatch == 0) agent.stream->syncStorage();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EventFromEndToEnd)->Name("BM_EventFromEndToEnd/KXCoreLib")->UseRealTime();

void BM_EventDecide(benchmark::State& state) {
    const Agent agent;
    for (auto _ : state) benchmark::DoNotOptimize(agent.decide());
}
BENCHMARK(BM_EventDecide)->Name("BM_EventDecide/KXCoreLib");

void BM_EventFill(benchmark::State& state) {
    const Agent agent;
    for (auto _ : state) {
        AuditRecord record = agent.fill(true);
        benchmark::DoNotOptimize(record);
    }
}
BENCHMARK(BM_EventFill)->Name("BM_EventFill/KXCoreLib");

void BM_EventEncode(benchmark::State& state) {
    Agent agent;
    for (auto _ : state) {
        state.PauseTiming();
        const AuditRecord record = agent.fill(true);
        state.ResumeTiming();
        agent.encode(record);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_EventEncode)->Name("BM_EventEncode/KXCoreLib");

void BM_EventAppend(benchmark::State& state) {
    Agent agent;
    agent.encode(agent.fill(true));
    for (auto _ : state) agent.append();
}
BENCHMARK(BM_EventAppend)->Name("BM_EventAppend/KXCoreLib");

void BM_EventSync(benchmark::State& state) {
    Agent agent;
    agent.encode(agent.fill(true));
    for (auto _ : state) {
        state.PauseTiming();
        for (unsigned i = 0; i < kBatch; ++i) agent.append();
        state.ResumeTiming();
        agent.stream->syncStorage();
    }
    // A hundredth of it is one event's.
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_EventSync)->Name("BM_EventSyncOfAHundred/KXCoreLib")->UseRealTime()->Iterations(20);

}  // namespace
