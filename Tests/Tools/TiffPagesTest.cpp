// Pages made of Group 3 and Group 4 data of tif files, which libtiff writes here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TestPictures.h"
#include "Tests/Support/WrittenFile.h"
#include "Tests/Tools/Program.h"
#include "Toolkit/Documents/Document.h"

namespace {

using testing::HasSubstr;

constexpr int kWidth = 173, kHeight = 97;

// How a page of a tif is stored.
struct Form {
  int compression = COMPRESSION_CCITTFAX4;
  int options = 0;  // of Group 3
  int fillOrder = FILLORDER_MSB2LSB;
  int photometric = PHOTOMETRIC_MINISWHITE;
  int orientation = ORIENTATION_TOPLEFT;
  int rowsPerStrip = kHeight;
};
constexpr Form kG4 = {};
constexpr Form kG3 = {COMPRESSION_CCITTFAX3};
constexpr Form kG3Filled = {COMPRESSION_CCITTFAX3, GROUP3OPT_FILLBITS};
constexpr Form kG32D = {COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING};
constexpr Form kRuns = {COMPRESSION_CCITTRLE};

Form With(Form form, int Form::*member, int value) {
  form.*member = value;
  return form;
}
Form Reversed(const Form& form) { return With(form, &Form::fillOrder, FILLORDER_LSB2MSB); }
Form InStrips(const Form& form) { return With(form, &Form::rowsPerStrip, 20); }

class TiffPages : public testing::Test {
 protected:
  TIFF* Open(const char* mode) const {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    return TIFFOpen(m_tif.c_str(), mode);
  }

  static void SetTags(TIFF* tiff, const Form& form, int width, int height, bool resolution) {
    const auto set = [&](ttag_t tag, int value) { TIFFSetField(tiff, tag, value); };
    set(TIFFTAG_IMAGEWIDTH, width);
    set(TIFFTAG_IMAGELENGTH, height);
    set(TIFFTAG_BITSPERSAMPLE, 1);
    set(TIFFTAG_SAMPLESPERPIXEL, 1);
    set(TIFFTAG_PHOTOMETRIC, form.photometric);
    set(TIFFTAG_COMPRESSION, form.compression);
    set(TIFFTAG_FILLORDER, form.fillOrder);
    set(TIFFTAG_ORIENTATION, form.orientation);
    set(TIFFTAG_ROWSPERSTRIP, form.rowsPerStrip);
    if (form.compression == COMPRESSION_CCITTFAX3) set(TIFFTAG_GROUP3OPTIONS, form.options);
    if (form.compression == COMPRESSION_CCITTFAX4) set(TIFFTAG_GROUP4OPTIONS, form.options);
    if (!resolution) return;
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 204.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 196.0);
    set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  }

  // Writes blots of black as a page, after those that are there with mode "a".
  void Write(const Form& form, const char* mode = "w") const {
    TIFF* tiff = Open(mode);
    SetTags(tiff, form, kWidth, kHeight, true);
    for (int y = 0; y < kHeight; ++y) {
      Bytes row((kWidth + 7) / 8);
      for (int x = 0; x < kWidth; ++x) {
        const bool black = (x / 7 * 31 + y / 5 * 17) % 11 < 3 || x * y % 101 == 7;
        if (black) row[static_cast<size_t>(x / 8)] |= static_cast<unsigned char>(0x80 >> x % 8);
      }
      TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y), 0);
    }
    TIFFClose(tiff);
  }

  // Writes data as the only strip of a page.
  void WriteRaw(const Form& form, Bytes data, int width = kWidth, int height = kHeight,
                bool resolution = true) const {
    TIFF* tiff = Open("w");
    SetTags(tiff, With(form, &Form::rowsPerStrip, height), width, height, resolution);
    TIFFWriteRawStrip(tiff, 0, data.data(), static_cast<tmsize_t>(data.size()));
    TIFFClose(tiff);
  }

  // The bytes of the strips of a page, one after the other, in their usual bit order.
  Bytes Strips(tdir_t page = 0) const {
    TIFF* tiff = Open("r");
    EXPECT_EQ(TIFFSetDirectory(tiff, page), 1);
    Bytes strips;
    for (uint32_t i = 0; i < TIFFNumberOfStrips(tiff); ++i) {
      Bytes strip(TIFFGetStrileByteCount(tiff, i));
      TIFFReadRawStrip(tiff, i, strip.data(), static_cast<tmsize_t>(strip.size()));
      strips = strips + strip;
    }
    uint16_t fillOrder = FILLORDER_MSB2LSB;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &fillOrder);
    if (fillOrder == FILLORDER_LSB2MSB) {
      TIFFReverseBits(strips.data(), static_cast<tmsize_t>(strips.size()));
    }
    TIFFClose(tiff);
    return strips;
  }

  // Whether the first picture of the document looks as libtiff has the page.
  bool LooksAsTheTif() const {
    TIFF* tiff = Open("r");
    std::vector<uint32_t> raster(kWidth * kHeight);
    const int read =
        TIFFReadRGBAImageOriented(tiff, kWidth, kHeight, raster.data(), ORIENTATION_TOPLEFT, 1);
    TIFFClose(tiff);
    kz::Bitmap bitmap;
    const kz::Outcome outcome = kz::LoadPicture(m_document, 1, {}, bitmap);
    if (read != 1 || !outcome.Ok() || !outcome.warnings.empty()) return false;
    if (bitmap.Width() != kWidth || bitmap.Height() != kHeight) return false;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const auto pixel = raster[static_cast<size_t>(y * kWidth + x)];
        if (kz::test::ColorAt(bitmap, x, y)[0] != static_cast<int>(TIFFGetR(pixel))) return false;
      }
    }
    return true;
  }

  Result Create(const std::string& options = "") const {
    std::vector<std::string> line = {"create", m_document, m_tif};
    for (const std::string& word : Words(options)) line.push_back(word);
    return Kzica(line);
  }

  WrittenImage Image() const {
    const Bytes file = FileBytes(m_document);
    return file.at(0) == 0x70 ? WrittenSegment(file) : WrittenPages(file).at(0);
  }

  const TemporaryFolder m_folder;
  const std::string m_tif = m_folder / "in.tif";
  const std::string m_document = m_folder / "document";
};

TEST_F(TiffPages, HaveTheDataOfTheirFiles) {
  enum : unsigned char { kMh = 0x80, kMr = 0x81, kMmr = 0x82 };
  const struct {
    const char* name;
    Form form;
    const char* options;
    bool passes;
    unsigned char compression;
  } cases[] = {
      {"Group 4", kG4, "", true, kMmr},
      {"trusted", kG4, "--trust", true, kMmr},
      {"asked for", kG4, "-c g4 --bits 1", true, kMmr},
      {"in a bare file", kG4, "--container ioca", true, kMmr},
      {"with carriage control", kG4, "--container afp", true, kMmr},
      {"Group 3", kG3, "", true, kMh},
      {"Group 3, trusted", kG3, "--trust", true, kMh},
      {"Group 3, asked for", kG3, "-c g3", true, kMh},
      {"filled", kG3Filled, "", true, kMh},
      {"two-dimensional", kG32D, "", true, kMr},
      {"two-dimensional, bare", kG32D, "--container ioca", true, kMr},
      {"reversed", Reversed(kG4), "", true, kMmr},
      {"reversed, trusted", Reversed(kG4), "--trust", true, kMmr},
      {"reversed Group 3", Reversed(kG3Filled), "", true, kMh},
      {"joined", InStrips(kG3), "", true, kMh},
      {"joined, filled", InStrips(kG3Filled), "", true, kMh},
      {"joined, two-dimensional", InStrips(kG32D), "", true, kMr},
      {"joined, reversed", InStrips(Reversed(kG32D)), "", true, kMr},
      // Nobody joins what he doesn't look at.
      {"strips, trusted", InStrips(kG3), "--trust", false, kMmr},
      {"Group 4 in strips", InStrips(kG4), "", false, kMmr},
      {"white on black", With(kG4, &Form::photometric, PHOTOMETRIC_MINISBLACK), "", false, kMmr},
      {"bottom up", With(kG4, &Form::orientation, ORIENTATION_BOTLEFT), "", false, kMmr},
      {"turned", With(kG3, &Form::orientation, ORIENTATION_BOTRIGHT), "--trust", false, kMmr},
      {"without EOL codes", kRuns, "", false, kMmr},
      {"another compression", kG3, "-c g4", false, kMmr},
      {"yet another", kG4, "-c g3-2d", false, kMr},
      {"coded anew", kG32D, "--recode", false, kMmr},
      {"coded anew, whatever is trusted", kG3, "--recode --trust", false, kMmr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Write(c.form);
    const Result run = Create(c.options);
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const WrittenImage image = Image();
    EXPECT_EQ(image.encoding, (Bytes{c.compression, 0x01}));
    EXPECT_EQ(image.size, Hex("00 07F8 07A8 00AD 0061"));
    // Without another order of rows, Group 4 data may come out the same again.
    if (c.passes || c.compression != kMmr || c.form.compression != COMPRESSION_CCITTFAX4) {
      EXPECT_EQ(image.data == Strips(), c.passes);
    }
    EXPECT_TRUE(LooksAsTheTif());
  }
}

TEST_F(TiffPages, OfFunctionSet11HaveWhatThatCanHold) {
  for (const auto& [form, passes] : {std::pair{kG4, true}, {kG3, false}}) {
    Write(form);
    ASSERT_EQ(Create("--function-set 11").exit, 0);
    const Bytes file = FileBytes(m_document), strip = Strips();
    EXPECT_EQ(std::search(file.begin(), file.end(), strip.begin(), strip.end()) != file.end(),
              passes);
    EXPECT_THAT(Kzica({"dump", m_document}).out, HasSubstr("IDE Structure"));
    EXPECT_TRUE(LooksAsTheTif());
  }
}

TEST_F(TiffPages, HaveTheResolutionThatIsAskedFor) {
  Write(kG4);
  ASSERT_EQ(Create("--dpi 300x150").exit, 0);
  EXPECT_EQ(Image().size, Hex("00 0BB8 05DC 00AD 0061"));
  EXPECT_EQ(Image().data, Strips());
  // What no page can say is refused as ever.
  EXPECT_THAT(Create("--dpi 4000").err, HasSubstr("at most 3276 dots per inch"));
}

// Files that others wrote come as several pages, and go where other pages are.
TEST_F(TiffPages, AreMadeByAllCommands) {
  Write(kG4);
  Write(kG32D, "a");
  ASSERT_EQ(Create().exit, 0);
  std::vector<WrittenImage> pages = WrittenPages(FileBytes(m_document));
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(pages[0].data, Strips(0));
  EXPECT_EQ(pages[1].data, Strips(1));
  EXPECT_EQ(pages[1].encoding, (Bytes{0x81, 0x01}));
  Write(kG3);
  const Bytes strip = Strips();
  const struct {
    const char* line;
    size_t page;
  } edits[] = {{"append DOCUMENT TIF", 3},
               {"append DOCUMENT TIF --in-place --trust", 3},
               {"insert DOCUMENT TIF --after 1", 2},
               {"replace DOCUMENT TIF --page 2 --trust", 2}};
  for (const auto& edit : edits) {
    ASSERT_EQ(Kzica({"create", m_document, Sample("odd.png"), Sample("odd.png")}).exit, 0);
    ASSERT_EQ(Kzica(Words(edit.line, {{"DOCUMENT", m_document}, {"TIF", m_tif}})).exit, 0);
    pages = WrittenPages(FileBytes(m_document));
    EXPECT_EQ(pages.at(edit.page - 1).data, strip) << edit.line;
  }
}

// Data of the filter's own come out as the file that it wrote, byte by byte.
TEST_F(TiffPages, HaveTheEnvelopeOfTheFilter) {
  const struct {
    int width, height;
    const char* compression;
    const Form form;
  } cases[] = {{50, 20, "g4", kG4},
               {1100, 1500, "g4", kG4},
               {640, 900, "g3", kG3},
               {640, 900, "g3-2d", kG32D}};
  for (const auto& c : cases) {
    for (const char* dpi : {"", " --dpi 300x200"}) {
      for (const std::string container : {"modca", "afp", "ioca"}) {
        // Noise, of which the largest picture makes more than is written at once.
        const Bytes noise =
            Pattern(static_cast<size_t>((c.width + 7) / 8) * static_cast<size_t>(c.height));
        const std::string header =
            "P4 " + std::to_string(c.width) + " " + std::to_string(c.height) + "\n";
        const std::string pbm = m_folder.File("in.pbm", kz::test::AsBytes(header) + noise);
        const std::string options = "--container " + container + dpi;
        std::vector<std::string> line = {"create", m_document, pbm, "-c", c.compression};
        for (const std::string& word : Words(options)) line.push_back(word);
        ASSERT_EQ(Kzica(line).exit, 0);
        const Bytes filtered = FileBytes(m_document);
        WriteRaw(c.form, Image().data, c.width, c.height, false);
        ASSERT_EQ(Create(options).exit, 0);
        EXPECT_TRUE(FileBytes(m_document) == filtered) << c.compression << " " << options;
        if (container == "ioca") continue;
        ASSERT_EQ(Kzica({"append", m_document, m_tif}).exit, 0);
        const std::vector<WrittenImage> pages = WrittenPages(FileBytes(m_document));
        ASSERT_EQ(pages.size(), 2u);
        EXPECT_TRUE(pages[0].data == pages[1].data && pages[0].pieces == pages[1].pieces);
      }
    }
  }
}

TEST_F(TiffPages, AreWholeUnlessDataAreTrusted) {
  Write(kG4);
  const Bytes group4 = Strips();
  Write(kG3);
  const Bytes group3 = Strips();
  Write(kRuns);
  const Bytes bare = Strips();
  const auto damaged = [](Bytes data) {
    for (size_t i = data.size() / 2; i < data.size() / 2 + 6; ++i) data[i] ^= 0x5A;
    return data;
  };
  const Form uncompressed = With(kG4, &Form::options, GROUP4OPT_UNCOMPRESSED);
  const struct {
    const char* name;
    Form form;
    Bytes data;
    int height;
    int exit;      // when the data are checked
    bool trusted;  // whether they pass without the check
  } cases[] = {
      {"damaged Group 4", kG4, damaged(group4), kHeight, 1, true},
      {"damaged Group 3", kG3, damaged(group3), kHeight, 3, true},
      {"Group 4 cut short", kG4, Slice(group4, 0, group4.size() / 2), kHeight, 1, true},
      {"an end before the last row", kG4, group4, kHeight + 5, 0, true},
      {"uncompressed mode", uncompressed, group4, kHeight, 0, false},
      {"no EOL codes", kG3, bare, kHeight, 1, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    WriteRaw(c.form, c.data, kWidth, c.height);
    const Result checked = Create();
    EXPECT_EQ(checked.exit, c.exit) << checked.err;
    EXPECT_THAT(checked.err, HasSubstr(c.exit != 0 ? "in.tif: " : ""));
    if (checked.exit != 1 && c.trusted) {
      EXPECT_NE(Image().data, c.data);
    }
    const Result trusted = Create("--trust");
    if (!c.trusted) {
      EXPECT_EQ(trusted.exit, c.exit);
      EXPECT_EQ(trusted.err, checked.err);
      continue;
    }
    EXPECT_EQ(trusted.exit, 0) << trusted.err;
    EXPECT_EQ(Image().data, c.data);
  }
}

}  // namespace
