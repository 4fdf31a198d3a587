// Loading pictures of other producers while memory runs out, and out of files that are cut
// off anywhere. A program of its own: it replaces the global allocation functions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolkit/Documents/Document.h"

namespace {

namespace fs = std::filesystem;

thread_local long t_allocationsLeft = -1;  // before one fails; negative: none does

}  // namespace

// Not inlined, so that no compiler takes the blocks for mismatched ones; all forms, because
// a sanitizer has its own of those that aren't here.
[[gnu::noinline]] void* operator new(size_t size) {
  if (t_allocationsLeft >= 0 && t_allocationsLeft-- == 0) throw std::bad_alloc();
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
[[gnu::noinline]] void* operator new[](size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, size_t) noexcept { std::free(block); }

namespace {

std::vector<std::string> Foreign() {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(KZ_SAMPLES "/foreign")) {
    const fs::path ending = entry.path().extension();
    if (ending == ".afp" || ending == ".ica") files.push_back(entry.path().string());
  }
  return files;
}

TEST(PictureFaults, EveryAllocationThatFailsIsReported) {
  int failures = 0;
  for (const std::string& name : Foreign()) {
    kz::Document document(name);
    ASSERT_TRUE(document.Open().Ok()) << name;
    for (int picture = 1; picture <= document.Pictures(); ++picture) {
      SCOPED_TRACE(name + ", picture " + std::to_string(picture));
      // The first load gives the thread what it keeps.
      kz::DecodedImage first;
      EXPECT_TRUE(document.LoadPicture(picture, {}, first).Ok());
      first = {};
      const size_t blocks = K_LiveBlocks();
      bool fired = true;
      for (long nth = 0; fired; ++nth) {
        kz::DecodedImage image;
        t_allocationsLeft = nth;
        const kz::Outcome outcome = document.LoadPicture(picture, {}, image);
        fired = t_allocationsLeft < 0;
        t_allocationsLeft = -1;
        failures += outcome.Ok() ? 0 : 1;
        EXPECT_EQ(outcome.Ok(), !image.bitmap.Empty());
        ASSERT_TRUE(outcome.Ok() || outcome.status == K_ERROR_NO_MEMORY)
            << nth << ": " << outcome.what;
        image = {};
        ASSERT_EQ(K_LiveBlocks(), blocks) << nth;
      }
    }
  }
  EXPECT_GT(failures, 500);
}

TEST(PictureFaults, FilesThatAreCutAnywhereGiveAPictureOrAReason) {
  const TemporaryFolder folder;
  constexpr size_t cuts = 23;
  for (const std::string& name : Foreign()) {
    const Bytes whole = FileBytes(name);
    for (size_t cut = 1; cut < cuts; ++cut) {
      const size_t size = whole.size() * cut / cuts;
      SCOPED_TRACE(name + " cut off at " + std::to_string(size));
      kz::Document document(folder.File(
          "cut", Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
      if (!document.Open().Ok()) continue;
      for (int picture = 1; picture <= document.Pictures(); ++picture) {
        kz::DecodedImage image;
        const kz::Outcome outcome = document.LoadPicture(picture, {}, image);
        EXPECT_EQ(outcome.Ok(), !image.bitmap.Empty());
        EXPECT_EQ(outcome.Ok(), outcome.what.empty());
      }
    }
  }
}

}  // namespace
