#pragma once
// Finds sensitive text in one line of recognised words: custom words, e-mail addresses, payment
// card numbers, phone numbers and runs of six or more digits.
//
// Patterns run on the line's text (the words joined by single spaces), because the recogniser's
// word boxes do not follow the groups of a number: "4111 1111 1111 1111" may come back as
// "411111111111" + "1111". Each match is mapped back to the words it touches, so that the caller
// covers whole words. Typographic quotes, dashes and spaces are read as their plain forms, and
// word boundaries follow Unicode categories (letters, marks and digits make words; punctuation
// and symbols do not). Pure and cheap: no state besides the custom words; safe to share between
// threads once made.

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace zerva {

class ZRSensitiveTextMatcher {
 public:
  enum class Kind { CustomWord, Email, CardNumber, PhoneNumber, DigitRun };

  /// Bytes [begin, end) of the text.
  struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
    Kind kind = Kind::DigitRun;
    friend bool operator==(const Span&, const Span&) = default;
  };

  /// Words [firstWord, lastWord] of the line, both included.
  struct WordRun {
    std::size_t firstWord = 0;
    std::size_t lastWord = 0;
    Kind kind = Kind::DigitRun;
    friend bool operator==(const WordRun&, const WordRun&) = default;
  };

  /// The gap before a word, in heights of its line, when nothing is known: an ordinary space.
  static constexpr float kSpaceGap = 0.4f;
  /// Below this a gap is no space at all: the recogniser split one word in two. After a dot
  /// (its own margin included) the second.
  static constexpr float kSplitGap = 0.22f;
  static constexpr float kSplitGapAfterDot = 0.35f;
  /// Phone numbers and digit runs count only in numbers read at least this confidently
  /// (0-100); misread dates and order numbers otherwise turn into them. Cards (Luhn), phone
  /// numbers with a '+' or parentheses, and words with letters (references, IBANs) need no such
  /// check.
  static constexpr float kDigitConfidence = 30.0f;

  /// A recognised word, with the recogniser's confidence (0-100) and the gap before it.
  struct Word {
    std::string text;
    float confidence = 100;
    float gapBefore = kSpaceGap;
  };

  /// Custom words match case-insensitively and only as whole words; a custom "word" may hold
  /// spaces. Empty entries are ignored. Phone numbers and digit runs count in words read at
  /// least `digitConfidence` confidently.
  explicit ZRSensitiveTextMatcher(std::vector<std::string> customWords = {}, float digitConfidence = kDigitConfidence);

  const std::vector<std::string>& customWords() const { return customWords_; }

  /// Every sensitive span of the text, sorted by start; overlapping spans are merged (the kind
  /// of the earliest-starting one is kept). Spaces are taken as ordinary spaces.
  std::vector<Span> matchesInText(std::string_view text) const;

  /// The runs of words that hold a sensitive span, in word order; a run that touches a word at
  /// all includes the whole word. Runs that share a word are merged.
  std::vector<WordRun> matchesInWords(const std::vector<Word>& words) const;
  std::vector<WordRun> matchesInWords(const std::vector<std::string>& words) const;

  /// A card read less confidently than this is worth a second look.
  static constexpr float kSureCardConfidence = 80.0f;

  /// Whether the line holds something that a misread character may have spoilt or made up: an
  /// '@' in no address, digits held back for want of confidence, a number as long as a card's
  /// that fails Luhn, a card read unsurely. Worth reading again at a higher resolution.
  bool hasNearMiss(const std::vector<Word>& words) const;

  /// The Luhn check of a string of ASCII digits (no separators); false for an empty string.
  static bool passesLuhn(std::string_view digits);

  static const char* kindName(Kind kind);

 private:
  std::vector<std::string> customWords_;  // folded and lower-cased
  float digitConfidence_;
};

void PrintTo(const ZRSensitiveTextMatcher::Span& span, std::ostream* os);
void PrintTo(const ZRSensitiveTextMatcher::WordRun& run, std::ostream* os);

}  // namespace zerva
