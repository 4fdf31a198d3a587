// Raw fax data decoded and encoded by the fax library, from memory to memory.
#pragma once

#include <string>

#include "Tests/Host/Fax/TiffCodec.h"

// Bits for tests: n times `bits`; and a string of 0 and 1 as bytes, filled up
// with zeros (other characters are left out).
std::string Times(int n, const std::string& bits);
Bytes Pack(const std::string& bits);

// How a call is made.
struct RawFaxOptions {
  int nBitsPerPixel = 1;
  bool bReversedBits = false;
  int nBytesPerLine = 0;  // of the target bitmap
  int nStopAtRow = -1;    // the callback of this row returns nStopResult
  int nStopResult = 0;
};

struct RawFaxLoad {
  int nResult = 0;
  int nLoadError = 0;
  int nRows = 0;                // rows delivered
  bool bRowsAsPromised = true;  // numbers, flags, arguments and padding of all rows
  Picture picture;
};

// K_LoadRawFax on `data`.
RawFaxLoad LoadRaw(const Bytes& data, int nWidth, int nHeight, int nCode,
                   const RawFaxOptions& options = {});

struct RawFaxSave {
  int nResult = 0;
  Bytes data;
  int nConversions = 0;  // begun and not ended
};

// K_SaveRawFax of `picture`. The row routines hand its rows out through a buffer
// whose bits past the width are 1; with bZeroIsBlack inverted, and with a colour
// table that says so.
RawFaxSave SaveRaw(Picture& picture, int nCode, const RawFaxOptions& options = {},
                   bool bZeroIsBlack = false);
