// Resources that a document names and doesn't hold, as files of a folder.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include "Host/Kernel/Export.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

class K_EXPORT ResourceFolder {
 public:
  explicit ResourceFolder(std::string folder) : m_folder(std::move(folder)) {}

  // The path of the folder's file for a name: one of that name as it is, in upper or in
  // lower case, with or without a usual ending. Empty for none, and for names that no
  // file in the folder has: with a slash or a zero byte, "", "." and "..".
  std::string Find(const std::string& name) const;
  // The same file opened, once for all; null when there is none that can be indexed. It
  // stays as long as the folder. May be called from several threads.
  const Document* Open(const std::string& name);

 private:
  std::string m_folder;
  std::mutex m_mutex;
  std::unordered_map<std::string, std::unique_ptr<Document>> m_documents;  // by their names
};

}  // namespace kz
