// Small files that ask for much: time and memory stay in proportion to the file
// and the picture that it declares. The limits are far above what is needed and
// far below what a product of the two lengths would take.
#include <allheaders.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/Sanitized.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

#ifdef KZ_SANITIZED
constexpr bool kSanitized = true;  // address space is reserved by the terabyte
#else
constexpr bool kSanitized = false;
#endif
constexpr rlim_t kProgram = rlim_t{96} << 20;  // address space of the idle program, and buffers
constexpr rlim_t kSeconds = kSanitized ? 60 : 15;
constexpr size_t kMany = 1000000;

Conditions Bounded(rlim_t picture) {
  Conditions conditions = {.processorTime = kSeconds};
  if (!kSanitized) conditions.memory = kProgram + picture;
  return conditions;
}

Bytes Repeat(const Bytes& part, size_t count) {
  Bytes all;
  all.reserve(part.size() * count);
  for (size_t i = 0; i < count; ++i) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST(Cost, TheLargestPictureInFortyBytesTakesItsBitmapOnly) {
  constexpr unsigned kLargest = 32767;
  const Bytes endOfBlock = {0x00, 0x10, 0x01, 0x00, 0x10, 0x01};
  const TemporaryFolder folder;
  const struct {
    const char* name;
    unsigned char compression;
    unsigned char bits;
    Bytes data;
    bool white;  // an end marker: the rows that are missing are white
  } cases[] = {{"g3", 0x80, 1, endOfBlock, false},     {"g3-2d", 0x81, 1, endOfBlock, false},
               {"g4", 0x82, 1, endOfBlock, true},      {"mmr", 0x01, 1, {}, false},
               {"abic", 0x08, 1, {}, false},           {"abic 4", 0x08, 4, {0, 0}, false},
               {"cabic", 0x0A, 4, {0, 0}, false},      {"none", 0x03, 1, endOfBlock, false},
               {"jpeg", 0x83, 24, {0xFF, 0xD8}, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes depth = c.bits > 1 ? Parameter(0x96, {c.bits}) : Bytes{};
    const std::string file = folder.File(
        "file.ica",
        Segment(ImageSize(kLargest, kLargest) + Encoding(c.compression) + depth, c.data));
    const rlim_t picture = rlim_t{kLargest + 1} * (kLargest + 1) * (c.bits == 24 ? 1 : c.bits) / 8;
    for (const char* command : {"info", "text", "dump"}) {
      EXPECT_EQ(Kzica({command, file}, Bounded(0)).signal, 0) << command;
    }
    const Result run = Kzica({"check", file}, Bounded(picture));
    EXPECT_EQ(run.signal, 0);
    EXPECT_TRUE(run.exit == 0 || (run.exit == 1 && !c.white)) << run.err;
    EXPECT_THAT(run.err, HasSubstr(run.exit == 0 ? "" : "(status -"));
    EXPECT_THAT(run.err, testing::Not(HasSubstr("memory")));
    const Result limited = Kzica({"check", file, "--max-pixels", "1000000"}, Bounded(0));
    EXPECT_EQ(limited.exit, 1);
    if (c.compression != 0x83) {  // JPEG data without a frame have no size
      EXPECT_THAT(limited.err,
                  HasSubstr("32767 x 32767 pixels is above the limit of 1000000 pixels"));
    }
  }
}

// Text and profiles in a PNG that inflate to a thousand times their size.
TEST(Cost, PngChunksThatAreNotThePictureTakeNothing) {
  const Bytes letter = FileBytes(KZ_SAMPLES "/odd.png");
  constexpr size_t kHeader = 33;  // signature and IHDR
  Bytes text(7000000, 'a');       // libpng takes no more at once
  size_t size = 0;
  l_uint8* deflated = zlibCompress(text.data(), text.size(), &size);
  const Bytes inflates(deflated, deflated + size);
  lept_free(deflated);
  const auto big32 = [](size_t value) {
    return Big16(static_cast<unsigned>(value >> 16)) + Big16(value & 0xFFFF);
  };
  const auto chunk = [&](const Bytes& named) {
    uint32_t crc = 0xFFFFFFFF;
    for (const unsigned char byte : named) {
      crc ^= byte;
      for (int i = 0; i < 8; ++i) crc = crc >> 1 ^ (0xEDB88320 & (0 - (crc & 1)));
    }
    return big32(named.size() - 4) + named + big32(crc ^ 0xFFFFFFFF);
  };
  Bytes file = Slice(letter, 0, kHeader);
  file = file + chunk(Bytes{'i', 'C', 'C', 'P', 'p', 0, 0} + inflates);
  const Bytes compressed = chunk(Bytes{'z', 'T', 'X', 't', 't', 0, 0} + inflates);
  const Bytes international = chunk(Bytes{'i', 'T', 'X', 't', 't', 0, 1, 0, 0, 0} + inflates);
  file = file + Repeat(compressed + international, 40) + Slice(letter, kHeader, SIZE_MAX);
  const TemporaryFolder folder;
  const std::string inflated = folder.File("a.png", file);
  const Result plain = Kzica({"create", folder / "out.mda", KZ_SAMPLES "/odd.png"});
  const Result run = Kzica({"create", folder / "out.mda", inflated}, {.processorTime = kSeconds});
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_EQ(run.err, "");
  // Without more memory they would be left out, too.
  EXPECT_LT(run.memory, plain.memory + (uint64_t{32} << 20));
}

TEST(Cost, PicturesAboveTheLimitAreRefused) {
  const TemporaryFolder folder;
  // JPEG data that declare more than the page does.
  folder.File("jpeg.ica", Segment(ImageSize(8, 8) + Encoding(0x83),
                                  {0xFF, 0xD8, 0xFF, 0xC0, 0, 17,   8, 0x7F, 0xFF, 0x7F, 0xFF,
                                   3,    1,    0x11, 0,    2, 0x11, 0, 3,    0x11, 0}));
  EXPECT_THAT(Kzica({"check", folder / "jpeg.ica", "--max-pixels", "1000000"}, Bounded(0)).err,
              HasSubstr("32767 x 32767 pixels is above the limit of 1000000"));
  folder.File("file.ica", Segment(ImageSize(1000, 1000) + Encoding(0x82),
                                  {0x00, 0x10, 0x01, 0x00, 0x10, 0x01}));
  const struct {
    const char* limit;
    int exit;
    const char* message;
  } cases[] = {
      {"1000000", 0, ""},
      {"999999", 1, "the picture of 1000 x 1000 pixels is above the limit of 999999 pixels"},
      {"0", 2, "'0' is no number of pixels"},
      {"many", 2, "'many' is no number of pixels"}};
  for (const auto& c : cases) {
    const Result run = Kzica({"check", folder / "file.ica", "--max-pixels", c.limit});
    EXPECT_EQ(run.exit, c.exit) << run.err;
    EXPECT_THAT(run.err, HasSubstr(c.message));
  }
}

TEST(Cost, MillionsOfFieldsTakeOnePass) {
  const Bytes begin = Field(0xA8A8), end = Field(0xA9A8);
  const Bytes beginPage = Field(0xA8AF), endPage = Field(0xA9AF);
  const Bytes bare = Slice(Segment(ImageSize(8, 8) + Encoding(0x82), {}), 0, 27);
  const Bytes page = Slice(
      Document({Segment(ImageSize(8, 8) + Encoding(0x82), {0x00, 0x10, 0x01, 0x00, 0x10, 0x01})}),
      8, SIZE_MAX);
  const Bytes onePage = Slice(page, 0, page.size() - 8);
  const Bytes bad = Document({Segment(ImageSize(8, 8) + Encoding(0x03), {1})});
  const Bytes badPage = Slice(bad, 8, bad.size() - 16);
  const TemporaryFolder folder;
  const struct {
    const char* name;
    Bytes content;
  } cases[] = {
      {"empty image data", begin + beginPage + Repeat(Field(0xEEFB), kMany) + endPage + end},
      {"comments", begin + Repeat(Field(0xEEEE), kMany) + beginPage + endPage + end},
      {"empty text", begin + beginPage + Repeat(Field(0xEE9B), kMany) + endPage + end},
      {"pages", begin + Repeat(beginPage + endPage, kMany / 2) + end},
      {"documents in documents", Repeat(begin, kMany)},
      {"pages in pages", begin + Repeat(beginPage, kMany)},
      {"groups in groups",
       begin + Repeat(Field(0xA8AD), kMany / 2) + Repeat(Field(0xA9AD), kMany / 2) + end},
      {"resource groups",
       Repeat(Field(0xA8C6), kMany / 2) + Repeat(Field(0xA9C6), kMany / 2) + begin + end},
      {"segments", Repeat({0x70, 0x00}, kMany)},
      {"image contents", Repeat({0x70, 0x00, 0x91, 0x01, 0xFF}, 20000)},
      {"parameters", kPrologue + Repeat(Parameter(0x9F, {}), kMany)},
      {"pieces of data", bare + Repeat({0xFE, 0x92, 0x00, 0x00}, kMany) + kEpilogue},
      {"images", begin + Repeat(onePage, 20000) + end},
      {"damaged images", begin + Repeat(badPage, 20000) + end},
  };
  for (const auto& c : cases) {
    const std::string file = folder.File("file", c.content);
    const rlim_t extra = 8 * c.content.size();
    for (const char* line :
         {"info FILE -p z", "check FILE", "text FILE", "dump FILE", "extract FILE OUT.tif -p z",
          "delete FILE -p 1", "replace FILE ODD -p z", "assemble OUT.mda FILE"}) {
      Conditions conditions = Bounded(extra);
      conditions.output = "/dev/null";
      const std::map<std::string, std::string> names = {
          {"FILE", file}, {"OUT", folder / "out"}, {"ODD", KZ_SAMPLES "/odd.png"}};
      const Result run = Kzica(Words(line, names), conditions);
      EXPECT_EQ(run.signal, 0) << line << " of many " << c.name;
      EXPECT_THAT(run.err, testing::Not(HasSubstr("memory"))) << line << c.name;
    }
  }
}

TEST(Cost, ManyFilesInOneFolderTakeAsLongAsTheyAre) {
  constexpr int kFiles = 16000;
  const TemporaryFolder folder(TemporaryFolder::InMemory());
  const Bytes page = Field(0xA8AF) +
                     PictureDataFields(Segment(ImageSize(8, 8) + Encoding(0x82),
                                               {0x00, 0x10, 0x01, 0x00, 0x10, 0x01})) +
                     Field(0xA9AF);
  const std::string file =
      folder.File("file", Field(0xA8A8) + Repeat(page, kFiles) + Field(0xA9A8));
  for (const char* command : {"split FILE OUT-%d.mda", "extract --all FILE OUT-%d.raw"}) {
    const Result run = Kzica(Words(command, {{"FILE", file}, {"OUT", folder / "out"}}), Bounded(0));
    EXPECT_EQ(run.exit, 0) << run.err;
  }
  EXPECT_EQ(folder.Names().size(), size_t{2 * kFiles + 1});
}

TEST(Cost, TheLastOfManyPagesComesOutAtOnce) {
  constexpr size_t kPages = 40000;
  const Bytes empty = Field(0xA8AF) + Field(0xA9AF);
  const auto page = [](unsigned char fill) {
    return Field(0xA8AF) +
           PictureDataFields(Segment(ImageSize(8, 8) + Encoding(0x03), Bytes(8, fill)), {60}) +
           Field(0xA9AF);
  };
  const TemporaryFolder folder;
  // The last page's picture is not the last picture's number.
  const std::string file = folder.File(
      "file", Field(0xA8A8) + empty + Repeat(page(1), kPages - 2) + page(2) + Field(0xA9A8));
  const struct {
    const char* option;
    const char* number;
    unsigned char fill;
  } cases[] = {
      {"--page", "40000", 2}, {"--page", "39999", 1}, {"--image", "39999", 2}, {"--page", "z", 2}};
  for (const auto& c : cases) {
    const Result run = Kzica({"extract", file, folder / "out.raw", c.option, c.number},
                             {.processorTime = kSanitized ? 20 : 2});
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(FileBytes(folder / "out.raw"), Bytes(8, c.fill)) << c.option << c.number;
  }
  EXPECT_EQ(Kzica({"delete", file, "-p", "40000", "--dry-run"}).out,
            "would remove page 40000 of 40000: one picture\n");
}

}  // namespace
