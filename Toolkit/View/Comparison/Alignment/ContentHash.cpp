#include "Toolkit/View/Comparison/Alignment/ContentHash.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace kz {

namespace {

constexpr uint64_t kHigh = 0x9E3779B97F4A7C15, kLow = 0xD6E8FEB86659FD93;

uint64_t RandomWord() {
  std::random_device device;
  return uint64_t{device()} << 32 | device();
}

const ContentHash& Seed() {
  static const ContentHash seed = {RandomWord(), RandomWord()};
  return seed;
}

uint64_t Folded(uint64_t a, uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

}  // namespace

ContentHasher::ContentHasher() : m_state(Seed()) {}

void ContentHasher::Mix(const unsigned char* block) {
  uint64_t first = 0, second = 0;
  std::memcpy(&first, block, sizeof(first));
  std::memcpy(&second, block + sizeof(first), sizeof(second));
  const uint64_t high = Folded(m_state.high ^ first, kHigh ^ second) + m_state.low;
  m_state.low = Folded(m_state.low ^ second, kLow ^ first) + high;
  m_state.high = high;
}

void ContentHasher::Add(const void* bytes, size_t count) {
  if (count == 0) return;
  const auto* from = static_cast<const unsigned char*>(bytes);
  m_total += count;
  if (m_held > 0) {
    const size_t more = std::min(count, kBlock - m_held);
    std::memcpy(m_block + m_held, from, more);
    m_held += more;
    from += more;
    count -= more;
    if (m_held < kBlock) return;
    Mix(m_block);
    m_held = 0;
  }
  for (; count >= kBlock; from += kBlock, count -= kBlock) Mix(from);
  if (count > 0) std::memcpy(m_block, from, count);
  m_held = count;
}

void ContentHasher::AddHash(const ContentHash& hash) {
  AddNumber(hash.high);
  AddNumber(hash.low);
}

ContentHash ContentHasher::Value() const {
  ContentHasher last = *this;
  std::memset(last.m_block + last.m_held, 0, kBlock - last.m_held);
  last.Mix(last.m_block);
  std::memcpy(last.m_block, &m_total, sizeof(m_total));
  std::memset(last.m_block + sizeof(m_total), 0, kBlock - sizeof(m_total));
  last.Mix(last.m_block);
  last.Mix(last.m_block);
  return last.m_state;
}

ContentHash HashOf(std::string_view text) {
  ContentHasher hasher;
  hasher.Add(text);
  return hasher.Value();
}

}  // namespace kz
