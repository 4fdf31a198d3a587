// Where structured fields go on after bytes that are none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

class FieldSearch {
 public:
  explicit FieldSearch(const FileWindow& file) : m_file(file) {}
  // The offset of the next plausible structured field from `from` on, with its 0x5A: it
  // and the two after it are valid fields that the registry knows, or the document or the
  // file ends with them. The file's size when there is none. As long as `from` grows, each byte is
  // read about twice, whatever the bytes are. Doesn't look for one that begins at or after `limit`,
  // or not much after.
  KZ_TESTED int64_t Find(int64_t from, int64_t limit = INT64_MAX);

 private:
  bool Read(int64_t start);
  int64_t FindInPiece(int64_t from) const;

  const FileWindow& m_file;
  std::unique_ptr<unsigned char[]> m_bytes;  // a piece of the file
  int64_t m_start = 0;
  size_t m_count = 0;
};

}  // namespace kz
