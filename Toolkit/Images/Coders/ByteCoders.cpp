#include "Toolkit/Images/Coders/ByteCoders.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kz {

namespace {

// Codes from the most significant bit of each byte on.
class CodeReader {
 public:
  explicit CodeReader(CodedBytes data) : m_data(data) {}

  // False when fewer bits are left.
  bool Read(unsigned width, unsigned& code) {
    while (m_held < width) {
      if (m_at == m_data.size()) return false;
      m_bits = m_bits << 8 | m_data[m_at++];
      m_held += 8;
    }
    m_held -= width;
    code = m_bits >> m_held & ((1u << width) - 1);
    return true;
  }

 private:
  CodedBytes m_data;
  size_t m_at = 0;
  uint32_t m_bits = 0;
  unsigned m_held = 0;
};

constexpr unsigned kClearCode = 256;
constexpr unsigned kEndCode = 257;
constexpr unsigned kFirstString = 258;
constexpr unsigned kStrings = 4096;

// The table of strings. A string is one before it and a byte more, but as all of them
// stand in what was decoded already, a place and a length tell it.
class StringTable {
 public:
  void Clear() { m_next = kFirstString; }
  unsigned Next() const { return m_next; }
  // The width grows one code early.
  unsigned CodeWidth() const {
    return m_next >= 2047 ? 12 : m_next >= 1023 ? 11 : m_next >= 511 ? 10 : 9;
  }
  void Add(size_t at, size_t length) {
    if (m_next < kStrings) m_strings[m_next++] = {at, length};
  }
  size_t At(unsigned code) const { return m_strings[code].at; }
  size_t Length(unsigned code) const { return m_strings[code].length; }

 private:
  struct String {
    size_t at;
    size_t length;
  };
  std::array<String, kStrings> m_strings = {};
  unsigned m_next = kFirstString;
};

}  // namespace

void DecodePackBits(CodedBytes data, size_t limit, std::vector<unsigned char>& bytes) {
  bytes.clear();
  size_t at = 0;
  while (at < data.size() && bytes.size() < limit) {
    const unsigned head = data[at++];
    const size_t room = limit - bytes.size();
    if (head < 128) {
      const size_t count = std::min<size_t>({head + 1, data.size() - at, room});
      const auto from = data.begin() + static_cast<ptrdiff_t>(at);
      bytes.insert(bytes.end(), from, from + static_cast<ptrdiff_t>(count));
      at += count;
    } else if (head > 128 && at < data.size()) {
      bytes.insert(bytes.end(), std::min<size_t>(257 - head, room), data[at++]);
    }
  }
}

bool DecodeLzw(CodedBytes data, size_t limit, std::vector<unsigned char>& bytes) {
  bytes.clear();
  CodeReader reader(data);
  StringTable table;
  // The string of the code before: it gets the first byte of this one's.
  size_t lastAt = 0;
  size_t lastLength = 0;
  unsigned code = 0;
  while (bytes.size() < limit && reader.Read(table.CodeWidth(), code)) {
    if (code == kEndCode) return true;
    if (code == kClearCode) {
      table.Clear();
      lastLength = 0;
      continue;
    }
    const size_t at = bytes.size();
    if (code < kClearCode) {
      bytes.push_back(static_cast<unsigned char>(code));
    } else {
      const bool isNew = code == table.Next();
      if (code > table.Next() || (isNew && lastLength == 0)) return false;
      // The new one is the last string and its own first byte, which stand in a row.
      const size_t from = isNew ? lastAt : table.At(code);
      const size_t length = isNew ? lastLength + 1 : table.Length(code);
      const size_t count = std::min(length, limit - at);
      bytes.resize(at + count);
      for (size_t i = 0; i < count; ++i) bytes[at + i] = bytes[from + i];
    }
    if (lastLength > 0) table.Add(lastAt, lastLength + 1);
    lastAt = at;
    lastLength = bytes.size() - at;
  }
  return true;
}

void UndoPredictor(std::vector<unsigned char>& bytes, size_t rowBytes, size_t components) {
  for (size_t row = 0; row < bytes.size(); row += rowBytes) {
    const size_t end = std::min(row + rowBytes, bytes.size());
    for (size_t i = row + components; i < end; ++i) {
      bytes[i] = static_cast<unsigned char>(bytes[i] + bytes[i - components]);
    }
  }
}

}  // namespace kz
