#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "services/ZRSensitiveTextMatcher.h"

namespace zerva {
namespace {

using Kind = ZRSensitiveTextMatcher::Kind;
using Found = std::vector<std::pair<std::string, Kind>>;

// The matched substrings with their kinds, for readable expectations.
Found find(const std::string& text, std::vector<std::string> customWords = {}) {
  Found out;
  for (const auto& span : ZRSensitiveTextMatcher(std::move(customWords)).matchesInText(text)) {
    out.emplace_back(text.substr(span.begin, span.end - span.begin), span.kind);
  }
  return out;
}

TEST(SensitiveTextMatcher, LuhnAcceptsValidNumbersOnly) {
  EXPECT_TRUE(ZRSensitiveTextMatcher::passesLuhn("4111111111111111"));
  EXPECT_TRUE(ZRSensitiveTextMatcher::passesLuhn("378282246310005"));
  EXPECT_TRUE(ZRSensitiveTextMatcher::passesLuhn("5555555555554444"));
  EXPECT_FALSE(ZRSensitiveTextMatcher::passesLuhn("4111111111111112"));
  EXPECT_FALSE(ZRSensitiveTextMatcher::passesLuhn(""));
  EXPECT_FALSE(ZRSensitiveTextMatcher::passesLuhn("4111 1111"));
}

TEST(SensitiveTextMatcher, CardNumbersAcrossGroupsHowEverTheWordsAreSplit) {
  EXPECT_EQ(find("Card 4111 1111 1111 1111 exp"), (Found{{"4111 1111 1111 1111", Kind::CardNumber}}));
  EXPECT_EQ(find("5555-5555-5555-4444"), (Found{{"5555-5555-5555-4444", Kind::CardNumber}}));
  EXPECT_EQ(find("3782 822463 10005"), (Found{{"3782 822463 10005", Kind::CardNumber}}));
  // The recogniser's word boundaries do not follow the groups.
  EXPECT_EQ(find("411111111111 1111"), (Found{{"411111111111 1111", Kind::CardNumber}}));
  EXPECT_EQ(find("4111 111111111111"), (Found{{"4111 111111111111", Kind::CardNumber}}));
  // A stray number before the card does not hide it.
  EXPECT_EQ(find("Qty 2 4111 1111 1111 1111"), (Found{{"4111 1111 1111 1111", Kind::CardNumber}}));
  // O and l read for 0 and 1 inside a number.
  EXPECT_EQ(find("411111111l11 1111"), (Found{{"411111111l11 1111", Kind::CardNumber}}));
  // A grouped number failing Luhn is no card; its groups are too short for a digit run.
  EXPECT_EQ(find("4111 1111 1111 1112"), Found{});
}

TEST(SensitiveTextMatcher, EmailAddresses) {
  EXPECT_EQ(find("Mail jane.doe+news@mail.example.co.uk, thanks"),
            (Found{{"jane.doe+news@mail.example.co.uk", Kind::Email}}));
  EXPECT_EQ(find("(bob_99@example.org)."), (Found{{"bob_99@example.org", Kind::Email}}));
  // Split by the recogniser beside a '+'; a sentence before an address is not taken in.
  EXPECT_EQ(find("Email support+ billing@shop.example.org"),
            (Found{{"support+ billing@shop.example.org", Kind::Email}}));
  EXPECT_EQ(find("Email support +billing@shop.example.org"),
            (Found{{"support +billing@shop.example.org", Kind::Email}}));
  EXPECT_EQ(find("Write to us. bob@example.org"), (Found{{"bob@example.org", Kind::Email}}));
  EXPECT_EQ(find("follow @handle on a@b or x@y.z1"), Found{});
}

TEST(SensitiveTextMatcher, PhoneNumbersButNotDatesTimesPricesOrAddresses) {
  EXPECT_EQ(find("Call +1 (415) 555-0132 now"), (Found{{"+1 (415) 555-0132", Kind::PhoneNumber}}));
  EXPECT_EQ(find("+44 20 7946 0958"), (Found{{"+44 20 7946 0958", Kind::PhoneNumber}}));
  EXPECT_EQ(find("415.555.0132"), (Found{{"415.555.0132", Kind::PhoneNumber}}));
  EXPECT_EQ(find("(415) 555 0132"), (Found{{"(415) 555 0132", Kind::PhoneNumber}}));
  EXPECT_EQ(find("ext 555-0132"), (Found{{"555-0132", Kind::PhoneNumber}}));
  EXPECT_EQ(find("06 12 34 56 78"), (Found{{"06 12 34 56 78", Kind::PhoneNumber}}));
  EXPECT_EQ(find("On 2024-01-15 at 10:30, 15.01.2024, total $1,234.56, host 192.168.100.200, v10.2.3"),
            Found{});
}

TEST(SensitiveTextMatcher, RunsOfSixOrMoreDigits) {
  EXPECT_EQ(find("Member ID 00482913"), (Found{{"00482913", Kind::DigitRun}}));
  EXPECT_EQ(find("Tracking 1Z999AA10123456784"), (Found{{"10123456784", Kind::DigitRun}}));
  EXPECT_EQ(find("Code 12345 and 999"), Found{});
  // A misread card fails Luhn; its long group still hides the whole grouped number.
  EXPECT_EQ(find("Card 4121 11111111 1111."), (Found{{"4121 11111111 1111", Kind::DigitRun}}));
}

TEST(SensitiveTextMatcher, CustomWordsAreCaseInsensitiveWholeWords) {
  const std::vector<std::string> words{"Falcon", "  project x  ", ""};
  EXPECT_EQ(find("The FALCON's plan for Project X.", words),
            (Found{{"FALCON", Kind::CustomWord}, {"Project X", Kind::CustomWord}}));
  EXPECT_EQ(find("Falconry and projects xyz", words), Found{});
}

TEST(SensitiveTextMatcher, OrdinaryTextHasNoMatches) {
  EXPECT_EQ(find("Thanks for shopping with us. Your receipt was sent on March 3 at 9:41 AM.", {"falcon"}),
            Found{});
  EXPECT_EQ(find(""), Found{});
}

TEST(SensitiveTextMatcher, MatchesMapBackToWholeWords) {
  const ZRSensitiveTextMatcher matcher({"secret"});
  using Run = ZRSensitiveTextMatcher::WordRun;
  // The split card spans both words; the e-mail address is one word with punctuation around.
  EXPECT_EQ(matcher.matchesInWords({"Card", "411111111111", "1111", "mail:", "(a.b@example.com)"}),
            (std::vector<Run>{{1, 2, Kind::CardNumber}, {4, 4, Kind::Email}}));
  // A phone number over three words, and a custom word glued to punctuation.
  EXPECT_EQ(matcher.matchesInWords({"+1", "(415)", "555-0132", "secret:"}),
            (std::vector<Run>{{0, 2, Kind::PhoneNumber}, {3, 3, Kind::CustomWord}}));
  EXPECT_TRUE(matcher.matchesInWords({"Save", "changes"}).empty());
  EXPECT_TRUE(matcher.matchesInWords({}).empty());
}

}  // namespace
}  // namespace zerva
