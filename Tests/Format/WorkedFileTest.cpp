// The file that docs/format.md shows byte by byte, taken apart and built again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "Format/ControlSequence.h"
#include "Format/FieldBuilder.h"
#include "Format/FieldScan.h"
#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"

namespace {

struct Listing {
  std::string bytes;
  std::map<size_t, std::string> words;  // by offset
};

// Lines of offset, bytes and words, which begin in the columns 0, 5 and 33.
Listing ReadListing() {
  constexpr size_t bytesAt = 5;
  constexpr size_t wordsAt = 33;
  Listing listing;
  std::ifstream document(KZ_DOCS "/format.md");
  std::string line;
  while (std::getline(document, line) && line != "## A small file, byte by byte") {
  }
  while (std::getline(document, line)) {
    if (line.size() < wordsAt || line[bytesAt - 1] != ' ') continue;
    EXPECT_EQ(std::strtoul(line.c_str(), nullptr, 10), listing.bytes.size()) << line;
    listing.words[listing.bytes.size()] = line.substr(wordsAt);
    std::string digits = line.substr(bytesAt, wordsAt - bytesAt);
    std::erase(digits, ' ');
    for (size_t at = 0; at < digits.size(); at += 2) {
      listing.bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
    }
  }
  return listing;
}

// What stands where, by the library.
class Reading {
 public:
  explicit Reading(const std::string& bytes) {
    const kz::MemorySource source(Span(bytes));
    kz::FieldWalk walk(source);
    kz::ScannedField field;
    while (walk.Next(field)) {
      Add(field.offset, kz::FindStructuredField(field.code)->words);
      const auto start = static_cast<size_t>(field.DataOffset());
      const std::string_view data = std::string_view(bytes).substr(start, field.DataLength());
      if (field.code == kz::sf::kTagLogicalElement) AddTriplets(data, start);
      if (field.code == kz::sf::kPresentationText) AddSequences(data, start);
      if (field.code == kz::sf::kImagePictureData) AddSegment(data, start);
    }
    EXPECT_EQ(field.fault, kz::FieldFault::None) << "at " << walk.At();
  }
  std::map<size_t, std::string> words;

 private:
  static kz::ByteSpan Span(std::string_view bytes) {
    return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
  }
  void Add(int64_t at, const char* name) { words[static_cast<size_t>(at)] = name; }

  void AddTriplets(std::string_view data, size_t start) {
    kz::Triplets walk(data);
    kz::Triplet triplet;
    while (walk.Next(triplet)) {
      words[start + static_cast<size_t>(triplet.whole.data() - data.data())] =
          kz::TripletName(triplet.id);
    }
  }
  void AddSequences(std::string_view data, size_t start) {
    kz::ControlSequences walk(data);
    kz::ControlSequence sequence;
    while (walk.Next(sequence)) {
      EXPECT_EQ(sequence.fault, kz::ControlSequence::Fault::None);
      words[start + sequence.offset] = kz::FindControlSequence(sequence.Type())->words;
    }
  }
  void AddSegment(std::string_view data, size_t start) {
    while (const auto header = kz::ParseSelfDefiningHeader(Span(data))) {
      const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(header->id);
      EXPECT_TRUE(kz::TakesLength(*row, header->length));
      EXPECT_TRUE(
          kz::TakesValues(*row, Span(data).subspan(header->HeaderLength(), header->length)));
      words[start] = row->name;
      start += header->HeaderLength() + header->length;
      data.remove_prefix(header->HeaderLength() + header->length);
    }
    EXPECT_TRUE(data.empty());
  }
};

TEST(WorkedFile, HoldsWhatTheDocumentSays) {
  const Listing listing = ReadListing();
  const Reading reading(listing.bytes);
  EXPECT_EQ(reading.words.size(), 22u);
  for (const auto& [offset, words] : reading.words) {
    ASSERT_TRUE(listing.words.contains(offset)) << offset << ": " << words;
    EXPECT_TRUE(listing.words.at(offset).starts_with(words)) << offset << ": " << words;
  }
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
  EXPECT_EQ(file, ReadListing().bytes);
}

}  // namespace
