// The states of a loader on its way from empty to empty. What it finds when the
// codec library lies elsewhere, or not at all, the filter's codec test shows.
#include "Host/Kernel/DllLoader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/Status.h"

namespace {

TEST(DllLoader, HoldsALibraryAndItsFunctionsUntilItIsUnloaded) {
  K_DllLoader loader;
  const auto expectEmpty = [&] {
    EXPECT_EQ(loader.IsLoaded(), 0);
    for (const char* name : {"K_DecodeABIC", "K_EncodeABIC", "fltLoad"}) {
      EXPECT_EQ(loader.IsFunctionOk(name), 0) << name;
      EXPECT_EQ(loader.GetFunction(name), nullptr) << name;
    }
  };
  expectEmpty();
  EXPECT_EQ(loader.AddFunction("K_DecodeABIC"), 0) << "there is nothing to find it in";
  EXPECT_EQ(loader.LoadLib(static_cast<KV_LIBID>(85), 0, nullptr), 0) << "unknown id";
  loader.Unload();
  expectEmpty();
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(loader.LoadLib(KV_LIBID_ABIC, 0, nullptr), K_SUCCESS);
    EXPECT_EQ(loader.LoadLib(KV_LIBID_ABIC, 0, nullptr), K_SUCCESS) << "loaded already";
    EXPECT_NE(loader.IsLoaded(), 0);
    EXPECT_EQ(loader.IsFunctionOk("K_DecodeABIC"), 0) << "not registered yet";
    EXPECT_NE(loader.AddFunction("K_DecodeABIC"), 0);
    EXPECT_EQ(loader.AddFunction("fltLoad"), 0) << "the codec has none";
    EXPECT_EQ(loader.AddFunction(nullptr), 0);
    EXPECT_NE(loader.IsFunctionOk("K_DecodeABIC"), 0);
    EXPECT_EQ(loader.IsFunctionOk("fltLoad"), 0);
    unsigned char* rows = nullptr;
    const auto decode = reinterpret_cast<K_DecodeAbicRoutine>(loader.GetFunction("K_DecodeABIC"));
    EXPECT_EQ(decode(nullptr, 0, &rows, 4, 8, 1, 1), K_ERROR_READ) << "it can be called";
    loader.Unload();
    expectEmpty();
  }
}

}  // namespace
