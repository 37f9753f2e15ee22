// An account that the cache knows, asked for by one thread and by two, beside what a hash map costs: found without any
// lock, and behind the one mutex that sharing takes.

#include <KXCoreLib/AccountInfo.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <vector>

using namespace KXCore;

namespace {

using AccountPtr = boost::intrusive_ptr<AccountInfo>;

/// As many users of this computer, by their identities.
const std::vector<UUID>& users() {
    static const std::vector<UUID> users = [] {
        std::vector<UUID> made;
        for (unsigned id = 0; id < 1000; ++id) {
            UUID uuid{{0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA, 0, 0, 0, 0}};
            uuid.bytes[14] = static_cast<unsigned char>(id >> 8);
            uuid.bytes[15] = static_cast<unsigned char>(id);
            made.push_back(uuid);
        }
        return made;
    }();
    return users;
}

struct Hash {
    std::size_t operator()(const UUID& uuid) const noexcept {
        std::uint64_t halves[2];
        std::memcpy(halves, uuid.bytes, sizeof halves);
        return halves[0] ^ halves[1] * 0x9E3779B97F4A7C15 >> 16;
    }
};

class Map {
  public:
    Map() {
        for (const UUID& uuid : users()) records_[uuid] = AccountInfo::get(uuid);
    }

    AccountPtr find(const UUID& uuid) const { return records_.find(uuid)->second; }
    AccountPtr findLocked(const UUID& uuid) {
        const std::lock_guard lock(mutex_);
        return find(uuid);
    }

  private:
    std::mutex mutex_;
    std::unordered_map<UUID, AccountPtr, Hash> records_;
};

Map& map() {
    static Map map;
    return map;
}

template <class Find>
void measure(benchmark::State& state, Find find) {
    map();
    const std::size_t count = static_cast<std::size_t>(state.range(0));
    std::size_t next = 0;
    for (auto _ : state) {
        const AccountPtr account = find(users()[next]);
        benchmark::DoNotOptimize(account.get());
        if (++next == count) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

void AccountHitOfCache(benchmark::State& state) { measure(state, AccountInfo::get); }
void AccountHitOfMap(benchmark::State& state) {
    measure(state, [](const UUID& uuid) { return map().find(uuid); });
}
void AccountHitOfLockedMap(benchmark::State& state) {
    measure(state, [](const UUID& uuid) { return map().findLocked(uuid); });
}

BENCHMARK(AccountHitOfCache)->Name("BM_AccountHit/KXCoreLib")->Arg(1)->Arg(1000);
BENCHMARK(AccountHitOfMap)->Name("BM_AccountHit/bare_unordered_map")->Arg(1)->Arg(1000);
BENCHMARK(AccountHitOfLockedMap)->Name("BM_AccountHit/map_and_mutex")->Arg(1)->Arg(1000);
BENCHMARK(AccountHitOfCache)->Name("BM_AccountHitOf2Threads/KXCoreLib")->Arg(1000)->Threads(2)->UseRealTime();
BENCHMARK(AccountHitOfLockedMap)->Name("BM_AccountHitOf2Threads/map_and_mutex")->Arg(1000)->Threads(2)->UseRealTime();

}  // namespace
