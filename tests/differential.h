// The differential harness of the SIMD tests: seeded random cases, outputs
// between guard elements, and every member this processor runs against the
// scalar statement of its arithmetic, element for element.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace differential {

// Seed of the random cases: TOVREL_TEST_SEED if set, else a fixed value.
inline uint32_t seed() {
    const char *s = std::getenv("TOVREL_TEST_SEED");
    return s ? uint32_t(std::strtoul(s, nullptr, 0)) : 0x5eed1234u;
}

// body(rng, iteration) for `iterations` cases from one generator seeded
// with seed() + salt, up to the first fatal failure, which names both.
template <class Body>
void for_cases(int iterations, Body body, uint32_t salt = 0) {
    const uint32_t s = seed() + salt;
    SCOPED_TRACE("seed " + std::to_string(s) + " (TOVREL_TEST_SEED varies it)");
    std::mt19937 rng(s);
    for (int i = 0; i < iterations && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE("iteration " + std::to_string(i));
        body(rng, i);
    }
}

// A routine under test; same() skips it where `runs` is false (the
// processor lacks its instruction set).
template <class Fn>
struct member {
    const char *name;
    Fn fn;
    bool runs = true;
};
template <class Fn>
using members = std::vector<member<Fn>>;

// `n` elements between `guard` elements of a sentinel on either side.
template <class T>
struct guarded : std::vector<T> {
    static constexpr size_t guard = 16;
    static constexpr T sentinel = T(0xA5A5A5A5u);
    explicit guarded(size_t n) : std::vector<T>(n + 2 * guard, sentinel) {}
    T *at() { return this->data() + guard; }
    bool intact() const {
        const auto changed = [](T v) { return v != sentinel; };
        return std::none_of(this->begin(), this->begin() + guard, changed) &&
               std::none_of(this->end() - guard, this->end(), changed);
    }
};

// The arguments, each followed by a space (floats to 9 digits): a case's
// text in messages.
template <class... A>
std::string text(const A &...a) {
    std::ostringstream s;
    s.precision(9);
    ((s << a << ' '), ...);
    return s.str();
}

// f(a_i, b_i) for the elements of two tuples in turn.
template <class... T, class F>
void each_pair(const std::tuple<T...> &a, const std::tuple<T...> &b, F f) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (f(std::get<I>(a), std::get<I>(b)), ...);
    }
    (std::index_sequence_for<T...>{});
}

// Runs every member through out(member), which returns a tuple of its
// outputs (guarded buffers, end states): each must equal the first's, the
// scalar statement's, whose guards must hold and which must satisfy
// valid(). `what` names the case: text, or a function that makes it.
struct anything {
    bool operator()(const auto &) const { return true; }
};
template <class M, class Out, class What, class Valid = anything>
void same(const std::vector<M> &members, Out out, const What &what, Valid valid = {}) {
    auto name = [&] {
        if constexpr (std::is_invocable_v<What>)
            return what();
        else
            return what;
    };
    const auto want = out(members[0]);
    bool intact = valid(want);
    each_pair(want, want, [&](const auto &w, const auto &) {
        if constexpr (requires { w.intact(); }) intact = intact && w.intact();
    });
    ASSERT_TRUE(intact) << members[0].name << " writes outside its output: " << name();
    for (size_t i = 1; i < members.size(); ++i) {
        const M &m = members[i];
        if constexpr (requires { m.runs; })
            if (!m.runs) continue;
        // The first differing element of a buffer, or an end state's values.
        std::string d;
        each_pair(want, out(m), [&](const auto &w, const auto &g) {
            using testing::PrintToString;
            if (!d.empty() || w == g) return;
            if constexpr (requires { w.begin(); }) {
                const auto e = std::mismatch(w.begin(), w.end(), g.begin(), g.end());
                d = text("element", e.first - w.begin(), "want", PrintToString(*e.first), "got",
                         PrintToString(*e.second));
            } else {
                d = text("want", PrintToString(w), "got", PrintToString(g));
            }
        });
        ASSERT_TRUE(d.empty()) << m.name << " against " << members[0].name << ", " << d << ": "
                               << name();
    }
}

} // namespace differential
