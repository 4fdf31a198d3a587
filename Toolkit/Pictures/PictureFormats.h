// What PictureReader and PictureWriter ask of each format.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/InkPicture.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz {

// A picture file being read.
class PictureSource {
 public:
  virtual ~PictureSource() = default;
  virtual int Pages() const { return 1; }
  // Reads a page, counted from 1 and in range, of at most so many pixels. The bitmap
  // comes empty.
  virtual Outcome Read(int page, int64_t maxPixels, Bitmap& bitmap) = 0;
  virtual JpegFile Jpeg() const { return {}; }
  // See PictureReader, with a page that is in range.
  virtual bool ReadData(int, int64_t, bool, PictureData&) { return false; }
};

// What a sink made of a picture; each kind of sink has its own.
struct PreparedPicture {
  virtual ~PreparedPicture() = default;
};

// A picture file being written. Its descriptor stays the caller's.
class PictureSink {
 public:
  virtual ~PictureSink() = default;
  virtual Outcome AddPage(const Bitmap& bitmap);
  // Codes a page without writing it, on any thread.
  virtual Outcome Prepare(const Bitmap& bitmap,
                          std::unique_ptr<PreparedPicture>& prepared) const = 0;
  // Writes what Prepare of the same kind of sink made.
  virtual Outcome AddPrepared(PreparedPicture& prepared) = 0;
  // The same as AddPage for a picture of inks. -27 for a format that has no inks.
  virtual Outcome AddInks(const InkPicture& inks);
  // Whether AddData takes such data, which it gets only then.
  virtual bool Takes(const PictureData&) const { return false; }
  virtual Outcome AddData(const PictureData& data);
  // Writes what comes after the last page.
  virtual Outcome Finish() { return {}; }
};

// A sink of a format that holds one picture: a file is what is coded.
class SinglePictureSink : public PictureSink {
 public:
  // Takes a piece of a file.
  using Write = std::function<Outcome(const void* bytes, size_t count)>;
  explicit SinglePictureSink(int descriptor) : m_descriptor(descriptor) {}
  Outcome AddPage(const Bitmap& bitmap) override;
  Outcome Prepare(const Bitmap& bitmap, std::unique_ptr<PreparedPicture>& prepared) const override;
  Outcome AddPrepared(PreparedPicture& prepared) override;

 protected:
  // Hands out the file of a picture piece by piece, front to back.
  virtual Outcome Encode(const Bitmap& bitmap, const Write& write) const = 0;
  int Descriptor() const { return m_descriptor; }

 private:
  int m_descriptor;
};

// Takes the descriptor of a file that begins with a TIFF header.
Outcome OpenTiff(int descriptor, std::unique_ptr<PictureSource>& source);
// Decoders of a whole file of one picture in memory.
Outcome ReadPng(const std::vector<unsigned char>& data, int64_t maxPixels, Bitmap& bitmap);
// Why JPEG data can't be a page's as they are (see JpegFile); null: they can.
const char* ObjectionToJpeg(const std::vector<unsigned char>& data);
Outcome ReadJpeg(const std::vector<unsigned char>& data, int64_t maxPixels, Bitmap& bitmap);
// Takes a file that begins as a pnm file does.
std::unique_ptr<PictureSource> OpenPnm(std::vector<unsigned char> data);

std::unique_ptr<PictureSink> MakePngSink(int descriptor);
std::unique_ptr<PictureSink> MakeTiffSink(int descriptor);
// Writes pages of 1, 8 or 24 bits per pixel; with 0, of what holds the picture.
std::unique_ptr<PictureSink> MakePnmSink(int descriptor, int bitsPerPixel);
std::unique_ptr<PictureSink> MakeJpegSink(int descriptor);
std::unique_ptr<PictureSink> MakePdfSink(int descriptor);

// Writes all bytes at the descriptor's position; -5 when that fails.
Outcome WriteBytes(int descriptor, const void* bytes, size_t count);

// Turns or mirrors a picture so that its first stored row is its top one. The
// orientation is that of the TIFF tag and of Exif: 1 to 8, others leave it alone.
Outcome ApplyOrientation(int orientation, Bitmap& bitmap);

}  // namespace kz
