// What must hold of the table of compressions ("Compressions" of docs/format.md).
#include "Format/Compression.h"

namespace kz {

namespace {

constexpr bool Holds(bool (*rule)(const CompressionRow& row, size_t index)) {
  for (size_t i = 0; i < std::size(kCompressions); ++i) {
    if (!rule(kCompressions[i], i)) return false;
  }
  return true;
}

static_assert(std::size(kCompressions) == static_cast<size_t>(Compression::Count),
              "a row for each compression");
static_assert(Holds([](const CompressionRow& row, size_t index) {
                return static_cast<size_t>(row.compression) == index;
              }),
              "in the order of the enumerators");
static_assert(Holds([](const CompressionRow& row, size_t) {
                return (row.coding == Coding::Unknown) == (row.raw == 0) &&
                       (row.raw == 0) == (row.modca == 0) && (row.raw == 0) == (row.read == 0);
              }),
              "what has a coder has codes and depths");
static_assert(Holds([](const CompressionRow& row, size_t) {
                return row.option == nullptr || (row.written & row.read) != 0;
              }),
              "what the command offers can be written and read back");
static_assert(Holds([](const CompressionRow& row, size_t) {
                // The host's record of a file has room for so much.
                return std::string_view(row.name).size() < 20 &&
                       !std::string_view(row.shortName).empty();
              }),
              "names");
static_assert(Holds([](const CompressionRow& row, size_t) {
                return std::none_of(
                    std::begin(kOtherCompressions), std::end(kOtherCompressions),
                    [&row](const OtherCompression& other) { return other.id == row.id; });
              }),
              "the filter takes a compression or refuses it");
static_assert(Holds([](const CompressionRow& row, size_t index) {
                for (size_t i = 0; i < index; ++i) {
                  const CompressionRow& other = kCompressions[i];
                  const bool variants = row.coding == other.coding && row.idDepth != other.idDepth;
                  if (row.raw != 0 && row.raw == other.raw && !variants) return false;
                  if (row.modca != 0 && row.modca == other.modca && !variants) return false;
                }
                return true;
              }),
              "one code, one compression");

}  // namespace

}  // namespace kz
