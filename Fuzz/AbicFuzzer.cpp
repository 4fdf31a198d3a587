// The ABIC codec on bare data: the first bytes give the size, the depth and parameters. The
// rest is a string of unknown parameters, then one of those, then an image to be coded.
#include <bit>
#include <cstring>
#include <vector>

#include "Fuzz/MemoryDisk.h"
#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"

namespace {

constexpr size_t kHeader = 7;
// More than a raster keeps in memory at once.
constexpr int kMostBits = 0x20000;
// Of an image that is read with all likely parameters, which takes a moment.
constexpr int kMostTriedBits = 0x2000;

struct Codec {
  K_DecodeLikelyAbicRoutine decodeLikely;
  K_DecodeAbicWithRoutine decodeWith;
  K_EncodeAbicWithRoutine encodeWith;
};
Codec g_codec;

template <typename Routine>
void Find(K_DllLoader& loader, const char* name, Routine& routine) {
  loader.AddFunction(name);
  Require(loader.IsFunctionOk(name) != 0, "the codec library is there");
  routine = reinterpret_cast<Routine>(loader.GetFunction(name));
}

void Free(unsigned char* block) {
  if (block != nullptr) WinGlobalFree(WinGlobalHandle(block));
}

kz::AbicParameters ParametersOf(const uint8_t* header) {
  kz::AbicParameters parameters;
  parameters.places = header[4] | static_cast<uint32_t>(header[5]) << 8 |
                      static_cast<uint32_t>(header[6] & 0x3F) << 16;
  while (std::popcount(parameters.places) > 7) parameters.places &= parameters.places - 1;
  parameters.flipsInStateOne = (header[3] & 0x04) != 0;
  parameters.wrapsEdges = (header[3] & 0x08) != 0;
  parameters.planesApart = (header[3] & 0x10) != 0;
  parameters.exactWidth = (header[3] & 0x20) != 0;
  parameters.reversedBits = (header[3] & 0x40) != 0;
  return parameters;
}

bool IsSame(const kz::AbicFit& one, const kz::AbicFit& other) {
  return one.bitsLeft == other.bitsLeft && one.rows == other.rows &&
         one.blackPadding == other.blackPadding;
}

size_t BytesPerRow(const AbicString& image) {
  return static_cast<size_t>((image.width * image.depth + 31) / 32 * 4);
}

// Decodes with and without rows, which must tell the same. Returns the rows, or null.
unsigned char* Read(const AbicString& string, const kz::AbicParameters& parameters,
                    kz::AbicFit& fit) {
  unsigned char* rows = nullptr;
  kz::AbicFit without;
  const int status = g_codec.decodeWith(&string, &parameters, &rows, &fit);
  Require((status == K_SUCCESS) == (rows != nullptr), "rows come with success only");
  Require(g_codec.decodeWith(&string, &parameters, nullptr, &without) == status,
          "a read without rows succeeds when one with rows does");
  if (rows == nullptr) return rows;
  if (fit.blackPadding == 0) {
    Require(IsSame(fit, without), "a read without rows tells the same");
  } else {
    Require(without.blackPadding != 0 && without.rows <= fit.rows, "black padding ends a read");
  }
  return rows;
}

void ReadLikely(const AbicString& string, const kz::AbicParameters& parameters) {
  AbicReading reading;
  reading.parameters = parameters;
  unsigned char* rows = nullptr;
  const int status = g_codec.decodeLikely(&string, &rows, &reading);
  Require((status == K_SUCCESS) == (rows != nullptr), "rows come with success only");
  if (rows == nullptr) return;
  const size_t bytes = BytesPerRow(string) * static_cast<size_t>(string.height);
  Require(WinGlobalSize(WinGlobalHandle(rows)) >= bytes, "the block holds every row");
  if (!reading.earlier) {
    kz::AbicFit fit;
    unsigned char* same = Read(string, reading.parameters, fit);
    Require(same != nullptr && std::memcmp(rows, same, bytes) == 0 && IsSame(fit, reading.fit),
            "the image is that of the parameters told");
    Free(same);
  }
  Free(rows);
}

void CodeImage(AbicString image, const kz::AbicParameters& parameters) {
  const size_t bytesPerRow = BytesPerRow(image);
  std::vector<unsigned char> rows(bytesPerRow * static_cast<size_t>(image.height));
  for (size_t i = 0; i < rows.size() && image.size != 0; ++i) rows[i] = image.data[i % image.size];
  unsigned char* code = nullptr;
  uint64_t size = 0;
  Require(g_codec.encodeWith(rows.data(), &image, &parameters, &code, &size) == K_SUCCESS,
          "every image can be coded");
  const AbicString string = {code, size, image.width, image.height, image.depth};
  kz::AbicFit fit;
  unsigned char* read = Read(string, parameters, fit);
  Require(read != nullptr && fit.rows == int64_t{image.height} * image.depth &&
              fit.blackPadding == 0 && fit.bitsLeft >= 0 && fit.bitsLeft < 8,
          "a string ends with its image");
  for (size_t i = 0; i < rows.size(); ++i) {
    const int rest = image.width * image.depth - static_cast<int>(i % bytesPerRow) * 8;
    const int mask = rest >= 8 ? 0xFF : rest > 0 ? 0xFF00 >> rest & 0xFF : 0;
    Require(read[i] == (rows[i] & mask), "an image survives");
  }
  Free(read);
  Free(code);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Coverage can't be counted of a library that comes and goes.
  static K_DllLoader loader;
  loader.LoadLib(KV_LIBID_ABIC, 0, nullptr);
  Find(loader, "K_DecodeLikelyABIC", g_codec.decodeLikely);
  Find(loader, "K_DecodeABICWith", g_codec.decodeWith);
  Find(loader, "K_EncodeABICWith", g_codec.encodeWith);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kHeader) return 0;
  const MemoryDisk disk(nullptr, 0);
  constexpr int depths[] = {1, 4, 8, 1};
  const int depth = depths[data[3] & 3];
  const int width = 1 + (data[0] | (data[1] & 0x07) << 8);
  const int height = 1 + data[2] % (kMostBits / (width * depth));
  const AbicString string = {data + kHeader, size - kHeader, width, height, depth};
  const kz::AbicParameters parameters = ParametersOf(data);
  if (width * height * depth <= kMostTriedBits) ReadLikely(string, parameters);
  kz::AbicFit fit;
  Free(Read(string, parameters, fit));
  CodeImage(string, parameters);
  return 0;
}
