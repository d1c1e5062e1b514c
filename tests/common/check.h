// The checking harness, in the manner of FFmpeg's checkasm: an export is
// described once (its plain statement, how to make valid arguments, and its
// argument checks in the documented order) and the harness drives it:
//
//   - status walk: each check's spoiled argument, with every later check's
//     spoil applied too, must give that check's status (the first failing
//     check wins), and a refused call must leave every buffer as it was;
//   - plain statement against the export on the same arguments, over many
//     lengths, every misalignment and the extreme input patterns, each buffer
//     an exact-size heap block so the sanitizer build sees any access past it;
//   - the export called twice on the same arguments gives the same result;
//   - exports with a memory: the work in two calls equals the work in one.
//
// A description:
//
//   struct Args {                        // everything one call is handed
//       zt::Buf<int16_t> src, dst;
//       int len;
//       auto bufs() { return std::tie(src, dst); }   // what the harness compares
//   };
//   zt::Export<Args> e{
//       "zinsFoo_16s",
//       [](zt::Gen& g) { return Args{g.in16(g.len), g.out<int16_t>(g.len), g.len}; },
//       [](Args& a) { return zinsFoo_16s(a.src, a.dst, a.len); },
//       [](Args& a) { ...plain loop over a.src into a.dst...; return zinStsNoErr; },
//       {{zinStsNullPtrErr, "src", [](Args& a) { a.src.null(); }},
//        {zinStsSizeErr, "len 0", [](Args& a) { a.len = 0; }}}};
//   zt::check(e);
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "test_util.h"
#include "zinsc.h"

namespace zt {

// n elements of T in a heap block of exactly the bytes they need, starting
// `offset` elements past a 64-byte boundary; the bytes before the data are a
// canary area. Copies are deep and keep the offset. null() makes the pointer
// handed to an export a null pointer.
template <class T>
class Buf {
public:
    Buf() = default;
    explicit Buf(std::size_t n, std::size_t offset = 0) { alloc(n, offset); }
    Buf(const std::vector<T>& v, std::size_t offset = 0) {
        alloc(v.size(), offset);
        if (!v.empty()) std::memcpy(data_, v.data(), v.size() * sizeof(T));
    }
    Buf(const Buf& o) { *this = o; }
    Buf& operator=(const Buf& o) {
        if (this == &o) return *this;
        alloc(o.n_, o.off_);
        if (o.block_) std::memcpy(block_.get(), o.block_.get(), o.off_ * sizeof(T) + o.n_ * sizeof(T));
        null_ = o.null_;
        return *this;
    }
    Buf(Buf&&) noexcept = default;
    Buf& operator=(Buf&&) noexcept = default;

    T* p() const { return null_ ? nullptr : data_; }
    operator T*() const { return p(); }
    // A pointer k elements into the data (null when the buffer is nulled).
    T* at(std::ptrdiff_t k) const { return null_ ? nullptr : data_ + k; }
    template <class U>
    U* as() const { return reinterpret_cast<U*>(p()); }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    std::size_t size() const { return n_; }
    std::vector<T> vec() const { return std::vector<T>(data_, data_ + n_); }
    void null() { null_ = true; }
    bool canary_intact() const {
        const auto* b = static_cast<const unsigned char*>(block_.get());
        for (std::size_t i = 0; i < off_ * sizeof(T); ++i)
            if (b[i] != 0xA5) return false;
        return true;
    }
    // Byte-for-byte content and canary comparison; the index of the first
    // differing element, or -1.
    long first_difference(const Buf& o) const {
        if (n_ != o.n_) return 0;
        for (std::size_t i = 0; i < n_; ++i)
            if (std::memcmp(data_ + i, o.data_ + i, sizeof(T)) != 0) return static_cast<long>(i);
        return -1;
    }

private:
    struct Free {
        void operator()(void* q) const { std::free(q); }
    };
    void alloc(std::size_t n, std::size_t offset) {
        void* q = nullptr;
        const std::size_t bytes = (offset + n) * sizeof(T);
        if (posix_memalign(&q, 64, bytes ? bytes : 1) != 0) std::abort();
        block_.reset(q);
        std::memset(q, 0xA5, bytes);
        n_ = n;
        off_ = offset;
        data_ = reinterpret_cast<T*>(static_cast<unsigned char*>(q) + offset * sizeof(T));
        null_ = false;
    }
    std::unique_ptr<void, Free> block_;
    T* data_ = nullptr;
    std::size_t n_ = 0, off_ = 0;
    bool null_ = false;
};

// What one run of a description is made from: the length, the misalignment,
// the input pattern and the generator. Each buffer made through it starts at
// its own misalignment, so that no two arguments share one.
struct Gen {
    int len = 40;
    int off = 0;
    Pattern pat = Pattern::Random;

    std::size_t next_off(std::size_t elem) {
        const std::size_t o = static_cast<std::size_t>(off + 5 * count_++) % (32 / elem);
        return o;
    }
    // Input in the current pattern, or uniform in [lo, hi].
    Buf<int16_t> in16(int n) { return Buf<int16_t>(pattern16(pat, size(n)), next_off(2)); }
    Buf<int16_t> in16(int n, int lo, int hi) { return Buf<int16_t>(ranged16(n, lo, hi), next_off(2)); }
    Buf<int32_t> in32(int n, int64_t lo = INT32_MIN, int64_t hi = INT32_MAX) {
        std::vector<int32_t> v = random32(size(n), lo, hi);
        if (pat == Pattern::FullScalePositive) v.assign(size(n), static_cast<int32_t>(hi));
        if (pat == Pattern::FullScaleNegative) v.assign(size(n), static_cast<int32_t>(lo));
        if (pat == Pattern::Silence) v.assign(size(n), 0);
        return Buf<int32_t>(v, next_off(4));
    }
    Buf<float> in32f(int n, float lo, float hi) {
        std::uniform_real_distribution<float> d(lo, hi);
        std::vector<float> v(size(n));
        for (auto& x : v) x = pat == Pattern::Silence ? 0.f : d(rng());
        return Buf<float>(v, next_off(4));
    }
    // An output or memory: filled with a pattern the export must overwrite.
    template <class T>
    Buf<T> out(int n) { return Buf<T>(size(n), next_off(sizeof(T) < 4 ? sizeof(T) : 4)); }
    template <class T>
    Buf<T> val(T v) { return Buf<T>(std::vector<T>{v}, next_off(sizeof(T) < 4 ? sizeof(T) : 4)); }
    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng()); }
    bool extreme() const { return pat == Pattern::FullScalePositive || pat == Pattern::FullScaleNegative; }

private:
    static std::size_t size(int n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }
    std::vector<int16_t> ranged16(int n, int lo, int hi) {
        switch (pat) {
            case Pattern::FullScalePositive: return std::vector<int16_t>(size(n), static_cast<int16_t>(hi));
            case Pattern::FullScaleNegative: return std::vector<int16_t>(size(n), static_cast<int16_t>(lo));
            case Pattern::Silence: return std::vector<int16_t>(size(n), 0);
            default: return random16(size(n), lo, hi);
        }
    }
    int count_ = 0;
};

template <class A>
struct Check {
    ZinStatus status;
    std::string what;
    std::function<void(A&)> spoil;
};

// Check makers: a null buffer member, or a member set to a value.
template <class A, class B>
Check<A> null(B A::*m, std::string what = "null pointer") {
    return {zinStsNullPtrErr, std::move(what), [m](A& a) { (a.*m).null(); }};
}
template <class A, class V, class W>
Check<A> set(ZinStatus st, V A::*m, W v, std::string what = "") {
    if (what.empty()) what = "value " + std::to_string(v);
    return {st, std::move(what), [m, v](A& a) { a.*m = static_cast<V>(v); }};
}

template <class A>
struct Export {
    std::string name;
    std::function<A(Gen&)> make;
    std::function<ZinStatus(A&)> call;
    std::function<ZinStatus(A&)> plain;  // may be empty: no plain statement
    std::vector<Check<A>> checks;        // in the documented order
    // Optional: the same work in two calls, the first over `cut` samples.
    std::function<ZinStatus(A&, int cut)> split = nullptr;
    // Optional: a tolerance comparison of the plain result `want` and the export's `got`.
    std::function<void(const A& want, const A& got, const std::string& where)> compare = nullptr;
};

// Where a run of a description is, for failure messages.
inline std::string where(const std::string& name, const Gen& g) {
    static const char* pats[] = {"random", "+full", "-full", "alternating", "silence", "small"};
    std::ostringstream s;
    s << name << " len " << g.len << " off " << g.off << " " << pats[static_cast<int>(g.pat)];
    return s.str();
}

template <class T>
std::string show(const T& v) {
    if constexpr (std::is_arithmetic_v<T>)
        return std::to_string(+v);
    else
        return "(not a number)";
}

namespace detail {
template <class T1, class T2, class F, std::size_t... I>
void zip(T1&& a, T2&& b, F&& f, std::index_sequence<I...>) {
    (f(std::get<I>(a), std::get<I>(b), I), ...);
}
}  // namespace detail

// Compares every buffer of two argument sets byte for byte; true when equal.
template <class A>
bool same(A& want, A& got, const std::string& at) {
    bool ok = true;
    auto w = want.bufs();
    auto g = got.bufs();
    detail::zip(w, g, [&](auto& x, auto& y, std::size_t k) {
        const long d = x.first_difference(y);
        if (d >= 0) {
            ADD_FAILURE() << at << ": buffer " << k << " differs at element " << d << " (want "
                          << show(x[static_cast<std::size_t>(d)]) << ", got " << show(y[static_cast<std::size_t>(d)])
                          << ")";
            ok = false;
        }
        if (!y.canary_intact()) {
            ADD_FAILURE() << at << ": buffer " << k << " written before its start";
            ok = false;
        }
    }, std::make_index_sequence<std::tuple_size_v<decltype(w)>>{});
    return ok;
}

// The status walk at one length.
template <class A>
void check_statuses(const Export<A>& e, int len = 40) {
    for (std::size_t i = 0; i < e.checks.size(); ++i) {
        Gen g;
        g.len = len;
        A a = e.make(g);
        for (std::size_t j = e.checks.size(); j-- > i + 1;) e.checks[j].spoil(a);
        e.checks[i].spoil(a);
        A before = a;
        const ZinStatus st = e.call(a);
        EXPECT_EQ(st, e.checks[i].status) << e.name << ": " << e.checks[i].what << " (first failing check wins)";
        same(before, a, e.name + ": refused call (" + e.checks[i].what + ") wrote");
    }
}

struct Sweep {
    std::vector<int> lengths = test_lengths();
    std::vector<int> offsets = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<Pattern> patterns = {std::begin(kPatterns), std::end(kPatterns)};
    std::vector<int> cuts = {1, 7, 8, 17};  // for split calls, where below the length
};

// The sweep for exports whose work grows with the square of the length.
inline Sweep quadratic_sweep() { return Sweep{short_lengths(), {0, 1, 2, 3, 5, 7}}; }

// A value of a list chosen by the run's misalignment, so that every value
// meets every length and pattern.
template <class T>
T by_off(const Gen& g, std::initializer_list<T> v) {
    return v.begin()[static_cast<std::size_t>(g.off) % v.size()];
}

// The plain statement against the export, determinism and split calls.
template <class A>
void check_results(const Export<A>& e, const Sweep& s = {}) {
    int failures = 0;
    for (int len : s.lengths)
        for (int off : s.offsets)
            for (Pattern p : s.patterns) {
                Gen g;
                g.len = len;
                g.off = off;
                g.pat = p;
                const A orig = e.make(g);
                const std::string at = where(e.name, g);
                A got = orig;
                const ZinStatus st = e.call(got);
                if (e.plain) {
                    A want = orig;
                    const ZinStatus ws = e.plain(want);
                    EXPECT_EQ(st, ws) << at;
                    if (e.compare)
                        e.compare(want, got, at);
                    else if (!same(want, got, at))
                        ++failures;
                }
                A again = orig;
                EXPECT_EQ(e.call(again), st) << at << " (second call)";
                if (!same(got, again, at + " (second call)")) ++failures;
                if (e.split)
                    for (int cut : s.cuts) {
                        if (cut >= len) continue;
                        A parts = orig;
                        EXPECT_EQ(e.split(parts, cut), st) << at << " split at " << cut;
                        if (!same(got, parts, at + " split at " + std::to_string(cut))) ++failures;
                    }
                if (failures > 3 || ::testing::Test::HasFatalFailure()) return;
            }
}

template <class A>
void check(const Export<A>& e, const Sweep& s = {}) {
    check_statuses(e);
    check_results(e, s);
}

}  // namespace zt
