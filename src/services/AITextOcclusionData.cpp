#include "services/AITextOcclusionData.h"

#include "platform/UIImage.h"

namespace zerva {

AITextOcclusionData::AITextOcclusionData(std::shared_ptr<UIImage> image, double time, long processingType,
                                         long videoQuality, long occlusionType)
    : image_(std::move(image)),
      time_(time),
      processingType_(processingType),
      videoQuality_(videoQuality),
      occlusionType_(occlusionType) {}

}  // namespace zerva
