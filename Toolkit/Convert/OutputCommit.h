// Outputs of many sources, stored on the disk together.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Toolkit/Convert/Convert.h"
#include "Toolkit/Files/AtomicFile.h"

namespace kz {

// Outputs on their way to their places, and whose they are. May be used from several threads.
class OutputClaims {
 public:
  // False when the output is another source's, or the same one's; `owner` is that one then.
  bool Claim(const std::string& output, const std::string& source, std::string& owner);
  void Release(const std::string& output);

 private:
  std::mutex m_mutex;
  std::unordered_map<std::string, std::string> m_owners;
};

// A source that was converted, and its outputs that aren't in place yet.
struct ConvertedSource {
  SourceResult result;
  std::unique_ptr<FileBatch> files;  // null: there are none
  std::vector<std::string> claimed;  // outputs
};

// Takes an output that didn't get to its place off the result, with the reason.
void TakeBack(SourceResult& result, const std::string& output, const Outcome& why);

// A thread that puts outputs in their places, some dozens at a time and a second after the first
// of them at the latest, and then tells of their sources, in the order in which they came.
class OutputCommit {
 public:
  using Told = std::function<void(const SourceResult&)>;
  // `most` files wait before it takes up. What is in place is released.
  OutputCommit(Told told, OutputClaims& claims, size_t most);
  ~OutputCommit();
  OutputCommit(const OutputCommit&) = delete;
  OutputCommit& operator=(const OutputCommit&) = delete;

  // Waits while more than enough is there already.
  void Add(ConvertedSource source);
  // Waits until all is done.
  void Finish();

 private:
  void Run();
  void PutInPlace(std::vector<ConvertedSource>& sources);

  Told m_told;
  OutputClaims& m_claims;
  size_t m_most;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<ConvertedSource> m_waiting;
  size_t m_files = 0;  // of those that wait
  bool m_ending = false;
  std::thread m_thread;
};

}  // namespace kz
