#include "Toolkit/View/Html/Sha256.h"

#include <bit>
#include <cstring>

#include "Toolkit/View/Html/Markup.h"

namespace kz {

namespace {

constexpr size_t kBlock = 64;

// Section 4.2.2.
constexpr std::array<uint32_t, 64> kConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

using State = std::array<uint32_t, 8>;

uint32_t BigEndian(const unsigned char* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

// Section 6.2.2.
void AddBlock(State& state, const unsigned char* block) {
  std::array<uint32_t, 64> words = {};
  for (size_t i = 0; i < 16; ++i) words[i] = BigEndian(block + 4 * i);
  for (size_t i = 16; i < words.size(); ++i) {
    const uint32_t a = words[i - 15], b = words[i - 2];
    words[i] = words[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ (a >> 3)) + words[i - 7] +
               (std::rotr(b, 17) ^ std::rotr(b, 19) ^ (b >> 10));
  }
  auto [a, b, c, d, e, f, g, h] = state;
  for (size_t i = 0; i < words.size(); ++i) {
    const uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                           ((e & f) ^ (~e & g)) + kConstants[i] + words[i];
    const uint32_t second =
        (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + first;
    d = c;
    c = b;
    b = a;
    a = first + second;
  }
  const State added = {a, b, c, d, e, f, g, h};
  for (size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

}  // namespace

Sha256Digest Sha256(const void* bytes, size_t count) {
  State state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  const auto* from = static_cast<const unsigned char*>(bytes);
  const size_t whole = count / kBlock * kBlock;
  for (size_t at = 0; at < whole; at += kBlock) AddBlock(state, from + at);
  // What is left, a 1 bit, zeros, and the length in bits.
  std::array<unsigned char, 2 * kBlock> last = {};
  const size_t left = count - whole;
  if (left > 0) std::memcpy(last.data(), from + whole, left);
  last[left] = 0x80;
  const size_t end = left + 9 <= kBlock ? kBlock : 2 * kBlock;
  const uint64_t bits = uint64_t{count} * 8;
  for (size_t i = 0; i < 8; ++i) last[end - 1 - i] = static_cast<unsigned char>(bits >> (8 * i));
  for (size_t at = 0; at < end; at += kBlock) AddBlock(state, last.data() + at);
  Sha256Digest digest = {};
  for (size_t i = 0; i < digest.size(); ++i) {
    digest[i] = static_cast<unsigned char>(state[i / 4] >> (24 - 8 * (i % 4)));
  }
  return digest;
}

std::string PolicyHash(std::string_view text) {
  const Sha256Digest digest = Sha256(text.data(), text.size());
  return "'sha256-" + ToBase64({reinterpret_cast<const char*>(digest.data()), digest.size()}) + "'";
}

}  // namespace kz
