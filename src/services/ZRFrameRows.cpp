#include "services/ZRFrameRows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <unordered_map>

#include "platform/UIImage.h"

namespace zerva {

namespace {
// Votes below this are chance (repeated rows of a pattern, a few equal rows of glyphs).
constexpr int kMinimumVotes = 4;
// Rows with many equal twins (stripes, rules) vote for too many shifts to mean anything.
constexpr std::size_t kMaximumTwins = 8;
constexpr int kLanes = 4;
constexpr std::uint64_t kPrime = 0x100000001b3ull;
}  // namespace

ZRFrameRows::ZRFrameRows(const UIImage& image) {
  const CGImage& source = *image.CGImage();
  width_ = static_cast<int>(source.width());
  const int h = static_cast<int>(source.height());
  hashes_.resize(h);
  flat_.resize(h);
  for (int y = 0; y < h; ++y) {
    const std::uint8_t* row = source.data() + static_cast<std::size_t>(y) * source.bytesPerRow();
    std::uint32_t first = 0;
    if (width_ > 0) std::memcpy(&first, row, 4);
    const std::uint64_t pattern = (static_cast<std::uint64_t>(first) << 32) | first;
    // FNV-1a over two pixels at a time in four independent lanes, so that the multiplications
    // overlap; a rotation after each brings the high bits (alpha and red of the second pixel)
    // back down, where the next multiplication spreads them. Exact equality is what matters.
    std::uint64_t lanes[kLanes] = {0xcbf29ce484222325ull, 0x84222325cbf29ce4ull, 0x9e3779b97f4a7c15ull,
                                   0xc2b2ae3d27d4eb4full};
    bool flat = true;
    int x = 0;
    for (; x + 2 * kLanes <= width_; x += 2 * kLanes) {
      for (int k = 0; k < kLanes; ++k) {
        std::uint64_t v;
        std::memcpy(&v, row + 4 * (x + 2 * k), 8);
        lanes[k] = std::rotl((lanes[k] ^ v) * kPrime, 29);
        flat = flat && v == pattern;
      }
    }
    for (; x < width_; ++x) {
      std::uint32_t v;
      std::memcpy(&v, row + 4 * x, 4);
      lanes[0] = std::rotl((lanes[0] ^ v) * kPrime, 29);
      flat = flat && v == first;
    }
    std::uint64_t hash = static_cast<std::uint64_t>(width_);
    for (int k = 0; k < kLanes; ++k) hash = std::rotl((hash ^ lanes[k]) * kPrime, 29);
    hashes_[y] = hash;
    flat_[y] = flat;
  }
}

bool ZRFrameRows::rowMatches(const ZRFrameRows& previous, int y, int shift) const {
  const int from = y - shift;
  if (width_ != previous.width_ || y < 0 || y >= height() || from < 0 || from >= previous.height()) return false;
  return hashes_[y] == previous.hashes_[from];
}

std::vector<bool> ZRFrameRows::changedRows(const ZRFrameRows& previous) const {
  std::vector<bool> changed(height(), true);
  if (!sameSize(previous)) return changed;
  for (int y = 0; y < height(); ++y) changed[y] = hashes_[y] != previous.hashes_[y];
  return changed;
}

std::optional<int> ZRFrameRows::verticalShift(const ZRFrameRows& previous, const std::vector<bool>& changed,
                                               double minimumShare) const {
  if (!sameSize(previous)) return std::nullopt;
  std::unordered_map<std::uint64_t, std::vector<int>> rowsByHash;
  for (int y = 0; y < previous.height(); ++y) {
    if (!previous.flat_[y]) rowsByHash[previous.hashes_[y]].push_back(y);
  }
  std::unordered_map<int, int> votes;
  int voters = 0;
  for (int y = 0; y < height(); ++y) {
    if (!changed[y] || flat_[y]) continue;
    ++voters;
    const auto it = rowsByHash.find(hashes_[y]);
    if (it == rowsByHash.end() || it->second.size() > kMaximumTwins) continue;
    for (int from : it->second) {
      if (from != y) ++votes[y - from];
    }
  }
  std::optional<int> best;
  int bestVotes = 0;
  for (const auto& [shift, count] : votes) {
    if (count > bestVotes || (count == bestVotes && best && std::abs(shift) < std::abs(*best))) {
      best = shift;
      bestVotes = count;
    }
  }
  if (!best || bestVotes < kMinimumVotes || bestVotes < minimumShare * voters) return std::nullopt;
  return best;
}

}  // namespace zerva
