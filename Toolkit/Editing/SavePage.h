// Writes pictures as pages of IOCA and MO:DCA files.
#pragma once

#include <string>
#include <vector>

#include "Format/Compression.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/PictureData.h"

namespace kz {

// Group 4 for 1-bit pictures, JPEG for all others.
K_EXPORT Compression DefaultCompression(const Bitmap& bitmap);
// What the data are.
K_EXPORT Compression DefaultCompression(const PictureData& data);

enum class SaveMode {
  NewFile,  // whatever the file held is gone
  Append,   // after the last page; a new file when there is none
};

struct SaveRequest {
  SaveMode mode = SaveMode::NewFile;
  Container container = Container::Modca;
  Compression compression = Compression::Group4;
  int bitsPerPixel = 0;  // 0: see DepthOf
  int quality = 90;      // of JPEG data: 1 to 100
  bool dither = false;   // spread the error of a conversion to 1 bit
  // Of IOCA: 10, as the filter writes pages; 11, which describes grey and colour as
  // others read it; 0: 11 for JPEG data and for uncompressed data of more than 1 bit.
  int functionSet = 0;
  // The data that the picture was decoded from, of a kind that can be stored as it is
  // (see JpegFile). They are if StoresJpeg says so. Null: none.
  const std::vector<unsigned char>* jpeg = nullptr;
};

// The depth at which a picture is written. Unless the request has one: 1 for fax data, 1
// or 4 for ABIC, 8 (grey) or 24 (colour) for JPEG. Uncompressed pictures are written like
// JPEG, but 1-bit ones, and those that are dithered or of function set 10, at 1.
K_EXPORT int DepthOf(const SaveRequest& request, const Bitmap& bitmap);
// Whether the page would have request.jpeg as its data, if there are any: not with
// another compression or sampling, another depth, or function set 10.
K_EXPORT bool StoresJpeg(const SaveRequest& request, const Bitmap& bitmap);

// What SavePage would refuse about a picture, whatever the file: -16 for a compression
// that the kind of container or the function set can't hold; -27 for a depth that the
// compression can't carry there; -9 for a picture above 32767 pixels or 3276 dpi.
K_EXPORT Outcome CheckPicture(const Bitmap& bitmap, const SaveRequest& request);

// Writes a picture as a page, converted to the depth asked for. The file is
// written in place: a failure under way leaves it damaged (see AtomicFile). The
// filter may store the bitmap's rows top row first and set a resolution of 0 to
// 96 dpi.
//
// Before anything is written it refuses what CheckPicture refuses and, with -9, to
// append to a document that doesn't end with End Document. Else it returns the filter's
// status, or -5, -7 or -14 for what fails in the file. A document that is more than pages
// just saved is better edited through AppendPages (see Assemble), which looks at all of it.
K_EXPORT Outcome SavePage(const std::string& file, Bitmap& bitmap, const SaveRequest& request);

// Whether coded data can be a page as they are: Group 3 or Group 4, as the request has it,
// of a picture that is upright and within the limits of CheckPicture, black being 1.
K_EXPORT bool StoresData(const PictureData& data, const SaveRequest& request);

// Writes such data as a page: in function set 10 the one that the filter would have written,
// had it coded them so. -16 for data that can't be a page, else fails as SavePage does.
K_EXPORT Outcome SaveData(const std::string& file, const PictureData& data,
                          const SaveRequest& request);

}  // namespace kz
