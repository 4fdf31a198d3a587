// Room for what a pass over a file gathers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kz {

// Makes room in a full vector for as many more as the rest of a file of `size` bytes holds
// if it goes on as it is up to `at`, within limits: with many entries the system spends
// longer on growing in small steps than the pass takes.
template <typename Entry>
void MakeRoom(std::vector<Entry>& entries, int64_t at, int64_t size) {
  constexpr size_t few = 1024;
  constexpr size_t mostTimes = 8;
  if (entries.size() < entries.capacity() || entries.size() < few) return;
  const double inAll = static_cast<double>(entries.size()) * static_cast<double>(size) /
                       static_cast<double>(std::max<int64_t>(at, 1));
  const auto most = static_cast<double>(entries.size() * mostTimes);
  entries.reserve(std::max(entries.size() * 2, static_cast<size_t>(std::min(1.01 * inAll, most))));
}

}  // namespace kz
