// Pictures that Leptonica reads, and its rotations.
#include <leptonica/allheaders.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Host/Toolkit/PictureFormats.h"

namespace kz {

namespace {

struct PixDeleter {
  void operator()(PIX* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<PIX, PixDeleter>;

thread_local std::string* t_messages = nullptr;

void TakeMessage(const char* message) {
  if (t_messages == nullptr) {
    std::fputs(message, stderr);
  } else {
    t_messages->append(message);
  }
}

// Keeps what Leptonica would print on this thread, for its lifetime. Other
// threads' messages go where they always went.
class LeptonicaMessages {
 public:
  LeptonicaMessages() {
    static std::once_flag once;
    std::call_once(once, [] { leptSetStderrHandler(TakeMessage); });
    t_messages = &m_text;
  }
  ~LeptonicaMessages() { t_messages = nullptr; }
  LeptonicaMessages(const LeptonicaMessages&) = delete;
  LeptonicaMessages& operator=(const LeptonicaMessages&) = delete;

  // The first message, the one nearest to the cause, without the function's name.
  std::string Cause() const {
    std::string_view line = m_text;
    line = line.substr(0, line.find('\n'));
    const size_t colon = line.find(": ");
    if (colon != std::string_view::npos) line.remove_prefix(colon + 2);
    return std::string(line);
  }

 private:
  std::string m_text;
};

Outcome ReadFailure(const LeptonicaMessages& messages) {
  const std::string cause = messages.Cause();
  return Failure(K_ERROR_INVALID_FORMAT,
                 "the picture can't be decoded" + (cause.empty() ? cause : ": " + cause));
}

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

// The reverse; the palette stays behind.
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

Outcome ReadWithLeptonica(const std::vector<unsigned char>& data, Bitmap& bitmap) {
  const LeptonicaMessages messages;
  l_int32 format = 0, width = 0, height = 0, bitsPerSample = 0, samples = 0, mapped = 0;
  if (pixReadHeaderMem(data.data(), data.size(), &format, &width, &height, &bitsPerSample, &samples,
                       &mapped) != 0) {
    return ReadFailure(messages);
  }
  // No format that is read here packs more than a pixel into a bit.
  const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  if (!IsSanePicture(width, height, samples > 1 ? 24 : 8) || pixels / 8 > data.size()) {
    return Failure(K_ERROR_INVALID_FORMAT, "the picture is larger than its data");
  }
  OwnedPix pix(pixReadMem(data.data(), data.size()));
  if (pix == nullptr) return ReadFailure(messages);
  const int depth = pixGetDepth(pix.get());
  if (depth == 2) pix.reset(pixConvertTo8(pix.get(), 0));
  if (depth == 16) pix.reset(pixConvert16To8(pix.get(), L_MS_BYTE));
  if (pix == nullptr) return ReadFailure(messages);
  const int status = FromPix(pix.get(), bitmap);
  return status == K_SUCCESS ? Outcome{} : Failure(status);
}

Outcome ApplyOrientation(int orientation, Bitmap& bitmap) {
  if (orientation < 2 || orientation > 8) return {};
  const LeptonicaMessages messages;
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
