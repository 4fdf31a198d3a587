// Who may do what with a file, and what users have attached to it.
#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

namespace kz {

class FileRights {
 public:
  // The rights of an existing file: owner, group, mode, access control list and user
  // attributes. `found` is its status.
  static FileRights Of(int descriptor, const struct stat& found);
  // What the system gives a new file in the folder: the mode that the umask or the
  // folder's default list leaves.
  static FileRights OfNewFile(int folder);

  // Gives the file the owner and the group, which is left alone if only that fails.
  // Returns 0 or an errno value.
  int GiveOwner(int descriptor);
  // Gives the file the rest, which GiveOwner comes before. What can't be kept makes
  // the file less open, never more, and stands in `lost` for people. Returns 0 or an
  // errno value.
  int Give(int descriptor, std::string& lost) const;

 private:
  bool m_new = true;
  bool m_groupKept = true;
  uid_t m_owner = 0;
  gid_t m_group = 0;
  mode_t m_mode = 0;
  std::string m_accessList;  // as the system stores it; empty: none
  std::vector<std::pair<std::string, std::string>> m_attributes;
};

}  // namespace kz
