#include <algorithm>
#include <climits>
#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"
#include "Host/Abic/Coding/PackedRows.h"
#include "Host/Abic/Reading/EarlierString.h"
#include "Host/Abic/Reading/LikelyParameters.h"
#include "Host/Abic/Reading/StringReading.h"
#include "Host/Abic/UsualParameters.h"

namespace {

// Pixels that looking for other parameters may take: some seconds.
constexpr int64_t kMostTriedPixels = int64_t{1} << 31;

// 0 is the best. What is missing at the end are zero bytes that a writer left out; bytes
// that are left have no such reason.
int Misfit(const kz::AbicFit& fit) {
  if (!kz::AbicFits(fit)) return 3;
  if (fit.bitsLeft < 0) return 1;
  return fit.bitsLeft < CHAR_BIT ? 0 : 2;
}

// A string, and the memory that reading it with any parameters takes.
class Reader {
 public:
  Reader(const AbicString& string, const AbicLayout& layout)
      : m_string(string), m_layout(layout), m_workspace(layout), m_reversed(kAbicSource) {}

  bool HasMemory() const { return static_cast<bool>(m_workspace); }

  // Without rows for the image only the fit is found. False when out of memory.
  bool Read(const kz::AbicParameters& parameters, unsigned char* rows, kz::AbicFit& fit) {
    AbicString string = m_string;
    if (parameters.reversedBits) {
      if (!m_reversed && !Reverse()) return false;
      string.data = m_reversed.get();
    }
    // Counted once, as a string may be far longer than its image needs.
    int64_t& codeBits = m_codeBits[parameters.reversedBits ? 1 : 0];
    if (codeBits == 0) codeBits = CodeBits(string);
    fit = ReadString(string, codeBits, parameters, m_layout, m_workspace, rows);
    return true;
  }

  // Looks for likely parameters that fit better than those of the reading, and reads the
  // image again if there are any. False when out of memory.
  bool Improve(unsigned char* rows, AbicReading& reading) {
    const kz::AbicParameters first = reading.parameters;
    int64_t pixels = kMostTriedPixels;
    for (const kz::AbicParameters& parameters :
         LikelyParameters(first, m_layout.width, m_layout.depth)) {
      pixels -= int64_t{m_layout.width} * m_layout.height * m_layout.depth;
      if (pixels < 0) break;
      kz::AbicFit fit;
      if (!Read(parameters, nullptr, fit)) return false;
      if (Misfit(fit) < Misfit(reading.fit)) reading = {parameters, fit};
      if (Misfit(fit) == 0) break;
    }
    if (reading.parameters == first) return true;
    std::memset(rows, 0, m_layout.Bytes());
    return Read(reading.parameters, rows, reading.fit);
  }

 private:
  bool Reverse() {
    if (!m_reversed.Grow(m_string.size, __LINE__)) return false;
    std::transform(m_string.data, m_string.data + m_string.size, m_reversed.get(), ReversedByte);
    return true;
  }

  AbicString m_string;
  AbicLayout m_layout;
  AbicWorkspace m_workspace;
  LocalBlock m_reversed;
  int64_t m_codeBits[2] = {};  // without and with reversed bits; 0 for not counted yet
};

// Finds out whether a string can be read and in which layout.
int CheckString(const AbicString* string, AbicLayout& layout) {
  if (string == nullptr ||
      !DescribeAbicImage(string->width, string->height, string->depth, layout)) {
    return K_ERROR_INVALID_FORMAT;
  }
  return string->data != nullptr && CanHold(*string) ? K_SUCCESS : K_ERROR_READ;
}

int ReadWell(const AbicString& string, const AbicLayout& layout, unsigned char* rows,
             AbicReading& reading) {
  if (kz::IsEarlierAbic(string.data, string.size)) {
    const int status = ReadEarlierString(string, layout, rows);
    reading.earlier = status == K_SUCCESS;
    if (status != K_ERROR_READ) return status;
    std::memset(rows, 0, layout.Bytes());
  }
  Reader reader(string, layout);
  if (!reader.HasMemory()) return K_ERROR_NO_MEMORY;
  bool done = reader.Read(reading.parameters, rows, reading.fit);
  if (done && Misfit(reading.fit) > 1) done = reader.Improve(rows, reading);
  return done ? K_SUCCESS : K_ERROR_NO_MEMORY;
}

}  // namespace

int K_DecodeABICWith(const AbicString* pString, const kz::AbicParameters* pParameters,
                     unsigned char** ppRows, kz::AbicFit* pFit) {
  AbicLayout layout;
  if (pParameters == nullptr || pFit == nullptr || !AreValid(*pParameters)) {
    return K_ERROR_INVALID_FORMAT;
  }
  const int status = CheckString(pString, layout);
  if (status != K_SUCCESS) return status;
  Reader reader(*pString, layout);
  if (!reader.HasMemory()) return K_ERROR_NO_MEMORY;
  GlobalBytes rows;
  if (ppRows != nullptr) rows = AllocateGlobalBytes(layout.Bytes(), kZeroFilled);
  if (ppRows != nullptr && !rows) return K_ERROR_NO_MEMORY;
  if (!reader.Read(*pParameters, rows.get(), *pFit)) return K_ERROR_NO_MEMORY;
  if (ppRows != nullptr) *ppRows = rows.release();
  return K_SUCCESS;
}

int K_DecodeLikelyABIC(const AbicString* pString, unsigned char** ppRows, AbicReading* pReading) {
  AbicLayout layout;
  AbicReading reading;
  if (ppRows == nullptr || pReading == nullptr || !FindUsualParameters(reading.parameters)) {
    return K_ERROR_INVALID_FORMAT;
  }
  reading.parameters.exactWidth = pReading->parameters.exactWidth;
  reading.parameters.reversedBits = pReading->parameters.reversedBits;
  int status = CheckString(pString, layout);
  if (status != K_SUCCESS) return status;
  GlobalBytes rows = AllocateGlobalBytes(layout.Bytes(), kZeroFilled);
  if (!rows) return K_ERROR_NO_MEMORY;
  status = ReadWell(*pString, layout, rows.get(), reading);
  if (status != K_SUCCESS) return status;
  *pReading = reading;
  *ppRows = rows.release();
  return status;
}

int K_DecodeABIC(const unsigned char* pData, unsigned int nSize, unsigned char** ppRows, int nAlign,
                 int nWidth, int nHeight, int bBilevel) {
  if (nAlign != kRowAlignment) return K_ERROR_INVALID_FORMAT;
  const AbicString string = {pData, nSize, nWidth, nHeight, bBilevel != 0 ? 1 : 4};
  AbicReading reading;
  return K_DecodeLikelyABIC(&string, ppRows, &reading);
}
