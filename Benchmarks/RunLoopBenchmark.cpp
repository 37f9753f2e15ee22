// The way from a signal on one thread to a call on another and back, with both threads on one processor (across two the
// kernel's choice of the moment hides everything else); timers by the thousand; the start and stop of a thread.

#include <KXCoreLib/ThreadUtils.h>
#include <benchmark/benchmark.h>

#include <atomic>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include <event2/event.h>
#include <event2/thread.h>
#include <glib.h>
#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <uv.h>

namespace {

using namespace KXCore;

/// Keeps the calling thread, and those it starts, on one processor while the object lives.
class OneProcessor {
  public:
    OneProcessor() {
        pthread_getaffinity_np(pthread_self(), sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(0, &one);
        pthread_setaffinity_np(pthread_self(), sizeof one, &one);
    }
    ~OneProcessor() { pthread_setaffinity_np(pthread_self(), sizeof before_, &before_); }

  private:
    cpu_set_t before_;
};

/// What two sides of a ping-pong need of a way to wake each other: `signal` on any thread, `wait` and then `called` on
/// the thread that made the side.
struct BareSide {
    int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    int epoll = epoll_create1(EPOLL_CLOEXEC);

    BareSide() {
        epoll_event interest{};
        interest.events = EPOLLIN;
        epoll_ctl(epoll, EPOLL_CTL_ADD, event, &interest);
    }
    ~BareSide() {
        close(event);
        close(epoll);
    }
    void signal() const {
        const std::uint64_t one = 1;
        benchmark::DoNotOptimize(write(event, &one, sizeof one));
    }
    void wait() const {
        epoll_event got;
        epoll_wait(epoll, &got, 1, -1);
        std::uint64_t count;
        benchmark::DoNotOptimize(read(event, &count, sizeof count));
    }
};

struct OurSide {
    struct Nothing {
        void callback() {}
    };
    EventPort port{0};
    boost::shared_ptr<RunLoopSourceEventPort> source =
        boost::make_shared<bind_run_loop_source<RunLoopSourceEventPort, Nothing>>(port);

    OurSide() {
        RunLoopSourceEventPort::initialize(source);
        source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    }
    void signal() const { port.signal(); }
    void wait() const { CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1e10, true); }
};

struct UvSide {
    uv_loop_t loop;
    uv_async_t async;

    UvSide() {
        uv_loop_init(&loop);
        uv_async_init(&loop, &async, [](uv_async_t*) {});
    }
    ~UvSide() {
        uv_close(reinterpret_cast<uv_handle_t*>(&async), nullptr);
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }
    void signal() { uv_async_send(&async); }
    void wait() { uv_run(&loop, UV_RUN_ONCE); }
};

struct LibeventSide {
    event_base* base = [] {
        evthread_use_pthreads();
        return event_base_new();
    }();
    event* wake = event_new(
        base, -1, EV_PERSIST, [](evutil_socket_t, short, void*) {}, nullptr);

    ~LibeventSide() {
        event_free(wake);
        event_base_free(base);
    }
    void signal() const { event_active(wake, 0, 0); }
    void wait() const { event_base_loop(base, EVLOOP_ONCE | EVLOOP_NO_EXIT_ON_EMPTY); }
};

struct GlibSide {
    GMainContext* context = g_main_context_new();
    GSource* source;

    GlibSide() {
        static GSourceFuncs functions{nullptr,
                                      nullptr,
                                      [](GSource* s, GSourceFunc, gpointer) -> gboolean {
                                          g_source_set_ready_time(s, -1);
                                          return G_SOURCE_CONTINUE;
                                      },
                                      nullptr,
                                      nullptr,
                                      nullptr};
        source = g_source_new(&functions, sizeof(GSource));
        g_source_attach(source, context);
    }
    ~GlibSide() {
        g_source_destroy(source);
        g_source_unref(source);
        g_main_context_unref(context);
    }
    void signal() const { g_source_set_ready_time(source, 0); }
    void wait() const {
        while (!g_main_context_iteration(context, TRUE)) {
        }
    }
};

template <class Side>
void BM_SignalAndReply(benchmark::State& state) {
    const OneProcessor pinned;
    Side here;
    std::atomic<Side*> there{nullptr};
    std::atomic<bool> done{false};
    std::thread other([&] {
        Side side;
        there = &side;
        for (;;) {
            side.wait();
            if (done) break;
            here.signal();
        }
    });
    while (!there) std::this_thread::yield();
    Side& remote = *there;
    for (auto _ : state) {
        remote.signal();
        here.wait();
    }
    done = true;
    remote.signal();
    other.join();
}
BENCHMARK_TEMPLATE(BM_SignalAndReply, OurSide)->Name("BM_SignalAndReply/KXCoreLib")->UseRealTime();
BENCHMARK_TEMPLATE(BM_SignalAndReply, BareSide)->Name("BM_SignalAndReply/eventfd+epoll")->UseRealTime();
BENCHMARK_TEMPLATE(BM_SignalAndReply, GlibSide)->Name("BM_SignalAndReply/GLib")->UseRealTime();
BENCHMARK_TEMPLATE(BM_SignalAndReply, LibeventSide)->Name("BM_SignalAndReply/libevent")->UseRealTime();
BENCHMARK_TEMPLATE(BM_SignalAndReply, UvSide)->Name("BM_SignalAndReply/libuv")->UseRealTime();

/// A signal that finds the one before it still waiting.
template <class Side>
void BM_SignalPending(benchmark::State& state) {
    Side side;
    side.signal();
    for (auto _ : state) side.signal();
    side.wait();
}
BENCHMARK_TEMPLATE(BM_SignalPending, OurSide)->Name("BM_SignalPending/KXCoreLib");
BENCHMARK_TEMPLATE(BM_SignalPending, BareSide)->Name("BM_SignalPending/eventfd+epoll");
BENCHMARK_TEMPLATE(BM_SignalPending, GlibSide)->Name("BM_SignalPending/GLib");
BENCHMARK_TEMPLATE(BM_SignalPending, LibeventSide)->Name("BM_SignalPending/libevent");
BENCHMARK_TEMPLATE(BM_SignalPending, UvSide)->Name("BM_SignalPending/libuv");

// ---- Timers: scheduled at random dates, moved to others, and fired

constexpr int kTimerCounts[] = {1000, 10000, 100000};

std::vector<double> randomDelays(std::size_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> delay(1, 1000);
    std::vector<double> delays(count);
    for (double& d : delays) d = delay(random);
    return delays;
}

void BM_TimersOurs(benchmark::State& state) {
    const auto delays = randomDelays(static_cast<std::size_t>(state.range(0)));
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    std::vector<CFRunLoopTimerRef> timers;
    long fired = 0;
    CFRunLoopTimerContext context{0, &fired, nullptr, nullptr, nullptr};
    for (auto _ : state) {
        const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
        for (const double delay : delays) {
            timers.push_back(CFRunLoopTimerCreate(
                nullptr, now + delay, 0, 0, 0, [](CFRunLoopTimerRef, void* count) { ++*static_cast<long*>(count); },
                &context));
            CFRunLoopAddTimer(loop, timers.back(), kCFRunLoopDefaultMode);
        }
        for (std::size_t i = 0; i < timers.size(); ++i) {
            CFRunLoopTimerSetNextFireDate(timers[i], now - delays[delays.size() - 1 - i]);
        }
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
        for (const CFRunLoopTimerRef timer : timers) CFRelease(timer);
        timers.clear();
    }
    if (fired != state.range(0) * static_cast<long>(state.iterations())) state.SkipWithError("timers were lost");
    state.SetComplexityN(state.range(0));
}

void BM_TimersUv(benchmark::State& state) {
    const auto delays = randomDelays(static_cast<std::size_t>(state.range(0)));
    uv_loop_t loop;
    uv_loop_init(&loop);
    for (auto _ : state) {
        std::vector<uv_timer_t> timers(delays.size());
        for (std::size_t i = 0; i < timers.size(); ++i) {
            uv_timer_init(&loop, &timers[i]);
            uv_timer_start(
                &timers[i], [](uv_timer_t*) {}, static_cast<std::uint64_t>(1000 * delays[i]), 0);
        }
        // The loop's clock stands still meanwhile: what is due in 0 milliseconds is due at once.
        for (uv_timer_t& timer : timers)
            uv_timer_start(
                &timer, [](uv_timer_t*) {}, 0, 0);
        uv_run(&loop, UV_RUN_NOWAIT);
        for (uv_timer_t& timer : timers) uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
        uv_run(&loop, UV_RUN_NOWAIT);
    }
    uv_loop_close(&loop);
    state.SetComplexityN(state.range(0));
}

void BM_TimersLibevent(benchmark::State& state) {
    const auto delays = randomDelays(static_cast<std::size_t>(state.range(0)));
    event_base* const base = event_base_new();
    const auto interval = [](double delay) {
        return timeval{static_cast<time_t>(delay), static_cast<suseconds_t>(1e6 * (delay - static_cast<int>(delay)))};
    };
    for (auto _ : state) {
        std::vector<event*> timers;
        for (const double delay : delays) {
            timers.push_back(evtimer_new(
                base, [](evutil_socket_t, short, void*) {}, nullptr));
            const timeval after = interval(delay);
            evtimer_add(timers.back(), &after);
        }
        for (std::size_t i = 0; i < timers.size(); ++i) {
            const timeval after = interval(delays[delays.size() - 1 - i] - 1001);
            evtimer_add(timers[i], &after);
        }
        event_base_loop(base, EVLOOP_NONBLOCK);
        for (event* const timer : timers) event_free(timer);
    }
    event_base_free(base);
    state.SetComplexityN(state.range(0));
}

void timerCounts(benchmark::internal::Benchmark* benchmark) {
    for (const int count : kTimerCounts) benchmark->Arg(count);
    benchmark->Complexity(benchmark::oNLogN)->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_TimersOurs)->Name("BM_Timers/KXPlatform")->Apply(timerCounts);
BENCHMARK(BM_TimersLibevent)->Name("BM_Timers/libevent")->Apply(timerCounts);
BENCHMARK(BM_TimersUv)->Name("BM_Timers/libuv")->Apply(timerCounts);

// ---- Threads

void BM_StartAndStopOurs(benchmark::State& state) {
    struct Service : BackgroundThread {
        explicit Service(BackgroundThreadEvent& r) : ready(r) {}
        void run() override {
            ready.signal();
            CFRunLoopRun();
        }
        BackgroundThreadEvent& ready;
    };
    BackgroundThreadEvent ready;
    for (auto _ : state) {
        StartBackgroundThread("benchmark", new Service(ready));
        ready.wait(nullptr);
        StopBackgroundThread("benchmark");
    }
}

/// The thread and nothing else.
void BM_StartAndStopBare(benchmark::State& state) {
    for (auto _ : state) {
        pthread_t thread;
        pthread_create(
            &thread, nullptr, [](void*) -> void* { return nullptr; }, nullptr);
        pthread_join(thread, nullptr);
    }
}

/// A thread that says it is ready and waits to be told to end.
void BM_StartAndStopEvents(benchmark::State& state) {
    struct Events {
        BackgroundThreadEvent ready, stop;
    };
    for (auto _ : state) {
        Events events;
        pthread_t thread;
        pthread_create(
            &thread, nullptr,
            [](void* shared) -> void* {
                static_cast<Events*>(shared)->ready.signal();
                static_cast<Events*>(shared)->stop.wait(nullptr);
                return nullptr;
            },
            &events);
        events.ready.wait(nullptr);
        events.stop.signal();
        pthread_join(thread, nullptr);
    }
}
BENCHMARK(BM_StartAndStopOurs)->Name("BM_StartAndStop/KXCoreLib")->UseRealTime();
BENCHMARK(BM_StartAndStopBare)->Name("BM_StartAndStop/pthread")->UseRealTime();
BENCHMARK(BM_StartAndStopEvents)->Name("BM_StartAndStop/pthread+condition")->UseRealTime();

}  // namespace
