// What goes into HTML files: escapes, base64 and hashes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Toolkit/View/Html/Markup.h"
#include "Toolkit/View/Html/Sha256.h"

namespace kz {
namespace {

// The text, what an element or attribute has of it, and what a script element has.
TEST(Markup, NothingOfTheTextIsMarkup) {
  const struct {
    std::string text, html, json;
  } cases[] = {
      {"", "", R"("")"},
      {"plain \xC3\xA4\xF0\x9F\x98\x80", "plain \xC3\xA4\xF0\x9F\x98\x80",
       "\"plain \xC3\xA4\xF0\x9F\x98\x80\""},
      {"</script><!--]]>", "&lt;/script&gt;&lt;!--]]&gt;",
       R"("\u003c/script\u003e\u003c!--]]\u003e")"},
      {"\"'&amp;`=", "&quot;&#39;&amp;amp;`=", R"("\"'\u0026amp;`=")"},
      {"\\u0041", "\\u0041", R"("\\u0041")"},
      {std::string("a\0b\n\x1B\x7F", 6), "a b   ", R"("a\u0000b\u000a\u001b\u007f")"},
      {"\xE2\x80\xA8\xE2\x80\xAE", "  ", R"("\u2028\u202e")"},
      {"\xED\xA0\x80|\xC0\xBC|\xF0\x9F", "   |  |  ",
       R"("\ufffd\ufffd\ufffd|\ufffd\ufffd|\ufffd\ufffd")"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(EscapedText(one.text), one.html);
    EXPECT_EQ(JsonString(one.text), one.json);
  }
}

TEST(Markup, NumbersAreShortAndAlwaysNumbers) {
  const std::pair<double, const char*> cases[] = {
      {0, "0"},          {-0.001, "0"},       {12, "12"},
      {1.0 / 3, "0.33"}, {-72.5, "-72.5"},    {595.276, "595.28"},
      {1e300, "0"},      {std::nan(""), "0"}, {-std::numeric_limits<double>::infinity(), "0"}};
  for (const auto& [number, text] : cases) EXPECT_EQ(JsonNumber(number), text);
}

// RFC 4648, section 10; and pieces of any length give what the whole does.
TEST(Markup, Base64IsTheSameInPieces) {
  const std::pair<const char*, const char*> cases[] = {{"", ""},
                                                       {"f", "Zg=="},
                                                       {"fo", "Zm8="},
                                                       {"foo", "Zm9v"},
                                                       {"foob", "Zm9vYg=="},
                                                       {"fooba", "Zm9vYmE="},
                                                       {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(ToBase64(bytes), text);
  std::string bytes;
  for (int i = 0; i < 200'000; ++i) bytes += static_cast<char>(i * 7 + i / 256);
  std::string text;
  size_t longest = 0;
  Base64 coder([&](std::string_view piece) {
    longest = std::max(longest, piece.size());
    text += piece;
    return true;
  });
  for (size_t at = 0, step = 1; at < bytes.size(); at += step, step = step * 3 % 1009) {
    EXPECT_TRUE(coder.Add(bytes.data() + at, std::min(step, bytes.size() - at)));
  }
  EXPECT_TRUE(coder.Finish());
  EXPECT_EQ(text, ToBase64(bytes));
  EXPECT_LT(longest, text.size() / 2);
}

TEST(Markup, Base64StopsWhereWritingFails) {
  int pieces = 0;
  Base64 coder([&pieces](std::string_view) { return ++pieces < 2; });
  const std::string bytes(1'000'000, 'x');
  EXPECT_FALSE(coder.Add(bytes.data(), bytes.size()));
  EXPECT_FALSE(coder.Finish());
  EXPECT_EQ(pieces, 2);
}

// The examples of FIPS 180-4.
TEST(Policy, NamesTextsByTheirHashes) {
  EXPECT_EQ(PolicyHash(""), "'sha256-47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU='");
  EXPECT_EQ(PolicyHash("abc"), "'sha256-ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0='");
}

}  // namespace
}  // namespace kz
