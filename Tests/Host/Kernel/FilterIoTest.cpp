// The exchange of the redirected routines. That every direction has its own and every
// thread has its own, the filter's tests need wherever they let operations fail.
#include <gtest/gtest.h>

#include <thread>

#include "Host/Kernel/Kernel.h"

namespace {

int Read(tagHANDLE*, unsigned char*, unsigned, void*) { return 12; }

void Exchange(K_ReadRoutine* read, void* data) {
  K_FilterIO(nullptr, read, nullptr, nullptr, nullptr, nullptr, data, nullptr, nullptr, nullptr);
}
void* ReadData() {
  int none = 0;
  void* data = &none;
  K_GetFilterIOData(nullptr, &data, nullptr, nullptr, nullptr);
  return data;
}

TEST(FilterIo, ASlotIsReportedOrExchanged) {
  std::jthread([] {  // has fresh routines
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
  })
      .join();
}

}  // namespace
