#include "platform/NSTextStorage.h"

namespace zerva {

ZR_DEFINE_CLASS(NSTextStorage, NSMutableAttributedString, [] { return std::make_shared<NSTextStorage>(); })

void NSTextStorage::addLayoutManager(std::shared_ptr<NSLayoutManager> manager) {
  if (!manager) return;
  manager->setTextStorage(std::static_pointer_cast<NSTextStorage>(shared_from_this()));
  layoutManagers_.push_back(std::move(manager));
}

}  // namespace zerva
