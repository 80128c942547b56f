#pragma once
// What the text-recognition processor is asked to do with one frame: the image, its time, the
// kind of processing, and the recognition parameters of the screen's auto-occlusion rule.
// A plain record; videoQuality and occlusionType are carried for the SDK, not interpreted here.

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zerva {

class UIImage;

/// Processing types of a record.
enum AITextProcessingType : long {
  /// Recognise the text and answer the rectangles of sensitive text.
  AITextProcessingTypeRecognize = 1,
  /// The screen has no auto-occlusion rule: answer no rectangles, recognise nothing.
  AITextProcessingTypeNone = 3,
};

class AITextOcclusionData {
 public:
  /// initWithImage:time:processingType:videoQuality:occlusionType:
  AITextOcclusionData(std::shared_ptr<UIImage> image, double time, long processingType, long videoQuality,
                      long occlusionType);

  const std::shared_ptr<UIImage>& image() const { return image_; }
  double time() const { return time_; }
  long processingType() const { return processingType_; }
  long videoQuality() const { return videoQuality_; }
  long occlusionType() const { return occlusionType_; }

  /// Language codes as the recogniser names them ("eng", "fra"); nil means English.
  const std::optional<std::vector<std::string>>& recognitionLanguages() const { return recognitionLanguages_; }
  void setRecognitionLanguages(std::optional<std::vector<std::string>> languages) {
    recognitionLanguages_ = std::move(languages);
  }
  /// Words hidden wherever they appear, matched case-insensitively as whole words; nil for none.
  const std::optional<std::vector<std::string>>& customWords() const { return customWords_; }
  void setCustomWords(std::optional<std::vector<std::string>> words) { customWords_ = std::move(words); }

 private:
  std::shared_ptr<UIImage> image_;
  double time_;
  long processingType_;
  long videoQuality_;
  long occlusionType_;
  std::optional<std::vector<std::string>> recognitionLanguages_;
  std::optional<std::vector<std::string>> customWords_;
};

}  // namespace zerva
