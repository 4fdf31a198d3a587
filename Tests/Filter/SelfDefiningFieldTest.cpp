// Every self-defining field with every length and value that is accepted or
// refused, in a bare file and cut by Image Picture Data fields.
#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Tests/Filter/FileBuilder.h"
#include "Tests/Filter/OpenBytes.h"

namespace {

// The status of reading one field, from a bare file and from a document that cuts
// it after every byte; the two must agree, as must the records.
int ReadBoth(const Bytes& bytes, _ICA_SDF* field) {
  std::memset(field, 0xCC, sizeof *field);
  int bare;
  {
    OpenBytes file(bytes + Bytes(20, 0xEE));
    bare = ReadICA_SDF(file, field);
  }
  _ICA_SDF inDocument;
  OpenBytes file(PictureData(bytes + Bytes(20, 0xEE), {1}, {true, {}, true}));
  ThreadState()->bReadIPD = 1;
  EXPECT_EQ(ReadICA_SDF(file, &inDocument), bare);
  EXPECT_EQ(std::memcmp(field, &inDocument, sizeof *field), 0);
  return bare;
}

TEST(SelfDefiningField, LengthsAreThoseOfTheField) {
  struct Case {
    unsigned char id;
    std::vector<unsigned> lengths;
  };
  const Case known[] = {
      {0x70, {0, 4}}, {0x71, {0}}, {0x91, {1}}, {0x93, {0}},       {0x94, {9}},
      {0x95, {2, 3}}, {0x96, {1}}, {0x97, {1}}, {0x9B, {6, 7, 8}},
  };
  // Parameters that suit every field: 0xFF for Begin Image Content, else small.
  const Bytes suitable = {1, 1, 0, 2, 0, 3, 0, 4, 0};
  for (unsigned id = 0; id < 256; ++id) {
    if (id == 0xFE) continue;
    const auto row =
        std::find_if(std::begin(known), std::end(known), [&](const Case& c) { return c.id == id; });
    for (unsigned length = 0; length < 256; ++length) {
      Bytes parameters = suitable;
      if (id == 0x91) parameters[0] = 0xFF;
      parameters.resize(length, 0);
      const bool allowed = row != std::end(known) &&
                           std::count(row->lengths.begin(), row->lengths.end(), length) > 0;
      if (row == std::end(known) && length > 9) break;
      SCOPED_TRACE(testing::Message() << "field " << id << " length " << length);
      const auto identifier = static_cast<unsigned char>(id);
      _ICA_SDF field;
      ASSERT_EQ(ReadBoth(Parameter(identifier, parameters), &field), allowed ? 1 : -9);
      if (!allowed) continue;
      EXPECT_EQ(+field.wId, id);
      EXPECT_EQ(+field.wLength, length);
      Bytes stored(field.abParam, field.abParam + 9);
      EXPECT_EQ(std::count(stored.begin() + length, stored.end(), 0), 9 - static_cast<int>(length));
      stored.resize(length);
      if (id != 0x70 && id != 0x94) {
        EXPECT_EQ(stored, parameters);
      }
      // One byte less than the field needs is a short read, in either kind of file.
      if (length == 0) continue;
      const Bytes whole = Parameter(identifier, parameters);
      OpenBytes shortFile(Slice(whole, 0, whole.size() - 1));
      EXPECT_EQ(ReadICA_SDF(shortFile, &field), -7);
    }
  }
}

TEST(SelfDefiningField, NumbersBecomeNative) {
  _ICA_SDF field;
  EXPECT_EQ(ReadBoth({0x70, 4, 0x12, 0x34, 0x56, 0x78}, &field), 1);
  EXPECT_EQ(+field.dwSegmentName, 0x12345678u);
  EXPECT_EQ(ReadBoth(ImageSize(0x0123, 0x7FFF, 2, 0xFFFF, 0x8001), &field), 1);
  EXPECT_EQ(field.bUnitBase, 2);
  EXPECT_EQ(+field.wHResolution, 0xFFFF);
  EXPECT_EQ(+field.wVResolution, 0x8001);
  EXPECT_EQ(+field.wHSize, 0x0123);
  EXPECT_EQ(+field.wVSize, 0x7FFF);
}

TEST(SelfDefiningField, ValuesAreChecked) {
  _ICA_SDF field;
  for (unsigned value = 0; value < 256; ++value) {
    SCOPED_TRACE(value);
    const auto byte = static_cast<unsigned char>(value);
    const auto among = [&](std::initializer_list<unsigned> values) {
      return std::find(values.begin(), values.end(), value) != values.end() ? 1 : -9;
    };
    EXPECT_EQ(ReadBoth({0x91, 1, byte}, &field), among({0xFF}));
    EXPECT_EQ(ReadBoth(ImageSize(1, 1, byte), &field), among({0, 1, 2}));
    const int compression = among({0x01, 0x03, 0x06, 0x08, 0x0A, 0x0B, 0x80, 0x81, 0x82, 0x83});
    EXPECT_EQ(ReadBoth(Encoding(byte), &field), compression);
    EXPECT_EQ(ReadBoth({0x95, 3, byte, 1, 1}, &field), compression);
    EXPECT_EQ(ReadBoth(Encoding(0x82, byte), &field), among({0x01, 0x03, 0x04, 0xFE}));
    EXPECT_EQ(ReadBoth({0x95, 3, 0x82, 1, byte}, &field), among({0, 1}));
    EXPECT_EQ(ReadBoth({0x96, 1, byte}, &field), 1);
    EXPECT_EQ(ReadBoth({0x97, 1, byte}, &field), 1);
    EXPECT_EQ(ReadBoth(Bytes{0x9B, 6} + Bytes(6, byte), &field), 1);
    EXPECT_EQ(ReadBoth({0xFE, byte, 0, 3}, &field), among({0x92}));
    EXPECT_EQ(+field.wId, 0xFE00 + value) << "read before it is refused";
  }
  struct Side {
    unsigned value;
    int status;
  };
  for (const Side& side : {Side{0, 1}, {1, 1}, {0x7FFF, 1}, {0x8000, -9}, {0xFFFF, -9}}) {
    EXPECT_EQ(ReadBoth(ImageSize(side.value, 1), &field), side.status) << side.value;
    EXPECT_EQ(ReadBoth(ImageSize(1, side.value), &field), side.status) << side.value;
  }
}

TEST(SelfDefiningField, ImageDataAreLeftInTheStream) {
  for (const unsigned length : {0u, 1u, 65535u}) {
    _ICA_SDF field;
    OpenBytes file(Bytes{0xFE, 0x92} + Big16(length) + Bytes(100, 7));
    EXPECT_EQ(ReadICA_SDF(file, &field), 1);
    EXPECT_EQ(+field.wId, 0xFE92);
    EXPECT_EQ(+field.wLength, length);
    EXPECT_EQ(std::count(field.abParam, field.abParam + 9, 0), 9);
    EXPECT_EQ(file.Position(), 4);
  }
  for (const Bytes& bytes : {Bytes{}, Bytes{0xFE}, Bytes{0xFE, 0x92}, Bytes{0xFE, 0x92, 0}}) {
    _ICA_SDF field;
    OpenBytes file(bytes);
    EXPECT_EQ(ReadICA_SDF(file, &field), -7);
  }
}

// The segment can end in the middle of a field: the structured field that ends it
// is then the next to be read.
TEST(SelfDefiningField, TheSegmentMayEndTooEarly) {
  const Bytes start = PictureData({0x94, 9, 0, 0});
  OpenBytes file(start + Field(0xA9FB, {}, {true, {1, 2}, true}));
  ThreadState()->bReadIPD = 1;
  _ICA_SDF field;
  EXPECT_EQ(ReadICA_SDF(file, &field), -7);
  EXPECT_EQ(file.Position(), static_cast<int>(start.size()) + 1);
  EXPECT_EQ(ReadICA_SDF(file, &field), -7);
}

}  // namespace
