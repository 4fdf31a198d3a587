// Documents with their records framed as other systems do.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Format/FieldScan.h"
#include "Format/RecordFraming.h"
#include "Tests/Support/FileBuilder.h"

// The records of a document, each of so many fields; what is no field is the last.
inline std::vector<Bytes> RecordsOf(const Bytes& document, int fieldsEach = 1) {
  std::vector<Bytes> records;
  const kz::MemorySource source(document);
  kz::FieldWalk walk(source);
  kz::ScannedField field;
  int fields = 0;
  while (walk.Next(field)) {
    if (fields++ % fieldsEach == 0) records.emplace_back();
    records.back().insert(records.back().end(), document.begin() + field.offset,
                          document.begin() + field.End());
  }
  if (walk.At() < source.Size()) records.emplace_back(document.begin() + walk.At(), document.end());
  return records;
}

// A record with what frames it, but for block descriptor words.
inline Bytes Framed(const Bytes& record, const kz::Framing& framing) {
  const auto size = static_cast<unsigned>(record.size());
  switch (framing.records) {
    case kz::RecordFraming::None:
      return record;
    case kz::RecordFraming::CrLf:
      return record + Bytes{'\r', '\n'};
    case kz::RecordFraming::Lf:
      return record + Bytes{'\n'};
    case kz::RecordFraming::Length16:
      return Big16(size + (framing.countsItself ? 2 : 0)) + record;
    case kz::RecordFraming::RecordDescriptor:
    case kz::RecordFraming::BlockDescriptor:
      return Big16(size + 4) + Big16(0) + record;
  }
  return {};
}

// All records, framed, with line ends before the first as the framing has them.
inline Bytes Framed(const std::vector<Bytes>& records, const kz::Framing& framing) {
  constexpr size_t most = 32760;  // bytes of a block of several records
  Bytes file(static_cast<size_t>(framing.leading), '\n');
  Bytes block;
  const auto finish = [&] {
    const bool counted = framing.records == kz::RecordFraming::BlockDescriptor && !block.empty();
    if (counted) file = file + Big16(static_cast<unsigned>(block.size()) + 4) + Big16(0);
    file.insert(file.end(), block.begin(), block.end());
    block.clear();
  };
  for (const Bytes& record : records) {
    const Bytes framed = Framed(record, framing);
    if (block.size() + framed.size() > most) finish();
    block.insert(block.end(), framed.begin(), framed.end());
  }
  finish();
  return file;
}

// Every framing there is.
inline const kz::Framing kFramings[] = {{kz::RecordFraming::CrLf},
                                        {kz::RecordFraming::Lf},
                                        {kz::RecordFraming::Length16},
                                        {kz::RecordFraming::Length16, true},
                                        {kz::RecordFraming::RecordDescriptor},
                                        {kz::RecordFraming::BlockDescriptor}};
