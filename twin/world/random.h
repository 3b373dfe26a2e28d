// Seeded numbers of the simulated world: the same on every machine.
#pragma once

#include <cstdint>

namespace twin {

// Scatters the bits of `value`; equal inputs give equal results.
constexpr std::uint64_t scatter(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

// The next number of the sequence that `state` stands in.
constexpr std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15U;
    return scatter(state);
}

// Noise from -1 to below 1 that depends only on its arguments.
constexpr double noiseAt(std::uint64_t seed, std::uint64_t stream, std::uint64_t index) {
    const std::uint64_t bits = scatter(scatter(scatter(seed) + stream) + index);
    return static_cast<double>(bits >> 11) * 0x1p-52 - 1.0;
}

}  // namespace twin
