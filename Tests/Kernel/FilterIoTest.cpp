// The exchange of the redirected routines.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "Host/Kernel/Kernel.h"

namespace {

// Each routine shows in its result which direction was called, and keeps the
// user data that it was given.
void* g_seen = nullptr;
tagHANDLE* Open(const char*, int, int, void* data) {
  g_seen = data;
  return reinterpret_cast<tagHANDLE*>(&g_seen);
}
template <int kResult>
int Transfer(tagHANDLE*, unsigned char*, unsigned, void* data) {
  g_seen = data;
  return kResult;
}
int Seek(tagHANDLE*, int, int, void* data) {
  g_seen = data;
  return 14;
}
int Close(tagHANDLE*, void* data) {
  g_seen = data;
  return 15;
}
constexpr K_ReadRoutine Read = Transfer<12>;
constexpr K_WriteRoutine Write = Transfer<13>;

void Exchange(K_ReadRoutine* read, void* data) {
  K_FilterIO(nullptr, read, nullptr, nullptr, nullptr, nullptr, data, nullptr, nullptr, nullptr);
}
void* ReadData() {
  void* data = &g_seen;
  K_GetFilterIOData(nullptr, &data, nullptr, nullptr, nullptr);
  return data;
}

// A thread of its own gives every test fresh routines.
void OnFreshThread(const std::function<void()>& body) { std::jthread(body).join(); }

TEST(FilterIo, ASlotIsReportedOrExchanged) {
  OnFreshThread([] {
    int first = 0;
    int second = 0;
    K_ReadRoutine kernel = nullptr;
    Exchange(&kernel, nullptr);
    ASSERT_NE(kernel, nullptr);
    struct Step {
      K_ReadRoutine onEntry;
      void* data;
      K_ReadRoutine onReturn;
      K_ReadRoutine inForce;
      void* dataInForce;
    };
    const Step steps[] = {
        {nullptr, nullptr, kernel, kernel, nullptr},  // only reported
        {Read, nullptr, kernel, Read, nullptr},       // exchanged, user data kept
        {nullptr, &first, Read, Read, &first},        // user data alone
        {kernel, nullptr, Read, kernel, &first},      // back, user data kept
        {Read, &second, kernel, Read, &second},       // both
    };
    for (const Step& step : steps) {
      SCOPED_TRACE(&step - steps);
      K_ReadRoutine slot = step.onEntry;
      Exchange(&slot, step.data);
      EXPECT_EQ(slot, step.onReturn);
      slot = nullptr;
      Exchange(&slot, nullptr);
      EXPECT_EQ(slot, step.inForce);
      Exchange(nullptr, nullptr);  // changes nothing
      EXPECT_EQ(ReadData(), step.dataInForce);
    }
  });
}

TEST(FilterIo, EveryDirectionHasItsOwnRoutineAndUserData) {
  OnFreshThread([] {
    int data[5];
    K_OpenRoutine open = Open;
    K_ReadRoutine read = Read;
    K_WriteRoutine write = Write;
    K_SeekRoutine seek = Seek;
    K_CloseRoutine close = Close;
    K_FilterIO(&open, &read, &write, &seek, &close, &data[0], &data[1], &data[2], &data[3],
               &data[4]);
    auto* handle = reinterpret_cast<tagHANDLE*>(&g_seen);
    EXPECT_EQ(K_RedirectedOpen("x", 0, 0), handle);
    EXPECT_EQ(g_seen, &data[0]);
    EXPECT_EQ(K_RedirectedRead(handle, nullptr, 1), 12);
    EXPECT_EQ(g_seen, &data[1]);
    EXPECT_EQ(K_RedirectedWrite(handle, nullptr, 1), 13);
    EXPECT_EQ(g_seen, &data[2]);
    EXPECT_EQ(K_RedirectedSeek(handle, 0, 0), 14);
    EXPECT_EQ(g_seen, &data[3]);
    EXPECT_EQ(K_RedirectedClose(handle), 15);
    EXPECT_EQ(g_seen, &data[4]);
    void* told[5] = {};
    K_GetFilterIOData(&told[0], &told[1], &told[2], &told[3], &told[4]);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(told[i], &data[i]);

    // Another thread has the kernel's own routines meanwhile.
    OnFreshThread([&] {
      K_ReadRoutine other = nullptr;
      Exchange(&other, nullptr);
      EXPECT_EQ(other, read) << "what came back through the slot";
      EXPECT_EQ(ReadData(), nullptr);
    });
  });
}

}  // namespace
