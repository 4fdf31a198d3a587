// Image files of the IOCA and MO:DCA family: what they hold, and their pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Format/Compression.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"

namespace kz {

class Document;
class FileWindow;
class ResourceFolder;

// What a file says of one of its pictures.
struct PictureInfo {
  uint32_t format = 0;  // the filter's code for compression and container
  Coding coding = Coding::Fax;
  Container container = Container::Ioca;
  std::string compression;
  int width = 0;  // pixels
  int height = 0;
  int bitsPerPixel = 0;
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  uint64_t bytes = 0;  // of the uncompressed picture, rows padded to whole bytes
  bool topDown = true;
  bool reversedBits = false;  // in each byte of the image data
  bool unpaddedRows = false;  // uncompressed rows begin within bytes
};

// A picture that a page shows.
struct ShownPicture {
  const Document* document = nullptr;  // that holds it
  int picture = 0;                     // which of its pictures, counted from 1
};

struct LoadOptions {
  int64_t maxPixels = kDefaultMaxPixels;
};

// A file that is indexed once, so that each of its pictures is found at once. All are
// read from the file that was indexed, also when another takes its place. Its functions
// may be called from several threads.
class K_EXPORT Document {
 public:
  explicit Document(std::string file) : m_name(std::move(file)), m_file(m_name) {}

  // Opens and indexes the file. Fails as IndexFile does. Without it, all else fails.
  Outcome Open();
  const PageIndex& Index() const { return m_index; }
  int Pages() const { return static_cast<int>(m_index.pages.size()); }
  int Pictures() const { return static_cast<int>(m_index.pictures.size()); }

  // Lets resources that the file doesn't hold be looked for in a folder (see
  // ResourceFolder).
  void AddResources(const std::string& folder);
  // Name of the file, as it was given.
  const std::string& Name() const { return m_name; }
  // The pictures that a page shows, in their order, those from the folder's files too; at
  // most PageIndex::kMostShown. The documents live as long as this one.
  std::vector<ShownPicture> PicturesOnPage(int page) const;

  // Describes a picture, counted from 1. JPEG data whose depth the picture doesn't say
  // are asked for it. Fails with -9 for a picture that isn't there or of a kind that
  // isn't read, -7 when the indexed file was written to, else with the filter's status;
  // `info` is untouched then.
  Outcome DescribePicture(int picture, PictureInfo& info) const;

  // The compressed image data of a picture as they are stored, without the framing.
  // Takes memory for what the file holds, not for what it promises. Fails like
  // DescribePicture, with -7 for data that end too early and with -1 for no memory.
  Outcome ReadImageData(int picture, std::vector<unsigned char>& data) const;

  // Loads a picture: 1, 4 (ABIC), 8 or 24 (JPEG) bits per pixel, with its resolution, its
  // rows in stored order under the view perspective that makes them right. Uncompressed
  // rows whose bits are called reversed are put right. JPEG data of another size than the
  // file says have their own size. The warnings name damage that the picture shows. `info`
  // is what the file says, with the size and depth that the picture has; it may be null.
  //
  // Fails like DescribePicture, with -9 for a picture above the limit, -7 for data that
  // end too early, -823 when ABIC can't be decoded for lack of its library, else with
  // the filter's status. The bitmap is empty then.
  Outcome LoadPicture(int picture, const LoadOptions& options, Bitmap& bitmap,
                      PictureInfo* info = nullptr) const;

 private:
  template <typename Read>
  Outcome AtPicture(int picture, Read read) const;

  std::string m_name;
  std::string m_file;  // where the pictures are read: once it is indexed, the open file
  std::shared_ptr<const FileWindow> m_open;
  std::shared_ptr<ResourceFolder> m_resources;  // null: none
  bool m_far = false;                           // beyond 2 GiB
  PageIndex m_index;
};

// The same for one picture of a file, which is indexed for it.
K_EXPORT Outcome DescribePicture(const std::string& file, int picture, PictureInfo& info);
K_EXPORT Outcome ReadImageData(const std::string& file, int picture,
                               std::vector<unsigned char>& data);
K_EXPORT Outcome LoadPicture(const std::string& file, int picture, const LoadOptions& options,
                             Bitmap& bitmap, PictureInfo* info = nullptr);

}  // namespace kz
