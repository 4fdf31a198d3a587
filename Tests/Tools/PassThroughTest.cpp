// Coded pictures that extract puts into tif and pdf as they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Pixes.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

struct CodedData {
  const char* name;
  unsigned char compression;
  Bytes data;
};

// odd.png in each coding that passes: by libtiff, and one-dimensional by the command.
std::vector<CodedData> CodedPictures(const TemporaryFolder& folder) {
  const std::string oneD = folder / "one.mda";
  EXPECT_EQ(Kzica({"create", oneD, Sample("odd.png"), "--compression", "g3"}).exit, 0);
  const auto raw = [&](const std::string& file, const char* picture) {
    EXPECT_EQ(Kzica({"extract", file, folder / "data.raw", "-i", picture}).exit, 0);
    return FileBytes(folder / "data.raw");
  };
  return {{"g4", 0x82, raw(Sample("report-g4.mda"), "3")},
          {"g3", 0x80, raw(oneD, "1")},
          {"g3-2d", 0x81, raw(Sample("report-mixed.afp"), "3")}};
}

Bytes Reversed(Bytes bytes) {
  for (unsigned char& byte : bytes) {
    unsigned turned = 0;
    for (unsigned bit = 0; bit < 8; ++bit) turned |= (byte >> bit & 1U) << (7 - bit);
    byte = static_cast<unsigned char>(turned);
  }
  return bytes;
}

// A point of the page is a pixel of odd.png.
Bytes OddPage(const CodedData& coded, bool reversed, bool bottomUp) {
  const Bytes encoding =
      Parameter(0x95, {coded.compression, static_cast<unsigned char>(bottomUp ? 3 : 1),
                       static_cast<unsigned char>(reversed ? 1 : 0)});
  return Segment(ImageSize(333, 777, 0, 720, 720) + encoding,
                 reversed ? Reversed(coded.data) : coded.data);
}

bool Holds(const std::string& file, const Bytes& data) {
  const Bytes bytes = FileBytes(file);
  return std::search(bytes.begin(), bytes.end(), data.begin(), data.end()) != bytes.end();
}

// How a tif stores a page, or how poppler sees the image of a pdf.
PixPointer Drawn(const TemporaryFolder& folder, const std::string& file) {
  if (file.ends_with(".tif")) return ReadPix(file, 1);
  // Larger, since poppler blurs what it doesn't enlarge.
  const std::string line =
      "pdftoppm -r 360 -gray -singlefile " + file + " " + (folder / "drawn") + " 2>&1";
  EXPECT_EQ(std::system(line.c_str()), 0);
  const PixPointer large = ReadPix(folder / "drawn.pgm");
  PixPointer drawn(pixCreate(pixGetWidth(large.get()) / 5, pixGetHeight(large.get()) / 5, 1));
  for (int y = 0; y < pixGetHeight(drawn.get()); ++y) {
    for (int x = 0; x < pixGetWidth(drawn.get()); ++x) {
      l_uint32 gray = 0;
      pixGetPixel(large.get(), 5 * x + 2, 5 * y + 2, &gray);
      if (gray < 128) pixSetPixel(drawn.get(), x, y, 1);
    }
  }
  return drawn;
}

TEST(PassThrough, IsTheFilesDataInEveryOrder) {
  const TemporaryFolder folder;
  const PixPointer upright = ReadPix(Sample("odd.png"));
  const PixPointer turned(pixFlipTB(nullptr, upright.get()));
  for (const CodedData& coded : CodedPictures(folder)) {
    for (const bool reversed : {false, true}) {
      for (const bool bottomUp : {false, true}) {
        const std::string document =
            folder.File("page.mda", Document({OddPage(coded, reversed, bottomUp)}));
        for (const char* name : {"page.tif", "page.pdf"}) {
          for (const bool trust : {false, true}) {
            SCOPED_TRACE(std::string(coded.name) + (reversed ? " reversed" : "") +
                         (bottomUp ? " bottom up " : " ") + name + (trust ? " trusted" : ""));
            const std::string out = folder / name;
            std::vector<std::string> line = {"extract", document, out};
            if (trust) line.push_back("--trust");
            const Result run = Kzica(line);
            EXPECT_EQ(run.exit, 0) << run.err;
            EXPECT_TRUE(Holds(out, coded.data));
            if (trust) continue;
            const PixPointer drawn = Drawn(folder, out);
            EXPECT_TRUE(SamePicture(drawn.get(), (bottomUp ? turned : upright).get()));
            if (out.ends_with(".pdf")) {
              EXPECT_EQ(std::system(("qpdf --check " + out + " > /dev/null").c_str()), 0);
            }
          }
        }
      }
    }
  }
}

TEST(PassThrough, DamagedDataAreReadAsAnyOther) {
  const TemporaryFolder folder;
  for (CodedData& coded : CodedPictures(folder)) {
    coded.data.resize(coded.data.size() / 2);
    const std::string document = folder.File("page.mda", Document({OddPage(coded, false, false)}));
    for (const char* name : {"page.tif", "page.pdf"}) {
      SCOPED_TRACE(std::string(coded.name) + " " + name);
      const std::string out = folder / name;
      const Result read = Kzica({"extract", document, out});
      EXPECT_EQ(read.exit, 3);
      EXPECT_THAT(read.err, HasSubstr("page.mda: picture 1: warning: "));
      EXPECT_EQ(Kzica({"extract", document, folder / "page.png"}).exit, 3);
      const PixPointer drawn = Drawn(folder, out);
      EXPECT_TRUE(SamePicture(drawn.get(), ReadPix(folder / "page.png").get()));
      EXPECT_EQ(Kzica({"extract", document, folder / "strict.tif", "--strict"}).exit, 1);
      const Result trusted = Kzica({"extract", document, out, "--trust"});
      EXPECT_EQ(trusted.exit, 0);
      EXPECT_EQ(trusted.err, "");
      EXPECT_TRUE(Holds(out, coded.data));
    }
  }
}

TEST(PassThrough, JpegGoesIntoPdf) {
  const TemporaryFolder folder;
  const std::string document = folder / "color.afp";
  std::filesystem::copy_file(KZ_SAMPLES "/foreign/fop_color_jpeg.afp", document);
  ASSERT_EQ(Kzica({"extract", document, folder / "2.jpg", "-i", "2"}).exit, 0);
  const Bytes jpeg = FileBytes(folder / "2.jpg");
  ASSERT_EQ(Kzica({"extract", document, folder / "all.pdf", "-a"}).exit, 0);
  EXPECT_TRUE(Holds(folder / "all.pdf", jpeg));
  ASSERT_EQ(Kzica({"extract", document, folder / "dithered.pdf", "-a", "--dither"}).exit, 0);
  EXPECT_FALSE(Holds(folder / "dithered.pdf", jpeg));
}

TEST(PassThrough, OtherPicturesBecomeGroup4) {
  const TemporaryFolder folder;
  const std::string out = folder / "all.tif";
  ASSERT_EQ(Kzica({"extract", Sample("report-mixed.afp"), out, "-a", "-j", "3"}).exit, 0);
  const char* pictures[] = {"letter.png", "letter.png", "odd.png",
                            "odd.png",    "odd.png",    "halftone.png"};
  const l_int32 formats[] = {IFF_TIFF_G4, IFF_TIFF_G3, IFF_TIFF_G3,
                             IFF_TIFF_G4, IFF_TIFF_G4, IFF_TIFF_G4};
  for (int page = 1; page <= 6; ++page) {
    const PixPointer read = ReadPix(out, page);
    EXPECT_TRUE(SamePicture(read.get(), ReadPix(Sample(pictures[page - 1])).get())) << page;
    EXPECT_EQ(pixGetInputFormat(read.get()), formats[page - 1]) << page;
  }
}

TEST(PassThrough, TheNumberOfThreadsDoesntShow) {
  const TemporaryFolder folder;
  for (const char* jobs : {"1", "4"}) {
    const std::string in = folder / jobs;
    std::filesystem::create_directory(in);
    for (const char* name : {"/all.pdf", "/all.tif", "/%02d.png", "/%d.jpg"}) {
      EXPECT_EQ(Kzica({"extract", Sample("report-mixed.afp"), in + name, "-a", "-j", jobs}).exit,
                0);
    }
  }
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "1")) {
    ++files;
    const std::string name = entry.path().filename();
    EXPECT_TRUE(FileBytes(entry.path()) == FileBytes(folder / "4/" + name)) << name;
  }
  EXPECT_EQ(files, 14U);
  for (const char* jobs : {"0", "-1", "many"}) {
    EXPECT_EQ(Kzica({"extract", Sample("report-mixed.afp"), folder / "no.pdf", "-j", jobs}).exit,
              2);
  }
}

}  // namespace
