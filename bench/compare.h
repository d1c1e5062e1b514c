// Timing an export beside its plain statement or beside a peer, the one loop
// every benchmark here shares.
#pragma once

#include <benchmark/benchmark.h>

#include <ctime>
#include <initializer_list>
#include <string>

namespace zb {

// Times f() in each iteration, `items` items per call.
template <class F>
void run(benchmark::State& st, long items, F&& f) {
    for (auto _ : st) {
        f();
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * items);
}

// Registers <name>_Lib and <name>_Plain at each size: each makes its Data(size)
// once and times lib(data, size) or plain(data, size) on it.
template <class Data, class Lib, class Plain>
void pair(const std::string& name, std::initializer_list<int> sizes, Lib lib, Plain plain) {
    auto add = [&](const char* side, auto f) {
        auto* b = benchmark::RegisterBenchmark((name + side).c_str(), [f](benchmark::State& st) {
            const int len = static_cast<int>(st.range(0));
            Data d(len);
            run(st, len, [&] { f(d, len); });
        });
        for (int s : sizes) b->Arg(s);
    };
    add("_Lib", lib);
    add("_Plain", plain);
}

// CPU time of this thread, so that time given to other processes on a shared
// machine counts for neither side.
inline double thread_seconds() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

// The library's work and a peer's, alternately in each iteration, `items`
// items each. The iteration time is the library's (for benchmarks registered
// with UseManualTime); the counters give both rates and the ratio, peer time
// over library time.
template <class Lib, class Peer>
void alternate(benchmark::State& st, double items, const std::string& peerName, Lib lib, Peer peer) {
    double ours = 0, theirs = 0, total = 0;
    for (auto _ : st) {
        const double t0 = thread_seconds();
        lib();
        const double t1 = thread_seconds();
        peer();
        const double t2 = thread_seconds();
        benchmark::ClobberMemory();
        st.SetIterationTime(t1 - t0);
        ours += t1 - t0;
        theirs += t2 - t1;
        total += items;
    }
    st.SetItemsProcessed(static_cast<long>(total));
    st.counters["zinsc_items/s"] = total / ours;
    st.counters[peerName + "_items/s"] = total / theirs;
    st.counters["ratio"] = theirs / ours;
}

}  // namespace zb
