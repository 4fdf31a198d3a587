// Self-defining fields and compressions: what the filter takes and writes.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"

namespace {

// The values that a byte may have while the others have their own: " 0-7F", nothing
// for all.
std::string Ranges(const kz::SelfDefiningFieldRow& row, std::vector<unsigned char> bytes,
                   size_t at) {
  std::ostringstream words;
  bool taken = false;
  for (int value = 0; value <= 0x100; ++value) {
    bytes[at] = static_cast<unsigned char>(value);
    const bool takes = value <= 0xFF && kz::TakesValues(row, bytes);
    if (takes && !taken) words << ' ' << std::hex << value << '-';
    if (!takes && taken) words << std::hex << value - 1;
    taken = takes;
  }
  return words.str() == " 0-ff" ? "" : words.str();
}

TEST(SelfDefiningField, IsTakenByTheFilterForTheseLengthsAndValuesOnly) {
  std::ostringstream taken;
  for (unsigned id = 0; id <= 0xFF; ++id) {
    const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(id);
    for (unsigned length = 0; row != nullptr && length <= 0xFF; ++length) {
      if (!kz::TakesLength(*row, length)) continue;
      taken << std::hex << id << ' ' << length;
      std::vector<unsigned char> bytes(length);
      if (id == kz::sdf::kImageEncoding) bytes[0] = bytes[1] = 1;
      for (size_t at = 0; at < length; ++at) {
        const std::string ranges = Ranges(*row, bytes, at);
        if (!ranges.empty()) taken << ", " << at << ':' << ranges;
      }
      taken << '\n';
    }
  }
  EXPECT_EQ(taken.str(),
            "70 0\n70 4\n71 0\n91 1, 0: ff-ff\n93 0\n94 9, 0: 0-2, 5: 0-7f, 7: 0-7f\n"
            "95 2, 0: 1-1 3-3 6-6 8-8 a-b 80-83, 1: 1-1 3-4 fe-fe\n"
            "95 3, 0: 1-1 3-3 6-6 8-8 a-b 80-83, 1: 1-1 3-4 fe-fe, 2: 0-1\n"
            "96 1\n97 1\n9b 6\n9b 7\n9b 8\n");
  for (unsigned id = 0xFE00; id <= 0xFEFF; ++id) {
    const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(id);
    EXPECT_EQ(row != nullptr && kz::TakesLength(*row, 300), id == kz::sdf::kImageData) << id;
  }
}

TEST(Compressions, AreAskedForByNameAndWrittenAtTheirDepths) {
  std::string options;
  for (const kz::CompressionRow& row : kz::kCompressions) {
    if (row.option == nullptr) continue;
    options.append(row.option).append(" ");
    EXPECT_EQ(kz::FindCompressionOption(row.option), &row) << row.option;
    for (const int bits : {1, 4, 8, 24}) {
      EXPECT_TRUE(
          kz::HasDepth(row.written & row.read, kz::DefaultDepth(row.coding, bits, bits < 24)));
    }
  }
  EXPECT_EQ(options, "g4 g3 g3-2d mmr abic none jpeg jpeg-420 jpeg-422 ");
}

}  // namespace
