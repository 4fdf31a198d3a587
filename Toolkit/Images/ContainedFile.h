// Picture files that a document holds in object containers.
#pragma once

#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/PictureInfo.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// The data of an object container's Object Container Data fields, one after the other. The
// file must stay.
class ContainerData {
 public:
  ContainerData(FileWindow& file, ByteRange place)
      : m_file(file), m_walk(file, place.begin, place.end) {}
  // Adds the data of the next such field to `data`. False when there is none.
  bool Append(std::vector<unsigned char>& data);

 private:
  FileWindow& m_file;
  FieldWalk<FileWindow> m_walk;
};

// The file: the container's data, joined. -7 when there are none, -1 for no memory.
Outcome ReadContainedFile(FileWindow& file, const PicturePlace& place,
                          std::vector<unsigned char>& data);

// Fills in what the file says of its picture: format, size, depth and resolution. Of JPEG
// files no more is read than that takes.
Outcome DescribeContainedFile(FileWindow& file, const PicturePlace& place, PictureInfo& info);

// Makes the picture of a JPEG or TIFF file, whichever it is by its first bytes; of a TIFF
// file with several pages the first, with a warning. `info` gets what DescribeContainedFile
// says, from the same reading. Damage as for DecodeImage. Fails with -9 for another file.
Outcome LoadContainedFile(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                          DecodedImage& image, PictureInfo& info, bool& damaged);

}  // namespace kz
