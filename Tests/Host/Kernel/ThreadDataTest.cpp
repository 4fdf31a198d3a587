// Per-thread data: one record per thread and key, made once, destroyed at the
// thread's end.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

// Takes the place of the platform's, so that making a key takes long enough for
// other threads to come upon it. It may run before a sanitizer is ready.
static bool g_slowKeys = false;
extern "C" int __pthread_key_create(pthread_key_t* key, void (*destroy)(void*));
extern "C" __attribute__((no_sanitize("address", "thread", "undefined"), visibility("default"))) int
pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) noexcept {
  if (g_slowKeys) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return __pthread_key_create(key, destroy);
}

namespace {

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<int> g_made{0};
std::atomic<int> g_destroyed{0};

void* Make() {
  ++g_made;
  return new int(0);
}
void* MakeNone() { return nullptr; }
void Destroy(void* record) {
  ++g_destroyed;
  delete static_cast<int*>(record);
}
void DestroyOther(void* record) {
  g_destroyed += 100;
  delete static_cast<int*>(record);
}

int* Fetch(uint32_t* key, void (*destroy)(void*) = Destroy) {
  return static_cast<int*>(K_MyGetThreadData(key, Make, destroy, g_mutex));
}

class ThreadData : public testing::Test {
 protected:
  void SetUp() override { g_made = g_destroyed = 0; }
};

TEST_F(ThreadData, ThreadsThatMeetAtTheFirstCallShareOneKeyAndNoRecord) {
  constexpr int kThreads = 8;
  for (int round = 1; round <= 5; ++round) {
    uint32_t key = 0;
    std::vector<int*> records(kThreads);
    std::barrier gate(kThreads);
    g_slowKeys = true;
    {
      std::vector<std::jthread> threads;
      for (int*& record : records) {
        threads.emplace_back([&] {
          gate.arrive_and_wait();
          record = Fetch(&key);
          gate.arrive_and_wait();
          EXPECT_EQ(Fetch(&key), record);
          gate.arrive_and_wait();  // all records are alive here
        });
      }
    }
    g_slowKeys = false;
    EXPECT_NE(key, 0u);
    EXPECT_EQ(std::set(records.begin(), records.end()).size(), size_t{kThreads});
    EXPECT_EQ(g_made, round * kThreads);
    EXPECT_EQ(g_destroyed, round * kThreads);
  }
}

TEST_F(ThreadData, EachKeyHasItsOwnRecordAndDestructor) {
  uint32_t first = 0;
  uint32_t second = 0;
  std::jthread([&] {
    EXPECT_NE(Fetch(&first), Fetch(&second, DestroyOther));
    EXPECT_NE(first, second);
    EXPECT_EQ(g_destroyed, 0);
  }).join();
  EXPECT_EQ(g_destroyed, 101);
}

// Key 0 is taken by the runtime in most processes, so the child frees it first.
TEST_F(ThreadData, PlatformKeyZeroIsNotHandedOut) {
  const auto child = [] {
    pthread_key_t platform = 1;
    pthread_key_delete(0);
    if (pthread_key_create(&platform, nullptr) != 0 || platform != 0) _exit(2);
    pthread_key_delete(platform);
    uint32_t keys[2] = {0, 0};
    for (uint32_t& key : keys) {
      if (Fetch(&key) == nullptr || Fetch(&key) != Fetch(&key) || key == 0) _exit(3);
    }
    _exit(keys[0] != keys[1] && g_made == 2 ? 0 : 4);
  };
  EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(ThreadData, NoRecordWhenNoneCanBeMade) {
  uint32_t key = 0;
  std::jthread([&] {
    EXPECT_EQ(K_MyGetThreadData(&key, MakeNone, Destroy, g_mutex), nullptr);
    int* record = Fetch(&key);
    ASSERT_NE(record, nullptr) << "a failed creation is tried again";
    K_SetThreadDataAvailable(0);
    EXPECT_EQ(Fetch(&key), nullptr);
    std::jthread([&] { EXPECT_EQ(Fetch(&key), nullptr); }).join();
    K_SetThreadDataAvailable(1);
    EXPECT_EQ(Fetch(&key), record);
  }).join();
  EXPECT_EQ(g_made, 1);
  EXPECT_EQ(g_destroyed, 1);
}

}  // namespace
