// Pages that lie on their side or in a mirror.
#include <leptonica/allheaders.h>

#include <cstring>
#include <memory>

#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

struct PixDeleter {
  void operator()(PIX* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<PIX, PixDeleter>;

// Leptonica's rows are 32-bit words with the first pixel in the most significant
// bits, as many words as our rows have.
void StoreWords(const l_uint32* words, size_t bytes, unsigned char* to) {
  for (size_t i = 0; i < bytes; i += 4) {
    const l_uint32 swapped = __builtin_bswap32(*words++);
    std::memcpy(to + i, &swapped, 4);
  }
}

void LoadWords(const unsigned char* from, size_t bytes, l_uint32* words) {
  for (size_t i = 0; i < bytes; i += 4) {
    l_uint32 word;
    std::memcpy(&word, from + i, 4);
    *words++ = __builtin_bswap32(word);
  }
}

void StoreColors(const l_uint32* words, int width, unsigned char* to) {
  for (int x = 0; x < width; ++x, to += 3) {
    to[0] = static_cast<unsigned char>(words[x] >> L_BLUE_SHIFT);
    to[1] = static_cast<unsigned char>(words[x] >> L_GREEN_SHIFT);
    to[2] = static_cast<unsigned char>(words[x] >> L_RED_SHIFT);
  }
}

void LoadColors(const unsigned char* from, int width, l_uint32* words) {
  for (int x = 0; x < width; ++x, from += 3) {
    words[x] = static_cast<l_uint32>(from[0]) << L_BLUE_SHIFT |
               static_cast<l_uint32>(from[1]) << L_GREEN_SHIFT |
               static_cast<l_uint32>(from[2]) << L_RED_SHIFT;
  }
}

// 1, 4, 8 and 32 bits per pixel become 1, 4, 8 and 24.
int FromPix(PIX* pix, Bitmap& bitmap) {
  const int depth = pixGetDepth(pix);
  const int width = pixGetWidth(pix);
  const int status = bitmap.Create(width, pixGetHeight(pix), depth == 32 ? 24 : depth);
  if (status != K_SUCCESS) return status;
  const l_uint32* words = pixGetData(pix);
  for (int i = 0; i < bitmap.Height(); ++i, words += pixGetWpl(pix)) {
    if (depth == 32) {
      StoreColors(words, width, bitmap.TopDownRow(i));
    } else {
      StoreWords(words, static_cast<size_t>(bitmap.BytesPerLine()), bitmap.TopDownRow(i));
    }
  }
  bitmap.SetResolution(pixGetXRes(pix), pixGetYRes(pix));
  return status;
}

// The reverse; the palette stays where it was.
OwnedPix ToPix(const Bitmap& bitmap) {
  const bool color = bitmap.BitsPerPixel() == 24;
  OwnedPix pix(
      pixCreateNoInit(bitmap.Width(), bitmap.Height(), color ? 32 : bitmap.BitsPerPixel()));
  if (pix == nullptr) return pix;
  l_uint32* words = pixGetData(pix.get());
  for (int i = 0; i < bitmap.Height(); ++i, words += pixGetWpl(pix.get())) {
    if (color) {
      LoadColors(bitmap.TopDownRow(i), bitmap.Width(), words);
    } else {
      LoadWords(bitmap.TopDownRow(i), static_cast<size_t>(bitmap.BytesPerLine()), words);
    }
  }
  pixSetResolution(pix.get(), bitmap.XResolution(), bitmap.YResolution());
  return pix;
}

}  // namespace

Outcome ApplyOrientation(int orientation, Bitmap& bitmap) {
  if (orientation < 2 || orientation > 8) return {};
  // Mirrored ones are flipped left to right after the turn; quarter turns are
  // clockwise.
  constexpr int kQuarters[] = {0, 0, 2, 2, 1, 1, 3, 3};
  constexpr bool kMirrored[] = {false, true, false, true, true, false, true, false};
  OwnedPix pix = ToPix(bitmap);
  if (pix != nullptr) pix.reset(pixRotateOrth(pix.get(), kQuarters[orientation - 1]));
  if (pix != nullptr && kMirrored[orientation - 1]) pixFlipLR(pix.get(), pix.get());
  if (pix == nullptr) return Failure(K_ERROR_NO_MEMORY);
  Bitmap turned;
  int status = FromPix(pix.get(), turned);
  if (status == K_SUCCESS && bitmap.Palette() != nullptr) {
    status = turned.SetPalette(bitmap.Palette(), bitmap.Colors());
  }
  if (status != K_SUCCESS) return Failure(status);
  const bool sideways = kQuarters[orientation - 1] % 2 == 1;
  turned.SetResolution(sideways ? bitmap.YResolution() : bitmap.XResolution(),
                       sideways ? bitmap.XResolution() : bitmap.YResolution());
  bitmap = std::move(turned);
  return {};
}

}  // namespace kz
