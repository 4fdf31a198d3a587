// The bytes of an image content, out of the Image Picture Data fields that hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

class ContentReader {
 public:
  // From the beginning of the picture's content on. The file must stay.
  ContentReader(FileWindow& file, const PicturePlace& picture);

  // Where in the file the next byte stands; after a part, its end.
  int64_t At() const { return m_at; }
  // Bytes of the present part, which is the data of one structured field, or all that
  // is left of a bare image.
  int64_t LeftInPart() const { return m_partEnd - m_at; }
  // An upper bound of the bytes that are left.
  int64_t MostLeft() const { return m_bare ? LeftInPart() : m_end - m_at; }
  bool Bare() const { return m_bare; }
  // Goes on to the next part, whatever is left of this one. False when there is none.
  bool NextPart();
  // Whether there is another byte; goes on to the part that has it.
  bool More();
  // What the present part goes on with: up to `count` bytes, less only at its end. They
  // stay until the next call. Empty when they can't be read.
  ByteSpan Peek(size_t count);
  // Takes bytes. Returns how many there were and could be read.
  size_t Read(unsigned char* to, size_t count);
  // Adds `count` bytes to `to`, or passes over them when it is null. Returns how many
  // there were.
  int64_t Append(std::vector<unsigned char>* to, int64_t count);

 private:
  FileWindow& m_file;
  bool m_bare;
  int64_t m_end;  // of the picture
  int64_t m_at;
  int64_t m_partEnd;
  int64_t m_next;  // the next structured field
};

}  // namespace kz
