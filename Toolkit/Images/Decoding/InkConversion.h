// From printing inks to red, green and blue.
#pragma once

#include <vector>

#include "Toolkit/Images/DecodeImage.h"

namespace kz {

// Converts by an ICC profile, or by the plain formula (1 - c)(1 - k) without one.
class InkConverter {
 public:
  // A profile that can't be read, or isn't one of four inks, counts as none.
  explicit InkConverter(const std::vector<unsigned char>& profile);
  ~InkConverter();
  InkConverter(const InkConverter&) = delete;
  InkConverter& operator=(const InkConverter&) = delete;

  bool HasProfile() const { return m_transform != nullptr; }
  // Pixels of cyan, magenta, yellow and black, 0 = no ink, to red, green and blue.
  void Convert(const unsigned char* inks, int pixels, unsigned char* colors) const;

 private:
  void* m_transform = nullptr;
};

// Makes the picture one of 24 bits, by its own profile or the one given.
Outcome ConvertInks(const InkPicture& inks, const std::vector<unsigned char>& profile,
                    Bitmap& bitmap);

}  // namespace kz
