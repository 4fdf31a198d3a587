// Which pages of two documents belong together.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "Toolkit/Base/Workers.h"
#include "Toolkit/View/Comparison/Alignment/ContentHash.h"

namespace kz {

// What tells where a page belongs that isn't the same, byte for byte, in the other document.
struct PageFeatures {
  ContentHash whole;     // all that is seen of it
  ContentHash text;      // its text
  ContentHash pictures;  // its pictures
  bool hasText = false;  // enough to know it again by
  bool hasPictures = false;
  std::vector<uint64_t> lines;  // the least of its lines' hashes, rising, each once
  static constexpr size_t kMostLines = 16;
};

// Pages that follow each other, counted from 0, and belong together, or are in one document only.
struct AlignedPages {
  static constexpr size_t kNone = SIZE_MAX;
  size_t a = kNone;
  size_t b = kNone;
  size_t count = 1;
  bool sameBytes = false;
};

// Features of a page of the first document or, with `second`, the other; from any thread.
using FeaturesOf = std::function<PageFeatures(bool second, size_t page)>;

// Aligns pages by hashes of their bytes, then those in between by their features, which are asked
// for where they matter, then by what they are most like. In the order of both documents.
std::vector<AlignedPages> AlignPages(std::span<const ContentHash> a, std::span<const ContentHash> b,
                                     const FeaturesOf& features, Workers& workers);

}  // namespace kz
