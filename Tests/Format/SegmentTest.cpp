// Self-defining fields and compressions: what the filter takes, reads and writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"

namespace {

using Parameters = std::vector<unsigned char>;

bool Taken(unsigned id, const Parameters& parameters) {
  const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(id);
  return row != nullptr && kz::TakesLength(*row, static_cast<unsigned>(parameters.size())) &&
         kz::TakesValues(*row, parameters);
}

// Parameters that each field may have, and of each of their bytes the values that it
// then may have; of the others any.
struct Rule {
  Parameters parameters;
  std::map<size_t, std::vector<unsigned>> values;
};

std::vector<unsigned> UpTo(unsigned most) {
  std::vector<unsigned> values(most + 1);
  for (unsigned i = 0; i <= most; ++i) values[i] = i;
  return values;
}

TEST(SelfDefiningField, IsTakenByTheFilterForTheseLengthsAndValuesOnly) {
  const std::vector<unsigned> compressions = {0x01, 0x03, 0x06, 0x08, 0x0A,
                                              0x0B, 0x80, 0x81, 0x82, 0x83};
  const std::vector<unsigned> recordings = {0x01, 0x03, 0x04, 0xFE};
  const std::map<unsigned, std::vector<Rule>> rules = {
      {0x70, {{{}, {}}, {{1, 2, 3, 4}, {}}}},
      {0x71, {{{}, {}}}},
      {0x91, {{{0xFF}, {{0, {0xFF}}}}}},
      {0x93, {{{}, {}}}},
      {0x94, {{{0, 1, 2, 3, 4, 5, 6, 7, 8}, {{0, UpTo(2)}, {5, UpTo(0x7F)}, {7, UpTo(0x7F)}}}}},
      {0x95,
       {{{3, 1}, {{0, compressions}, {1, recordings}}},
        {{3, 1, 0}, {{0, compressions}, {1, recordings}, {2, {0, 1}}}}}},
      {0x96, {{{1}, {}}}},
      {0x97, {{{1}, {}}}},
      {0x9B, {{Parameters(6), {}}, {Parameters(7), {}}, {Parameters(8), {}}}},
  };
  for (unsigned id = 0; id <= 0xFF; ++id) {
    SCOPED_TRACE(id);
    std::map<size_t, Rule> allowed;
    if (rules.contains(id)) {
      for (const Rule& rule : rules.at(id)) allowed[rule.parameters.size()] = rule;
    }
    for (size_t length = 0; length <= 0xFF; ++length) {
      SCOPED_TRACE(length);
      if (!allowed.contains(length)) {
        const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(id);
        EXPECT_FALSE(row != nullptr && kz::TakesLength(*row, static_cast<unsigned>(length)));
        continue;
      }
      const auto& [parameters, values] = allowed[length];
      EXPECT_TRUE(Taken(id, parameters));
      for (size_t at = 0; at < length; ++at) {
        for (unsigned value = 0; value <= 0xFF; ++value) {
          Parameters changed = parameters;
          changed[at] = static_cast<unsigned char>(value);
          const auto rule = values.find(at);
          const bool takes =
              rule == values.end() ||
              std::find(rule->second.begin(), rule->second.end(), value) != rule->second.end();
          EXPECT_EQ(Taken(id, changed), takes) << "byte " << at << " is " << value;
        }
      }
    }
  }
  for (unsigned id = 0xFE00; id <= 0xFEFF; ++id) {
    EXPECT_EQ(Taken(id, Parameters(300)), id == kz::sdf::kImageData) << id;
  }
}

TEST(SelfDefiningField, HasItsNumbersInThePlacesWhereTheFileHasThem) {
  const kz::SelfDefiningFieldRow& row = *kz::FindSelfDefiningField(kz::sdf::kImageSize);
  const Parameters file = {0, 0x07, 0xD0, 0x0B, 0xB8, 0x01, 0x02, 0x7F, 0xFF};
  Parameters native = file;
  kz::ToNative(row, native.data(), 9);
#pragma pack(push, 1)
  struct {
    unsigned char base;
    uint16_t numbers[4];
  } record;
#pragma pack(pop)
  std::copy(native.begin(), native.end(), reinterpret_cast<unsigned char*>(&record));
  EXPECT_EQ((std::vector<unsigned>{record.numbers[0], record.numbers[1], record.numbers[2],
                                   record.numbers[3]}),
            (std::vector<unsigned>{2000, 3000, 0x0102, 0x7FFF}));
  kz::ToFile(row, native.data(), 9);
  EXPECT_EQ(native, file);

  Parameters name = {1, 2, 3, 4};
  const kz::SelfDefiningFieldRow& segment = *kz::FindSelfDefiningField(kz::sdf::kBeginSegment);
  kz::ToNative(segment, name.data(), 4);
  uint32_t number;
  std::copy(name.begin(), name.end(), reinterpret_cast<unsigned char*>(&number));
  EXPECT_EQ(number, 0x01020304u);
}

TEST(SelfDefiningHeader, IsParsedAsItIsPut) {
  const struct {
    kz::SelfDefiningHeader header;
    Parameters bytes;
  } rows[] = {
      {{0x95, 2}, {0x95, 2}},
      {{0x95, 255}, {0x95, 0xFF}},
      {{0xFE92, 0x1FF0}, {0xFE, 0x92, 0x1F, 0xF0}},
      {{0xFECE, 8}, {0xFE, 0xCE, 0, 8}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.header.id);
    unsigned char bytes[kz::kMaxSelfDefiningHeader] = {};
    const unsigned length = kz::PutSelfDefiningHeader(bytes, row.header);
    EXPECT_EQ(Parameters(bytes, bytes + length), row.bytes);
    EXPECT_EQ(kz::HeaderLengthFrom(bytes[0]), length);
    const auto parsed = kz::ParseSelfDefiningHeader(row.bytes);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->id, row.header.id);
    EXPECT_EQ(parsed->length, row.header.length);
    EXPECT_EQ(parsed->HeaderLength(), length);
    EXPECT_FALSE(kz::ParseSelfDefiningHeader({row.bytes.data(), length - 1}).has_value());
  }
}

TEST(Compressions, AreFoundByWhatFilesAndHostsCallThem) {
  using enum kz::Container;
  // Reading: identifier and container to the host's format code and the raw code.
  const struct {
    unsigned id;
    uint32_t ioca, modca, carriageControl, raw;
  } read[] = {
      {0x80, 77, 71, 309, 66},    {0x81, 78, 72, 310, 67},    {0x82, 79, 73, 311, 68},
      {0x01, 118, 117, 313, 117}, {0x08, 184, 190, 191, 185}, {0x0A, 184, 190, 191, 185},
      {0x03, 254, 253, 312, 253}, {0x83, 377, 377, 377, 10},
  };
  std::vector<unsigned> loadable;
  for (unsigned id = 0; id <= 0xFF; ++id) {
    if (kz::FindCompression(id) != nullptr) loadable.push_back(id);
  }
  EXPECT_EQ(loadable.size(), std::size(read));
  for (const auto& row : read) {
    SCOPED_TRACE(row.id);
    const kz::CompressionRow* found = kz::FindCompression(row.id);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(kz::DescribedFormatCode(*found, Ioca), row.ioca);
    EXPECT_EQ(kz::DescribedFormatCode(*found, Modca), row.modca);
    EXPECT_EQ(kz::DescribedFormatCode(*found, ModcaCarriageControl), row.carriageControl);
    const kz::FormatCode code = kz::FindFormatCode(row.carriageControl);
    ASSERT_NE(code.row, nullptr);
    EXPECT_EQ(code.row->raw, row.raw);
    EXPECT_EQ(code.row->coding, found->coding);
    EXPECT_EQ(kz::FindRawCode(row.raw), code.row);
  }
  EXPECT_EQ(kz::FindFormatCode(253).container, Modca);
  EXPECT_EQ(kz::FindFormatCode(254).container, Ioca);
  EXPECT_EQ(kz::FindFormatCode(312).container, ModcaCarriageControl);
  for (const uint32_t none : {0u, 1u, 185u, 380u}) {
    EXPECT_EQ(kz::FindFormatCode(none).row, nullptr) << none;
  }
}

TEST(Compressions, AreAskedForByNameAndWrittenAtTheirDepths) {
  using kz::Compression;
  std::vector<std::string> options;
  for (const kz::CompressionRow& row : kz::kCompressions) {
    if (row.option == nullptr) continue;
    options.emplace_back(row.option);
    EXPECT_EQ(kz::FindCompressionOption(row.option), &row) << row.option;
    for (const int bits : {1, 4, 8, 24}) {
      const bool gray = bits < 24;
      EXPECT_TRUE(kz::HasDepth(row.written & row.read, kz::DefaultDepth(row.coding, bits, gray)));
    }
  }
  EXPECT_EQ(options, (std::vector<std::string>{"g4", "g3", "g3-2d", "mmr", "abic", "none", "jpeg",
                                               "jpeg-420", "jpeg-422"}));
  EXPECT_EQ(kz::FindCompressionOption("rl4"), nullptr);

  const struct {
    Compression compression;
    int bitsPerPixel;
    unsigned id;
  } written[] = {{Compression::Abic, 1, 0x08},  {Compression::Abic, 4, 0x0A},
                 {Compression::Abic, 8, 0x00},  {Compression::Group4, 1, 0x82},
                 {Compression::None, 24, 0x03}, {Compression::Jpeg422, 8, 0x83}};
  for (const auto& row : written) {
    EXPECT_EQ(kz::CompressionIdAt(kz::RowOf(row.compression), row.bitsPerPixel), row.id);
  }
  EXPECT_FALSE(kz::HasDepth(kz::RowOf(Compression::Group4).written, 0));
  EXPECT_FALSE(kz::HasDepth(kz::RowOf(Compression::Group4).written, 33));
}

}  // namespace
