// Threads that share out work.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "Host/Kernel/Export.h"

namespace kz {

// Whoever waits for work does some of it meanwhile, so calls may nest: what is made may call
// InOrder and Each itself. Calls may come from several threads.
//
// Idle threads prefer the newest call that has something left (the pages of a document that is
// under way) to older ones (new documents). Who waits for a call helps only with it and with what
// is nested in it, so that nobody waits for what stands below in its own stack.
//
// What is made and run must not throw; `take` may.
class K_EXPORT Workers {
 public:
  // The calling thread counts as one; threads - 1 are started, or as many as there are to be had.
  explicit Workers(unsigned threads);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // The processors that this process may use, at least 1.
  static unsigned Processors();

  // The threads that work, with the calling one.
  unsigned Count() const { return static_cast<unsigned>(m_threads.size()) + 1; }

  // Runs make(i) for 0 <= i < count on any of the threads, several at once, begun in the order of
  // i, and take(i) in the order of i on the calling thread. take returning false begins no further
  // and takes no further; what is under way is waited for.
  //
  // Of things that were begun and not taken yet there are at most two for each thread, counted over
  // all calls that are equally deeply nested; the next one to be taken is allowed besides.
  void InOrder(size_t count, const std::function<void(size_t)>& make,
               const std::function<bool(size_t)>& take);
  // The same without an order and without take.
  void Each(size_t count, const std::function<void(size_t)>& run);

 private:
  struct Call;
  class Joined;

  void Idle();
  Call* Startable(const Call* within);
  bool MayStart(const Call& call) const;
  void Run(Call& call, std::unique_lock<std::mutex>& lock) noexcept;
  void Help(const Call& call, std::unique_lock<std::mutex>& lock);

  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_ending = false;
  std::vector<Call*> m_calls;     // the newest last
  std::vector<size_t> m_untaken;  // begun and not taken, by the depth of the call
  std::vector<std::thread> m_threads;
};

}  // namespace kz
