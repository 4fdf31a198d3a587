// The pictures of a file, recognised while its structured fields go by.
#pragma once

#include <cstdint>
#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// Counts the image contents of an image segment that comes in parts.
class ContentScan {
 public:
  // Where a content's segment begins, and which content there it is, from 1; where in
  // which structured field it begins.
  struct Content {
    int64_t segment;
    int number;
    int64_t field;
    int64_t skip;
  };
  // Looks at a part of the segment, the data of the structured field at `field`, and adds
  // the contents that begin there. What follows a field that no reference knows isn't
  // understood.
  void Take(FileWindow& file, int64_t field, ByteRange part, std::vector<Content>& contents);
  // Part of the segment is missing: no more contents can be found.
  void Lose() { m_lost = true; }

 private:
  // Takes the headers that are whole in the bytes, from a field's first on, with what they
  // skip there. Returns the bytes that were taken.
  size_t TakeWhole(ByteSpan bytes, std::vector<Content>& contents);
  void TakeHeader(ByteSpan bytes, std::vector<Content>& contents);

  int64_t m_skip = 0;  // bytes of the field that has begun
  unsigned char m_header[4] = {};
  size_t m_headerLength = 0;
  int64_t m_field = 0;    // where it begins
  int64_t m_outer = 0;    // the structured field in which it does
  int64_t m_before = 0;   // that field's data before it
  int64_t m_segment = 0;  // where the segment begins
  int m_contents = 0;     // of that segment
  bool m_empty = false;   // Image Data of length 0 came last
  bool m_lost = false;
};

class PictureScan {
 public:
  PictureScan(FileWindow& file, std::vector<IndexedPicture>& pictures)
      : m_file(file), m_pictures(pictures) {}

  // Takes the next field of a document. Pictures are added when they begin, and get their
  // end when it comes.
  void Take(const ScannedField& field, Container container);
  // Whether fields that have nothing to do with pictures may be kept from it.
  bool IsIdle() const { return !m_inData && !m_damaged; }
  // The document has ended.
  void Finish();
  // Fields are missing after the last one, or it had the wrong length; they go on at
  // `next`. So do the data of an image, unless they begin like another.
  void Damage(int64_t next);
  // Takes a whole bare file.
  void TakeBareFile();

 private:
  void TakePictureData(const ScannedField& field, Container container);
  void TakeContainer(const ScannedField& field, Container container);
  void Begin(PictureKind kind, const ScannedField& field, Container container);

  FileWindow& m_file;
  std::vector<IndexedPicture>& m_pictures;
  std::vector<ContentScan::Content> m_found;
  ContentScan m_contents;
  bool m_inData = false;     // of an image object
  bool m_damaged = false;    // fields are missing before the next
  size_t m_first = 0;        // picture of the data
  IndexedPicture m_data;     // the data
  int64_t m_descriptor = 0;  // of the image object that is open
  uint16_t m_object = 0;     // Begin field of the IM image or object container that is open
  int64_t m_begin = 0;       // where that stands
  bool m_named = false;      // whether it has become a picture
  size_t m_picture = 0;      // which
};

}  // namespace kz
