#include "Toolkit/Documents/Text.h"

#include "Tests/Support/EditedDocuments.h"

namespace kz::test {
namespace {

constexpr const char* kAscii = "ISO-8859-1";

Bytes Transparent(const std::string& text, unsigned char type = 0xDA) {
  return Bytes{0x2B, 0xD3, static_cast<unsigned char>(text.size() + 2), type} +
         Bytes(text.begin(), text.end());
}
Bytes Text(const Bytes& sequences) { return Field(0xEE9B, sequences); }
Bytes Page(const Bytes& content) { return Field(0xA8AF, Name("P")) + content + Field(0xA9AF); }

TEST(Text, IsInTheEncodingOfTheDocument) {
  const TemporaryFolder folder;
  const Bytes bytes = Transparent("\xC1\x4A\x5A\x51");
  const std::string file = folder.File("document", Begin("D") + Page(Text(bytes)) + End("D"));
  const std::pair<const char*, const char*> cases[] = {
      {"cp500", "A[]\u00E9\n"}, {"cp037", "A\u00A2!\u00E9\n"}, {"ISO-8859-1", "\u00C1JZQ\n"},
      {"ascii", "\uFFFDJZQ\n"}, {"raw", "\xC1JZQ\r\n"},
  };
  for (const auto& [encoding, expected] : cases) {
    std::string text;
    EXPECT_TRUE(ReadText(file, 1, encoding, text).Ok()) << encoding;
    EXPECT_EQ(text, expected) << encoding;
  }
  std::string text;
  EXPECT_EQ(ReadText(file, 1, "no-such-code-page", text).status, -9);
}

TEST(Text, IsWholeHoweverLong) {
  const TemporaryFolder folder;
  // Ends of the buffer, and of the text, that could be taken for one another.
  for (const size_t length : {65533u, 65534u, 65535u, 131070u, 400001u}) {
    std::string expected;
    Bytes content;
    for (size_t left = length; left > 0;) {
      std::string piece(std::min<size_t>(left, 250), '\0');
      for (size_t i = 0; i < piece.size(); ++i) piece[i] = i % 3 == 0 ? '\xFF' : '\0';
      left -= piece.size();
      expected += piece + "\r\n";
      content = content + Text(Transparent(piece));
    }
    // One field and its line end less than the text makes it as long as wanted.
    const std::string file = folder.File("long", Begin("D") + Page(content) + End("D"));
    std::string comment, raw;
    EXPECT_TRUE(ReadComment(file, 1, comment).Ok());
    EXPECT_TRUE(comment == expected) << length;
    EXPECT_TRUE(ReadText(file, 1, kRawEncoding, raw).Ok());
    EXPECT_TRUE(raw == expected) << length;
  }
  // A document that doesn't end gives what it has.
  const std::string cut = folder.File("cut", Begin("D") + Page(Text(Transparent("here"))));
  std::string text;
  EXPECT_EQ(ReadText(cut, 1, kAscii, text).status, -7);
  EXPECT_EQ(text, "here\n");
}

}  // namespace
}  // namespace kz::test
