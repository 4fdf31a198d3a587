// Looking up the table of compressions ("Compressions" of docs/format.md).
#include "Format/Compression.h"

#include <algorithm>

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
                // The host's record of a file has room for so much.
                return std::string_view(row.name).size() < 20 &&
                       !std::string_view(row.shortName).empty();
              }),
              "names");
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

template <typename Rule>
const CompressionRow* Find(Rule rule) {
  const auto* row = std::find_if(std::begin(kCompressions), std::end(kCompressions), rule);
  return row != std::end(kCompressions) ? row : nullptr;
}

}  // namespace

const CompressionRow* FindCompression(unsigned id) {
  return Find(
      [id](const CompressionRow& row) { return row.id == id && row.coding != Coding::Unknown; });
}

FormatCode FindFormatCode(uint32_t nFormat) {
  for (const CompressionRow& row : kCompressions) {
    for (const Container container :
         {Container::Modca, Container::Ioca, Container::ModcaCarriageControl}) {
      if (nFormat != 0 && FormatCodeIn(row, container) == nFormat) return {&row, container};
    }
  }
  return {nullptr, Container::Modca};
}

const CompressionRow* FindRawCode(uint32_t raw) {
  return raw == 0 ? nullptr : Find([raw](const CompressionRow& row) { return row.raw == raw; });
}

const CompressionRow* FindCompressionOption(std::string_view option) {
  return Find([option](const CompressionRow& row) {
    return row.option != nullptr && option == row.option;
  });
}

uint32_t FormatCodeIn(const CompressionRow& row, Container container) {
  switch (container) {
    case Container::Ioca:
      return row.ioca;
    case Container::Modca:
      return row.modca;
    case Container::ModcaCarriageControl:
      return row.modcaCarriageControl;
  }
  return 0;
}

uint32_t DescribedFormatCode(const CompressionRow& row, Container container) {
  const uint32_t code = FormatCodeIn(row, container);
  return code != 0 ? code : row.modca;
}

unsigned CompressionIdAt(const CompressionRow& row, int bitsPerPixel) {
  if (row.idDepth == 0) return row.id;
  const CompressionRow* sibling = Find([&](const CompressionRow& other) {
    return other.raw == row.raw && other.idDepth == bitsPerPixel;
  });
  return sibling != nullptr ? sibling->id : 0;
}

int DefaultDepth(Coding coding, int pictureBits, bool gray) {
  switch (coding) {
    case Coding::Unknown:
      return 0;
    case Coding::Fax:
    case Coding::Uncompressed:
      return 1;
    case Coding::Abic:
      return pictureBits == 1 ? 1 : 4;
    case Coding::Jpeg:
      return gray ? 8 : 24;
  }
  return 0;
}

}  // namespace kz
