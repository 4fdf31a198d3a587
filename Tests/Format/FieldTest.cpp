// The format's fields and what they hold: parsed, walked, checked and built.
#include <gtest/gtest.h>
#include <iconv.h>

#include <string>
#include <utility>

#include "Format/CodePage.h"
#include "Format/Container.h"
#include "Format/ControlSequence.h"
#include "Format/DefaultEncoding.h"
#include "Format/FieldBuilder.h"
#include "Format/FieldScan.h"
#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"

namespace {

using namespace std::string_view_literals;

kz::ByteSpan Bytes(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

TEST(ScannedField, SaysWhatIsWrongWithItAndWhereItEnds) {
  using enum kz::FieldFault;
  const struct {
    std::string_view bytes;
    kz::FieldFault fault;
    int64_t data;  // of those that can be read, with their data cut or not
    int64_t end;
  } fields[] = {
      {""sv, Cut, 0, 0},
      {"\x5A"sv, Cut, 0, 0},
      {"\x00\x08\xD3\xA8\xAF\x00\x00"sv, Cut, 0, 0},
      {"\x00\x08\xD3\xA8\xAF\x00\x00\x00"sv, None, 8, 8},
      {"\x5A\x00\x08\xD3\xA8\xAF\x00\x00\x00"sv, None, 9, 9},
      {"\x00\x09\xD3\xA8\xAF\x00\x00\x00"sv, CutData, 8, 9},
      {"\x00\x00\xD4\xA8\xAF\x00\x00\x00"sv, Class, 0, 0},
      {"\x00\x07\xD3\xA8\xAF\x80\x00\x00"sv, Length, 0, 0},
      {"\x80\x00\xD3\xA8\xAF\x00\x00\x00"sv, Length, 0, 0},
      {"\x7F\xFF\xD3\xA8\xAF\x00\x00\x00"sv, CutData, 8, 0x7FFF},
      {"\x00\x0A\xD3\xA8\xAF\x80\x00\x00"sv, Cut, 0, 0},
      {"\x5A\x00\x0A\xD3\xA8\xAF\x80\x00\x00\x02\x77"sv, None, 11, 11},
      {"\x00\x0A\xD3\xA8\xAF\x80\x00\x00\x00\x77"sv, Extension, 0, 0},
      {"\x00\x0A\xD3\xA8\xAF\x80\x00\x00\x03\x77"sv, Extension, 0, 0},
  };
  for (const auto& row : fields) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    const kz::MemorySource source(Bytes(row.bytes));
    const kz::ScannedField field = kz::ScanField(source, 0);
    EXPECT_EQ(field.fault, row.fault);
    if (row.end == 0) continue;
    EXPECT_EQ(field.code, kz::sf::kBeginPage);
    EXPECT_EQ(field.DataOffset(), row.data);
    EXPECT_EQ(field.End(), row.end);
    EXPECT_EQ(field.DataLength(), field.End() - field.DataOffset());
  }
}

// Where a field is read again from its length on, a length that looks like a 0x5A is none.
TEST(Introducer, IsReadAgainWithoutTakingItsLengthForAPrefix) {
  const kz::ByteSpan bytes = Bytes("\x5A\x08\xD3\xEE\xFB\x00\x00\x00"sv);
  EXPECT_EQ(kz::ParseIntroducer(bytes).length, 0x5A08u);
  EXPECT_EQ(kz::ParseIntroducer(bytes).fault, kz::FieldFault::None);
  EXPECT_EQ(kz::ParseField(bytes).fault, kz::FieldFault::Cut);
  // Who reads eight bytes learns that one more is needed.
  EXPECT_EQ(kz::ParseIntroducer(Bytes("\0\x0A\xD3\xEE\xFB\x80\0\0"sv)).fault, kz::FieldFault::Cut);
}

TEST(FieldWalk, StopsAtTheFirstFieldThatGoesBeyondItsEnd) {
  const std::string file = kz::FieldBuilder(kz::sf::kBeginPage, true).PutName("P").Finish() +
                           kz::FieldBuilder(kz::sf::kEndPage).Put24(7).Finish();
  const kz::MemorySource source(Bytes(file));
  for (const auto& [end, at] : {std::pair{28, 28}, {27, 17}, {17, 17}, {16, 0}}) {
    SCOPED_TRACE(end);
    kz::FieldWalk walk(source, 0, end);
    kz::ScannedField field;
    while (walk.Next(field)) {
    }
    EXPECT_EQ(walk.At(), at);
    EXPECT_EQ(field.fault, at == end ? kz::FieldFault::None : kz::FieldFault::CutData);
  }
}

TEST(FieldBuilder, GivesNothingThatItsLengthsOrItsRoomCantHold) {
  const auto sized = [](size_t data, size_t following) {
    const std::string bytes(data, '\x01');
    return kz::FieldBuilder(kz::sf::kNoOperation, true).PutBytes(bytes).Finish(following).size();
  };
  EXPECT_EQ(sized(32759, 0), 32768u);
  EXPECT_EQ(sized(32760, 0), 0u);
  EXPECT_EQ(sized(10, 32749), 19u) << "the caller writes the rest";
  EXPECT_EQ(sized(10, 32750), 0u);
  for (const size_t length : {253u, 254u}) {
    const std::string contents(length, 'a');
    kz::FieldBuilder builder(kz::sf::kTagLogicalElement);
    builder.BeginTriplet(kz::triplet::kAttributeValue).PutBytes(contents).EndTriplet();
    EXPECT_EQ(builder.Finish().empty(), length == 254);
  }
  const auto fixed = [](unsigned count) {
    kz::FixedFieldBuilder<16> builder(kz::sf::kPageDescriptor);
    for (unsigned i = 0; i < count; i += 2) builder.BeginTriplet(0x80).EndTriplet();
    return builder.Finish().size();
  };
  EXPECT_EQ(fixed(8), 16u);
  EXPECT_EQ(fixed(10), 0u) << "one triplet more than there is room for";
}

TEST(Triplets, EndSafelyAtLengthsThatLeadNowhere) {
  using enum kz::TripletFault;
  const struct {
    std::string_view bytes;
    std::string_view ids;
    kz::TripletFault fault;
    std::string_view cut;
  } rows[] = {
      {"\x02\x36"sv, "\x36"sv, None, ""sv},
      {"\x03\x02\xC1\x02\x36"sv, "\x02\x36"sv, None, ""sv},
      {"\x03\x02\xC1\x02"sv, "\x02"sv, Length, ""sv},
      {"\x03\x02\xC1\x01\x36\x00"sv, "\x02"sv, Length, ""sv},
      {"\x00\x02\xC1"sv, ""sv, Length, ""sv},
      {"\x05\x02\xC1\xC2"sv, ""sv, Cut, "\xC1\xC2"sv},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    kz::Triplets walk(row.bytes);
    kz::Triplet triplet;
    std::string ids;
    while (walk.Next(triplet)) ids += static_cast<char>(triplet.id);
    EXPECT_EQ(ids, row.ids);
    EXPECT_EQ(triplet.fault, row.fault);
    EXPECT_EQ(triplet.contents, row.cut);
  }
  constexpr std::string_view named = "\x03\x36\x01\x06\x02\x84\x00\xC1\xC2\x04\x02\x84\x00"sv;
  const kz::Triplet name = kz::FindTriplet(named, kz::triplet::kQualifiedName);
  EXPECT_EQ(name.whole, named.substr(3, 6));
  EXPECT_EQ(kz::QualifiedName(name), "\xC1\xC2"sv);
  EXPECT_TRUE(kz::FindTriplet(named, kz::triplet::kMappingOption).whole.empty());
  EXPECT_EQ(kz::QualifiedName(kz::FindTriplet("\x04\x02\x84\x00"sv, 2)), ""sv);
}

TEST(ControlSequences, AreFollowedThroughChainsAndFoundAgainAfterOtherBytes) {
  using enum kz::ControlSequence::Fault;
  constexpr std::string_view data =
      "\x2B\xD3\x04\xD3\x00\x10\x03\xDA\xC1??\x2B\xD3\x02\xF8\x2B\xD3\x04\xDA\xC1\xC2"
      "\x2B\xD3\x01\xDA\x2B\xD3\x02\xF8"sv;
  const struct {
    size_t end;  // of the data; the others are the last sequence's
    size_t offset, length;
    unsigned type;
    std::string_view parameters;
    kz::ControlSequence::Fault fault;
  } rows[] = {
      {6, 0, 6, 0xD2, "\x00\x10"sv, None}, {9, 6, 3, 0xDA, "\xC1"sv, None},
      {11, 9, 2, 0, ""sv, NoSequence},     {18, 15, 3, 0, ""sv, Length},
      {20, 15, 5, 0xDA, "\xC1"sv, Cut},    {29, 21, 8, 0, ""sv, Length},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.end);
    kz::ControlSequences walk(data.substr(0, row.end));
    kz::ControlSequence sequence;
    while (walk.Next(sequence)) {
    }
    EXPECT_EQ(sequence.offset, row.offset);
    EXPECT_EQ(sequence.length, row.length);
    EXPECT_EQ(sequence.Type(), row.type);
    EXPECT_EQ(sequence.parameters, row.parameters);
    EXPECT_EQ(sequence.fault, row.fault);
  }
}

TEST(SelfDefiningField, IsTakenUpToTheLimitsOfItsLengthAndItsValues) {
  const struct {
    unsigned id;
    std::string_view parameters;
    bool taken;
  } fields[] = {
      {kz::sdf::kImageSize, "\x02\xFF\xFF\0\0\x7F\xFF\0\0"sv, true},
      {kz::sdf::kImageSize, "\x03\xFF\xFF\0\0\x7F\xFF\0\0"sv, false},
      {kz::sdf::kImageSize, "\x02\0\0\0\0\0\0\x80\0"sv, false},
      {kz::sdf::kImageEncoding, "\x82\xFE"sv, true},
      {kz::sdf::kImageEncoding, "\x82\x02"sv, false},
      {kz::sdf::kImageEncoding, "\x82\x01\x01"sv, true},
      {kz::sdf::kImageEncoding, "\x82\x01\x02"sv, false},
  };
  for (const auto& row : fields) {
    const kz::SelfDefiningFieldRow& field = *kz::FindSelfDefiningField(row.id);
    const bool taken = kz::TakesLength(field, static_cast<unsigned>(row.parameters.size())) &&
                       kz::TakesValues(field, Bytes(row.parameters));
    EXPECT_EQ(taken, row.taken) << field.name << testing::PrintToString(row.parameters);
  }
}

std::string Converted(const char* to, const char* from, std::string text) {
  const iconv_t converter = ::iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) return "no such encoding";
  char room[400];
  char* in = text.data();
  char* out = room;
  size_t inLeft = text.size();
  size_t outLeft = sizeof room;
  ::iconv(converter, &in, &inLeft, &out, &outLeft);
  ::iconv_close(converter);
  return inLeft > 0 ? "no text" : std::string(room, sizeof room - outLeft);
}

TEST(CodePages, AreThoseThatIconvMeansByTheNumber) {
  for (unsigned codePage = 0; codePage <= 0xFFFF; ++codePage) {
    const char* encoding = kz::EncodingOfCodePage(codePage);
    if (encoding == nullptr) continue;
    // Digits stand at F0 in EBCDIC and at 30 in all others.
    const std::string zero = Converted(encoding, "UTF-8", "0");
    EXPECT_TRUE(zero == "\xF0" || zero == "0" || zero == "\0000"sv) << encoding;
  }
  EXPECT_STREQ(kz::EncodingOfResource("T1V10500"), kz::kDefaultEncoding);
  for (const char* other : {"C1V10500", "T1V105", "T1V1050A", "T1V19999"}) {
    EXPECT_EQ(kz::EncodingOfResource(other), nullptr) << other;
  }
  for (char c = ' '; c <= '~'; ++c) {
    const std::string ebcdic(1, static_cast<char>(kz::EbcdicOf(c)));
    EXPECT_EQ(Converted("UTF-8", kz::kDefaultEncoding, ebcdic), std::string(1, c));
  }
  EXPECT_EQ(kz::EbcdicOf('\n'), kz::EbcdicOf('?'));
}

TEST(Containers, AreToldByFilesThatEndEarlyToo) {
  constexpr std::string_view bare = "\x70\x00\x91\x01\xFF"sv;
  constexpr std::string_view document = "\x5A\x00\x10\xD3"sv;
  for (size_t length = 0; length <= bare.size(); ++length) {
    EXPECT_EQ(kz::StartsBareImage(Bytes(bare.substr(0, length))), length == bare.size());
    EXPECT_EQ(kz::StartsStructuredField(Bytes(document.substr(0, length))), length >= 4);
    EXPECT_EQ(kz::StartsStructuredField(Bytes(document.substr(1, length))), length >= 3);
  }
}

}  // namespace
