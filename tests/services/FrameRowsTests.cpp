#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/UIImage.h"
#include "services/ZRFrameRows.h"

namespace zerva {
namespace {

// A frame whose rows are given by a value each: 0 is a flat white row, any other value a row
// with that pattern (not flat), so rows with equal values are equal.
std::shared_ptr<UIImage> frameOf(const std::vector<int>& rowValues, int width = 8) {
  std::vector<std::uint32_t> pixels;
  for (int v : rowValues) {
    for (int x = 0; x < width; ++x) pixels.push_back(v == 0 ? 0xFFFFFFFFu : 0xFF000000u | static_cast<std::uint32_t>(v * 7919 + x));
  }
  return UIImage::imageWithCGImage(
      CGImageCreateWithPixels(width, rowValues.size(), width * 4, pixels.data()), 1);
}

TEST(FrameRows, ChangedRowsAreExact) {
  const ZRFrameRows a(*frameOf({1, 2, 0, 3})), b(*frameOf({1, 9, 0, 3}));
  EXPECT_EQ(b.changedRows(a), (std::vector<bool>{false, true, false, false}));
  EXPECT_EQ(ZRFrameRows(*frameOf({1, 2}, 4)).changedRows(a), (std::vector<bool>{true, true}));
}

TEST(FrameRows, ScrollUnderAFixedHeaderIsFoundAndExplainsTheMovedRows) {
  // Header rows 1-2 stay; the list below moves up by 3 rows and row 40 comes in at the bottom.
  std::vector<int> before{1, 2}, after{1, 2};
  for (int v = 10; v < 40; ++v) before.push_back(v % 4 == 0 ? 0 : v);
  for (int v = 13; v < 43; ++v) after.push_back(v % 4 == 0 ? 0 : v);
  const ZRFrameRows a(*frameOf(before)), b(*frameOf(after));
  const auto changed = b.changedRows(a);
  ASSERT_EQ(b.verticalShift(a, changed), -3);
  EXPECT_TRUE(b.rowMatches(a, 2, -3));     // row 13 came up from row 5
  EXPECT_FALSE(b.rowMatches(a, 31, -3));   // the new bottom row
  EXPECT_FALSE(b.rowMatches(a, 31, -40));  // outside the previous frame
}

TEST(FrameRows, NoShiftForNewContentOrBlankRows) {
  const ZRFrameRows a(*frameOf({1, 2, 3, 4, 5, 6, 0, 0})), b(*frameOf({1, 2, 30, 40, 50, 60, 0, 0}));
  EXPECT_EQ(b.verticalShift(a, b.changedRows(a)), std::nullopt);
  // Only flat rows moved: blank ground says nothing.
  const ZRFrameRows c(*frameOf({0, 0, 0, 0, 0, 0, 7, 0})), d(*frameOf({0, 0, 0, 0, 0, 0, 0, 7}));
  EXPECT_EQ(d.verticalShift(c, d.changedRows(c)), std::nullopt);
}

}  // namespace
}  // namespace zerva
