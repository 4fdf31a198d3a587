// Structured fields in a file: their introducers read, their data skipped, and the one
// way in which every structured field is written.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"
#include "Format/StructuredField.h"

// Reads the introducer of the next structured field, with its 0x5A if it has
// one, or once more of a field that it has read after its 0x5A. Returns 1, the
// file then standing at the field's data; -7 for a short read; -9 for bytes that
// are no introducer.
K_EXPORT int ReadSFI(tagHANDLE* handle, _SFI* sfi);

// Passes over the data of the field whose introducer has just been read. Returns
// 1, or -4 when the seek failed.
K_EXPORT int SkipSFData(tagHANDLE* handle, _SFI* sfi);

// Data bytes of a field: its length less introducer and extension.
inline unsigned SFDataLength(const _SFI& sfi) {
  return static_cast<unsigned>(sfi.wLength) - kz::kIntroducerLength - sfi.bExtLength;
}

// Goes back from a field's data to its length bytes, past any 0x5A, from where
// ReadSFI reads it again. Returns the position or -1.
int SeekBackToSFI(tagHANDLE* handle, const _SFI& sfi);

// Writes bytes that begin with a structured field's introducer, in one write, after
// a 0x5A of its own when the thread's bWriteCC asks for it. Returns 1 or -5.
int WriteStructuredField(tagHANDLE* handle, kz::ByteSpan field);
