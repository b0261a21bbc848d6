#pragma once

// The seeded random generator of the tests and the benchmarks: SplitMix64, small, fast and the
// same on every machine and library (the standard distributions are not), so that a seed names
// one sequence everywhere.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

class VXSeededRandom
{
public:
    explicit VXSeededRandom(std::uint64_t seed) : m_state(seed) { }

    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    // [0, 1)
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    // [0, bound)
    int below(int bound) { return static_cast<int>(uniform() * bound); }
    bool chance(double probability) { return uniform() < probability; }
    double exponential() { return -std::log1p(-uniform()); }
    // A heavy-tailed positive weight (log-normal), so that a few items get most of the time.
    double heavyWeight()
    {
        const double u1 = std::max(uniform(), 1e-12);
        const double u2 = uniform();
        const double gaussian = std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * std::numbers::pi * u2);
        return std::exp(1.6 * gaussian);
    }
    template <class T, std::size_t N> const T &pick(const T (&items)[N])
    {
        return items[static_cast<std::size_t>(below(static_cast<int>(N)))];
    }

    // The standard library's interface, for std::shuffle and friends.
    using result_type = std::uint64_t;
    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return ~result_type(0); }
    result_type operator()() { return next(); }

private:
    std::uint64_t m_state;
};
