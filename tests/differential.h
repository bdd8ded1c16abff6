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

// A routine under test; `runs` is false where the processor lacks its
// instruction set.
template <class Fn>
struct member {
    const char *name;
    Fn fn;
    bool runs = true;
};

// The members that run here; the first is the scalar statement.
template <class Fn>
std::vector<member<Fn>> members(std::initializer_list<member<Fn>> all) {
    std::vector<member<Fn>> v;
    for (const member<Fn> &m : all)
        if (m.runs) v.push_back(m);
    return v;
}

// `n` elements between `guard` elements of a sentinel on either side.
template <class T>
struct guarded {
    static constexpr size_t guard = 16;
    static constexpr T sentinel = T(0xA5A5A5A5u);
    std::vector<T> store;
    explicit guarded(size_t n) : store(n + 2 * guard, sentinel) {}
    T *data() { return store.data() + guard; }
    bool intact() const {
        for (size_t i = 0; i < guard; ++i)
            if (store[i] != sentinel || store[store.size() - 1 - i] != sentinel) return false;
        return true;
    }
};

// The arguments, each followed by a space: a case's text in messages.
template <class... A>
std::string text(const A &...a) {
    std::ostringstream s;
    ((s << a << ' '), ...);
    return s.str();
}

// Where two outputs differ: the first differing element of a buffer, or
// an end state's values; empty where they are equal.
template <class T>
std::string difference(const T &want, const T &got) {
    using testing::PrintToString;
    return want == got ? "" : "want " + PrintToString(want) + " got " + PrintToString(got);
}
template <class T>
std::string difference(const std::vector<T> &want, const std::vector<T> &got) {
    const auto d = std::mismatch(want.begin(), want.end(), got.begin(), got.end());
    return d.first == want.end() ? ""
                                 : "element " + std::to_string(d.first - want.begin()) + ": " +
                                       difference(*d.first, *d.second);
}
template <class T>
std::string difference(const guarded<T> &want, const guarded<T> &got) {
    return difference(want.store, got.store);
}
template <class... T>
std::string difference(const std::tuple<T...> &want, const std::tuple<T...> &got) {
    std::string d;
    [&]<size_t... I>(std::index_sequence<I...>) {
        ((d += d.empty() ? difference(std::get<I>(want), std::get<I>(got)) : ""), ...);
    }
    (std::index_sequence_for<T...>{});
    return d;
}

// Whether the guards of every guarded buffer among the outputs hold.
template <class T>
bool intact(const T &) {
    return true;
}
template <class T>
bool intact(const guarded<T> &out) {
    return out.intact();
}
template <class... T>
bool intact(const std::tuple<T...> &out) {
    return std::apply([](const auto &...o) { return (intact(o) && ...); }, out);
}

// Runs every member through out(member), which returns its outputs (guarded
// buffers, end states; a tuple of them): each must equal the first's, the
// scalar statement's, whose guards must hold and which must satisfy
// valid(). `what` names the case: text, or a function that makes it.
template <class M, class Out, class What, class Valid>
void same(const std::vector<M> &members, Out out, const What &what, Valid valid) {
    auto name = [&] {
        if constexpr (std::is_invocable_v<What>)
            return what();
        else
            return what;
    };
    const auto want = out(members[0]);
    ASSERT_TRUE(intact(want) && valid(want))
        << members[0].name << " writes outside its output: " << name();
    for (size_t m = 1; m < members.size(); ++m) {
        const std::string d = difference(want, out(members[m]));
        ASSERT_TRUE(d.empty()) << members[m].name << " against " << members[0].name << ", " << d
                               << ": " << name();
    }
}
template <class M, class Out, class What>
void same(const std::vector<M> &members, Out out, const What &what) {
    same(members, out, what, [](const auto &) { return true; });
}

} // namespace differential
