#pragma once
// Text with runs of attributes. Indices and ranges count UTF-8 bytes of string().
//
// The runs cover the whole string in order, and neighbouring runs always differ. The paragraph
// style that lays out a drawn text is the first character's.

#include <memory>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/NSRange.h"
#include "platform/NSStringAttributes.h"
#include "platform/NSStringDrawing.h"

namespace zerva {

class NSMutableAttributedString;

class NSAttributedString : public NSObject {
  ZR_DECLARE_CLASS(NSAttributedString)
 public:
  struct Run {
    NSRange range;
    NSStringAttributes attributes;
    friend bool operator==(const Run&, const Run&) = default;
  };

  NSAttributedString() = default;
  /// initWithString:attributes:.
  explicit NSAttributedString(std::string text, const NSStringAttributes& attributes = {});

  const std::string& string() const { return text_; }
  std::size_t length() const { return text_.size(); }
  const std::vector<Run>& runs() const { return runs_; }

  /// The attributes at the index, and (when given) the whole run that carries them.
  /// Throws std::out_of_range for an index at or past the end, as the platform raises
  /// NSRangeException (an empty string has no index 0).
  NSStringAttributes attributesAtIndex(std::size_t index, NSRange* effectiveRange) const;

  std::shared_ptr<NSMutableAttributedString> mutableCopy() const;

  /// As the plain-string functions of NSStringDrawing.h, with each run's own attributes.
  CGRect boundingRectWithSize(CGSize size, NSStringDrawingOptions options) const;
  void drawWithRect(CGRect rect, NSStringDrawingOptions options) const;

 protected:
  /// Applies `edit` to the attributes of the range (clamped to the string), splitting runs at
  /// its ends and merging equal neighbours afterwards.
  template <typename Edit>
  void editAttributes(NSRange range, Edit edit);
  void splitRunAt(std::size_t index);
  void mergeEqualRuns();

  std::string text_;
  std::vector<Run> runs_;
};

class NSMutableAttributedString : public NSAttributedString {
  ZR_DECLARE_CLASS(NSMutableAttributedString)
 public:
  using NSAttributedString::NSAttributedString;

  /// Ranges reaching past the end are cut at the end (the platform raises instead).
  void addAttributes(const NSStringAttributes& attributes, NSRange range);
  void removeAttribute(NSAttributedStringKey name, NSRange range);
  void setAttributes(const NSStringAttributes& attributes, NSRange range);
  void appendAttributedString(const NSAttributedString& other);
};

}  // namespace zerva
