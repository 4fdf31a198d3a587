// Builds files of the family byte by byte, from the formats' own descriptions
// and not with the filter's writers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}
inline Bytes Big16(unsigned value) {
  return {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}
inline Bytes Slice(const Bytes& bytes, size_t from, size_t count) {
  from = std::min(from, bytes.size());
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(from);
  return Bytes(begin, begin + static_cast<ptrdiff_t>(std::min(count, bytes.size() - from)));
}

// How structured fields are written.
struct Style {
  bool carriageControl = false;
  Bytes extension = {};  // without its length byte; used when `extended`
  bool extended = false;
};

// Identifier as type and category: 0xEEFB for Image Picture Data.
inline Bytes Field(unsigned typeCategory, const Bytes& data = {}, const Style& style = {}) {
  Bytes tail = data;
  if (style.extended) {
    tail = Bytes{static_cast<unsigned char>(style.extension.size() + 1)} + style.extension + data;
  }
  const unsigned char flags = style.extended ? 0x80 : 0x00;
  const Bytes prefix = style.carriageControl ? Bytes{0x5A} : Bytes{};
  return prefix + Big16(static_cast<unsigned>(tail.size() + 8)) + Bytes{0xD3} +
         Big16(typeCategory) + Bytes{flags, 0, 0} + tail;
}

inline Bytes Parameter(unsigned char id, const Bytes& data) {
  return Bytes{id, static_cast<unsigned char>(data.size())} + data;
}
inline Bytes ImageData(const Bytes& data) {
  return Bytes{0xFE, 0x92} + Big16(static_cast<unsigned>(data.size())) + data;
}
inline Bytes ImageSize(unsigned width, unsigned height, unsigned char unitBase = 0,
                       unsigned xResolution = 2000, unsigned yResolution = 1000) {
  return Parameter(0x94, Bytes{unitBase} + Big16(xResolution) + Big16(yResolution) + Big16(width) +
                             Big16(height));
}
inline Bytes Encoding(unsigned char compression, unsigned char recording = 1) {
  return Parameter(0x95, {compression, recording});
}
inline const Bytes kPrologue = {0x70, 0x00, 0x91, 0x01, 0xFF};
inline const Bytes kEpilogue = {0x93, 0x00, 0x71, 0x00};

// An image segment: the fields between prologue and Image Data, and the image
// data in fields of at most `piece` bytes.
inline Bytes Segment(const Bytes& parameters, const Bytes& data, size_t piece = 65535) {
  Bytes segment = kPrologue + parameters;
  for (size_t at = 0; at == 0 || at < data.size(); at += piece) {
    segment = segment + ImageData(Slice(data, at, piece));
  }
  return segment + kEpilogue;
}

// Cuts a segment into Image Picture Data fields of the sizes given, over and over.
inline Bytes PictureDataFields(const Bytes& segment, const std::vector<size_t>& sizes = {4000},
                               const Style& style = {}) {
  Bytes fields;
  size_t at = 0;
  for (size_t i = 0; at < segment.size(); ++i) {
    const size_t size = sizes[i % sizes.size()];
    fields = fields + Field(0xEEFB, Slice(segment, at, size), style);
    at += size;
  }
  return fields;
}

// A document with one page for each segment.
inline Bytes Document(const std::vector<Bytes>& segments, const std::vector<size_t>& sizes = {4000},
                      const Style& style = {}) {
  Bytes document = Field(0xA8A8, {}, style);
  for (const Bytes& segment : segments) {
    document = document + Field(0xA8AF, {}, style) + Field(0xA8FB, {}, style) +
               PictureDataFields(segment, sizes, style) + Field(0xA9FB, {}, style) +
               Field(0xA9AF, {}, style);
  }
  return document + Field(0xA9A8, {}, style);
}
