#include "Toolkit/Convert/SourceClaims.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Toolkit/Convert/Shard.h"

namespace kz {

namespace {

constexpr size_t kFewSlots = 64;

}  // namespace

Outcome SourceClaims::Open() {
  Clear();
  return m_file.Open();
}

void SourceClaims::Clear() {
  m_slots.assign(kFewSlots, {});
  m_used = 0;
  m_end = 1;
}

// The slot of the hash, or a free one for it.
SourceClaims::Slot& SourceClaims::Find(uint64_t hash) {
  size_t at = hash % m_slots.size();
  while (m_slots[at].place != 0 && m_slots[at].hash != hash) at = (at + 1) % m_slots.size();
  return m_slots[at];
}

void SourceClaims::Grow() {
  std::vector<Slot> old(m_slots.size() * 2);
  old.swap(m_slots);
  for (const Slot& slot : old) {
    if (slot.place != 0) Find(slot.hash) = slot;
  }
}

Outcome SourceClaims::Note(std::string_view key, std::string_view path,
                           std::vector<std::string>& rivals, bool& more) {
  rivals.clear();
  more = false;
  if (m_used * 4 >= m_slots.size() * 3) Grow();
  const uint64_t hash = StableHash(key);
  Slot& slot = Find(hash);
  std::string text;
  Record record;
  for (uint64_t place = slot.place; place != 0 && !more; place = record.before) {
    const auto at = static_cast<int64_t>(place - 1);
    unsigned char bytes[sizeof(Record)];
    if (ReadFully(m_file.Descriptor(), at, bytes, sizeof(bytes)) != sizeof(bytes)) {
      return SystemFailure(K_ERROR_READ, errno);
    }
    std::memcpy(&record, bytes, sizeof(record));
    text.resize(size_t{record.key} + record.path);
    const int64_t read = ReadFully(m_file.Descriptor(), at + int64_t{sizeof(Record)},
                                   reinterpret_cast<unsigned char*>(text.data()), text.size());
    if (read != static_cast<int64_t>(text.size())) return SystemFailure(K_ERROR_READ, errno);
    if (std::string_view(text).substr(0, record.key) != key) continue;
    more = rivals.size() == kMostRivals;
    if (!more) rivals.push_back(text.substr(record.key));
  }
  record = {slot.place, static_cast<uint32_t>(key.size()), static_cast<uint32_t>(path.size())};
  text.assign(reinterpret_cast<const char*>(&record), sizeof(record)).append(key).append(path);
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = ::pwrite(m_file.Descriptor(), text.data() + done, text.size() - done,
                               static_cast<off_t>(m_end - 1 + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return SystemFailure(K_ERROR_WRITE, n < 0 ? errno : EIO);
    done += static_cast<size_t>(n);
  }
  if (slot.place == 0) ++m_used;
  slot = {hash, m_end};
  m_end += text.size();
  return {};
}

}  // namespace kz
