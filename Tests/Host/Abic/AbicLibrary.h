// The ABIC library as its users load it, on the images of the independent coder.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"
#include "Tests/Host/Abic/CodedPicture.h"

namespace kz::test {

using Bytes = std::vector<unsigned char>;

Bytes FromHex(std::string_view digits);
// The bytes with their bits in the other order.
Bytes WithReversedBits(Bytes bytes);

// A test with the library. Every call that fails must leave its outputs as they were, every
// block have its size, and none be left at the end.
class AbicLibrary : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // These return the library's status. Padding of the rows that are encoded is black; that
  // of decoded rows must be 0. Images to decode into have a size and a depth.
  int Encode(const IndependentImage& image, Bytes& code);
  int Decode(const Bytes& code, IndependentImage& image);
  int EncodeWith(const IndependentImage& image, const kz::AbicParameters& parameters, Bytes& code);
  int DecodeWith(const Bytes& code, const kz::AbicParameters& parameters, IndependentImage& image,
                 kz::AbicFit& fit);
  int DecodeLikely(const Bytes& code, IndependentImage& image, AbicReading& reading);

  // The fit that is found without decoding the image, which must be possible.
  kz::AbicFit FitOf(const Bytes& code, const IndependentImage& size,
                    const kz::AbicParameters& parameters);
  // What a read must give by the independent coder: of all planes' rows the first
  // `fit.rows`, the others white.
  IndependentImage Expected(const Bytes& code, const IndependentImage& size,
                            const kz::AbicParameters& parameters, const kz::AbicFit& fit);
  // Reads a string that may be anything, and checks the image against what the reading says.
  // It does not where a carry follows FF: if no writer had put it there, decoders may see it
  // sooner or later.
  void ExpectReadAsTold(const Bytes& code, const IndependentImage& size, AbicReading& reading);

  K_DecodeAbicRoutine m_decode = nullptr;
  K_EncodeAbicRoutine m_encode = nullptr;
  K_DecodeLikelyAbicRoutine m_decodeLikely = nullptr;
  K_DecodeAbicWithRoutine m_decodeWith = nullptr;
  K_EncodeAbicWithRoutine m_encodeWith = nullptr;

 private:
  template <typename Routine>
  void Find(const char* name, Routine& routine);
  int TakeCode(int status, unsigned char* data, uint64_t size, Bytes& code);
  int TakeRows(int status, unsigned char* rows, IndependentImage& image);

  K_DllLoader m_loader;
  unsigned char m_byte = 0;
  unsigned char* m_untouched = &m_byte;
  size_t m_liveBlocks = 0;
};

}  // namespace kz::test
