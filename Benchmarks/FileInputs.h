// Inputs of the file benchmark, made once from the samples, and the plain work
// that the filter's is measured beside.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"

constexpr int kTextHeight = 3300;
constexpr int kMillion = 1'000'000;

// One of several inputs that grow.
struct GrowingInput {
  std::string file;
  int size;  // pages, or rows
};

struct Inputs {
  std::string text;                    // bare, one Group 4 page of text, 2550 x 3300
  std::string uncompressed;            // bare, 32767 x 8000
  std::string jpeg;                    // document, one colour page of 4000 x 3000
  std::vector<std::string> documents;  // 1 MiB to 1 GiB of Group 4 pages
  std::vector<GrowingInput> growing;   // documents of tiny pages
  std::vector<GrowingInput> tall;      // bare Group 4 pages of text, 2550 wide
  std::string colour;                  // document, the same uncompressed, as others write it
  std::string colourTif;               // and as an uncompressed tif
  std::string pages200;                // document of 200 Group 4 pages of text
  std::string millionPictures;         // document of a million pages, a tiny image on each
  std::string millionTexts;            // the same with a line of text on each
  std::string tiff200;                 // the same pages as a Group 4 tif
};

// Makes what the folder does not hold yet.
Inputs MakeInputs(const std::filesystem::path& folder);

struct BitmapDeleter {
  void operator()(_BITMAPHANDLE* bitmap) const;
};
using BitmapPointer = std::unique_ptr<_BITMAPHANDLE, BitmapDeleter>;

// Reads a tif of 24 bits with libtiff, a strip at a time, into memory of its own, as a
// picture has it. Returns the bytes.
size_t ReadTif(const std::string& file);

// A 32767 x 8000 bitmap; a page of text, 2550 wide, with 1 bit, and, of kTextHeight,
// with 8 bits per pixel.
BitmapPointer MakeBitmap(int bitsPerPixel);
BitmapPointer MakePage(int height = kTextHeight);
BitmapPointer MakeGrayPage();

// A page of a file and a bitmap for it, which every load fills anew.
class PageToLoad {
 public:
  PageToLoad(const std::string& file, int page);
  // fltLoad; `callback` gets the bitmap as its context. Returns its status.
  int Load(K_RowCallback callback);

 private:
  std::string m_file;
  _LOADOPTIONS m_options = {};
  BitmapPointer m_bitmap;
};

// fltSave; page 1 makes a new file, other pages append. Returns its status.
int SaveBitmap(const std::string& file, _BITMAPHANDLE* bitmap, int format, int page);
// The number of image objects, by fltInfo; 0 when it fails.
int CountPages(const std::string& file);

// Reads a file once in pieces of the buffer's size. Returns the bytes read.
size_t ReadWhole(const std::string& file, std::vector<char>& buffer);
void WriteWhole(const std::string& file, const std::vector<char>& bytes);
std::vector<char> ReadTail(const std::string& file, size_t count);
// Gives a file its former size and end back.
void RestoreTail(const std::string& file, uintmax_t size, const std::vector<char>& tail);
int RunCommand(const std::string& command);

// The Group 4 data of a bare file, decoded from memory by the fax library alone.
class FaxInMemory {
 public:
  explicit FaxInMemory(const std::string& file);
  int Decode(K_RowCallback callback) const;

 private:
  std::vector<unsigned char> m_data;
  BitmapPointer m_bitmap;
};

std::vector<unsigned char> JpegOf(const std::string& file);
// Decodes to 24 bits with libjpeg-turbo alone, row by row into `picture`. Returns
// the bytes of the picture.
size_t DecodeJpeg(const std::vector<unsigned char>& jpeg, std::vector<unsigned char>& picture);
