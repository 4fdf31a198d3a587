// What other systems put around the records of a document ("Record framing" of
// docs/format.md).
#pragma once

#include <cstddef>
#include <cstdint>

#include "Format/BigEndian.h"

namespace kz {

enum class RecordFraming : uint8_t {
  None,
  CrLf,              // CR LF after each record
  Lf,                // LF after each record
  Length16,          // a length of two bytes before each record
  RecordDescriptor,  // a record descriptor word before each record
  BlockDescriptor,   // the same, and a block descriptor word before runs of records
};

// How the records of a file are framed.
struct Framing {
  RecordFraming records = RecordFraming::None;
  bool countsItself = false;  // of Length16: whether the length has its own two bytes in it
  int64_t leading = 0;        // bytes of line ends before the first record

  // Whether the file is more than the document in it.
  constexpr bool IsFramed() const { return records != RecordFraming::None || leading > 0; }
};

// What a framing is called: "records with CR LF".
constexpr const char* FramingName(const Framing& framing) {
  switch (framing.records) {
    case RecordFraming::None:
      return framing.leading > 0 ? "line ends before the first record" : "none";
    case RecordFraming::CrLf:
      return "records with CR LF";
    case RecordFraming::Lf:
      return "records with LF";
    case RecordFraming::Length16:
      return "records with 2-byte lengths";
    case RecordFraming::RecordDescriptor:
      return "records with descriptor words";
    case RecordFraming::BlockDescriptor:
      return "records with descriptor words, in blocks";
  }
  return "";
}

// As much of a file's beginning as its framing is told by.
constexpr size_t kFramingRoom = 65536;

}  // namespace kz
