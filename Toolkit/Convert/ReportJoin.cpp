#include "Toolkit/Convert/ReportJoin.h"

#include <algorithm>
#include <functional>
#include <map>
#include <queue>
#include <set>

#include "Toolkit/Convert/ConvertReport.h"

namespace kz {

namespace {

// A line about a source.
struct Seen {
  uint64_t hash;
  double ended;
  uint64_t place;  // its number among all lines
  bool skipped;
};

// The one that counts comes last.
bool IsBefore(const Seen& a, const Seen& b) {
  if (a.hash != b.hash) return a.hash < b.hash;
  if (a.skipped != b.skipped) return a.skipped;
  if (a.ended != b.ended) return a.ended < b.ended;
  return a.place < b.place;
}

bool IsSlower(const SourceResult& a, const SourceResult& b) { return a.seconds > b.seconds; }

class Joining {
 public:
  Joining(const std::vector<std::string>& files, size_t slowest, JoinedReport& joined)
      : m_files(files), m_slowest(slowest), m_joined(joined) {}

  Outcome Run() {
    Outcome outcome = ForEachLine(true, [&](const ReportEntry& entry, uint64_t place) {
      NoteShard(entry);
      if (entry.summary) return;
      m_seen.push_back({StableHash(entry.source.source), entry.ended, place,
                        entry.source.status == SourceStatus::Skipped});
    });
    if (!outcome.Ok()) return outcome;
    Choose();
    outcome = ForEachLine(false, [&](const ReportEntry& entry, uint64_t place) {
      const bool counts = m_next < m_places.size() && m_places[m_next] == place;
      if (entry.summary || !counts) return;
      ++m_next;
      Add(entry.source);
    });
    std::sort(m_joined.slowest.begin(), m_joined.slowest.end(), IsSlower);
    for (const auto& [count, shards] : m_shards) {
      for (uint32_t number = 1; number <= count; ++number) {
        const auto found = shards.find(number);
        if (found != shards.end() && found->second) continue;
        m_joined.unfinished.push_back(std::to_string(number) + "/" + std::to_string(count));
      }
    }
    return outcome;
  }

 private:
  using Line = std::function<void(const ReportEntry&, uint64_t place)>;

  Outcome ForEachLine(bool first, const Line& use) {
    uint64_t place = 0;
    for (const std::string& file : m_files) {
      ReportReader reader;
      Outcome outcome = reader.Open(file);
      std::string line;
      int64_t at = 0;
      size_t broken = 0;
      int64_t firstBroken = 0;
      m_last.clear();
      for (bool whole = false; outcome.Ok() && reader.Next(line, at, whole); ++place) {
        ReportEntry entry;
        if (ReadReportLine(line, entry).Ok()) {
          use(entry, place);
        } else if (broken++ == 0) {
          firstBroken = at;
        }
      }
      if (outcome.Ok()) outcome = reader.Failed();
      if (!outcome.Ok()) return Failure(outcome.status, file + ": " + outcome.what);
      if (first) EndOfFile();
      if (first && broken > 0) {
        m_joined.warnings.push_back(
            file + ": " + (broken == 1 ? "a line is" : std::to_string(broken) + " lines are") +
            " not whole or no line of a report, the first at byte " + std::to_string(firstBroken));
      }
    }
    return {};
  }

  // Whether the run of each shard of the file came to its end.
  void NoteShard(const ReportEntry& entry) {
    m_last[{entry.shard.count, entry.shard.number}] = entry.summary;
  }
  // In any of the files will do: what was converted twice is the same.
  void EndOfFile() {
    for (const auto& [shard, ended] : m_last) m_shards[shard.first][shard.second] |= ended;
  }

  void Choose() {
    std::sort(m_seen.begin(), m_seen.end(), IsBefore);
    for (size_t i = 0; i < m_seen.size(); ++i) {
      const bool last = i + 1 == m_seen.size() || m_seen[i + 1].hash != m_seen[i].hash;
      if (last) m_places.push_back(m_seen[i].place);
    }
    m_joined.replaced = m_seen.size() - m_places.size();
    m_seen = {};
    std::sort(m_places.begin(), m_places.end());
  }

  void Add(const SourceResult& source) {
    AddToTotals(source, m_joined.totals);
    m_joined.totals.seconds += source.seconds;
    if (source.status == SourceStatus::Failed &&
        m_joined.failed.size() < JoinedReport::kMostFailed) {
      m_joined.failed.push_back(source);
    }
    // The quickest of the slowest is on top of the heap.
    std::vector<SourceResult>& heap = m_joined.slowest;
    if (source.status == SourceStatus::Skipped || m_slowest == 0) return;
    heap.push_back(source);
    std::push_heap(heap.begin(), heap.end(), IsSlower);
    if (heap.size() <= m_slowest) return;
    std::pop_heap(heap.begin(), heap.end(), IsSlower);
    heap.pop_back();
  }

  const std::vector<std::string>& m_files;
  size_t m_slowest;
  JoinedReport& m_joined;
  std::vector<Seen> m_seen;
  std::vector<uint64_t> m_places;
  size_t m_next = 0;
  std::map<std::pair<uint32_t, uint32_t>, bool> m_last;   // of a file
  std::map<uint32_t, std::map<uint32_t, bool>> m_shards;  // by their count: whether they ended
};

}  // namespace

Outcome JoinReports(const std::vector<std::string>& files, size_t slowest, JoinedReport& joined) {
  joined = {};
  return Joining(files, slowest, joined).Run();
}

}  // namespace kz
