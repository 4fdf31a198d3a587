#include "Toolkit/Base/Workers.h"

#include <sched.h>

#include <algorithm>
#include <system_error>

namespace kz {

struct Workers::Call {
  const Workers* workers;
  const Call* parent;  // in one of whose items this call was made; null: in none
  size_t depth;
  size_t count;
  const std::function<void(size_t)>& make;
  bool ordered;
  size_t next = 0;   // the one to begin
  size_t taken = 0;  // of an ordered call
  size_t running = 0;
  bool stopped = false;
  std::vector<bool> made{};  // of those that aren't taken, by their number modulo the size

  bool IsNextMade() const { return made[taken % made.size()]; }
  bool IsWithin(const Call* other) const {
    const Call* call = this;
    while (call != nullptr && call != other) call = call->parent;
    return call == other;
  }
};

namespace {

// The call in one of whose items the thread is.
thread_local const void* t_current = nullptr;

// Sets it for the length of an item.
class Inside {
 public:
  explicit Inside(const void* call) : m_before(t_current) { t_current = call; }
  ~Inside() { t_current = m_before; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  const void* m_before;
};

}  // namespace

// A call in the list, and out of it again when all that was begun of it has ended.
class Workers::Joined {
 public:
  Joined(Workers& workers, size_t count, const std::function<void(size_t)>& make, bool ordered)
      : m_workers(workers),
        m_call{&workers, nullptr, 0, count, make, ordered},
        m_lock(workers.m_mutex) {
    const auto* around = static_cast<const Call*>(t_current);
    if (around != nullptr && around->workers == &workers) {
      m_call.parent = around;
      m_call.depth = around->depth + 1;
    }
    if (ordered) m_call.made.resize(size_t{2} * workers.Count() + 1);
    if (workers.m_untaken.size() <= m_call.depth) workers.m_untaken.resize(m_call.depth + 1);
    workers.m_calls.push_back(&m_call);
    workers.m_changed.notify_all();
  }
  ~Joined() {
    if (!m_lock.owns_lock()) m_lock.lock();
    m_call.stopped = true;
    while (m_call.running > 0) m_workers.Help(m_call, m_lock);
    if (m_call.ordered) m_workers.m_untaken[m_call.depth] -= m_call.next - m_call.taken;
    std::vector<Call*>& calls = m_workers.m_calls;
    calls.erase(std::find(calls.begin(), calls.end(), &m_call));
    m_workers.m_changed.notify_all();
  }
  Joined(const Joined&) = delete;
  Joined& operator=(const Joined&) = delete;

  Call& Made() { return m_call; }
  std::unique_lock<std::mutex>& Lock() { return m_lock; }

 private:
  Workers& m_workers;
  Call m_call;
  std::unique_lock<std::mutex> m_lock;
};

Workers::Workers(unsigned threads) {
  // The threads read Count() only in calls, which are made past this.
  m_threads.reserve(std::max(threads, 1U) - 1);
  try {
    while (m_threads.size() + 1 < threads) m_threads.emplace_back([this] { Idle(); });
  } catch (const std::system_error&) {
    // There are no more to be had: those that there are do the work.
  }
}

Workers::~Workers() {
  {
    const std::lock_guard lock(m_mutex);
    m_ending = true;
  }
  m_changed.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

unsigned Workers::Processors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof(set), &set) == 0) {
    return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
  }
  // More processors than the set has room for.
  return std::max(1U, std::thread::hardware_concurrency());
}

void Workers::InOrder(size_t count, const std::function<void(size_t)>& make,
                      const std::function<bool(size_t)>& take) {
  if (count == 0) return;
  Joined joined(*this, count, make, true);
  Call& call = joined.Made();
  while (call.taken < count && !call.stopped) {
    if (!call.IsNextMade()) {
      Help(call, joined.Lock());
      continue;
    }
    joined.Lock().unlock();
    bool more = false;
    {
      const Inside inside(&call);
      more = take(call.taken);
    }
    joined.Lock().lock();
    call.made[call.taken % call.made.size()] = false;
    ++call.taken;
    --m_untaken[call.depth];
    call.stopped = !more;
    m_changed.notify_all();
  }
}

void Workers::Each(size_t count, const std::function<void(size_t)>& run) {
  if (count == 0) return;
  Joined joined(*this, count, run, false);
  Call& call = joined.Made();
  while (call.next < count) Help(call, joined.Lock());
}

// What the started threads do.
void Workers::Idle() {
  std::unique_lock lock(m_mutex);
  while (!m_ending) {
    if (Call* const call = Startable(nullptr)) {
      Run(*call, lock);
    } else {
      m_changed.wait(lock);
    }
  }
}

// Does something of a call or of what is nested in it, or waits for a change.
void Workers::Help(const Call& call, std::unique_lock<std::mutex>& lock) {
  if (Call* const startable = Startable(&call)) {
    Run(*startable, lock);
  } else {
    m_changed.wait(lock);
  }
}

// The newest call that has something to begin; null: there is none.
Workers::Call* Workers::Startable(const Call* within) {
  const auto found = std::find_if(m_calls.rbegin(), m_calls.rend(), [&](const Call* call) {
    return MayStart(*call) && (within == nullptr || call->IsWithin(within));
  });
  return found == m_calls.rend() ? nullptr : *found;
}

bool Workers::MayStart(const Call& call) const {
  if (call.stopped || call.next == call.count) return false;
  return !call.ordered || call.next == call.taken || m_untaken[call.depth] < size_t{2} * Count();
}

void Workers::Run(Call& call, std::unique_lock<std::mutex>& lock) noexcept {
  const size_t number = call.next++;
  ++call.running;
  if (call.ordered) ++m_untaken[call.depth];
  lock.unlock();
  {
    const Inside inside(&call);
    call.make(number);
  }
  lock.lock();
  --call.running;
  if (call.ordered) call.made[number % call.made.size()] = true;
  m_changed.notify_all();
}

}  // namespace kz
