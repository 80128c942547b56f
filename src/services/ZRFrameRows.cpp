#include "services/ZRFrameRows.h"

#include <algorithm>
#include <unordered_map>

#include "platform/UIImage.h"

namespace zerva {

namespace {
// Votes below this are chance (repeated rows of a pattern, a few equal rows of glyphs).
constexpr int kMinimumVotes = 4;
// Rows with many equal twins (stripes, rules) vote for too many shifts to mean anything.
constexpr std::size_t kMaximumTwins = 8;
}  // namespace

ZRFrameRows::ZRFrameRows(const UIImage& image) {
  const CGImage& source = *image.CGImage();
  width_ = static_cast<int>(source.width());
  const int h = static_cast<int>(source.height());
  hashes_.resize(h);
  flat_.resize(h);
  for (int y = 0; y < h; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(source.data() + static_cast<std::size_t>(y) * source.bytesPerRow());
    // FNV-1a over whole pixels: exact equality is what matters, not spread.
    std::uint64_t hash = 0xcbf29ce484222325ull;
    bool flat = true;
    for (int x = 0; x < width_; ++x) {
      hash = (hash ^ row[x]) * 0x100000001b3ull;
      flat = flat && row[x] == row[0];
    }
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
