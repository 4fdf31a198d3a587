// Picture files of every day: png, tif, pnm, jpg and, for writing, pdf.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/InkPicture.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/PictureData.h"

namespace kz {

class PictureSource;
class PictureSink;
struct PreparedPicture;
class PictureOutput;
class FileBatch;

enum class PictureFormat { kNone, kPng, kTiff, kPbm, kPgm, kPpm, kPnm, kJpeg, kPdf };

// A row of the table of formats.
struct PictureFormatRow {
  PictureFormat format;
  const char* ending;       // of names, without the dot; as options and messages have it
  const char* otherEnding;  // another that is taken; null for none
  bool holdsPages;          // whether a file is written with more than one page
};

// In the order in which options and messages name them.
inline constexpr PictureFormatRow kPictureFormats[] = {
    {PictureFormat::kPng, "png", nullptr, false}, {PictureFormat::kTiff, "tif", "tiff", true},
    {PictureFormat::kPbm, "pbm", nullptr, false}, {PictureFormat::kPgm, "pgm", nullptr, false},
    {PictureFormat::kPpm, "ppm", nullptr, false}, {PictureFormat::kPnm, "pnm", nullptr, false},
    {PictureFormat::kJpeg, "jpg", "jpeg", false}, {PictureFormat::kPdf, "pdf", nullptr, true},
};

// The format that a name's ending stands for, in either case; kNone for others.
K_EXPORT PictureFormat FormatOfEnding(std::string_view name);
// Every ending that stands for a format, in the table's order.
K_EXPORT std::vector<std::string> PictureEndings();
// Whether a file of the format is written with more than one page.
K_EXPORT bool HoldsPages(PictureFormat format);

// The data of a jpg file.
struct JpegFile {
  const std::vector<unsigned char>* data = nullptr;  // null: it is no jpg file
  // Why a page can't have them as they are; null: it can. They show the picture that
  // Read gives then, grey or YCbCr with 8 bits, in Huffman codes, upright.
  const char* objection = nullptr;
};

// Reads picture files. What a file is shows in its first bytes, not in its name.
class K_EXPORT PictureReader {
 public:
  PictureReader();
  ~PictureReader();

  // -10 when the file can't be opened, -9 when it isn't a picture file of a kind
  // that is read. Pages of more pixels than `maxPixels` will be refused.
  Outcome Open(const std::string& path, int64_t maxPixels = kDefaultMaxPixels);
  // Pages of the file; above 1 for tif and pnm only. Thumbnails and masks don't
  // count.
  int Pages() const;
  // Reads a page, counted from 1, top row first, with its resolution (0 when the
  // file has none). 1-bit pages stay 1 bit, palettes of 4 and 8 bits are kept, 16
  // bits a sample become 8, transparent parts show white. The warnings name damage
  // that the picture shows. -9 for a page that isn't there or is damaged, -7 for one
  // that ends too early, -1 for no memory; the bitmap is empty then.
  Outcome Read(int page, Bitmap& bitmap);
  // The data of the file, which stay as long as the reader.
  JpegFile Jpeg() const;
  // Takes the Group 3 or Group 4 data of a tif page, counted from 1, for a format that
  // carries them as they are; bits that are stored in reverse come turned. With `check` they
  // are decoded, and data that aren't whole aren't taken. False: the page has none that could
  // go so, or can't be read, as Read says then.
  bool ReadData(int page, bool check, PictureData& data);

 private:
  std::unique_ptr<PictureSource> m_source;
  int64_t m_maxPixels = kDefaultMaxPixels;
};

// Writes picture files, completely or not at all.
class K_EXPORT PictureWriter {
 public:
  PictureWriter();
  // Without Commit, a file that was there stays as it was.
  ~PictureWriter();

  // Starts a file of the format that the name's ending says, or of the one given;
  // "-" is standard output and needs a format. With a batch, the file is put into
  // place together with others. -16 for an ending or a format that isn't written, -14
  // when the file can't be made.
  Outcome Open(const std::string& path, PictureFormat format = PictureFormat::kNone,
               FileBatch* batch = nullptr);
  // The format of the file that was started; kNone when none was.
  PictureFormat Format() const { return m_format; }
  // Adds a page. Its depth stays where the format can hold it (pgm and ppm
  // convert), 1-bit pages are stored with 1 bit, as Group 4 in tif and pdf. -16 for
  // a second page in a format that holds one; -27 for a page of more than 1 bit in a
  // pbm, which would lose all but its outlines; -5 when writing fails.
  Outcome AddPage(const Bitmap& bitmap);
  // The same for a picture of inks, into a tif or jpg; -27 for another format.
  Outcome AddInks(const InkPicture& inks);

  // A page as the file will hold it, made on any thread.
  class K_EXPORT PreparedPage {
   public:
    PreparedPage();
    ~PreparedPage();
    PreparedPage(PreparedPage&& other) noexcept;
    PreparedPage& operator=(PreparedPage&& other) noexcept;

   private:
    friend class PictureWriter;
    std::unique_ptr<PreparedPicture> m_picture;
    PictureFormat m_format = PictureFormat::kNone;
  };
  // What AddPage does but for the writing: AddPrepared of this writer, or of another of
  // the format, adds the page. Several threads may call it while pages are added, between
  // Open and Commit. Fails as AddPage does; the page is empty then.
  Outcome Prepare(const Bitmap& bitmap, PreparedPage& page) const;
  // Adds a page that was prepared, which is empty afterwards. -16 for one of another
  // format; else fails as AddPage does.
  Outcome AddPrepared(PreparedPage&& page);

  // Whether the format carries such data as they are. Looks at everything but `data.data`.
  bool Takes(const PictureData& data) const;
  // Adds a page of coded data as they are: Group 3 and Group 4 into tif and pdf, JPEG into
  // pdf. -16 for data that the format doesn't take, -9 for none; else fails as AddPage does.
  // Whether the data can be decoded is the caller's to know.
  Outcome AddData(const PictureData& data);
  // Completes the file and puts it in place. -9 when no page was added.
  Outcome Commit();

 private:
  Outcome CheckAnotherPage() const;
  // Whether the format has room for the picture.
  Outcome CheckPage(const Bitmap& bitmap) const;
  // Takes the page that was added, unless that failed.
  Outcome Added(Outcome outcome);

  std::unique_ptr<PictureOutput> m_output;
  std::unique_ptr<PictureSink> m_sink;
  PictureFormat m_format = PictureFormat::kNone;
  int m_pages = 0;
};

}  // namespace kz
