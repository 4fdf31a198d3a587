// Where a file holds a picture.
#pragma once

#include <cstdint>

#include "Format/Container.h"

namespace kz {

// Bytes of a file, from `begin` up to `end`.
struct ByteRange {
  int64_t begin = 0;
  int64_t end = 0;
  int64_t Size() const { return end - begin; }
};

enum class PictureKind : uint8_t { Ioca, Im1, Jpeg, Tiff };

struct PicturePlace {
  // From the first Image Picture Data field to after the last; of others the object with
  // its Begin and End field; of a bare image from its segment on.
  ByteRange bytes;
  PictureKind kind = PictureKind::Ioca;
  Container container = Container::Modca;  // met up to there
  int content = 1;                         // which image content there, counted from 1
  // Of an IOCA image: the Image Picture Data field in which its content begins, and how
  // many bytes of that field's data come before. Of a bare image where its content begins.
  int64_t contentField = 0;
  uint32_t contentSkip = 0;
  int64_t descriptor = 0;  // the Image Data Descriptor field of its object; 0: none
};

}  // namespace kz
