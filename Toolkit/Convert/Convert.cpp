#include "Toolkit/Convert/Convert.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "Toolkit/Convert/SourceClaims.h"
#include "Toolkit/Convert/SourceConversion.h"
#include "Toolkit/Files/TemporaryFile.h"

namespace kz {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kBetweenProgress(100);

// A source, and whom its outputs might clash with.
struct PulledSource {
  SourceFile file;
  std::vector<std::string> rivals;
  bool more = false;
};

// The sources of the shard, one after the other, to whichever thread asks.
class SourceQueue {
 public:
  SourceQueue(const ConvertRequest& request, const OutputNames& names)
      : m_files({request.sources, request.list, request.to}),
        m_names(names),
        m_shard(request.shard) {}

  Outcome Open() {
    Outcome outcome = m_claims.Open();
    if (outcome.Ok()) outcome = m_files.Open();
    m_oneFolder = m_files.IsOneFolder();
    return outcome;
  }

  // The i-th source, each of which may be asked for once; false when there are fewer.
  bool Get(size_t i, PulledSource& source) {
    const std::lock_guard lock(m_mutex);
    while (m_next <= i && !m_ended) Pull();
    const auto found = m_pulled.find(i);
    if (found == m_pulled.end()) return false;
    source = std::move(found->second);
    m_pulled.erase(found);
    return true;
  }

 private:
  void Pull() {
    PulledSource source;
    do {
      m_ended = !m_files.Next(source.file);
      if (m_ended) return;
    } while (!m_shard.Has(m_names.ShardKey(source.file.relative)));
    const std::string key = m_names.Key(source.file.relative);
    if (!key.empty() && source.file.problem.Ok()) {
      // Of the files of other folders none has the same key.
      const std::string folder = key.substr(0, key.rfind('/') + 1);
      if (m_oneFolder && folder != m_folder) m_claims.Clear();
      m_folder = folder;
      const Outcome noted = m_claims.Note(key, source.file.path, source.rivals, source.more);
      if (!noted.Ok()) source.file.problem = noted;
    }
    m_pulled.emplace(m_next++, std::move(source));
  }

  std::mutex m_mutex;
  SourceFiles m_files;
  const OutputNames& m_names;
  Shard m_shard;
  SourceClaims m_claims;
  bool m_oneFolder = false;
  bool m_ended = false;
  std::string m_folder;
  size_t m_next = 0;
  std::map<size_t, PulledSource> m_pulled;
};

// Counts the sources beside the conversion, for the time that is left.
class SourceCount {
 public:
  SourceCount(const ConvertRequest& request, const OutputNames& names) {
    if (!request.progress || request.list == "-") return;
    m_thread = std::thread([this, &request, &names] {
      SourceFiles files({request.sources, request.list, request.to});
      if (!files.Open().Ok()) return;
      SourceFile file;
      while (!m_stop && files.Next(file)) {
        if (request.shard.Has(names.ShardKey(file.relative))) ++m_count;
      }
      m_known = !m_stop;
    });
  }
  ~SourceCount() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
  }
  SourceCount(const SourceCount&) = delete;
  SourceCount& operator=(const SourceCount&) = delete;

  size_t Count() const { return m_count; }
  bool IsKnown() const { return m_known; }

 private:
  std::atomic<size_t> m_count = 0;
  std::atomic<bool> m_known = false;
  std::atomic<bool> m_stop = false;
  std::thread m_thread;
};

// Adds up what is told, and tells it.
class Telling {
 public:
  Telling(const ConvertRequest& request, const SourceCount& count, ConvertTotals& totals)
      : m_request(request), m_count(count), m_totals(totals) {}

  void Result(const SourceResult& result) {
    const std::lock_guard lock(m_mutex);
    AddToTotals(result, m_totals);
    ++m_files;
    if (m_request.result) m_request.result(result);
    ReportProgress();
  }

  void PictureDone() {
    ++m_pictures;
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (lock.owns_lock()) ReportProgress();
  }

  double Seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

 private:
  void ReportProgress() {
    const auto now = Clock::now();
    if (!m_request.progress || now - m_told < kBetweenProgress) return;
    m_told = now;
    m_request.progress(
        {m_files, std::max(m_files, m_count.Count()), m_count.IsKnown(), m_pictures, Seconds()});
  }

  const ConvertRequest& m_request;
  const SourceCount& m_count;
  ConvertTotals& m_totals;
  std::mutex m_mutex;
  size_t m_files = 0;
  std::atomic<size_t> m_pictures = 0;
  const Clock::time_point m_start = Clock::now();
  Clock::time_point m_told = m_start;
};

// Makes the folder, and finds a time by its clock that lies past that of every file there.
Outcome BeginIn(const std::string& folder, timespec& begun) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return SystemFailure(K_ERROR_OPEN_WRITE, error.value());
  const OwnedDescriptor opened(OpenDescriptor(folder.c_str(), O_PATH | O_DIRECTORY));
  if (opened.Get() < 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  TemporaryFile file;
  Outcome outcome = file.Create(opened.Get(), "begun");
  if (!outcome.Ok()) return outcome;
  struct stat found;
  if (::fstat(file.Descriptor(), &found) != 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  const timespec first = found.st_mtim;
  // Some clocks tick every two seconds.
  const auto end = Clock::now() + std::chrono::milliseconds(2500);
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (::futimens(file.Descriptor(), nullptr) != 0 || ::fstat(file.Descriptor(), &found) != 0) {
      return SystemFailure(K_ERROR_OPEN_WRITE, errno);
    }
    begun = found.st_mtim;
  } while (begun.tv_sec == first.tv_sec && begun.tv_nsec == first.tv_nsec && Clock::now() < end);
  return {};
}

}  // namespace

void AddToTotals(const SourceResult& result, ConvertTotals& totals) {
  switch (result.status) {
    case SourceStatus::Done:
      ++totals.done;
      break;
    case SourceStatus::Skipped:
      ++totals.skipped;
      return;
    case SourceStatus::Failed:
      ++totals.failed;
      break;
    case SourceStatus::NoDocument:
      ++totals.noDocument;
      return;
  }
  totals.warned += result.warnings.empty() ? 0 : 1;
  const bool none = result.status == SourceStatus::Done && result.outputs.empty();
  totals.withoutPictures += none ? 1 : 0;
  totals.outputs += result.outputs.size();
  totals.pages += result.pages;
  totals.pictures += result.pictures;
  totals.passed += result.passed;
  totals.bytesIn += result.bytesIn;
  totals.bytesOut += result.bytesOut;
}

Outcome Convert(const ConvertRequest& request, ConvertTotals& totals) {
  totals = {};
  OutputNames names;
  Outcome outcome = names.Parse(request.name, request.per, request.format);
  timespec begun;
  if (outcome.Ok()) outcome = BeginIn(request.to, begun);
  if (!outcome.Ok()) return outcome;
  SourceQueue sources(request, names);
  outcome = sources.Open();
  if (!outcome.Ok()) return outcome;

  const SourceCount count(request, names);
  Telling telling(request, count, totals);
  OutputClaims claims;
  OutputCommit commit([&](const SourceResult& result) { telling.Result(result); }, claims,
                      std::max<size_t>(FileBatch::Most() / 2, 1));
  Workers workers(request.threads > 0 ? request.threads : Workers::Processors());
  const size_t underWay = size_t{2} * workers.Count() + 1;
  ConvertRun run = {request,
                    names,
                    workers,
                    claims,
                    nullptr,
                    begun,
                    std::max<size_t>(FileBatch::Most() / underWay, 1),
                    [&] { telling.PictureDone(); }};
  if (!request.resources.empty()) {
    run.resources = std::make_shared<ResourceFolder>(request.resources);
  }

  std::mutex mutex;
  std::map<size_t, ConvertedSource> converted;
  workers.InOrder(
      SIZE_MAX,
      [&](size_t i) {
        PulledSource source;
        if (!sources.Get(i, source)) return;
        ConvertedSource done =
            SourceConversion(run, source.file).Convert(source.rivals, source.more);
        const std::lock_guard lock(mutex);
        converted.emplace(i, std::move(done));
      },
      [&](size_t i) {
        std::unique_lock lock(mutex);
        auto node = converted.extract(i);
        lock.unlock();
        if (node.empty()) return false;
        commit.Add(std::move(node.mapped()));
        return true;
      });
  commit.Finish();
  totals.seconds = telling.Seconds();
  return {};
}

}  // namespace kz
