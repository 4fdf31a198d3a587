// A mutator that knows fields: most of what it makes is still a sequence of
// structured fields, or of self-defining fields, with lengths that fit, so that
// the fuzzer spends its time behind the first check.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

using Bytes = std::vector<uint8_t>;

struct Span {
  size_t start;
  size_t length;
};

constexpr uint16_t kKnownFields[] = {
    SF_BEGIN_DOCUMENT,   SF_END_DOCUMENT,       SF_BEGIN_PAGE,
    SF_END_PAGE,         SF_IMAGE_PICTURE_DATA, SF_PRESENTATION_TEXT,
    SF_END_IMAGE_OBJECT, SF_BEGIN_IMAGE_OBJECT, SF_PAGE_DESCRIPTOR};

// The structured fields at the start of the data, as far as they hold together.
std::vector<Span> Fields(const Bytes& data) {
  std::vector<Span> fields;
  size_t at = 0;
  while (at + 9 <= data.size()) {
    const size_t prefix = data[at] == CARRIAGE_CONTROL ? 1 : 0;
    const size_t length = size_t{data[at + prefix]} << 8 | data[at + prefix + 1];
    if (length < 8 || data[at + prefix + 2] != SF_CLASS || at + prefix + length > data.size())
      break;
    fields.push_back({at, prefix + length});
    at += prefix + length;
  }
  return fields;
}

void PutLength(Bytes* field) {
  const size_t prefix = (*field)[0] == CARRIAGE_CONTROL ? 1 : 0;
  const size_t length = field->size() - prefix;
  (*field)[prefix] = static_cast<uint8_t>(length >> 8);
  (*field)[prefix + 1] = static_cast<uint8_t>(length);
}

// Changes the data of a field and mends its length.
void MutateData(Bytes* field, std::mt19937* random) {
  const size_t head = 8u + ((*field)[0] == CARRIAGE_CONTROL ? 1u : 0u);
  if (field->size() < head) return;
  Bytes body(field->begin() + static_cast<ptrdiff_t>(head), field->end());
  const size_t room = std::min<size_t>(body.size() + 1 + (*random)() % 64, 32000);
  body.resize(std::max(room, body.size()));
  body.resize(LLVMFuzzerMutate(body.data(), std::min(body.size(), room), room));
  field->resize(head);
  field->insert(field->end(), body.begin(), body.end());
  PutLength(field);
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned int seed) {
  std::mt19937 random(seed);
  Bytes bytes(data, data + size);
  const std::vector<Span> fields = Fields(bytes);
  if (fields.empty() || random() % 4 == 0) return LLVMFuzzerMutate(data, size, maxSize);

  const Span span = fields[random() % fields.size()];
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(span.start);
  Bytes field(begin, begin + static_cast<ptrdiff_t>(span.length));
  const size_t prefix = field[0] == CARRIAGE_CONTROL ? 1 : 0;
  size_t insertAt = span.start;
  bool keepOld = false;
  switch (random() % 6) {
    case 0:
      keepOld = true;  // twice
      break;
    case 1:
      field.clear();  // gone
      break;
    case 2: {
      const uint16_t id = kKnownFields[random() % std::size(kKnownFields)];
      field[prefix + 3] = static_cast<uint8_t>(id >> 8);
      field[prefix + 4] = static_cast<uint8_t>(id);
      break;
    }
    case 3:
      if (prefix == 1) {
        field.erase(field.begin());
      } else {
        field.insert(field.begin(), CARRIAGE_CONTROL);
      }
      break;
    case 4: {  // elsewhere
      const Span other = fields[random() % fields.size()];
      insertAt = other.start;
      keepOld = true;
      break;
    }
    default:
      MutateData(&field, &random);
      break;
  }
  if (!keepOld) {
    bytes.erase(begin, begin + static_cast<ptrdiff_t>(span.length));
  }
  bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(std::min(insertAt, bytes.size())),
               field.begin(), field.end());
  const size_t result = std::min(bytes.size(), maxSize);
  std::memcpy(data, bytes.data(), result);
  return result;
}
