// A mutator that knows fields: most of what it makes is still a sequence of
// structured fields with lengths that fit, and within them of self-defining fields
// or control sequences, so that the fuzzer spends its time after the first check.
// KZ_SELECTOR bytes before them choose what the target does.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"
#include "Fuzz/FieldKinds.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

// The most bytes that a field's data grow by at once.
constexpr size_t kMaxGrowth = 64;
constexpr size_t kMaxFieldData = 32000;

size_t Below(Random& random, size_t limit) { return random() % limit; }

void MutateBytes(Bytes& bytes, Random& random) {
  const size_t room = std::min(bytes.size() + 1 + Below(random, kMaxGrowth), kMaxFieldData);
  const size_t size = std::min(bytes.size(), room);
  bytes.resize(room);
  bytes.resize(LLVMFuzzerMutate(bytes.data(), size, room));
}

bool MutateFields(const FieldKind& kind, Bytes& bytes, Random& random);

// Changes the data of a field, mostly by what is known of them.
void MutateData(const FieldKind& kind, Bytes& field, Random& random) {
  const size_t head = kind.Head(field.data());
  Bytes data(field.begin() + static_cast<ptrdiff_t>(head), field.end());
  const FieldKind* within = kind.Within(field);
  const bool known =
      Below(random, 8) != 0 && ((within != nullptr && MutateFields(*within, data, random)) ||
                                kind.FillData(field, data, random));
  if (!known) MutateBytes(data, random);
  field.resize(head);
  field.insert(field.end(), data.begin(), data.end());
  kind.PutLength(field);
}

Bytes NewField(const FieldKind& kind, Random& random) {
  Bytes field = kind.New(random);
  if (Below(random, 4) != 0) MutateData(kind, field, random);
  return field;
}

void Insert(Bytes& bytes, size_t at, const Bytes& what) {
  bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(at), what.begin(), what.end());
}

void Replace(Bytes& bytes, Span span, const Bytes& by) {
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(span.start);
  bytes.erase(begin, begin + static_cast<ptrdiff_t>(span.length));
  Insert(bytes, span.start, by);
}

Bytes Part(const Bytes& bytes, Span span) {
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(span.start);
  return {begin, begin + static_cast<ptrdiff_t>(span.length)};
}

// One field becomes two with its head, the data being shared between them.
Bytes CutInTwo(const FieldKind& kind, const Bytes& field, Random& random) {
  const size_t head = kind.Head(field.data());
  const size_t first = head + Below(random, field.size() - head + 1);
  Bytes left = Part(field, {0, first});
  Bytes right = Part(field, {0, head});
  right.insert(right.end(), field.begin() + static_cast<ptrdiff_t>(first), field.end());
  kind.PutLength(left);
  kind.PutLength(right);
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// The data of the second go after those of the first.
Bytes Join(const FieldKind& kind, Bytes field, const Bytes& next) {
  field.insert(field.end(), next.begin() + static_cast<ptrdiff_t>(kind.Head(next.data())),
               next.end());
  kind.PutLength(field);
  return field;
}

// Changes one of the fields that the bytes begin with. False when there is none.
bool MutateFields(const FieldKind& kind, Bytes& bytes, Random& random) {
  const std::vector<Span> fields = kind.Split(bytes);
  if (fields.empty()) return false;
  const size_t chosen = Below(random, fields.size());
  const Span span = fields[chosen];
  Bytes field = Part(bytes, span);
  switch (Below(random, 16)) {
    case 0:  // twice, or somewhere else once more
      Insert(bytes, fields[Below(random, fields.size())].start, field);
      break;
    case 1:
      Replace(bytes, span, {});
      break;
    case 2: {  // elsewhere
      const size_t to = fields[Below(random, chosen + 1)].start;
      Replace(bytes, span, {});
      Insert(bytes, to, field);
      break;
    }
    case 3:
    case 4:
      kind.Rename(field, random);
      Replace(bytes, span, field);
      break;
    case 5:
      Replace(bytes, span, CutInTwo(kind, field, random));
      break;
    case 6:
      if (chosen + 1 < fields.size()) {
        const Span next = fields[chosen + 1];
        Replace(bytes, {span.start, span.length + next.length},
                Join(kind, field, Part(bytes, next)));
        break;
      }
      [[fallthrough]];
    case 7:
      Insert(bytes, span.start, NewField(kind, random));
      break;
    default:
      MutateData(kind, field, random);
      Replace(bytes, span, field);
      break;
  }
  return true;
}

// What the bytes after the selector begin with.
const FieldKind& KindOf(const Bytes& bytes) {
  return !bytes.empty() && bytes[0] == kz::sdf::kBeginSegment ? kSelfDefiningFields
                                                              : kStructuredFields;
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned int seed) {
  Random random(seed);
  constexpr size_t selector = KZ_SELECTOR;
  if (size <= selector || Below(random, 6) == 0) return LLVMFuzzerMutate(data, size, maxSize);
  Bytes bytes(data + selector, data + size);
  if (!MutateFields(KindOf(bytes), bytes, random) || selector + bytes.size() > maxSize) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::copy(bytes.begin(), bytes.end(), data + selector);
  return selector + bytes.size();
}

// Puts a run of fields of one input between the fields of the other.
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2, uint8_t* out,
                                            size_t maxSize, unsigned int seed) {
  constexpr size_t selector = KZ_SELECTOR;
  if (size1 <= selector || size2 <= selector) return 0;
  Random random(seed);
  Bytes bytes(data1 + selector, data1 + size1);
  const Bytes other(data2 + selector, data2 + size2);
  const std::vector<Span> fields = KindOf(bytes).Split(bytes);
  const std::vector<Span> donors = KindOf(other).Split(other);
  if (fields.empty() || donors.empty()) return 0;
  const Span first = donors[Below(random, donors.size())];
  const Span last = donors[Below(random, donors.size())];
  const size_t begin = std::min(first.start, last.start);
  const size_t end = std::max(first.start + first.length, last.start + last.length);
  const Span at = fields[Below(random, fields.size())];
  Insert(bytes, Below(random, 2) == 0 ? at.start : at.start + at.length,
         Part(other, {begin, end - begin}));
  if (selector + bytes.size() > maxSize) return 0;
  std::copy_n(data1, selector, out);
  std::copy(bytes.begin(), bytes.end(), out + selector);
  return selector + bytes.size();
}
