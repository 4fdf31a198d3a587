// Files that no code of the project wrote decode to their pictures, pixel for
// pixel; and many threads at once load and save all kinds of files.
#include <gtest/gtest.h>
#include <png.h>

#include <barrier>
#include <thread>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "Tests/API/FailingFiles.h"
#include "Tests/API/LoadPaths.h"
#include "Tests/API/LoadRequest.h"
#include "Toolkit/Editing/SavePage.h"

namespace {

const std::string kSamples = KZ_SAMPLES "/";

// A picture of the samples: rows of (width + 7) / 8 bytes, 1 = black.
struct Picture {
  explicit Picture(const std::string& name) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, (kSamples + name).c_str()), 0);
    image.format = PNG_FORMAT_GRAY;
    Bytes grey(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, grey.data(), 0, nullptr), 0);
    width = image.width;
    height = image.height;
    rowBytes = (width + 7) / 8;
    rows.resize(rowBytes * height);
    for (size_t i = 0; i < grey.size(); ++i) {
      const size_t x = i % width;
      if (grey[i] == 0)
        rows[i / width * rowBytes + x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
    }
  }
  size_t width, height, rowBytes;
  Bytes rows;
};

// Read once each, whichever thread comes first.
const Picture& PictureOf(const std::string& name) {
  static const Picture letter("letter.png"), halftone("halftone.png"), odd("odd.png");
  return name == "letter" ? letter : name == "halftone" ? halftone : odd;
}

struct Page {
  const char* file;
  int page;
  const char* picture;
};
constexpr Page kPages[] = {
    {"letter-g4.ica", 1, "letter"},        {"report-g4.mda", 1, "letter"},
    {"report-g4.mda", 2, "halftone"},      {"report-g4.mda", 3, "odd"},
    {"report-mixed.afp", 1, "letter"},     {"report-mixed.afp", 2, "letter"},
    {"report-mixed.afp", 3, "odd"},        {"report-mixed.afp", 4, "odd"},
    {"report-mixed.afp", 5, "odd"},        {"report-mixed.afp", 6, "halftone"},
    {"letter-scattered.afp", 1, "letter"}, {"formatter.afp", 1, "letter"},
    {"formatter.afp", 2, "odd"},
};

void ExpectPicture(const Page& page) {
  const Picture& picture = PictureOf(page.picture);
  LoadRequest load(static_cast<int>(picture.width), static_cast<int>(picture.height));
  ASSERT_EQ(load(kSamples + page.file, page.page), 1) << page.file << " page " << page.page;
  ASSERT_EQ(load.rows.size(), picture.height);
  // What pads a row is the producer's affair.
  Bytes loaded = load.Picture(picture.rowBytes);
  const auto used = static_cast<unsigned char>(0xFF << (picture.rowBytes * 8 - picture.width));
  for (size_t end = picture.rowBytes; end <= loaded.size(); end += picture.rowBytes) {
    loaded[end - 1] &= used;
  }
  EXPECT_TRUE(loaded == picture.rows) << page.file << " page " << page.page;
}

TEST(Samples, PicturesAreThose) {
  for (const Page& page : kPages) ExpectPicture(page);
  EXPECT_EQ(K_OpenFiles(), 0u);
}

// A document of pages of every kind, one of which is deleted again.
Bytes SavedDocument() {
  const TemporaryFolder folder;
  const std::string file = folder / "saved";
  for (const kz::Compression compression :
       {kz::Compression::Group4, kz::Compression::Group3, kz::Compression::IbmMmr,
        kz::Compression::Abic, kz::Compression::None, kz::Compression::Jpeg}) {
    kz::Bitmap picture;
    EXPECT_EQ(picture.Create(200, 50, compression == kz::Compression::Jpeg ? 8 : 1), K_SUCCESS);
    for (int y = 0; y < 50; ++y) {
      const Bytes row = Pattern(25, static_cast<unsigned>(y));
      std::copy(row.begin(), row.end(), picture.TopDownRow(y));
    }
    kz::SaveRequest request;
    request.mode = kz::SaveMode::Append;
    request.compression = compression;
    EXPECT_EQ(kz::SavePage(file, picture, request).status, K_SUCCESS);
  }
  _DELETEDISPATCH deletion = {file.c_str()};
  EXPECT_EQ(fltDeletePage(&deletion), K_SUCCESS);
  return FileBytes(file);
}

TEST(Threads, LoadSaveAndDeleteAllKindsAtOnce) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 40;
  for (const Path& path : Paths()) ASSERT_FALSE(path.picture.empty());
  PictureOf("odd");
  const Bytes saved = SavedDocument();
  const size_t blocks = K_LiveBlocks();
  std::barrier gate(kThreads);
  {
    std::vector<std::jthread> threads;
    for (size_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        gate.arrive_and_wait();
        for (const Page& page : kPages) {
          if (page.picture != std::string("letter") || thread % 4 == 0) ExpectPicture(page);
        }
        for (int round = 0; round < kRounds / 8; ++round) ASSERT_TRUE(SavedDocument() == saved);
        FailingFiles files;
        const TemporaryFolder folder;
        for (size_t round = 0; round < kRounds; ++round) {
          const Path& path = Paths()[(round + thread) % Paths().size()];
          const Style style = {thread % 2 == 0, {1}, thread % 3 == 0};
          folder.File("file",
                      round % 3 == 0 ? path.segment : Document({path.segment}, {50}, style));
          LoadRequest load(path.width, path.height, path.depth);
          ASSERT_EQ(load(folder / "file"), 1) << path.name;
          ASSERT_EQ(load.Picture(path.bytesPerRow), path.picture) << path.name;
        }
      });
    }
  }
  EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
  EXPECT_EQ(K_LiveBlocks(), blocks) << "the threads' records are gone, too";
  EXPECT_EQ(K_OpenFiles(), 0u);
}

}  // namespace
