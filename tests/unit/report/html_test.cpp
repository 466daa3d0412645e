#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "records.h"
#include "report/markup.h"
#include "report/report.h"

namespace {

using factory::Markup;
using records::content;
using records::Folder;
using records::occurrences;
using ::testing::HasSubstr;
using ::testing::Not;

std::string page(const factory::record::Run& record) {
  Folder folder;
  factory::write_html_report(record, folder.file("page.html"));
  return content(folder.file("page.html"));
}

TEST(MarkupText, AnyBytesBecomeWellFormed) {
  const std::string gone = "\uFFFD";
  const std::pair<std::string, std::string> kCases[] = {
      {"<a href=\"x\">'&amp;", "&lt;a href=&quot;x&quot;&gt;&#39;&amp;amp;"},
      {"\u00E4 \u20AC \U0001F4F1", "\u00E4 \u20AC \U0001F4F1"},
      {"tab\tand\nline", "tab\tand\nline"},
      {std::string("\0\x01\x1B\x7F\r", 5), gone + gone + gone + gone + gone},
      {"\xC2\x85", gone + gone},                        // a control character of two bytes
      {"\xFF\xC3", gone + gone},                        // no lead byte; a cut one
      {"\xC0\xAF", gone + gone},                        // longer than it need be
      {"\xED\xA0\x80", gone + gone + gone},             // half a surrogate pair
      {"\xEF\xBF\xBF", gone + gone + gone},             // U+FFFF
      {"\xF4\x90\x80\x80", gone + gone + gone + gone},  // beyond the last character
      {"\xE2\x82<", gone + gone + "&lt;"},              // the cut character does not swallow the next
  };
  for (const auto& [text, markup] : kCases) EXPECT_EQ(Markup(text).str(), markup) << text;
}

TEST(HtmlReport, VerdictComesFirstThenWhy) {
  const std::string text = page(records::failed());
  const char* const kOrder[] = {"<body>",       "<span id=\"verdict\">FAILED</span>",
                                "<h2>Why</h2>", "Bar: no event came from the sensor until the time was over",
                                "What to try",  "<h2>Steps</h2>"};
  size_t at = 0;
  for (const char* part : kOrder) EXPECT_NE(at = text.find(part, at), std::string::npos) << part;
  EXPECT_THAT(page(records::passed()), Not(HasSubstr("<h2>Why</h2>")));
}

TEST(HtmlReport, HostileTextNeitherEndsTheScriptsNorOpensElements) {
  const std::string good = page(records::failed());
  const std::string bad = page(records::with_text_everywhere(records::hostile_text()));
  for (const char* part : {"<script", "</script", "<!--", "</body>", "</main>"})
    EXPECT_EQ(occurrences(bad, part), occurrences(good, part)) << part;
  EXPECT_EQ(bad.find("\xE2\x80\xA8", bad.find("id=\"windows\"")), std::string::npos);
  EXPECT_GT(occurrences(bad, "&lt;/script&gt;&lt;script&gt;alert(&#39;x&#39;)"), 20U);
}

// Of looks beside each other a second counts once; numbers that are none draw nothing.
TEST(HtmlReport, ShowsWhatWasUnderWayWhen) {
  using factory::record::SampleState;
  factory::record::Run run;
  run.seconds = 10;
  const auto step = [&](const char* tag, std::vector<factory::record::Span> spans) {
    factory::record::Step& added = run.steps.emplace_back();
    added.name = std::string("step of ") + tag;
    added.attempts.emplace_back().spans = std::move(spans);
    return &added.attempts[0];
  };
  factory::record::Attempt* calibrated = step("Acc", {{"Acc", "sample", 0, 4}, {"Acc", "verify", 4, 6}});
  calibrated->window.emplace().samples = {{1, {0}, SampleState::settling},
                                          {2, {0}, SampleState::discarded},
                                          {3, {0}, SampleState::accepted},
                                          {4, {0}, SampleState::accepted}};
  step("Gyr", {{"Gyr", "verify", 6, 9}});
  step("Lux", {{"Lux", "verify", 6, 8.5}, {"Lux", "verify", std::nan(""), 3}, {"Lux", "sample", -1, 5}});
  step("", {{"", "fixture", 9, 9.5}, {"", "fixture", 1, INFINITY}, {"", "probe", 5, 5}});
  const std::string text = page(run);
  for (const char* part :
       {"settling 1.00 s", "samples of the library&#39;s runs 3.00 s", "fresh samples 5.00 s", "operator 0.50 s",
        "nothing of these 0.50 s", "take 4.00 s of these 10.0 s", R"("t-settling" x="0.0" width="100.0")",
        R"("t-fresh" x="600.0" width="300.0" height="10"><title>step of Gyr: fresh samples, 3.00 s)",
        R"("t-fresh" x="600.0" width="250.0" height="10"><title>step of Lux)", ">fixture<", ">hub<"}) {
    EXPECT_THAT(text, HasSubstr(part));
  }
  EXPECT_EQ(occurrences(text, "<title>step of Lux"), 1U);
  run.steps.clear();
  EXPECT_THAT(page(run), Not(HasSubstr("<h2>Time</h2>")));
}

TEST(HtmlReport, SaysWhatIsToBeSaidBeside) {
  Folder folder;
  factory::write_html_report(records::passed(), folder.file("page.html"), {"Not kept", {"<log lines>"}});
  const std::string text = content(folder.file("page.html"));
  EXPECT_THAT(text, HasSubstr("<h2>Not kept</h2><ul class=\"remarks\"><li>&lt;log lines&gt;</li>"));
}

}  // namespace
