// Documents for the tests of indexing and editing.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Support/WrittenFile.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Editing/Assemble.h"

namespace kz::test {

inline std::string Sample(const std::string& name) { return std::string(KZ_SAMPLES) + "/" + name; }

// The pages from Begin Page to End Page, 0x5A left out.
inline std::vector<Bytes> Pages(const Bytes& file) {
  std::vector<Bytes> pages;
  bool inPage = false;
  for (const WalkedField& field : Walk(file)) {
    if (field.code == 0xA8AF) {
      pages.emplace_back();
      inPage = true;
    }
    if (inPage) pages.back() = pages.back() + field.bytes;
    if (field.code == 0xA9AF) inPage = false;
  }
  return pages;
}

// How many fields have a 0x5A, End Document aside.
inline FieldPrefix Prefixes(const Bytes& file) {
  size_t with = 0, all = 0;
  for (const WalkedField& field : Walk(file)) {
    if (field.code == 0xA9A8) continue;
    ++all;
    with += field.prefixed ? 1 : 0;
  }
  return with == 0 ? FieldPrefix::None : with == all ? FieldPrefix::All : FieldPrefix::Some;
}

inline Bytes Name(const std::string& ascii) {
  Bytes name;
  for (const char c : ascii) {
    const bool digit = c >= '0' && c <= '9';
    const int offset = c - 'A';
    // EBCDIC letters stand in three rows of nine.
    const int letter = 0xC1 + offset + (offset >= 9 ? 7 : 0) + (offset >= 18 ? 8 : 0);
    name.push_back(static_cast<unsigned char>(digit ? 0xF0 + c - '0' : letter));
  }
  name.resize(8, 0x40);
  return name;
}

// An uncompressed image of 16 x 4 pixels that no other number has.
inline Bytes NumberedSegment(int number) {
  const Bytes parameters = ImageSize(16, 4) + Encoding(0x03) + Parameter(0x96, {1});
  return Segment(parameters, Pattern(8, static_cast<unsigned>(number)), 5);
}

// A page with a name, what it refers to and a numbered image.
inline Bytes NumberedPage(int number, const Style& style = {}, const Bytes& references = {}) {
  return Field(0xA8AF, Name("PAGE" + std::to_string(number)), style) + references +
         Field(0xA8FB, {}, style) + PictureDataFields(NumberedSegment(number), {20, 9}, style) +
         Field(0xA9FB, {}, style) + Field(0xA9AF, Name("PAGE" + std::to_string(number)), style);
}

inline Bytes Begin(const std::string& name, const Style& style = {}) {
  return Field(0xA8A8, Name(name), style);
}
inline Bytes End(const std::string& name, const Style& style = {}) {
  return Field(0xA9A8, Name(name), style);
}
inline Bytes Comment(const std::string& text, const Style& style = {}) {
  return Field(0xEEEE, Bytes(text.begin(), text.end()), style);
}

inline PageIndex Indexed(const std::string& file) {
  PageIndex index;
  const Outcome outcome = IndexPages(file, index);
  EXPECT_TRUE(outcome.Ok()) << file << ": " << outcome.what;
  return index;
}

// The picture of a page: size, depth, resolution and rows, to be compared.
inline Bytes Picture(const std::string& file, int page) {
  Bitmap bitmap;
  const Outcome outcome = LoadPicture(file, page, {}, bitmap);
  EXPECT_TRUE(outcome.Ok()) << file << ", page " << page << ": " << outcome.what;
  if (!outcome.Ok()) return {};
  const _BITMAPHANDLE& record = *bitmap.Handle();
  Bytes picture;
  for (const int number : {record.nWidth, record.nHeight, record.nBitsPerPixel, record.nXResolution,
                           record.nYResolution}) {
    picture = picture + Big16(static_cast<unsigned>(number));
  }
  picture.insert(picture.end(), record.pRows,
                 record.pRows + ptrdiff_t{record.nHeight} * record.nRowBytes);
  return picture;
}

inline int CountImages(const std::string& file) {
  Document document(file);
  const Outcome outcome = document.Open();
  EXPECT_TRUE(outcome.Ok()) << file << ": " << outcome.what;
  return document.Pictures();
}

}  // namespace kz::test
