#include "services/ZRSensitiveTextMatcher.h"

#include <algorithm>
#include <optional>
#include <ostream>

namespace zerva {

namespace {

using Span = ZRSensitiveTextMatcher::Span;
using Kind = ZRSensitiveTextMatcher::Kind;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
// Bytes of multi-byte UTF-8 characters count as word characters, so "café" is one word.
bool isWordChar(char c) { return isDigit(c) || isAlpha(c) || static_cast<unsigned char>(c) >= 0x80; }
char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowered(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), lower);
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
      else if (isWordChar(c)) ++otherLetters;
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
    for (std::size_t at = lowerText.find(word); at != std::string::npos; at = lowerText.find(word, at + 1)) {
      const std::size_t end = at + word.size();
      const bool startsWord = at == 0 || !isWordChar(lowerText[at - 1]) || !isWordChar(word.front());
      const bool endsWord = end == lowerText.size() || !isWordChar(lowerText[end]) || !isWordChar(word.back());
      if (startsWord && endsWord) out.push_back({at, end, Kind::CustomWord});
    }
  }
}

bool isLocalChar(char c) {
  return isDigit(c) || isAlpha(c) || c == '.' || c == '_' || c == '%' || c == '+' || c == '-';
}
bool isDomainChar(char c) { return isDigit(c) || isAlpha(c) || c == '.' || c == '-'; }

void findEmails(std::string_view text, std::vector<Span>& out) {
  for (std::size_t at = text.find('@'); at != std::string_view::npos; at = text.find('@', at + 1)) {
    std::size_t begin = at;
    while (begin > 0 && isLocalChar(text[begin - 1])) --begin;
    // The recogniser may split a local part next to a '+', '_' or '-' ("support+ billing@...",
    // "support +billing@...").
    auto joiner = [](char c) { return c == '+' || c == '_' || c == '-'; };
    while (begin >= 2 && begin < at && text[begin - 1] == ' ' && isLocalChar(text[begin - 2]) &&
           (joiner(text[begin - 2]) || joiner(text[begin]))) {
      begin -= 1;
      while (begin > 0 && isLocalChar(text[begin - 1])) --begin;
    }
    while (begin < at && text[begin] == '.') ++begin;
    std::size_t end = at + 1;
    while (end < text.size() && isDomainChar(text[end])) ++end;
    while (end > at + 1 && (text[end - 1] == '.' || text[end - 1] == '-')) --end;
    if (begin == at || end == at + 1) continue;
    const std::string_view domain = text.substr(at + 1, end - at - 1);
    const std::size_t dot = domain.rfind('.');
    if (dot == std::string_view::npos || dot == 0) continue;
    const std::string_view tld = domain.substr(dot + 1);
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

std::vector<NumberRun> findNumberRuns(std::string_view text) {
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
      while (k < n && k - i < 3 && isSeparatorChar(text[k])) spaces += text[k++] == ' ';
      if (k == i || k >= n || !isDigit(text[k]) || spaces > 1) break;
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
  if (run.hasPlus || run.hasParenthesis || digits >= 10 || shortLocal) {
    out.push_back({run.begin, run.end(), Kind::PhoneNumber});
  }
}

// A run of six or more digits hides the whole number it belongs to (its groups joined by single
// spaces or dashes): a misread card number ("4121 11111111 1111") is still covered end to end.
void findDigitRuns(const NumberRun& run, std::vector<Span>& out) {
  for (std::size_t g = 0; g < run.groups.size(); ++g) {
    if (groupLength(run.groups[g]) < 6) continue;
    std::size_t first = g, last = g;
    while (first > 0 && onlySpacesOrDashes(run.groups[first].separatorBefore)) --first;
    while (last + 1 < run.groups.size() && onlySpacesOrDashes(run.groups[last + 1].separatorBefore)) ++last;
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

}  // namespace

ZRSensitiveTextMatcher::ZRSensitiveTextMatcher(std::vector<std::string> customWords) {
  for (auto& word : customWords) {
    const auto first = word.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    const auto last = word.find_last_not_of(' ');
    customWords_.push_back(lowered(std::string_view(word).substr(first, last - first + 1)));
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

std::vector<ZRSensitiveTextMatcher::Span> ZRSensitiveTextMatcher::matchesInText(std::string_view text) const {
  std::vector<Span> spans;
  findCustomWords(lowered(text), customWords_, spans);
  findEmails(text, spans);
  const std::string digitsText = digitView(text);
  for (const auto& run : findNumberRuns(digitsText)) {
    if (!findCards(digitsText, run, spans)) findPhone(run, spans);
    findDigitRuns(run, spans);
  }
  return merged(std::move(spans));
}

std::vector<ZRSensitiveTextMatcher::WordRun> ZRSensitiveTextMatcher::matchesInWords(
    const std::vector<std::string>& words) const {
  std::string line;
  std::vector<std::pair<std::size_t, std::size_t>> offsets;
  for (const auto& word : words) {
    if (!line.empty()) line += ' ';
    offsets.emplace_back(line.size(), line.size() + word.size());
    line += word;
  }
  std::vector<WordRun> runs;
  for (const auto& span : matchesInText(line)) {
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
