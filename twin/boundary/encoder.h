// The simulated encoder's beginnings.
#pragma once

#include <cstdint>

namespace twin {

// Nobody is attached; `seed` is that of the statistics' noise.
void makeEncoder(std::uint64_t seed);

}  // namespace twin
