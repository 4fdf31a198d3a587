// The size that JPEG data declare, without decoding them.
#pragma once

#include <cstddef>
#include <vector>

namespace kz {

// What JPEG data say of their picture.
struct JpegFrame {
  int width;
  int height;
  int components;
};

enum class JpegSearch { Found, MoreData, None };

// Looks for the frame header (ITU-T T.81, B.2.2) in the beginning of JPEG data,
// from `at` on, which moves to where the search goes on with more data.
JpegSearch FindJpegFrame(const std::vector<unsigned char>& data, size_t& at, JpegFrame& frame);

}  // namespace kz
