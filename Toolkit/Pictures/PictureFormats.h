// What PictureReader and PictureWriter ask of each format.
#pragma once

#include <cstdio>
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
};

// A picture file being written. Its descriptor stays the caller's.
class PictureSink {
 public:
  virtual ~PictureSink() = default;
  virtual Outcome AddPage(const Bitmap& bitmap) = 0;
  // The same for a picture of inks. -27 for a format that has no inks.
  virtual Outcome AddInks(const InkPicture& inks);
  // Writes what comes after the last page.
  virtual Outcome Finish() { return {}; }
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
