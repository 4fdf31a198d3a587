// The exchange of the redirected routines.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "Host/Kernel/Kernel.h"
#include "Tests/Kernel/TemporaryFolder.h"

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
      K_ReadRoutine* slot;
      K_ReadRoutine onEntry;
      void* data;
      K_ReadRoutine onReturn;
      K_ReadRoutine inForce;
      void* dataInForce;
    };
    K_ReadRoutine slot = nullptr;
    const Step steps[] = {
        {&slot, nullptr, nullptr, kernel, kernel, nullptr},   // only reported
        {&slot, Read, nullptr, kernel, Read, nullptr},        // exchanged, user data kept
        {&slot, nullptr, &first, Read, Read, &first},         // user data alone
        {&slot, kernel, nullptr, Read, kernel, &first},       // back, user data kept
        {&slot, Read, &second, kernel, Read, &second},        // both
        {nullptr, nullptr, nullptr, nullptr, Read, &second},  // nothing
        {nullptr, nullptr, &first, nullptr, Read, &first},    // user data without a slot
        {&slot, kernel, &second, Read, kernel, &second},
    };
    for (const Step& step : steps) {
      SCOPED_TRACE(&step - steps);
      slot = step.onEntry;
      Exchange(step.slot, step.data);
      EXPECT_EQ(slot, step.onReturn);
      K_ReadRoutine inForce = nullptr;
      Exchange(&inForce, nullptr);
      EXPECT_EQ(inForce, step.inForce);
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

    // Another thread reads real files meanwhile.
    const TemporaryFolder folder;
    const std::string path = folder.File("file", Pattern(100));
    std::jthread([&] {
      EXPECT_EQ(ReadData(), nullptr);
      tagHANDLE* real = K_RedirectedOpen(path.c_str(), K_OPEN_READ, 0);
      ASSERT_NE(real, K_InvalidHandle());
      Bytes bytes(100);
      EXPECT_EQ(K_RedirectedRead(real, bytes.data(), 100), 100);
      EXPECT_EQ(bytes, Pattern(100));
      EXPECT_EQ(K_RedirectedClose(real), K_SUCCESS);
    }).join();
    // The former routines came back through the slots.
    tagHANDLE* real = open(path.c_str(), K_OPEN_READ, 0, nullptr);
    unsigned char byte = 0;
    EXPECT_EQ(read(real, &byte, 1, nullptr), 1);
    EXPECT_EQ(seek(real, 0, K_SEEK_END, nullptr), 100);
    EXPECT_EQ(close(real, nullptr), K_SUCCESS);
  });
}

}  // namespace
