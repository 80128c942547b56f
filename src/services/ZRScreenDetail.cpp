#include "services/ZRScreenDetail.h"

namespace zerva {

void ZRScreenDetail::tagScreenManually(std::optional<std::string> name) {
  if (auto current = manualName_.get(); current && current != name) manualPrevious_.set(current);
  manualName_.set(std::move(name));
}

}  // namespace zerva
