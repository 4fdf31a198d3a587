// The file that docs/format.md shows byte by byte, built again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "Format/FieldBuilder.h"
#include "Format/Triplet.h"

namespace {

// Of lines of offset, bytes and words, which begin in the columns 0, 5 and 33.
std::string ListedBytes() {
  constexpr size_t bytesAt = 5;
  constexpr size_t wordsAt = 33;
  std::string bytes;
  std::ifstream document(KZ_DOCS "/format.md");
  std::string line;
  while (std::getline(document, line) && line != "## A small file, byte by byte") {
  }
  while (std::getline(document, line)) {
    if (line.size() < wordsAt || line[bytesAt - 1] != ' ') continue;
    EXPECT_EQ(std::strtoul(line.c_str(), nullptr, 10), bytes.size()) << line;
    std::string digits = line.substr(bytesAt, wordsAt - bytesAt);
    std::erase(digits, ' ');
    for (size_t at = 0; at < digits.size(); at += 2) {
      bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
    }
  }
  return bytes;
}

TEST(WorkedFile, IsWhatTheBuilderWrites) {
  using kz::FieldBuilder;
  using namespace std::string_view_literals;
  namespace sf = kz::sf;
  const std::string file =
      FieldBuilder(sf::kBeginDocument).PutName("SMALL").Finish() +
      FieldBuilder(sf::kBeginPage).Finish() +
      FieldBuilder(sf::kTagLogicalElement)
          .BeginTriplet(kz::triplet::kQualifiedName)
          .Put16(0x0B00)
          .PutText("ACCT")
          .EndTriplet()
          .BeginTriplet(kz::triplet::kAttributeValue)
          .Put16(0)
          .PutText("471")
          .EndTriplet()
          .Finish() +
      FieldBuilder(sf::kPresentationText)
          .PutBytes("\x2B\xD3\x04\xC7\x00\xF0\x04\xD2\x00\x78\x2B\xD3\x04\xDA\xD6\xD2"sv)
          .Finish() +
      FieldBuilder(sf::kBeginImageObject).Finish() +
      FieldBuilder(sf::kImagePictureData)
          .PutBytes(
              "\x70\x00\x91\x01\xFF\x94\x09\x00\x07\xD0\x07\xD0\x00\x10\x00\x04"
              "\x95\x02\x03\x01\x96\x01\x01\xFE\x92\x00\x08"sv)
          .Put32(0xFFFF8001)
          .Put32(0x8001FFFF)
          .PutBytes("\x93\x00\x71\x00"sv)
          .Finish() +
      FieldBuilder(sf::kEndImageObject).Finish() + FieldBuilder(sf::kEndPage).Finish() +
      FieldBuilder(sf::kEndDocument).Finish();
  EXPECT_EQ(file, ListedBytes());
}

}  // namespace
