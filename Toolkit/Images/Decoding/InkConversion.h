// From printing inks to red, green and blue.
#pragma once

#include <optional>
#include <utility>
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

// Converts the pictures of inks that one picture is made of. What a profile takes is worked
// out once for all that follow each other with it.
class InkPictureConverter {
 public:
  // `profile` is that of pictures without one of their own; null: the plain formula.
  explicit InkPictureConverter(SharedProfile profile) : m_profile(std::move(profile)) {}

  // Makes the picture one of 24 bits. The first one whose profile can't be used gets a
  // warning.
  Outcome Convert(const InkPicture& inks, Bitmap& bitmap);

 private:
  SharedProfile m_profile;
  std::vector<unsigned char> m_used;  // of the converter
  std::optional<InkConverter> m_converter;
  bool m_warned = false;
};

}  // namespace kz
