#include "services/ZRSensitiveTextMatcher.h"

#include <glib.h>

#include <algorithm>
#include <optional>
#include <ostream>

namespace zerva {

namespace {

using Span = ZRSensitiveTextMatcher::Span;
using Kind = ZRSensitiveTextMatcher::Kind;

// The line being matched: its text with typographic quotes, dashes and spaces folded to their
// plain forms, and per byte where it came from, the gap before the word (at the spaces between
// words) and the confidence of the word it belongs to.
struct Line {
  std::string text;
  std::vector<std::size_t> origin;  // one more than text: the end maps to the end
  std::vector<float> gap;
  std::vector<float> confidence;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The code point starting at byte i, and its length; an invalid byte stands for itself.
std::pair<gunichar, std::size_t> codePointAt(std::string_view text, std::size_t i) {
  const auto lead = static_cast<unsigned char>(text[i]);
  if (lead < 0x80) return {lead, 1};
  std::size_t n = 1;
  while (i + n < text.size() && n < 4 && isContinuation(text[i + n])) ++n;
  const gunichar c = g_utf8_get_char_validated(text.data() + i, static_cast<gssize>(n));
  if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) return {lead, 1};
  return {c, n};
}

gunichar codePointBefore(std::string_view text, std::size_t end) {
  std::size_t i = end - 1;
  while (i > 0 && end - i < 4 && isContinuation(text[i])) --i;
  return codePointAt(text, i).first;
}

// Letters, marks and digits of any script make words; punctuation, symbols and spaces do not.
bool isWordCodePoint(gunichar c) {
  switch (g_unichar_type(c)) {
    case G_UNICODE_LOWERCASE_LETTER:
    case G_UNICODE_UPPERCASE_LETTER:
    case G_UNICODE_TITLECASE_LETTER:
    case G_UNICODE_MODIFIER_LETTER:
    case G_UNICODE_OTHER_LETTER:
    case G_UNICODE_NON_SPACING_MARK:
    case G_UNICODE_SPACING_MARK:
    case G_UNICODE_ENCLOSING_MARK:
    case G_UNICODE_DECIMAL_NUMBER:
    case G_UNICODE_LETTER_NUMBER:
    case G_UNICODE_OTHER_NUMBER:
      return true;
    default:
      return false;
  }
}

// The plain form the matcher reads for a typographic character; 0 when it has none.
char plainForm(gunichar c) {
  switch (c) {
    case 0x2018: case 0x2019: case 0x201A: case 0x201B: case 0x2032: case 0x02BC:
      return '\'';
    case 0x201C: case 0x201D: case 0x201E: case 0x201F: case 0x2033:
      return '"';
    case 0x2010: case 0x2011: case 0x2012: case 0x2013: case 0x2014: case 0x2015: case 0x2212: case 0xFE63: case 0xFF0D:
      return '-';
    case 0x00A0: case 0x2007: case 0x2009: case 0x200A: case 0x202F:
      return ' ';
    case 0xFF20: case 0xFE6B:
      return '@';
    default:
      return 0;
  }
}

void appendFolded(Line& line, std::string_view text, std::size_t originOffset, float confidence) {
  for (std::size_t i = 0; i < text.size();) {
    const auto [c, n] = codePointAt(text, i);
    const char plain = plainForm(c);
    const std::size_t from = line.text.size();
    if (plain) line.text.push_back(plain);
    else line.text.append(text.substr(i, n));
    for (std::size_t k = from; k < line.text.size(); ++k) {
      line.origin.push_back(originOffset + i);
      line.gap.push_back(line.text[k] == ' ' ? ZRSensitiveTextMatcher::kSpaceGap : 0.0f);
      line.confidence.push_back(confidence);
    }
    i += n;
  }
}

void appendSpace(Line& line, std::size_t origin, float gap) {
  line.text.push_back(' ');
  line.origin.push_back(origin);
  line.gap.push_back(gap);
  line.confidence.push_back(100);
}

// Lower case, code point by code point, where the lower-case form has as many bytes (offsets
// must stay the same); ASCII always.
std::string lowered(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto [c, n] = codePointAt(text, i);
    char buffer[6];
    const gint length = g_unichar_to_utf8(g_unichar_tolower(c), buffer);
    if (c < 0x80 || static_cast<std::size_t>(length) != n) {
      out.append(c < 0x80 ? std::string(1, static_cast<char>(g_ascii_tolower(static_cast<gchar>(c)))) : std::string(text.substr(i, n)));
    } else {
      out.append(buffer, static_cast<std::size_t>(length));
    }
    i += n;
  }
  return out;
}

// The recogniser confuses O with 0 and l, I, | with 1 inside numbers. In space-separated tokens
// that are mostly digits, read them as digits; offsets stay the same.
std::string digitView(std::string_view text) {
  std::string out(text);
  std::size_t i = 0;
  while (i < out.size()) {
    if (out[i] == ' ') {
      ++i;
      continue;
    }
    const std::size_t end = std::min(out.size(), out.find(' ', i));
    int digits = 0, confusable = 0, otherLetters = 0;
    for (std::size_t k = i; k < end; ++k) {
      const char c = out[k];
      if (isDigit(c)) ++digits;
      else if (c == 'O' || c == 'o' || c == 'l' || c == 'I' || c == '|') ++confusable;
      else if (isAlpha(c) || static_cast<unsigned char>(c) >= 0x80) ++otherLetters;
    }
    if (digits >= 4 && confusable > 0 && confusable <= 2 && otherLetters == 0) {
      for (std::size_t k = i; k < end; ++k) {
        char& c = out[k];
        if (c == 'O' || c == 'o') c = '0';
        else if (c == 'l' || c == 'I' || c == '|') c = '1';
      }
    }
    i = end;
  }
  return out;
}

void findCustomWords(const std::string& lowerText, const std::vector<std::string>& words, std::vector<Span>& out) {
  for (const auto& word : words) {
    const bool wordStartsWithLetter = isWordCodePoint(codePointAt(word, 0).first);
    const bool wordEndsWithLetter = isWordCodePoint(codePointBefore(word, word.size()));
    for (std::size_t at = lowerText.find(word); at != std::string::npos; at = lowerText.find(word, at + 1)) {
      const std::size_t end = at + word.size();
      const bool startsWord = at == 0 || !wordStartsWithLetter || !isWordCodePoint(codePointBefore(lowerText, at));
      const bool endsWord =
          end == lowerText.size() || !wordEndsWithLetter || !isWordCodePoint(codePointAt(lowerText, end).first);
      if (startsWord && endsWord) out.push_back({at, end, Kind::CustomWord});
    }
  }
}

bool isLocalChar(char c) {
  return isDigit(c) || isAlpha(c) || c == '.' || c == '_' || c == '%' || c == '+' || c == '-';
}
bool isDomainChar(char c) { return isDigit(c) || isAlpha(c) || c == '.' || c == '-'; }

// The word of `text` that ends just before the space at `space`: its first byte, when every
// byte of it satisfies `allowed`.
template <typename Allowed>
std::optional<std::size_t> wholeWordBefore(std::string_view text, std::size_t space, Allowed allowed) {
  std::size_t begin = space;
  while (begin > 0 && text[begin - 1] != ' ') {
    if (!allowed(text[begin - 1])) return std::nullopt;
    --begin;
  }
  if (begin == space) return std::nullopt;
  return begin;
}

// E-mail addresses, joined again where the recogniser split them: next to a '+', '_' or '-' of
// the local part ("support+ billing@"), right after a dot ("first." "last@", no space between
// the two), on either side of the '@' ("jane @example.com", "jane@ example.com"), or before a
// domain's last label ("jane@example" "com"). A word before the address is taken in only by
// such a split, so a label ("Email", "Email:") stays out.
void findEmails(const Line& line, std::vector<Span>& out) {
  const std::string_view text = line.text;
  auto joiner = [](char c) { return c == '+' || c == '_' || c == '-'; };
  for (std::size_t at = text.find('@'); at != std::string_view::npos; at = text.find('@', at + 1)) {
    std::size_t begin = at;
    while (begin > 0 && isLocalChar(text[begin - 1])) --begin;
    // "jane @example.com": only before a domain with its dot, so "follow @handle" stays.
    if (begin == at && at >= 2 && text[at - 1] == ' ' && isLocalChar(text[at - 2])) {
      std::size_t k = at + 1;
      while (k < text.size() && isDomainChar(text[k])) ++k;
      const std::string_view after = text.substr(at + 1, k - at - 1);
      if (after.find('.') != std::string_view::npos && after.find('.') > 0) {
        if (auto word = wholeWordBefore(text, at - 1, isLocalChar)) begin = *word;
      }
    }
    for (int joins = 0; joins < 2 && begin >= 2 && text[begin - 1] == ' '; ++joins) {
      const auto word = wholeWordBefore(text, begin - 1, isLocalChar);
      if (!word) break;
      const float gap = line.gap[begin - 1];
      const char last = text[begin - 2], first = text[begin];
      // After a dot the gap is wider (the dot's own margin) and still well short of the space
      // that ends a sentence.
      const float splitGap = last == '.' ? ZRSensitiveTextMatcher::kSplitGapAfterDot : ZRSensitiveTextMatcher::kSplitGap;
      const bool split = joiner(last) || first == '+' || first == '-' || gap < splitGap;
      if (!split) break;
      begin = *word;
    }
    // A stray mark read before the address ("_jane@...") is not part of it.
    while (begin < at && (text[begin] == '.' || text[begin] == '_' || text[begin] == '-')) ++begin;

    // The domain as read; a space where the recogniser split it stands for the dot it lost,
    // unless the dot is there ("example." "com").
    std::size_t end = at + 1;
    if (end + 1 < text.size() && text[end] == ' ' && isDomainChar(text[end + 1])) ++end;
    const std::size_t domainBegin = end;
    std::string domain;
    while (end < text.size() && isDomainChar(text[end])) domain.push_back(text[end++]);
    for (int joins = 0; joins < 2 && end + 1 < text.size() && text[end] == ' ' && isAlpha(text[end + 1]); ++joins) {
      std::size_t next = end + 1;
      while (next < text.size() && isDomainChar(text[next])) ++next;
      const std::string_view word = text.substr(end + 1, next - end - 1);
      const float gap = line.gap[end];
      bool join = gap < ZRSensitiveTextMatcher::kSplitGap || (!domain.empty() && (domain.back() == '.' || domain.back() == '-'));
      // "jane@example" "com": the dot before the last label lost, read as a space.
      join = join || (domain.size() >= 3 && domain.find('.') == std::string::npos && word.size() >= 2 &&
                      word.size() <= 6 && std::all_of(word.begin(), word.end(), isAlpha) &&
                      gap <= ZRSensitiveTextMatcher::kSpaceGap + 0.1f);
      if (!join) break;
      if (domain.empty() || domain.back() != '.') domain.push_back('.');
      domain.append(word);
      end = next;
    }
    while (end > domainBegin && (text[end - 1] == '.' || text[end - 1] == '-')) --end, domain.pop_back();
    if (begin == at || end == domainBegin) continue;
    const std::size_t dot = domain.rfind('.');
    if (dot == std::string::npos || dot == 0) continue;
    const std::string_view tld = std::string_view(domain).substr(dot + 1);
    if (tld.size() < 2 || !std::all_of(tld.begin(), tld.end(), isAlpha)) continue;
    out.push_back({begin, end, Kind::Email});
  }
}

// A number as written: groups of digits joined by short separators ("+1 (415) 555-0132").
struct NumberRun {
  std::size_t begin = 0;  // includes a leading '+' or '('
  struct Group {
    std::size_t begin, end;
    std::string separatorBefore;  // empty for the first group
  };
  std::vector<Group> groups;
  bool hasPlus = false;
  bool hasParenthesis = false;

  std::size_t end() const { return groups.back().end; }
  std::size_t digits(std::size_t first, std::size_t last) const {
    std::size_t n = 0;
    for (std::size_t g = first; g <= last; ++g) n += groups[g].end - groups[g].begin;
    return n;
  }
};

bool isSeparatorChar(char c) { return c == ' ' || c == '-' || c == '.' || c == '(' || c == ')'; }

// Groups of one number stand a space apart at most; a wider gap (in line heights) parts two.
constexpr float kNumberGap = 1.0f;

std::vector<NumberRun> findNumberRuns(std::string_view text, const std::vector<float>& gap) {
  std::vector<NumberRun> runs;
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    if (!isDigit(text[i])) {
      ++i;
      continue;
    }
    NumberRun run;
    run.begin = i;
    if (i > 0 && text[i - 1] == '(') {
      run.begin = i - 1;
      run.hasParenthesis = true;
    }
    if (run.begin > 0 && text[run.begin - 1] == '+') {
      --run.begin;
      run.hasPlus = true;
    }
    std::string separator;
    while (true) {
      const std::size_t groupBegin = i;
      while (i < n && isDigit(text[i])) ++i;
      run.groups.push_back({groupBegin, i, separator});
      // A separator is one to three of " -.()" with at most one space, and a digit after it.
      std::size_t k = i;
      int spaces = 0;
      bool wide = false;
      while (k < n && k - i < 3 && isSeparatorChar(text[k])) {
        wide = wide || gap[k] > kNumberGap;
        spaces += text[k++] == ' ';
      }
      if (k == i || k >= n || !isDigit(text[k]) || spaces > 1 || wide) break;
      separator.assign(text.substr(i, k - i));
      if (separator.find_first_of("()") != std::string::npos) run.hasParenthesis = true;
      i = k;
    }
    runs.push_back(std::move(run));
  }
  return runs;
}

bool onlySpacesOrDashes(const std::string& separator) { return separator == " " || separator == "-"; }

// The longest windows of whole groups, split by single spaces or dashes, that hold 13 to 19
// digits and pass the Luhn check.
bool findCards(std::string_view text, const NumberRun& run, std::vector<Span>& out) {
  bool found = false;
  std::size_t first = 0;
  while (first < run.groups.size()) {
    std::optional<std::size_t> best;
    std::string digits;
    for (std::size_t last = first; last < run.groups.size(); ++last) {
      if (last > first && !onlySpacesOrDashes(run.groups[last].separatorBefore)) break;
      const auto& g = run.groups[last];
      digits.append(text.substr(g.begin, g.end - g.begin));
      if (digits.size() > 19) break;
      if (digits.size() >= 13 && ZRSensitiveTextMatcher::passesLuhn(digits)) best = last;
    }
    if (best) {
      out.push_back({run.groups[first].begin, run.groups[*best].end, Kind::CardNumber});
      found = true;
      first = *best + 1;
    } else {
      ++first;
    }
  }
  return found;
}

std::size_t groupLength(const NumberRun::Group& g) { return g.end - g.begin; }

bool looksLikeDate(const NumberRun& run) {
  if (run.groups.size() < 3) return false;
  const auto a = groupLength(run.groups[0]), b = groupLength(run.groups[1]), c = groupLength(run.groups[2]);
  const std::string& s1 = run.groups[1].separatorBefore;
  const std::string& s2 = run.groups[2].separatorBefore;
  if (s1 != s2 || (s1 != "-" && s1 != ".")) return false;
  return (a == 4 && b <= 2 && c <= 2) || (a <= 2 && b <= 2 && c == 4);
}

bool looksLikeAddress(const NumberRun& run) {
  return run.groups.size() == 4 && std::all_of(run.groups.begin(), run.groups.end(), [](const auto& g) {
           return groupLength(g) <= 3 && (g.separatorBefore.empty() || g.separatorBefore == ".");
         });
}

void findPhone(const NumberRun& run, std::vector<Span>& out) {
  if (run.groups.size() < 2 && !run.hasPlus) return;  // one plain group is a digit run or nothing
  const std::size_t digits = run.digits(0, run.groups.size() - 1);
  if (digits < 7 || digits > 15 || looksLikeDate(run) || looksLikeAddress(run)) return;
  const bool shortLocal =
      run.groups.size() == 2 && groupLength(run.groups[0]) == 3 && groupLength(run.groups[1]) == 4;
  // Groups of four throughout are how cards and order numbers are written, not phone numbers.
  const auto fours = std::count_if(run.groups.begin(), run.groups.end(), [](const auto& g) { return groupLength(g) == 4; });
  if (!run.hasPlus && !run.hasParenthesis && fours >= 3) return;
  if (run.hasPlus || run.hasParenthesis || digits >= 10 || shortLocal) {
    out.push_back({run.begin, run.end(), Kind::PhoneNumber});
  }
}

// A run of six or more digits hides the whole number it belongs to (its groups joined by single
// spaces or dashes). A number shaped like a card (13 to 19 digits in three groups or more) that
// failed Luhn is an order or reference number whose groups the engine ran together
// ("4111 1111 11111112"), not a digit run; a card misread that way gets a second, finer look.
void findDigitRuns(const NumberRun& run, std::vector<Span>& out) {
  for (std::size_t g = 0; g < run.groups.size(); ++g) {
    if (groupLength(run.groups[g]) < 6) continue;
    std::size_t first = g, last = g;
    while (first > 0 && onlySpacesOrDashes(run.groups[first].separatorBefore)) --first;
    while (last + 1 < run.groups.size() && onlySpacesOrDashes(run.groups[last + 1].separatorBefore)) ++last;
    const std::size_t digits = run.digits(first, last);
    if (last - first >= 2 && digits >= 13 && digits <= 19) continue;
    out.push_back({run.groups[first].begin, run.groups[last].end, Kind::DigitRun});
  }
}

std::vector<Span> merged(std::vector<Span> spans) {
  std::stable_sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
  std::vector<Span> out;
  for (const auto& s : spans) {
    if (!out.empty() && s.begin < out.back().end) {
      out.back().end = std::max(out.back().end, s.end);
    } else {
      out.push_back(s);
    }
  }
  return out;
}

// Letters other than those the engine confuses with digits (O, o, l, I).
bool hasLetters(std::string_view word) {
  return std::any_of(word.begin(), word.end(), [](char c) {
    return (isAlpha(c) && c != 'O' && c != 'o' && c != 'l' && c != 'I') || static_cast<unsigned char>(c) >= 0x80;
  });
}

}  // namespace

ZRSensitiveTextMatcher::ZRSensitiveTextMatcher(std::vector<std::string> customWords, float digitConfidence)
    : digitConfidence_(digitConfidence) {
  for (auto& word : customWords) {
    Line folded;
    appendFolded(folded, word, 0, 100);
    const auto first = folded.text.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    const auto last = folded.text.find_last_not_of(' ');
    customWords_.push_back(lowered(std::string_view(folded.text).substr(first, last - first + 1)));
  }
}

bool ZRSensitiveTextMatcher::passesLuhn(std::string_view digits) {
  if (digits.empty()) return false;
  int sum = 0;
  bool doubled = false;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
    if (!isDigit(*it)) return false;
    int d = *it - '0';
    if (doubled) {
      d *= 2;
      if (d > 9) d -= 9;
    }
    sum += d;
    doubled = !doubled;
  }
  return sum % 10 == 0;
}

namespace {

std::vector<Span> matchesInLine(const Line& line, const std::vector<std::string>& customWords, float digitConfidence) {
  std::vector<Span> spans;
  findCustomWords(lowered(line.text), customWords, spans);
  findEmails(line, spans);
  const std::string digitsText = digitView(line.text);
  std::vector<Span> numbers;
  for (const auto& run : findNumberRuns(digitsText, line.gap)) {
    numbers.clear();
    if (!findCards(digitsText, run, spans)) findPhone(run, numbers);
    // A leading '+' or an area code in parentheses is written, not misread: such a phone
    // number counts however unsure the engine is (it often is of a country code).
    if (run.hasPlus || run.hasParenthesis) {
      spans.insert(spans.end(), numbers.begin(), numbers.end());
      numbers.clear();
    }
    findDigitRuns(run, numbers);
    for (const auto& span : numbers) {
      const auto confidence = std::min_element(line.confidence.begin() + static_cast<std::ptrdiff_t>(span.begin),
                                               line.confidence.begin() + static_cast<std::ptrdiff_t>(span.end));
      if (*confidence >= digitConfidence) spans.push_back(span);
    }
  }
  return merged(std::move(spans));
}

}  // namespace

std::vector<ZRSensitiveTextMatcher::Span> ZRSensitiveTextMatcher::matchesInText(std::string_view text) const {
  Line line;
  appendFolded(line, text, 0, 100);
  line.origin.push_back(text.size());
  auto spans = matchesInLine(line, customWords_, digitConfidence_);
  for (auto& span : spans) {
    span.begin = line.origin[span.begin];
    span.end = line.origin[span.end];
  }
  return spans;
}

namespace {

// The line the words make, joined by spaces carrying their gaps, and each word's bytes in it.
Line lineOf(const std::vector<ZRSensitiveTextMatcher::Word>& words,
            std::vector<std::pair<std::size_t, std::size_t>>* offsets = nullptr) {
  Line line;
  for (std::size_t w = 0; w < words.size(); ++w) {
    const auto& word = words[w];
    if (w > 0) appendSpace(line, 0, word.gapBefore);
    const std::size_t begin = line.text.size();
    // A word with letters is an identifier, not a number the engine may have misread into one:
    // its confidence (low for any mix of letters and digits) does not gate it.
    appendFolded(line, word.text, 0, hasLetters(word.text) ? 100.0f : word.confidence);
    if (offsets) offsets->emplace_back(begin, line.text.size());
  }
  line.origin.push_back(0);
  return line;
}

}  // namespace

std::vector<ZRSensitiveTextMatcher::WordRun> ZRSensitiveTextMatcher::matchesInWords(const std::vector<Word>& words) const {
  std::vector<std::pair<std::size_t, std::size_t>> offsets;  // each word's bytes in the line
  const Line line = lineOf(words, &offsets);
  std::vector<WordRun> runs;
  for (const auto& span : matchesInLine(line, customWords_, digitConfidence_)) {
    std::optional<std::size_t> first, last;
    for (std::size_t w = 0; w < offsets.size(); ++w) {
      if (offsets[w].second > span.begin && offsets[w].first < span.end) {
        if (!first) first = w;
        last = w;
      }
    }
    if (!first) continue;
    if (!runs.empty() && *first <= runs.back().lastWord) {
      runs.back().lastWord = std::max(runs.back().lastWord, *last);
    } else {
      runs.push_back({*first, *last, span.kind});
    }
  }
  return runs;
}

bool ZRSensitiveTextMatcher::hasNearMiss(const std::vector<Word>& words) const {
  const Line line = lineOf(words);
  const auto spans = matchesInLine(line, customWords_, digitConfidence_);
  auto covered = [&](std::size_t begin, std::size_t end, std::optional<Kind> kind) {
    return std::any_of(spans.begin(), spans.end(), [&](const Span& s) {
      return s.begin <= begin && end <= s.end && (!kind || s.kind == *kind);
    });
  };
  // A card read unsurely: one misread digit in ten makes a number pass Luhn.
  for (const auto& span : spans) {
    if (span.kind != Kind::CardNumber) continue;
    if (*std::min_element(line.confidence.begin() + static_cast<std::ptrdiff_t>(span.begin),
                          line.confidence.begin() + static_cast<std::ptrdiff_t>(span.end)) < kSureCardConfidence) {
      return true;
    }
  }
  // An '@' in no address.
  for (std::size_t at = line.text.find('@'); at != std::string::npos; at = line.text.find('@', at + 1)) {
    if (!covered(at, at + 1, Kind::Email)) return true;
  }
  // Digits held back for want of confidence.
  for (const auto& span : matchesInLine(line, customWords_, 0)) {
    if (!covered(span.begin, span.end, std::nullopt)) return true;
  }
  // A number as long as a card's, in groups, that is no card: one digit misread fails Luhn.
  const std::string digits = digitView(line.text);
  for (const auto& run : findNumberRuns(digits, line.gap)) {
    std::size_t count = 0;
    for (const auto& g : run.groups) count += groupLength(g);
    if (count >= 12 && count <= 20 && !covered(run.groups.front().begin, run.end(), Kind::CardNumber)) return true;
  }
  return false;
}

std::vector<ZRSensitiveTextMatcher::WordRun> ZRSensitiveTextMatcher::matchesInWords(
    const std::vector<std::string>& words) const {
  std::vector<Word> plain;
  plain.reserve(words.size());
  for (const auto& text : words) plain.push_back({text});
  return matchesInWords(plain);
}

const char* ZRSensitiveTextMatcher::kindName(Kind kind) {
  switch (kind) {
    case Kind::CustomWord: return "custom word";
    case Kind::Email: return "e-mail address";
    case Kind::CardNumber: return "card number";
    case Kind::PhoneNumber: return "phone number";
    case Kind::DigitRun: return "digit run";
  }
  return "?";
}

void PrintTo(const ZRSensitiveTextMatcher::Span& span, std::ostream* os) {
  *os << "[" << span.begin << ", " << span.end << ") " << ZRSensitiveTextMatcher::kindName(span.kind);
}

void PrintTo(const ZRSensitiveTextMatcher::WordRun& run, std::ostream* os) {
  *os << "words " << run.firstWord << "..." << run.lastWord << " " << ZRSensitiveTextMatcher::kindName(run.kind);
}

}  // namespace zerva
