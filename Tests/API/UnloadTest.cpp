// A host loads the filter, calls it on some thread, unloads it, and does so again.
// Nothing of the filter may stay: no key, no block, no destructor for a thread's end.
// The program isn't linked with the filter, which would stay loaded then.
#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/LoadedFilter.h"

namespace {

// A call that ends early, of a file that isn't there.
int Call(const LoadedFilter& filter) {
  _DELETEDISPATCH request = {"/no such folder/no such file"};
  return filter.Call("fltDeletePage", &request);
}

size_t FreeKeys() {
  std::vector<pthread_key_t> keys;
  pthread_key_t key;
  while (pthread_key_create(&key, nullptr) == 0) keys.push_back(key);
  for (const pthread_key_t taken : keys) pthread_key_delete(taken);
  return keys.size();
}

TEST(Unload, LeavesNoKeyNoBlockAndNoDestructor) {
  const size_t keys = FreeKeys();
  const size_t blocks = K_LiveBlocks();
  for (int round = 0; round < 2000; ++round) {
    LoadedFilter filter;
    std::barrier called(2);
    std::barrier unloaded(2);
    std::jthread([&] { EXPECT_EQ(Call(filter), K_ERROR_OPEN_WRITE); }).join();
    std::jthread outlives([&] {
      EXPECT_EQ(Call(filter), K_ERROR_OPEN_WRITE);
      called.arrive_and_wait();
      unloaded.arrive_and_wait();
    });
    EXPECT_EQ(Call(filter), K_ERROR_OPEN_WRITE);  // this thread has seen all filters before
    called.arrive_and_wait();
    EXPECT_EQ(K_LiveBlocks(), blocks + 2) << "a record of its own for each of two threads";
    EXPECT_TRUE(filter.Unload());
    EXPECT_EQ(K_LiveBlocks(), blocks);
    unloaded.arrive_and_wait();
    outlives.join();
    if (HasFailure()) break;
  }
  EXPECT_EQ(K_LiveBlocks(), blocks);
  EXPECT_EQ(FreeKeys(), keys);
}

// Then a thread may be in the middle of a call, which is no reason to take away its record.
TEST(Unload, AtTheEndOfTheProcessThreadsKeepTheirRecords) {
  static size_t blocks;
  const auto child = [] {
    static LoadedFilter* const filter = new LoadedFilter;
    static std::barrier<> inCall(2);
    std::thread([] {
      K_OpenRoutine open = [](const char*, int, int, void*) {
        blocks = K_LiveBlocks();
        inCall.arrive_and_wait();
        while (K_LiveBlocks() == blocks) {
        }
        _exit(1);
        return K_InvalidHandle();
      };
      K_FilterIO(&open, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                 nullptr);
      Call(*filter);
    }).detach();
    inCall.arrive_and_wait();
    exit(0);
  };
  for (int i = 0; i < 8; ++i) EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

}  // namespace
