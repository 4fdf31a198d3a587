// A second reader: takes files apart by the rules of their formats, shares no code
// with the filter or the toolkit, and fails the test at the first byte that is out of
// place.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "Tests/Support/FileBuilder.h"

struct WrittenImage {
  Bytes size;                  // parameters of Image Size
  Bytes encoding;              // of Image Encoding
  Bytes depth;                 // of IDE Size
  std::vector<size_t> pieces;  // data bytes of each Image Data field
  Bytes data;                  // of all of them
};

struct WalkedField {
  unsigned code;
  bool prefixed;
  Bytes bytes;  // without 0x5A
  Bytes Data() const { return Slice(bytes, 8, bytes.size()); }
};

// The structured fields up to the last byte of a file; throws where there is none.
inline std::vector<WalkedField> Walk(const Bytes& file) {
  std::vector<WalkedField> fields;
  for (size_t at = 0; at < file.size();) {
    const bool prefixed = file[at] == 0x5A;
    at += prefixed ? 1 : 0;
    if (at + 8 > file.size() || file[at + 2] != 0xD3) throw std::runtime_error("no field");
    const size_t length = static_cast<size_t>(file[at] << 8 | file[at + 1]);
    if (length < 8 || at + length > file.size()) throw std::runtime_error("bad length");
    fields.push_back({static_cast<unsigned>(file[at + 3] << 8 | file[at + 4]), prefixed,
                      Slice(file, at, length)});
    at += length;
  }
  return fields;
}

// One image segment with just the fields that every image has, in their order.
inline WrittenImage WrittenSegment(const Bytes& segment) {
  WrittenImage image;
  size_t at = 0;
  const auto take = [&](const Bytes& expected) {
    EXPECT_EQ(Slice(segment, at, expected.size()), expected) << "at " << at;
    at += expected.size();
  };
  const auto parameters = [&](size_t count) {
    at += count;
    return Slice(segment, at - count, count);
  };
  take({0x70, 0x00, 0x91, 0x01, 0xFF, 0x94, 0x09});
  image.size = parameters(9);
  take({0x95, 0x02});
  image.encoding = parameters(2);
  take({0x96, 0x01});
  image.depth = parameters(1);
  while (at + 4 <= segment.size() && segment[at] == 0xFE) {
    take({0xFE, 0x92});
    const size_t length = segment[at] * 256u + segment[at + 1];
    at += 2;
    image.pieces.push_back(length);
    image.data = image.data + parameters(length);
  }
  take({0x93, 0x00, 0x71, 0x00});
  EXPECT_EQ(at, segment.size());
  return image;
}

// The images of a document's pages; each Image Data field must fill an Image
// Picture Data field of its own.
inline std::vector<WrittenImage> WrittenPages(const Bytes& file) {
  std::vector<WrittenImage> images;
  const std::vector<WalkedField> fields = Walk(file);
  if (fields.empty()) return images;
  EXPECT_EQ(fields.front().code, 0xA8A8u);
  EXPECT_EQ(fields.back().code, 0xA9A8u);
  Bytes segment;
  bool inPage = false;
  for (size_t i = 1; i + 1 < fields.size(); ++i) {
    const WalkedField& field = fields[i];
    EXPECT_EQ(Slice(field.bytes, 5, 3), Bytes(3)) << "no extension, no number";
    EXPECT_EQ(inPage, field.code != 0xA8AF) << "field " << i;
    if (field.code == 0xA8AF) {
      inPage = true;
      segment.clear();
    } else if (field.code == 0xEEFB) {
      const Bytes head = Slice(field.Data() + Bytes(4), 0, 4);
      const size_t expected = head[0] == 0x70   ? 23
                              : head[0] == 0x93 ? 4
                                                : 4u + head[2] * 256u + head[3];
      EXPECT_EQ(field.Data().size(), expected) << "field " << i;
      segment = segment + field.Data();
    } else if (field.code == 0xA9AF) {
      inPage = false;
      images.push_back(WrittenSegment(segment));
    }
  }
  EXPECT_FALSE(inPage);
  return images;
}

// Hexadecimal digits, blanks between them being free; a * is 0x5A where there is
// carriage control.
inline Bytes Hex(const char* text, bool carriageControl = false) {
  Bytes bytes;
  bool low = false;
  for (; *text != 0; ++text) {
    if (*text == '*' && carriageControl) bytes.push_back(0x5A);
    if (*text == '*' || *text == ' ') continue;
    const int digit = *text <= '9' ? *text - '0' : *text - 'A' + 10;
    if (low) {
      bytes.back() = static_cast<unsigned char>(bytes.back() | digit);
    } else {
      bytes.push_back(static_cast<unsigned char>(digit << 4));
    }
    low = !low;
  }
  return bytes;
}
