// Introducers and the readers that move through a document by them.
#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <map>

#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"
#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "Tests/Filter/FileBuilder.h"
#include "Tests/Filter/OpenBytes.h"

namespace {

Bytes Introducer(unsigned length, unsigned char flags = 0, const Bytes& rest = {}) {
  return Big16(length) + Bytes{0xD3, 0xA8, 0xAF, flags, 0x12, 0x34} + rest;
}

TEST(StructuredField, IntroducersAreReadOrRefused) {
  struct Case {
    const char* what;
    Bytes bytes;
    int status;
    int position;  // after ReadSFI, of an accepted one
    unsigned dataLength;
    int afterSkip;
  };
  const Bytes many = Pattern(254);
  const Case cases[] = {
      {"0x5A before it", Bytes{0x5A} + Introducer(12), 1, 9, 4, 13},
      {"longest", Introducer(32767), 1, 8, 32759, 32767},
      {"0x5B as high length byte", Introducer(0x5B00), 1, 8, 0x5AF8, 0x5B00},
      {"other flags", Introducer(12, 0x7F), 1, 8, 4, 12},
      {"extension", Introducer(20, 0x80, {4, 7, 8, 9}), 1, 12, 8, 20},
      {"extension and no data", Introducer(12, 0x80, {4, 7, 8, 9}), 1, 12, 0, 12},
      {"longest extension", Bytes{0x5A} + Introducer(300, 0xFF, Bytes{255} + many), 1, 264, 37,
       301},
      {"0x5A alone", {0x5A}, -7, 0, 0, 0},
      {"0x5A and seven bytes", Bytes{0x5A} + Slice(Introducer(12), 0, 7), -7, 0, 0, 0},
      {"no extension length", Introducer(12, 0x80), -7, 0, 0, 0},
      {"short extension", Introducer(20, 0x80, {5, 7, 8, 9}), -7, 0, 0, 0},
      {"extension length 0", Introducer(12, 0x80, {0}), -9, 0, 0, 0},
      {"extension past the field", Introducer(12, 0x80, Bytes{5} + many), -9, 0, 0, 0},
      {"length 7", Introducer(7), -9, 0, 0, 0},
      {"length 0x8000", Introducer(0x8000), -9, 0, 0, 0},
      {"0x5A as high length byte", Introducer(0x5A10), -7, 0, 0, 0},
      {"the same, more bytes", Introducer(0x5A10) + many, -9, 0, 0, 0},
      {"0x5A twice", Bytes{0x5A, 0x5A} + Introducer(12), -9, 0, 0, 0},
      {"other class", Bytes{0, 12, 0xD2, 0xA8, 0xAF, 0, 0, 0}, -9, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    OpenBytes file(c.bytes);
    _SFI sfi;
    std::memset(&sfi, 0xCC, sizeof sfi);
    ASSERT_EQ(ReadSFI(file, &sfi), c.status);
    if (c.status != K_SUCCESS) continue;
    const bool prefixed = c.bytes[0] == 0x5A;
    EXPECT_EQ(ThreadState()->bReadCC, prefixed ? 1u : 0u);
    EXPECT_EQ(file.Position(), c.position);
    EXPECT_EQ(+sfi.wLength, c.bytes[prefixed] * 256 + c.bytes[prefixed + 1u]);
    EXPECT_EQ(sfi.bClass, 0xD3);
    EXPECT_EQ(+sfi.wTypeCategory, 0xA8AF);
    EXPECT_EQ(sfi.abReserved[0] * 256 + sfi.abReserved[1], 0x1234);
    EXPECT_EQ(sfi.bExtLength, c.position - 8 - (prefixed ? 1 : 0));
    const int stored = std::max(sfi.bExtLength - 1, 0);
    EXPECT_EQ(
        Bytes(sfi.abExtension, sfi.abExtension + stored),
        Slice(c.bytes, static_cast<size_t>(c.position - stored), static_cast<size_t>(stored)));
    EXPECT_EQ(std::count(sfi.abExtension + stored, std::end(sfi.abExtension), 0), 256 - stored);
    EXPECT_EQ(SFDataLength(sfi), c.dataLength);
    EXPECT_EQ(SkipSFData(file, &sfi), 1);
    EXPECT_EQ(file.Position(), c.afterSkip);
    file.Files().Fail(FailingFiles::kSeek, 1);
    EXPECT_EQ(SkipSFData(file, &sfi), K_ERROR_SEEK);
  }
}

// A length that begins with 0x5A is one after a 0x5A only, but however often and
// however late such a field is read again.
TEST(StructuredField, LengthsThatBeginWith0x5AAreReadAgain) {
  const auto picture = [](unsigned length, const Style& style) {
    const size_t head = style.extended ? 10 : 8;
    return Field(0xEEFB, Bytes(length - head, 0x5A), style) + Field(0xA9FB, {}, style);
  };
  for (const bool extended : {false, true}) {
    const Style style = {true, {9}, extended};
    Bytes document = Field(0xA8A8, {}, style);
    const unsigned lengths[] = {0x5A00, 0x59FF, 0x5A0A, 0x5AFF, 0x5B00, 0x5AD3};
    for (const unsigned length : lengths) document = document + picture(length, style);
    // The last has no 0x5A of its own: a data byte before it is none.
    const Bytes bare = Field(0xEEEE, Bytes(9, 0x5A)) + picture(0x5A0A, {});
    std::vector<std::pair<unsigned, int>> found;
    PassedPrefixes passed;
    {
      OpenBytes file(document + bare);
      const auto read = [&](unsigned length, int position) {
        _SFI sfi;
        EXPECT_EQ(ReadSFI(file, &sfi), 1);
        EXPECT_EQ(+sfi.wLength, length);
        EXPECT_EQ(+sfi.wTypeCategory, 0xEEFB);
        EXPECT_EQ(sfi.bExtLength, extended ? 2 : 0);
        EXPECT_EQ(file.Position(), position + 8 + sfi.bExtLength);
      };
      int position = 0;
      for (const unsigned length : lengths) {
        ASSERT_EQ(FindImageObject(file, &position, found.empty() ? 0 : 1), 1) << length;
        EXPECT_EQ(document[static_cast<size_t>(position)], length >> 8);
        found.push_back({length, position});
        // By a host's own hand, too.
        for (int round = 0; round < 2; ++round) {
          read(length, position);
          EXPECT_EQ(K_RedirectedSeek(file, extended ? -10 : -8, K_SEEK_CURRENT), position);
        }
      }
      EXPECT_EQ(FindImageObject(file, &position, 1), -9);
      for (const auto& [length, at] : found) {
        ASSERT_EQ(K_RedirectedSeek(file, at, K_SEEK_START), at);
        read(length, at);
      }
      passed = ThreadState()->passed;
    }
    {
      // The same handle may be another file's, where a 0x5A is one.
      const int first = found.front().second;
      OpenBytes file(Field(0xEEEE, Bytes(static_cast<size_t>(first) - 8)) + picture(20, style));
      ThreadState()->passed = passed;
      ThreadState()->passed.hFile = file;
      int position = 0;
      EXPECT_EQ(FindImageObject(file, &position, 0), 1);
      EXPECT_EQ(position, first + 1);
    }
    // The field that ends a picture's data is met again by whoever reads next.
    const Bytes data(0x5A20 - (extended ? 10 : 8));
    OpenBytes file(Field(0xEEFB, Bytes(5), style) + Field(0xEE9B, data, style));
    ThreadState()->bReadIPD = 1;
    Bytes room(9);
    EXPECT_EQ(ReadIPD(file, room.data(), 9), 5);
    EXPECT_EQ(ReadIPD(file, room.data(), 9), 0);
    _SFI sfi;
    EXPECT_EQ(ReadSFI(file, &sfi), 1);
    EXPECT_EQ(+sfi.wTypeCategory, 0xEE9B);
  }
}

// Fields by a letter each; small letters have data, 0x5A and an extension as well.
Bytes Spell(const std::string& letters) {
  static const std::map<char, unsigned> identifiers = {{'B', 0xA8A8}, {'E', 0xA9A8}, {'P', 0xA8AF},
                                                       {'Q', 0xA9AF}, {'I', 0xEEFB}, {'N', 0xA8C9}};
  Bytes bytes;
  for (const char letter : letters) {
    const bool full = std::islower(letter) != 0;
    const auto identifier = identifiers.find(static_cast<char>(std::toupper(letter)));
    bytes = bytes +
            (identifier == identifiers.end()
                 ? Bytes(8, 0)  // no introducer
                 : Field(identifier->second, full ? Pattern(300) : Bytes{}, {full, {1, 2}, full}));
  }
  return bytes;
}

TEST(Navigation, PagesOfTheDocumentAreCounted) {
  struct Case {
    const char* fields;
    int status;
    int pages;
  };
  const Case cases[] = {
      {"BE", 1, 0},         {"BPQE", 1, 1},   {"NbPnIQpiQE", 1, 2}, {"PNBPQEPQ", 1, 1},
      {"bpqpqpqePX", 1, 3}, {"E", -9, 0},     {"NPE", -9, 0},       {"", -7, 0},
      {"N", -7, 0},         {"BPQPQ", -7, 2}, {"BPX", -9, 1},       {"X", -9, 0},
  };
  for (const Case& c : cases) {
    OpenBytes file(Spell(c.fields));
    int pages = -1;
    EXPECT_EQ(K_GetTotalPages(file, &pages), c.status) << c.fields;
    EXPECT_EQ(pages, c.pages) << c.fields;
  }
}

TEST(Navigation, EndPageIsFoundRightBehindItsIntroducer) {
  struct Case {
    const char* fields;
    int page;
    int status;
    const char* passed;  // fields that the file then stands behind
  };
  const Case cases[] = {
      {"BPQPQE", 1, 1, "BPQ"},      {"BPQPQE", 2, 1, "BPQPQ"}, {"BPQE", 2, 2, "BPQE"},
      {"npinQPQ", 2, 1, "npinQPQ"}, {"Epq", 1, 2, "E"},        {"BPQ", 2, -7, "BPQ"},
      {"BPXQ", 1, -9, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.fields << " page " << c.page);
    OpenBytes file(Spell(c.fields));
    EXPECT_EQ(K_GetEndPage(file, c.page), c.status);
    if (c.passed != nullptr) {
      EXPECT_EQ(file.Position(), static_cast<int>(Spell(c.passed).size()));
    }
  }
  // A page name is data, and K_GetEndPage leaves it unread.
  OpenBytes file(Spell("Bpq"));
  EXPECT_EQ(K_GetEndPage(file, 1), 1);
  EXPECT_EQ(file.Position(), static_cast<int>(Spell("Bpq").size()) - 300);
}

}  // namespace
