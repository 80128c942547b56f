#pragma once
// The generator's source of chance: a splitmix64 stream with its own uniform draws, so that one
// seed gives the same scene with every compiler and standard library (std's distributions differ
// between them).

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zerva {

class SceneRandom {
 public:
  explicit SceneRandom(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next();
  /// A whole number from lo to hi, both included.
  long between(long lo, long hi);
  /// True with probability p (0 to 1).
  bool chance(double p);

  template <class T>
  const T& pick(const std::vector<T>& values) {
    return values[static_cast<std::size_t>(between(0, static_cast<long>(values.size()) - 1))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace zerva
