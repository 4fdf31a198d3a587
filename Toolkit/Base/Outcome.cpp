#include "Toolkit/Base/Outcome.h"

#include <system_error>

namespace kz {

const char* StatusText(int status) {
  switch (status) {
    case K_SUCCESS:
      return "done";
    case K_END_OF_DOCUMENT:
      return "the document ends before the page";
    case K_MORE_ROWS:
      return "rows are missing";
    case K_ERROR_NO_MEMORY:
      return "there is not enough memory, or a read or write failed";
    case K_ERROR_SEEK:
      return "the file's structure leads to a place that can't be reached";
    case K_ERROR_WRITE:
      return "the file can't be written completely";
    case K_ERROR_READ:
      return "the data end too early";
    case K_ERROR_NO_FILE_NAME:
      return "no file name was given";
    case K_ERROR_INVALID_FORMAT:
      return "the data are damaged";
    case K_ERROR_OPEN_READ:
      return "the file can't be opened for reading";
    case K_ERROR_NO_BUFFER:
      return "there is no room for the text";
    case K_ERROR_OPEN_WRITE:
      return "the file can't be opened for writing, or its image data can't be decoded";
    case K_ERROR_SAVE_FORMAT:
      return "this format can't be written";
    case K_ERROR_BITS_PER_PIXEL:
      return "the number of bits per pixel doesn't fit the compression";
    case K_ERROR_G4_DATA:
    case K_ERROR_G4_DATA_2:
      return "the Group 4 data are damaged";
    case K_ERROR_NO_ABIC_ENCODER:
      return "the ABIC codec library KZABI.so can't be used for encoding";
    case K_ERROR_NO_ABIC_DECODER:
      return "the ABIC codec library KZABI.so can't be used for decoding";
    default:
      return status > 0 ? "the work was stopped" : "it failed for an unknown reason";
  }
}

Outcome Failure(int status, std::string what) {
  if (what.empty()) what = StatusText(status);
  return {status, std::move(what), {}};
}

Outcome SystemFailure(int status, int errorNumber) {
  return Failure(status, std::generic_category().message(errorNumber));
}

}  // namespace kz
