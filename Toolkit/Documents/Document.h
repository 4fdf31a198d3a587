// Image files of the IOCA and MO:DCA family: what they hold, and their pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Images/DecodedImage.h"
#include "Toolkit/Images/PictureInfo.h"
#include "Toolkit/Pictures/PictureData.h"

namespace kz {

class Document;
class FileWindow;
class ResourceFolder;

// A picture that a page shows.
struct ShownPicture {
  const Document* document = nullptr;  // that holds it
  int picture = 0;                     // which of its pictures, counted from 1
};

// A resource of a document; kNoIndex: the whole file is one.
struct ResourcePlace {
  const Document* document = nullptr;
  uint32_t resource = kNoIndex;
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
  // The same in a folder that several documents share.
  void AddResources(std::shared_ptr<ResourceFolder> folder) { m_resources = std::move(folder); }
  // The resources that are asked for and neither in the file nor in the folder.
  std::vector<IncludedName> Missing() const;
  // The pictures of what the folder holds of them, each once.
  std::vector<ShownPicture> PicturesFromFolder() const;
  // Finds a resource that the file doesn't hold, by its name, in the folder. The document
  // that has it lives as long as this one.
  bool FindInFolder(const std::string& name, ResourcePlace& place) const;
  // Opens the file that was indexed once more. -10 when that fails.
  Outcome OpenFile(FileWindow& file) const;
  // Name of the file, as it was given.
  const std::string& Name() const { return m_name; }
  // The pictures that a page shows, in their order, those from the folder's files too; at
  // most PageIndex::kMostShown. The documents live as long as this one.
  std::vector<ShownPicture> PicturesOnPage(int page) const;

  // Describes a picture, counted from 1: as the filter does if it takes it, else as its own
  // fields do. JPEG data whose depth the picture doesn't say are asked for it. Fails with -9
  // for a picture that isn't there or whose fields can't be understood, -7 when they end too
  // early or the indexed file was written to; `info` is untouched then.
  Outcome DescribePicture(int picture, PictureInfo& info) const;

  // The compressed image data of a picture as they are stored, without the framing.
  // Takes memory for what the file holds, not for what it promises. Fails like
  // DescribePicture, with -9 for data in several pieces (tiles, bands, IM images), -7 for data
  // that end too early and -1 for no memory.
  Outcome ReadImageData(int picture, std::vector<unsigned char>& data) const;

  // The picture's data as other formats carry them: one piece of Group 3, Group 4 or JPEG data
  // that show what LoadPicture loads and nothing else, so that none pass that are cut, masked, in
  // tiles or bands, coloured by the page, or coded in more columns than the picture has.
  // Bit-reversed data come turned. With `check` they are decoded too, without a bitmap, and data
  // in which anything is wrong don't pass. `passes` false: they can't go as they are, and
  // LoadPicture says what becomes of the picture. Fails with -9 for a picture that isn't there, -1
  // for no memory, -7 when the indexed file was written to.
  Outcome ReadPictureData(int picture, const LoadOptions& options, bool check, PictureData& data,
                          bool& passes) const;

  // Loads a picture: 1, 4 (ABIC), 8 or 24 bits per pixel, or inks, with its resolution. The
  // filter loads what it takes; what it refuses or finds damaged is read by the
  // toolkit itself, and the better of the two pictures counts. Damaged data give what they have,
  // with warnings, unless options.strict asks for failure. JPEG data of another size than the
  // file says have their own size. The view perspective says in which order the rows of a
  // bitmap are stored. `info` is what the file says, with the size and depth that the picture
  // has; it may be null.
  //
  // Fails like DescribePicture, with -9 for a picture above the limit or of a kind that isn't
  // read, -7 for data that end before the first row, -823 when ABIC can't be decoded for lack
  // of its library. The image is empty then.
  Outcome LoadPicture(int picture, const LoadOptions& options, DecodedImage& image,
                      PictureInfo* info = nullptr) const;
  // The same for a bitmap; options.keepInks doesn't count.
  Outcome LoadPicture(int picture, const LoadOptions& options, Bitmap& bitmap,
                      PictureInfo* info = nullptr) const;

 private:
  template <typename Read>
  Outcome AtPicture(int picture, Read read) const;
  Outcome Load(const IndexedPicture& at, const LoadOptions& options, DecodedImage& image,
               PictureInfo& info) const;
  Outcome PassStored(const IndexedPicture& at, const LoadOptions& options, PictureData& data,
                     bool& passes) const;
  SharedProfile InkProfile(FileWindow& file) const;

  std::string m_name;
  std::string m_file;  // where the pictures are read: once it is indexed, the open file
  std::shared_ptr<const FileWindow> m_open;
  std::shared_ptr<ResourceFolder> m_resources;  // null: none
  bool m_far = false;                           // beyond 2 GiB
  PageIndex m_index;
  mutable std::once_flag m_profileSought;
  mutable SharedProfile m_profile;  // of inks, that the file holds
};

// Decodes data that ReadPictureData gave unchecked, without a bitmap: false when anything is wrong
// with them. Says in `data` how all of their rows are laid out.
K_EXPORT bool CheckPictureData(PictureData& data, int64_t maxPixels);

// The same for one picture of a file, which is indexed for it.
K_EXPORT Outcome DescribePicture(const std::string& file, int picture, PictureInfo& info);
K_EXPORT Outcome ReadImageData(const std::string& file, int picture,
                               std::vector<unsigned char>& data);
K_EXPORT Outcome LoadPicture(const std::string& file, int picture, const LoadOptions& options,
                             Bitmap& bitmap, PictureInfo* info = nullptr);

}  // namespace kz
