#pragma once
// Row signatures of a captured frame: a hash of each pixel row, exact, and whether the row is
// one flat colour. Comparing them with the previous frame's tells which rows changed and whether
// the content moved up or down (a scroll), so that the text processor reads only rows it has not
// seen. Rows are compared at the capture's own resolution, where a scroll moves content by whole
// pixels and moved rows stay bit-identical.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zerva {

class UIImage;

class ZRFrameRows {
 public:
  ZRFrameRows() = default;
  explicit ZRFrameRows(const UIImage& image);

  int width() const { return width_; }
  int height() const { return static_cast<int>(hashes_.size()); }
  bool sameSize(const ZRFrameRows& other) const { return width_ == other.width_ && height() == other.height(); }

  /// Row y of this frame holds what row y - shift of `previous` held. False outside either frame.
  bool rowMatches(const ZRFrameRows& previous, int y, int shift = 0) const;

  /// Per row: differs from the same row of `previous`. All rows when the sizes differ.
  std::vector<bool> changedRows(const ZRFrameRows& previous) const;

  /// The vertical shift (positive: content moved down) that explains most of the changed rows
  /// that are not flat, when it explains at least `minimumShare` of them and at least a few.
  /// Flat rows (blank ground) say nothing about movement and do not vote.
  std::optional<int> verticalShift(const ZRFrameRows& previous, const std::vector<bool>& changed,
                                   double minimumShare = 0.3) const;

 private:
  int width_ = 0;
  std::vector<std::uint64_t> hashes_;
  std::vector<bool> flat_;
};

}  // namespace zerva
