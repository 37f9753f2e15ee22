// Checks against lists whose entries match by identity, so that nothing but the list itself is measured: the user's own
// entries, those of everybody and nobody. The peer is what no decision can do without: comparing every identity.

#include <KXCoreLib/CustomACL.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

using namespace KXCore;

namespace {

std::atomic<std::uint64_t> allocations{0};

constexpr UUID kUser{{0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA, 0, 0, 0x03, 0xE8}};
constexpr UUID kEverybody{{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0, 0, 0, 12}};
constexpr UUID kNobody{
    {0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xFF, 0xFF, 0xFF, 0xFE}};

std::vector<CustomACE> entries(std::int64_t count) {
    std::vector<CustomACE> made;
    for (std::int64_t i = 0; i < count; ++i) {
        const UUID& who = i % 8 == 7 ? kEverybody : i % 8 == 3 ? kNobody : kUser;
        const bool denies = i % 4 == 1;
        made.push_back({.type = denies ? CustomACETypeDeny : CustomACETypeAllow,
                        .mask = denies ? 0x80000000u : std::uint32_t{1} << i % 31,
                        .uuid = who});
    }
    return made;
}

void CheckAccess(benchmark::State& state) {
    const CustomACL acl(entries(state.range(0)));
    const std::uint64_t before = allocations;
    for (auto _ : state) benchmark::DoNotOptimize(acl.checkAccess(kUser, 1));
    const std::uint64_t made = allocations - before;
    state.counters["allocations"] = static_cast<double>(made);
    state.counters["per_entry"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    if (made != 0) state.SkipWithError("a check allocates");
}

void CompareIdentities(benchmark::State& state) {
    const std::vector<CustomACE> list = entries(state.range(0));
    for (auto _ : state) {
        std::uint32_t remaining = 1;
        for (const CustomACE& entry : list) {
            if (std::memcmp(entry.uuid.bytes, kUser.bytes, sizeof kUser.bytes) == 0) remaining &= ~entry.mask;
        }
        benchmark::DoNotOptimize(remaining);
    }
    state.counters["per_entry"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(CheckAccess)->Name("BM_CheckAccess/KXCoreLib")->Arg(10)->Arg(1000);
BENCHMARK(CompareIdentities)->Name("BM_CheckAccess/identities_alone")->Arg(10)->Arg(1000);

}  // namespace

// Every allocation of the process is counted, the library's among them.
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* const room = std::malloc(size)) return room;
    throw std::bad_alloc();
}
void operator delete(void* room) noexcept { std::free(room); }
void operator delete(void* room, std::size_t) noexcept { std::free(room); }
