// How pages come into a file, and when there is no room for more.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

TEST(PictureWriter, PreparedPagesAreTheSameAsAddedOnes) {
  const TemporaryFolder folder;
  for (const PictureFormatRow& format : kPictureFormats) {
    for (const int bits : {1, 4, 8, 24}) {
      for (const Colors colors : {Colors::kNone, Colors::kColored}) {
        if (format.format == PictureFormat::kPbm && bits > 1) continue;
        if (bits == 24 && colors != Colors::kNone) continue;
        SCOPED_TRACE(std::string(format.ending) + " " + std::to_string(bits));
        // Several strips, and a row that isn't whole bytes.
        const Bitmap page = RandomBitmap(611, 300, bits, colors, K_VIEW_BOTTOM_UP);
        const std::string added = folder / (std::string("added.") + format.ending);
        const std::string prepared = folder / (std::string("prepared.") + format.ending);
        const int pages = format.holdsPages ? 2 : 1;
        PictureWriter one, two;
        ASSERT_TRUE(one.Open(added).Ok());
        ASSERT_TRUE(two.Open(prepared).Ok());
        for (int i = 0; i < pages; ++i) {
          ASSERT_TRUE(one.AddPage(page).Ok());
          PictureWriter::PreparedPage ready;
          ASSERT_TRUE(two.Prepare(page, ready).Ok());
          ASSERT_TRUE(two.AddPrepared(std::move(ready)).Ok());
        }
        ASSERT_TRUE(one.Commit().Ok());
        ASSERT_TRUE(two.Commit().Ok());
        EXPECT_EQ(FileBytes(added), FileBytes(prepared));
      }
    }
  }
  PictureWriter tif, pdf;
  ASSERT_TRUE(tif.Open(folder / "a.tif").Ok());
  ASSERT_TRUE(pdf.Open(folder / "a.pdf").Ok());
  PictureWriter::PreparedPage page;
  EXPECT_EQ(tif.AddPrepared(std::move(page)).status, K_ERROR_INVALID_FORMAT) << "nothing in it";
  ASSERT_TRUE(pdf.Prepare(RandomBitmap(9, 9, 1), page).Ok());
  EXPECT_EQ(tif.AddPrepared(std::move(page)).status, K_ERROR_SAVE_FORMAT);
  EXPECT_EQ(tif.Prepare(Bitmap(), page).status, K_ERROR_INVALID_FORMAT);
}

TEST(PictureWriter, PagesArePreparedOnThreadsWhileOthersAreAdded) {
  const TemporaryFolder folder;
  for (const char* ending : {"tif", "pdf"}) {
    constexpr size_t count = 24;
    std::vector<Bitmap> bitmaps;
    for (size_t i = 0; i < count; ++i) {
      const int bits[] = {1, 8, 24, 1};
      bitmaps.push_back(SmoothBitmap(100 + static_cast<int>(i), 90, bits[i % 4]));
    }
    const std::string alone = folder / (std::string("alone.") + ending);
    const std::string shared = folder / (std::string("shared.") + ending);
    PictureWriter one, two;
    ASSERT_TRUE(one.Open(alone).Ok());
    ASSERT_TRUE(two.Open(shared).Ok());
    for (const Bitmap& bitmap : bitmaps) ASSERT_TRUE(one.AddPage(bitmap).Ok());
    std::vector<std::promise<PictureWriter::PreparedPage>> pages(count);
    std::atomic<size_t> next = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        for (size_t at; (at = next++) < count;) {
          PictureWriter::PreparedPage page;
          EXPECT_TRUE(two.Prepare(bitmaps[at], page).Ok());
          pages[at].set_value(std::move(page));
        }
      });
    }
    for (auto& page : pages) EXPECT_TRUE(two.AddPrepared(page.get_future().get()).Ok());
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(one.Commit().Ok());
    ASSERT_TRUE(two.Commit().Ok());
    EXPECT_EQ(FileBytes(alone), FileBytes(shared));
  }
}

TEST(PictureWriter, ATifBeyondFourGigabytesFailsInWords) {
  for (const int bits : {1, 8}) {
    const TemporaryFolder folder;
    PictureWriter writer;
    ASSERT_TRUE(writer.Open(folder / "large.tif").Ok());
    ASSERT_TRUE(writer.AddPage(RandomBitmap(9, 9, 1)).Ok());
    // The file on its way, made longer by a hole: pages go to the end of what is there.
    ASSERT_EQ(folder.Names().size(), 1U);
    const std::string onItsWay = folder / folder.Names()[0];
    std::filesystem::resize_file(onItsWay, (uintmax_t{1} << 32) - 17000);
    ASSERT_TRUE(writer.AddPage(RandomBitmap(9, 9, 1)).Ok());
    const Outcome outcome = writer.AddPage(RandomBitmap(400, 200, bits));
    EXPECT_EQ(outcome.status, K_ERROR_WRITE);
    EXPECT_NE(outcome.what.find("4 GiB"), std::string::npos) << outcome.what;
    EXPECT_TRUE(folder.Names().empty());
  }
}

}  // namespace

}  // namespace kz::test
