// Raw fax data decoded and encoded by the fax library, from memory to memory.
#pragma once

#include "Tests/Fax/TiffCodec.h"

// How a call is made, and what fails during it.
struct RawFaxOptions {
  int nBitsPerPixel = 1;
  bool bReversedBits = false;
  int nBytesPerLine = 0;  // of the target bitmap
  int nStopAtRow = -1;    // the callback of this row returns nStopResult
  int nStopResult = 0;
  int nFailingTransfer = 0;    // this read or write fails, counted from 1
  int nFailingAllocation = 0;  // likewise
};

struct RawFaxLoad {
  int nResult = 0;
  int nLoadError = 0;
  int nRows = 0;                // rows delivered
  bool bRowsAsPromised = true;  // numbers, flags, arguments and padding of all rows
  int nLargestRead = 0;
  Picture picture;
};

// K_LoadRawFax on `data`.
RawFaxLoad LoadRaw(const Bytes& data, int nWidth, int nHeight, int nCode,
                   const RawFaxOptions& options = {});

struct RawFaxSave {
  int nResult = 0;
  Bytes data;
  int nLargestWrite = 0;
};
