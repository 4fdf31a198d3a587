#include "Toolkit/Convert/OutputCommit.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace kz {

namespace {

constexpr std::chrono::seconds kLongestWait(1);
// Results without files, which needn't wait for long.
constexpr size_t kMostResults = 4096;

}  // namespace

void TakeBack(SourceResult& result, const std::string& output, const Outcome& why) {
  const auto at = std::find(result.outputs.begin(), result.outputs.end(), output);
  if (at != result.outputs.end()) result.outputs.erase(at);
  if (result.errors.size() < SourceResult::kMostWords) {
    result.errors.push_back(output + ": " + why.what);
  }
  result.status = SourceStatus::Failed;
}

bool OutputClaims::Claim(const std::string& output, const std::string& source, std::string& owner) {
  const std::lock_guard lock(m_mutex);
  const auto [at, claimed] = m_owners.emplace(output, source);
  if (!claimed) owner = at->second;
  return claimed;
}

void OutputClaims::Release(const std::string& output) {
  const std::lock_guard lock(m_mutex);
  m_owners.erase(output);
}

OutputCommit::OutputCommit(Told told, OutputClaims& claims, size_t most)
    : m_told(std::move(told)), m_claims(claims), m_most(most), m_thread([this] { Run(); }) {}

OutputCommit::~OutputCommit() { Finish(); }

void OutputCommit::Add(ConvertedSource source) {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_files < m_most && m_waiting.size() < kMostResults; });
  m_files += source.files != nullptr ? source.files->Size() : 0;
  m_waiting.push_back(std::move(source));
  lock.unlock();
  m_changed.notify_all();
}

void OutputCommit::Finish() {
  {
    const std::lock_guard lock(m_mutex);
    m_ending = true;
  }
  m_changed.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

void OutputCommit::Run() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_ending || !m_waiting.empty(); });
    if (m_waiting.empty()) return;
    m_changed.wait_for(lock, kLongestWait, [this] {
      return m_ending || m_files >= m_most || m_waiting.size() >= kMostResults;
    });
    std::vector<ConvertedSource> sources = std::exchange(m_waiting, {});
    m_files = 0;
    lock.unlock();
    m_changed.notify_all();
    PutInPlace(sources);
    for (const ConvertedSource& source : sources) {
      for (const std::string& output : source.claimed) m_claims.Release(output);
    }
    for (const ConvertedSource& source : sources) m_told(source.result);
    lock.lock();
  }
}

void OutputCommit::PutInPlace(std::vector<ConvertedSource>& sources) {
  std::vector<std::pair<std::string, Outcome>> failures;
  FileBatch batch(
      [&](const std::string& target, const Outcome& why) { failures.emplace_back(target, why); });
  for (ConvertedSource& source : sources) {
    if (source.files != nullptr) batch.Adopt(*source.files);
  }
  if (batch.Size() > 0) batch.Finish();
  for (const auto& [target, why] : failures) {
    for (ConvertedSource& source : sources) {
      const auto& outputs = source.result.outputs;
      if (std::find(outputs.begin(), outputs.end(), target) == outputs.end()) continue;
      TakeBack(source.result, target, why);
    }
  }
  for (ConvertedSource& source : sources) {
    for (const std::string& output : source.result.outputs) {
      struct stat found;
      if (source.result.status == SourceStatus::Skipped) break;
      if (::stat(output.c_str(), &found) == 0) source.result.bytesOut += found.st_size;
    }
  }
}

}  // namespace kz
