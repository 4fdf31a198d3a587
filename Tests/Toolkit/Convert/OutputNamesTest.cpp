// What outputs are called, and which sources share them.
#include "Toolkit/Convert/OutputNames.h"

#include <gtest/gtest.h>

#include "Toolkit/Convert/Shard.h"

namespace kz {
namespace {

TEST(OutputNames, FollowThePattern) {
  const struct {
    const char* pattern;
    OutputPer per;
    const char* source;
    size_t number;
    const char* group;
    size_t suffix;
    const char* name;
  } cases[] = {
      {"", OutputPer::Document, "a/b.afp", 1, "", 0, "a/b.pdf"},
      {"", OutputPer::Page, "b.afp", 12, "", 0, "b-12.pdf"},
      {"", OutputPer::Group, "b.afp", 2, "ACCT 7", 0, "b-ACCT 7.pdf"},
      {"%F", OutputPer::Document, "b.afp", 1, "", 0, "b.afp.pdf"},
      {"%f.pdf", OutputPer::Document, "b.afp", 1, "", 0, "b.pdf"},
      {"%03d_%f%%", OutputPer::Page, "b.afp", 7, "", 0, "007_b%.pdf"},
      {"%f", OutputPer::Document, "a.b/c", 1, "", 0, "a.b/c.pdf"},
      {"%f", OutputPer::Document, ".hidden", 1, "", 0, ".hidden.pdf"},
      {"%f", OutputPer::Document, "x.2024.afp", 1, "", 2, "x.2024-2.pdf"},
      {"%f", OutputPer::Document, "100%d.afp", 1, "", 0, "100%d.pdf"},
      {"%g", OutputPer::Group, "d/b.afp", 1, "../../etc/passwd", 0, "d/.._.._etc_passwd.pdf"},
  };
  for (const auto& c : cases) {
    OutputNames names;
    ASSERT_TRUE(names.Parse(c.pattern, c.per, PictureFormat::kPdf).Ok()) << c.pattern;
    EXPECT_EQ(names.Name(c.source, c.number, c.group, c.suffix), c.name);
  }
}

TEST(OutputNames, PatternsThatTellNothingApartAreRefused) {
  const struct {
    const char* pattern;
    OutputPer per;
    PictureFormat format;
    const char* words;
  } cases[] = {
      {"a/%f", OutputPer::Document, PictureFormat::kPdf, "slash"},
      {"%x", OutputPer::Document, PictureFormat::kPdf, "a % that none"},
      {"%f%", OutputPer::Document, PictureFormat::kPdf, "a % that none"},
      {"%3f", OutputPer::Document, PictureFormat::kPdf, "a % that none"},
      {"%f-%d", OutputPer::Document, PictureFormat::kPdf, "one output"},
      {"%f-%g", OutputPer::Document, PictureFormat::kPng, "no output for a group"},
      {"%f", OutputPer::Page, PictureFormat::kPdf, "needs a %d"},
      {"%f-%g", OutputPer::Page, PictureFormat::kPng, "needs a %d"},
      {"%f", OutputPer::Group, PictureFormat::kPdf, "needs a %d or %g"},
  };
  for (const auto& c : cases) {
    OutputNames names;
    const Outcome outcome = names.Parse(c.pattern, c.per, c.format);
    EXPECT_EQ(outcome.status, K_ERROR_INVALID_FORMAT) << c.pattern;
    EXPECT_NE(outcome.what.find(c.words), std::string::npos) << outcome.what;
  }
  OutputNames names;
  EXPECT_TRUE(names.Parse("%f-%d", OutputPer::Document, PictureFormat::kPng).Ok());
}

TEST(OutputNames, GroupsGiveSafeParts) {
  const std::string longer(300, 'x');
  const struct {
    std::string group;
    std::string name;
  } cases[] = {
      {"", "_"},           {"..", "___"},      {" a b ", "a b"}, {std::string("a\0b", 3), "a b"},
      {"a/b\\c", "a_b_c"}, {"\x1b[1m", "[1m"}, {"\xff", "_"},
  };
  for (const auto& c : cases) EXPECT_EQ(SafeName(c.group), c.name);
  // A long one is cut, between characters, and stays another than its neighbours.
  EXPECT_LE(SafeName(longer).size(), 100u);
  EXPECT_NE(SafeName(longer), SafeName(longer + "x"));
  std::string umlauts = "x";
  for (int i = 0; i < 100; ++i) umlauts += "\xC3\xA4";
  const std::string cut = SafeName(umlauts);
  EXPECT_EQ(cut[cut.find('~') - 1], '\xA4');
}

// Sources that may have outputs of one name have one key, and are in one shard.
TEST(OutputNames, SourcesThatMayClashGoTogether) {
  const auto keys = [](const char* pattern, OutputPer per, const char* source) {
    OutputNames names;
    EXPECT_TRUE(names.Parse(pattern, per, PictureFormat::kPdf).Ok());
    return std::pair(names.Key(source), names.ShardKey(source));
  };
  EXPECT_EQ(keys("%f", OutputPer::Document, "d/a.afp"), keys("%f", OutputPer::Document, "d/a.ica"));
  EXPECT_NE(keys("%F", OutputPer::Document, "d/a.afp"), keys("%F", OutputPer::Document, "d/a.ica"));
  EXPECT_NE(keys("%f", OutputPer::Document, "d/a.afp"), keys("%f", OutputPer::Document, "e/a.afp"));
  EXPECT_EQ(keys("%g", OutputPer::Group, "d/a.afp"), std::pair(std::string(), std::string("d/")));
}

TEST(Shards, EachKeyIsInOneOfThem) {
  constexpr uint32_t count = 8;
  constexpr int keys = 8000;
  int found[count] = {};
  for (int i = 0; i < keys; ++i) {
    const std::string key = "folder/document" + std::to_string(i);
    int in = 0;
    for (uint32_t number = 1; number <= count; ++number) {
      const bool has = Shard{number, count}.Has(key);
      in += has;
      found[number - 1] += has;
    }
    ASSERT_EQ(in, 1) << key;
  }
  for (const int share : found) EXPECT_NEAR(share, keys / count, 150);
  // Reports and outputs of years ago are continued by this.
  EXPECT_EQ(StableHash(""), 0xEFD01F60BA992926U);
  for (const char* text : {"", "0/3", "4/3", "1/0", "1", "/", "1/3x", "-1/3", "1/9999999999"}) {
    Shard shard;
    EXPECT_FALSE(Shard::Parse(text, shard).Ok()) << text;
  }
}

}  // namespace
}  // namespace kz
