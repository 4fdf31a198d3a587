// Structured fields as they are written ("Structured fields" and "Triplets" of
// docs/format.md).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "Format/CodePage.h"
#include "Format/StructuredField.h"

namespace kz {

// At most `Capacity` bytes, without an allocation. What is beyond them is lost.
template <size_t Capacity>
class FixedBytes {
 public:
  using value_type = unsigned char;
  void push_back(unsigned char byte) {
    if (m_size < Capacity) m_bytes[m_size++] = byte;
  }
  void clear() { m_size = 0; }
  bool empty() const { return m_size == 0; }
  size_t size() const { return m_size; }
  const unsigned char* data() const { return m_bytes; }
  const unsigned char* begin() const { return m_bytes; }
  const unsigned char* end() const { return m_bytes + m_size; }
  unsigned char& operator[](size_t at) { return m_bytes[at]; }

 private:
  unsigned char m_bytes[Capacity] = {};
  size_t m_size = 0;
};

// Builds one structured field, whose bytes are put in their order.
template <typename Buffer>
class BasicFieldBuilder {
 public:
  explicit BasicFieldBuilder(uint16_t code, bool prefixed = false) : m_start(prefixed ? 1 : 0) {
    if (prefixed) Put8(kCarriageControl);
    unsigned char introducer[kIntroducerLength];
    PutIntroducer(introducer, 0, code);
    PutBytes(introducer);
  }

  BasicFieldBuilder& Put8(uint32_t value) {
    ++m_put;
    m_bytes.push_back(static_cast<typename Buffer::value_type>(value));
    return *this;
  }
  BasicFieldBuilder& Put16(uint32_t value) { return Put8(value >> 8).Put8(value); }
  BasicFieldBuilder& Put24(uint32_t value) { return Put8(value >> 16).Put16(value); }
  BasicFieldBuilder& Put32(uint32_t value) { return Put16(value >> 16).Put16(value); }
  BasicFieldBuilder& PutBytes(ByteSpan bytes) {
    for (const unsigned char byte : bytes) Put8(byte);
    return *this;
  }
  BasicFieldBuilder& PutBytes(std::string_view bytes) {
    for (const char byte : bytes) Put8(static_cast<unsigned char>(byte));
    return *this;
  }
  // Text of ASCII in the code page of names.
  BasicFieldBuilder& PutText(std::string_view ascii) {
    for (const char c : ascii) Put8(EbcdicOf(c));
    return *this;
  }
  // A name, cut or filled up with blanks.
  BasicFieldBuilder& PutName(std::string_view ascii, size_t length = kFieldNameLength) {
    PutText(ascii.substr(0, length));
    for (size_t at = ascii.size(); at < length; ++at) PutText(" ");
    return *this;
  }

  // What is put between them is a triplet, of up to 255 bytes.
  BasicFieldBuilder& BeginTriplet(uint8_t id) {
    m_triplet = m_put;
    return Put8(0).Put8(id);
  }
  BasicFieldBuilder& EndTriplet() {
    const size_t length = m_put - m_triplet;
    m_valid &= length <= 0xFF;
    if (m_triplet < m_bytes.size()) Set(m_triplet, length);
    return *this;
  }
  // What is put between them is a repeating group with a length of two bytes.
  BasicFieldBuilder& BeginGroup() {
    m_group = m_put;
    return Put16(0);
  }
  BasicFieldBuilder& EndGroup() {
    Set16(m_group, m_put - m_group);
    return *this;
  }

  // The field, which leaves the builder; the caller goes on with its data for `following`
  // bytes more. Empty when it, or a triplet in it, is too long or the buffer is full.
  Buffer Finish(size_t following = 0) {
    const size_t length = m_put - m_start + following;
    m_valid &= m_put == m_bytes.size() && length <= kMaxFieldLength;
    Set16(m_start, length);
    if (!m_valid) m_bytes.clear();
    return std::move(m_bytes);
  }

 private:
  void Set(size_t at, size_t value) {
    m_bytes[at] = static_cast<typename Buffer::value_type>(value);
  }
  void Set16(size_t at, size_t value) {
    if (at + 1 >= m_bytes.size()) return;
    Set(at, value >> 8);
    Set(at + 1, value);
  }

  Buffer m_bytes;
  size_t m_start;
  size_t m_put = 0;  // bytes, also those that the buffer has no room for
  size_t m_triplet = 0;
  size_t m_group = 0;
  bool m_valid = true;
};

using FieldBuilder = BasicFieldBuilder<std::string>;

// For who can't allocate or throw.
template <size_t Capacity>
using FixedFieldBuilder = BasicFieldBuilder<FixedBytes<Capacity>>;

}  // namespace kz
