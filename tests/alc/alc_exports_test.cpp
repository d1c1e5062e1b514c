// The five level-control exports described for the checking harness: the
// status walk in the documented order, the plain statement over lengths,
// misalignments of the state and the buffers, extreme inputs, repeated and
// split calls.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "alc_signals.h"
#include "check.h"

namespace {

using zt::Buf;
using zt::by_off;
using zt::Gen;

ZinALCState_G169_16s* as_state(const Buf<uint8_t>& b) { return b.as<ZinALCState_G169_16s>(); }

// The size query, Init and the two settings: a state of random bytes at any
// misalignment, and up to two values in dB.
struct Set {
    float a, b;
    Buf<uint8_t> state;
    Buf<int> size;
    auto bufs() { return std::tie(state, size); }
};

Set make_set(Gen& g) {
    std::vector<uint8_t> v(124);
    for (auto& x : v) x = static_cast<uint8_t>(g.pick(0, 255));
    return {by_off(g, {0.0f, 11.6f, 26.1f, 0.25f, 6.0f, 40.0f, 90.3f}), by_off(g, {0.0f, 0.5f, 3.0f, 20.0f}),
            Buf<uint8_t>(v, g.next_off(1)), g.out<int>(1)};
}

void check_set(const char* name, ZinStatus (*call)(Set&), void (*plain)(Set&, zt::AlcModel&),
               std::vector<zt::Check<Set>> checks) {
    zt::check(zt::Export<Set>{name, make_set, call,
                              [plain](Set& s) {
                                  zt::AlcModel m = zt::AlcModel::load(s.state.p());
                                  plain(s, m);
                                  m.store(s.state.p());
                                  return zinStsNoErr;
                              },
                              std::move(checks)},
              zt::Sweep{{1}, {0, 1, 2, 3, 4, 5, 6}, {zt::Pattern::Random}});
}

float db_gain(float db) { return static_cast<float>(std::pow(10.0, double{db} / 20.0)); }
float db_level(float db) { return static_cast<float>(32768.0 / std::pow(10.0, double{db} / 20.0)); }

TEST(AlcExports, SizeInitAndSettings) {
    check_set("zinsALCGetStateSize_G169_16s", [](Set& s) { return zinsALCGetStateSize_G169_16s(s.size); },
              [](Set& s, zt::AlcModel&) { s.size[0] = 124; }, {zt::null(&Set::size)});
    check_set("zinsALCInit_G169_16s", [](Set& s) { return zinsALCInit_G169_16s(as_state(s.state)); },
              [](Set&, zt::AlcModel& m) { m = zt::AlcModel{}; }, {zt::null(&Set::state)});
    check_set("zinsALCSetGain_G169_16s", [](Set& s) { return zinsALCSetGain_G169_16s(s.a, as_state(s.state)); },
              [](Set& s, zt::AlcModel& m) { m.maxGain = db_gain(s.a); },
              {zt::null(&Set::state), zt::set(zinStsRangeErr, &Set::a, -0.001f, "maxGainDb below 0")});
    check_set("zinsALCSetLevel_G169_16s", [](Set& s) { return zinsALCSetLevel_G169_16s(s.a, s.b, as_state(s.state)); },
              [](Set& s, zt::AlcModel& m) {
                  m.targetLevel = db_level(s.a);
                  m.maxLevel = db_level(s.b);
              },
              {zt::null(&Set::state), zt::set(zinStsRangeErr, &Set::a, -1.0f, "targetDb below 0"),
               zt::set(zinStsRangeErr, &Set::b, -0.5f, "maxDb below 0")});
}

// The block process from states that the scalar statement reached on
// speech, noise or nothing, on every extreme input.
TEST(AlcExports, Process) {
    struct A {
        Buf<int16_t> src, dst;
        int len;
        Buf<uint8_t> state;
        auto bufs() { return std::tie(dst, state); }
    };
    static const std::vector<int16_t> loud = zt::at_level(zt::speech8k(), -15);
    static const std::vector<int16_t> quiet = zt::at_level(zt::speech8k(), -40);
    static const std::vector<int16_t> noise = zt::white_noise(40000, -38, 2);
    auto make = [](Gen& g) {
        zt::AlcModel m;
        const std::vector<int16_t>* before = by_off(g, {&loud, &quiet, &noise, &loud, static_cast<const std::vector<int16_t>*>(nullptr)});
        if (before) m.run(std::vector<int16_t>(before->begin(), before->begin() + by_off(g, {800, 24000, 8000, 16000, 3200, 40000})));
        A a{g.in16(g.len), g.out<int16_t>(g.len), g.len, Buf<uint8_t>(124, g.next_off(1))};
        m.store(a.state.p());
        return a;
    };
    auto plain = [](A& a) {
        zt::AlcModel m = zt::AlcModel::load(a.state.p());
        for (int i = 0; i < a.len; i += 8) m.block(a.src.p() + i, a.dst.p() + i);
        m.store(a.state.p());
        return zinStsNoErr;
    };
    zt::Export<A> e{"zinsALC_G169_16s", make,
                    [](A& a) { return zinsALC_G169_16s(a.src, a.dst, a.len, as_state(a.state)); }, plain,
                    {zt::null(&A::src), zt::null(&A::dst), zt::null(&A::state),
                     zt::set(zinStsRangeErr, &A::len, 0), zt::set(zinStsRangeErr, &A::len, -8),
                     zt::set(zinStsRangeErr, &A::len, 4, "len below 8"),
                     zt::set(zinStsRangeErr, &A::len, 12, "len not a multiple of 8")}};
    e.split = [](A& a, int cut) {
        const ZinStatus st = zinsALC_G169_16s(a.src, a.dst, cut, as_state(a.state));
        if (st != zinStsNoErr) return st;
        return zinsALC_G169_16s(a.src.at(cut), a.dst.at(cut), a.len - cut, as_state(a.state));
    };
    zt::check(e, zt::Sweep{{8, 16, 24, 32, 40, 64, 80, 160, 320, 1024, 4000}, {0, 1, 2, 3, 4, 5, 6, 7},
                           {std::begin(zt::kPatterns), std::end(zt::kPatterns)}, {8, 24, 72}});
}

}  // namespace
