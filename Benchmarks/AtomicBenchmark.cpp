#include <KXCoreLib/Atomic.h>
#include <benchmark/benchmark.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

namespace {

struct Ours : KXCore::atomic_refcounted {};

/// The peer deletes through a virtual destructor as ours does.
struct Peer : boost::intrusive_ref_counter<Peer, boost::thread_safe_counter> {
    virtual ~Peer() = default;
};

template <class T>
boost::intrusive_ptr<T> Make();
template <>
boost::intrusive_ptr<Ours> Make() {
    return boost::intrusive_ptr<Ours>(new Ours, false);
}
template <>
boost::intrusive_ptr<Peer> Make() {
    return boost::intrusive_ptr<Peer>(new Peer);
}

/// A reference added and given up, to one object that all threads of the run share.
template <class T>
void BM_AddAndRelease(benchmark::State& state) {
    static const boost::intrusive_ptr<T> shared = Make<T>();
    for (auto _ : state) {
        boost::intrusive_ptr<T> copy = shared;
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK_TEMPLATE(BM_AddAndRelease, Ours)->Name("BM_AddAndRelease/KXCoreLib")->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(BM_AddAndRelease, Peer)->Name("BM_AddAndRelease/boost")->Threads(1)->Threads(2)->UseRealTime();

/// An object made, held and disposed of.
template <class T>
void BM_MakeAndDispose(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(Make<T>().get());
}
BENCHMARK_TEMPLATE(BM_MakeAndDispose, Ours)->Name("BM_MakeAndDispose/KXCoreLib");
BENCHMARK_TEMPLATE(BM_MakeAndDispose, Peer)->Name("BM_MakeAndDispose/boost");

/// The target of a reference that can be taken back, asked for and given up.
void BM_GetPointer(benchmark::State& state) {
    static const boost::intrusive_ptr<Ours> target = Make<Ours>();
    static const KXCore::detail::atomic_invalidateable_ref_impl reference(target.get());
    for (auto _ : state) {
        const boost::intrusive_ptr<KXCore::atomic_refcounted> found(reference.get_pointer(), false);
        benchmark::DoNotOptimize(found.get());
    }
}
BENCHMARK(BM_GetPointer)->Name("BM_GetPointer/KXCoreLib")->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
