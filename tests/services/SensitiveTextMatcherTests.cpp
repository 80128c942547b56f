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
  // A long group hides the whole grouped number...
  EXPECT_EQ(find("Account 12 345678"), (Found{{"12 345678", Kind::DigitRun}}));
  // ...but not in a number shaped like a card that fails Luhn: an order number whose groups ran
  // together.
  EXPECT_EQ(find("Order 4111 1111 11111112."), Found{});
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
  EXPECT_EQ(matcher.matchesInWords(std::vector<std::string>{"Card", "411111111111", "1111", "mail:", "(a.b@example.com)"}),
            (std::vector<Run>{{1, 2, Kind::CardNumber}, {4, 4, Kind::Email}}));
  // A phone number over three words, and a custom word glued to punctuation.
  EXPECT_EQ(matcher.matchesInWords(std::vector<std::string>{"+1", "(415)", "555-0132", "secret:"}),
            (std::vector<Run>{{0, 2, Kind::PhoneNumber}, {3, 3, Kind::CustomWord}}));
  EXPECT_TRUE(matcher.matchesInWords(std::vector<std::string>{"Save", "changes"}).empty());
  EXPECT_TRUE(matcher.matchesInWords(std::vector<std::string>{}).empty());
}

// --- Word boundaries by Unicode category ---

TEST(SensitiveTextMatcher, TypographicPunctuationBoundsCustomWordsButLettersOfAnyScriptDoNot) {
  const std::vector<std::string> words{"Falcon", "Project Nimbus", "O'Brien", "\u00E9clair"};
  // Curly quotes, guillemets, a right single quote, an ellipsis, dashes: each a boundary, and the
  // span is the word's own bytes (the quote before \u201CFalcon\u201D is three bytes).
  EXPECT_EQ(find("\u201CFalcon\u201D", words), (Found{{"Falcon", Kind::CustomWord}}));
  EXPECT_EQ(find("\u00ABFALCON\u00BB and Falcon\u2019s", words),
            (Found{{"FALCON", Kind::CustomWord}, {"Falcon", Kind::CustomWord}}));
  EXPECT_EQ(find("Project Nimbus\u2026 \u2014Falcon\u2014", words),
            (Found{{"Project Nimbus", Kind::CustomWord}, {"Falcon", Kind::CustomWord}}));
  // The engine's curly apostrophe matches a straight one in the rule, and case folds beyond ASCII.
  EXPECT_EQ(find("Ask O\u2019BRIEN about \u00C9CLAIR", words),
            (Found{{"O\u2019BRIEN", Kind::CustomWord}, {"\u00C9CLAIR", Kind::CustomWord}}));
  // Letters and digits of any script continue a word.
  EXPECT_EQ(find("Falconry Falcon\u00E9 \u00E9Falcon Falcon\u6F22 Falcon2 Falcon\u0301", words), Found{});
}

// --- E-mail addresses split by the engine ---

using Word = ZRSensitiveTextMatcher::Word;
constexpr float kSplit = 0.05f, kSpace = ZRSensitiveTextMatcher::kSpaceGap, kWide = 1.5f;

// The words of each match, joined by "|".
std::vector<std::string> matched(const std::vector<Word>& words, std::vector<std::string> customWords = {}) {
  std::vector<std::string> out;
  for (const auto& run : ZRSensitiveTextMatcher(std::move(customWords)).matchesInWords(words)) {
    std::string joined;
    for (std::size_t w = run.firstWord; w <= run.lastWord; ++w) joined += (joined.empty() ? "" : "|") + words[w].text;
    out.push_back(joined);
  }
  return out;
}

using Matched = std::vector<std::string>;

TEST(SensitiveTextMatcher, EmailSplitAfterADotIsJoinedButASentenceBeforeAnAddressIsNot) {
  EXPECT_EQ(matched({{"Email"}, {"first."}, {"last@host.example.com", 90, kSplit}}), (Matched{"first.|last@host.example.com"}));
  EXPECT_EQ(matched({{"Email"}, {"first."}, {"last@host.example.com", 90, 0.3f}}), (Matched{"first.|last@host.example.com"}));
  EXPECT_EQ(matched({{"Write"}, {"to"}, {"us."}, {"bob@example.org", 90, kSpace}}), (Matched{"bob@example.org"}));
  EXPECT_EQ(matched({{"Write"}, {"to"}, {"us."}, {"bob@example.org", 90, 0.3f + kSpace}}), (Matched{"bob@example.org"}));
  // Split with no dot read, as close as letters: the engine lost the character between.
  EXPECT_EQ(matched({{"Email:"}, {"kim", 90, kWide}, {"lee99@mail.example.net", 90, kSplit}}), (Matched{"kim|lee99@mail.example.net"}));
  EXPECT_EQ(matched({{"Email:"}, {"kim", 90, kSpace}, {"lee99@mail.example.net", 90, kSpace}}), (Matched{"lee99@mail.example.net"}));
}

TEST(SensitiveTextMatcher, EmailSplitBesideTheAtOrItsJoinersIsJoined) {
  EXPECT_EQ(matched({{"Email"}, {"jane.doe", 90, kWide}, {"@example.com"}}), (Matched{"jane.doe|@example.com"}));
  EXPECT_EQ(matched({{"jane.doe@"}, {"example.com"}}), (Matched{"jane.doe@|example.com"}));
  EXPECT_EQ(matched({{"support+"}, {"billing@shop.example.org"}}), (Matched{"support+|billing@shop.example.org"}));
  EXPECT_EQ(matched({{"support"}, {"+billing@shop.example.org"}}), (Matched{"support|+billing@shop.example.org"}));
  EXPECT_EQ(matched({{"noreply-"}, {"2024@news.example.de"}}), (Matched{"noreply-|2024@news.example.de"}));
  // The domain split before its last label, with or without the dot.
  EXPECT_EQ(matched({{"jane@example"}, {"com"}, {"today"}}), (Matched{"jane@example|com"}));
  EXPECT_EQ(matched({{"jane@mail.example."}, {"co.uk"}}), (Matched{"jane@mail.example.|co.uk"}));
  // No address: a handle, a domain without a dot, a final label that is not letters.
  EXPECT_EQ(matched({{"follow"}, {"@handle"}, {"on"}, {"a@b"}, {"or"}, {"x@y.z1"}}), Matched{});
}

TEST(SensitiveTextMatcher, AStrayMarkBeforeAnAddressDoesNotPullInTheLabel) {
  EXPECT_EQ(matched({{"Email"}, {"_m.rossi@posta.example.it", 90, kSpace}}), (Matched{"_m.rossi@posta.example.it"}));
  EXPECT_EQ(matched({{"Email"}, {"_", 90, kSpace}, {"m.rossi@posta.example.it", 90, kSpace}}), (Matched{"m.rossi@posta.example.it"}));
  EXPECT_EQ(find("Email _m.rossi@posta.example.it"), (Found{{"m.rossi@posta.example.it", Kind::Email}}));
  EXPECT_EQ(matched({{"Email:"}, {"jane@example.com", 90, kSpace}}), (Matched{"jane@example.com"}));
}

// --- Numbers the engine read with confidence ---

TEST(SensitiveTextMatcher, PhoneNumbersAndDigitRunsNeedConfidentlyReadDigits) {
  const float low = ZRSensitiveTextMatcher::kDigitConfidence - 1, high = ZRSensitiveTextMatcher::kDigitConfidence;
  EXPECT_EQ(matched({{"Member"}, {"00482913", low}}), Matched{});
  EXPECT_EQ(matched({{"Member"}, {"00482913", high}}), (Matched{"00482913"}));
  EXPECT_EQ(matched({{"Call"}, {"415-555-0199", 90}, {"now"}}), (Matched{"415-555-0199"}));
  EXPECT_EQ(matched({{"Call"}, {"415-555", 90}, {"0199", low}}), Matched{});
  EXPECT_EQ(matched({{"Call"}, {"+91", low}, {"98765", low}, {"43210"}}), (Matched{"+91|98765|43210"}));
  EXPECT_EQ(matched({{"(212)", low}, {"555-0187", low}}), (Matched{"(212)|555-0187"}));
  // A garbled date turned digit run, read unsurely, stays visible.
  EXPECT_EQ(matched({{"Date"}, {"15.032024", low}}), Matched{});
  // Identifiers with letters read unsurely as a whole, and cards (Luhn) count however read.
  EXPECT_EQ(matched({{"Tracking"}, {"1Z999AA10123456784", 10}}), (Matched{"1Z999AA10123456784"}));
  EXPECT_EQ(matched({{"4111", 10}, {"1111", 10}, {"1111", 10}, {"1111", 10}}), (Matched{"4111|1111|1111|1111"}));
}

TEST(SensitiveTextMatcher, OrderNumbersInFoursAndNumbersFarApartAreNoPhones) {
  EXPECT_EQ(find("Order 1211 1111 1112"), Found{});
  EXPECT_EQ(find("Ref 4111 1111 1111 1112"), Found{});
  EXPECT_EQ(find("020 7946 0958"), (Found{{"020 7946 0958", Kind::PhoneNumber}}));
  // Room 204 and, at the row's far end, an extension: two numbers, not one phone.
  EXPECT_EQ(matched({{"Room"}, {"204"}, {"555-0142", 90, kWide}}), (Matched{"555-0142"}));
  EXPECT_EQ(matched({{"Room"}, {"204"}, {"555-0142", 90, kSpace}}), (Matched{"204|555-0142"}));
}

}  // namespace
}  // namespace zerva
