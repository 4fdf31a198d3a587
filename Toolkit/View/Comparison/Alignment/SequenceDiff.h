// What two sequences have in common, in time that grows with their length and hardly more.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/View/Comparison/Alignment/ContentHash.h"

namespace kz {

// Elements of two sequences, from `a` and `b` on, that are the same.
struct CommonStretch {
  size_t a = 0;
  size_t b = 0;
  size_t count = 0;
};

// The stretches that two sequences have in common, in their order in both. What there is but once
// in each ties them together; in between, few differences are found as they are, and many may
// leave more than the least.
KZ_TESTED std::vector<CommonStretch> FindCommon(std::span<const ContentHash> a,
                                                std::span<const ContentHash> b);

// What stands between the stretches: elements of each that the other doesn't have there.
struct DiffGap {
  size_t a = 0;
  size_t countA = 0;
  size_t b = 0;
  size_t countB = 0;
};
KZ_TESTED std::vector<DiffGap> GapsBetween(const std::vector<CommonStretch>& common, size_t sizeA,
                                           size_t sizeB);

}  // namespace kz
