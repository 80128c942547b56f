// The generator's splitmix64 stream and its uniform draws.

#include "scenegen/SceneRandom.h"

namespace zerva {

std::uint64_t SceneRandom::next() {
  state_ += 0x9E3779B97F4A7C15ULL;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

long SceneRandom::between(long lo, long hi) {
  if (hi <= lo) return lo;
  const std::uint64_t span = static_cast<std::uint64_t>(hi - lo) + 1;
  return lo + static_cast<long>(next() % span);
}

bool SceneRandom::chance(double p) {
  // 53 random bits as a fraction in [0, 1).
  return static_cast<double>(next() >> 11) * 0x1.0p-53 < p;
}

}  // namespace zerva
