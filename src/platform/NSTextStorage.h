#pragma once
// An attributed string that layout managers lay out and draw. Hold it by std::shared_ptr: its
// layout managers refer back to it weakly.

#include <memory>
#include <vector>

#include "platform/NSAttributedString.h"
#include "platform/NSLayoutManager.h"

namespace zerva {

class NSTextStorage : public NSMutableAttributedString {
  ZR_DECLARE_CLASS(NSTextStorage)
 public:
  using NSMutableAttributedString::NSMutableAttributedString;

  const std::vector<std::shared_ptr<NSLayoutManager>>& layoutManagers() const { return layoutManagers_; }
  void addLayoutManager(std::shared_ptr<NSLayoutManager> manager);

 private:
  std::vector<std::shared_ptr<NSLayoutManager>> layoutManagers_;
};

}  // namespace zerva
