// Resources that a document names and doesn't hold, in the files of a folder.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// Each file is read once. A resource is a file of its name or, when there is none, the
// first resource of that name in the folder's libraries: files that hold resources, whose
// names end with .afp, .res, .lib or not at all, the first kMostLibraries of them by their
// names that aren't larger than kMostLibraryBytes. May be used from several threads.
class K_EXPORT ResourceFolder {
 public:
  static constexpr size_t kMostLibraries = 1000;
  static constexpr int64_t kMostLibraryBytes = int64_t{256} * 1024 * 1024;

  explicit ResourceFolder(std::string folder) : m_folder(std::move(folder)) {}

  // The path of the folder's file for a name: one of that name as it is, in upper or in
  // lower case, with or without a usual ending. Empty for none, and for names that no
  // file in the folder has: with a slash or a zero byte, "", "." and "..".
  std::string FindFile(const std::string& name) const;
  // Whether there is a resource of this name that can be read.
  bool Has(const std::string& name);
  // Where it is. False when there is none that can be read.
  bool Find(const std::string& name, ResourcePlace& place);
  // Its pictures, in their order. They, and their documents, stay as long as the folder.
  const std::vector<ShownPicture>& Pictures(const std::string& name);

 private:
  struct Resource {
    bool found = false;
    ResourcePlace place;
    std::vector<ShownPicture> pictures;
  };
  const Resource& Get(const std::string& name);
  // All of these with the mutex locked.
  const Document* Open(const std::string& path);
  void ReadLibraries();
  void TakeFromLibrary(const std::string& name, Resource& resource);

  std::string m_folder;
  std::mutex m_mutex;
  std::unordered_map<std::string, Resource> m_resources;                   // by their names
  std::unordered_map<std::string, std::unique_ptr<Document>> m_documents;  // by their paths
  bool m_librariesRead = false;
  std::unordered_map<std::string, std::string> m_libraries;  // paths, by names of resources
};

}  // namespace kz
