// The files that a list of names, and the folders among them, stand for: one after the other,
// since there may be millions.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

struct SourceFile {
  std::string path;  // by which it is opened
  // Where it stands below the output folder: a file's path below the folder that it was found
  // in, the name of a file that was named; of a list the name as it stands there, without a
  // slash at its beginning and with "." and ".." resolved.
  std::string relative;
  bool named = false;  // and not found in a folder
  Outcome problem;     // why the file, or folder, can't be read
};

struct SourceRequest {
  std::vector<std::string> sources;  // files and folders
  // File with more names, one a line or, if it has any zero byte, each ended by one; "-" is
  // standard input; empty: none.
  std::string list;
  // Folder that isn't searched, unless it is a source itself: that of the outputs. Empty: none.
  std::string except;
};

// A folder gives its regular files in the order of their names' bytes, hidden ones too, then
// those of the folders in it; links are followed, but each folder is entered once for each
// source. What is neither file nor folder is left out where it is found, and a problem where it
// is named. At any time the names in the folders around the present file are in memory.
class K_EXPORT SourceFiles {
 public:
  explicit SourceFiles(SourceRequest request);
  ~SourceFiles();
  SourceFiles(const SourceFiles&) = delete;
  SourceFiles& operator=(const SourceFiles&) = delete;

  // -10 when the list can't be opened.
  Outcome Open();
  // The next file, or folder that can't be read; false after the last. When reading the list
  // fails, the problem stands at its name.
  bool Next(SourceFile& file);
  // Whether all files come from one folder, those of each folder in it in a row.
  bool IsOneFolder() const;

 private:
  struct Folder;
  class List;

  bool NextName(std::string& name, bool& listed, Outcome& problem);
  bool Begin(const std::string& name, bool listed, SourceFile& file);
  bool Enter(const std::string& path, const std::string& relative, bool root, SourceFile& file);

  SourceRequest m_request;
  std::unique_ptr<List> m_list;
  size_t m_next = 0;  // of the sources
  std::vector<std::unique_ptr<Folder>> m_folders;
  std::set<std::pair<dev_t, ino_t>> m_entered;  // of the present source
  struct stat m_except = {};
};

// The path without "." and "..", slashes at its ends and in a row; ".." leads no further than
// to the beginning.
K_EXPORT std::string PathBelow(const std::string& path);

}  // namespace kz
