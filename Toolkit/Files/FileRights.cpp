#include "Toolkit/Files/FileRights.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string_view>

#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr std::string_view kUserAttribute = "user.";
constexpr mode_t kModeBits = 07777;
constexpr mode_t kNewFileMode = 0666;

// Reads with get(buffer, size), which says how much there is, until all is there.
// False when that fails.
template <typename Get>
bool ReadAll(std::string& value, Get get) {
  for (;;) {
    const ssize_t size = get(nullptr, size_t{0});
    if (size < 0) return false;
    value.resize(static_cast<size_t>(size));
    if (size == 0) return true;
    const ssize_t got = get(value.data(), value.size());
    if (got >= 0) {
      value.resize(static_cast<size_t>(got));
      return true;
    }
    if (errno != ERANGE) return false;
  }
}

bool ReadAttribute(int file, const char* name, std::string& value) {
  return ReadAll(value, [&](char* to, size_t n) { return ::fgetxattr(file, name, to, n); });
}

// Takes the access control list away; that there is none is no failure.
bool RemoveAccessList(int file) {
  return ::fremovexattr(file, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP;
}

mode_t Umask() {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> guard(mutex);
  const mode_t mask = ::umask(077);
  ::umask(mask);
  return mask;
}

}  // namespace

FileRights FileRights::Of(int descriptor, const struct stat& found) {
  FileRights rights;
  rights.m_new = false;
  rights.m_owner = found.st_uid;
  rights.m_group = found.st_gid;
  rights.m_mode = found.st_mode & kModeBits;
  if (!ReadAttribute(descriptor, kAccessList, rights.m_accessList)) rights.m_accessList.clear();
  std::string names;
  if (!ReadAll(names, [&](char* to, size_t n) { return ::flistxattr(descriptor, to, n); })) {
    return rights;
  }
  for (size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    const std::string name = names.c_str() + at;
    std::string value;
    if (name.starts_with(kUserAttribute) && ReadAttribute(descriptor, name.c_str(), value)) {
      rights.m_attributes.emplace_back(name, std::move(value));
    }
  }
  return rights;
}

FileRights FileRights::OfNewFile(int folder) {
  FileRights rights;
  rights.m_mode = kNewFileMode;
  // A file without a name shows what comes of umask and the folder's default list.
  const OwnedDescriptor probe(OpenDescriptorAt(folder, ".", O_TMPFILE | O_RDWR, kNewFileMode));
  struct stat made;
  if (probe.Get() < 0 || ::fstat(probe.Get(), &made) != 0) {
    rights.m_mode &= ~Umask();
    return rights;
  }
  rights.m_mode = made.st_mode & kModeBits;
  if (!ReadAttribute(probe.Get(), kAccessList, rights.m_accessList)) rights.m_accessList.clear();
  return rights;
}

int FileRights::GiveOwner(int descriptor) {
  if (m_new) return 0;
  struct stat current;
  if (::fstat(descriptor, &current) != 0) return errno;
  if (current.st_uid != m_owner) {
    return ::fchown(descriptor, m_owner, m_group) == 0 ? 0 : errno;
  }
  m_groupKept =
      current.st_gid == m_group || ::fchown(descriptor, static_cast<uid_t>(-1), m_group) == 0;
  return 0;
}

int FileRights::Give(int descriptor, std::string& lost) const {
  mode_t mode = m_mode;
  if (!m_groupKept) {
    // The old group are others now and the new one's members were: both get only
    // what both had.
    const mode_t shared = (mode >> 3) & mode & S_IRWXO;
    mode = (mode & (S_ISUID | S_IRWXU)) | shared << 3 | shared;
    lost = "its group";
  }
  for (const auto& [name, value] : m_attributes) {
    if (::fsetxattr(descriptor, name.c_str(), value.data(), value.size(), 0) == 0) continue;
    lost += (lost.empty() ? "its attribute " : ", its attribute ") + name;
  }
  const bool listKept =
      m_groupKept && !m_accessList.empty() &&
      ::fsetxattr(descriptor, kAccessList, m_accessList.data(), m_accessList.size(), 0) == 0;
  if (listKept) return ::fchmod(descriptor, mode) == 0 ? 0 : errno;
  if (!m_accessList.empty()) {
    // The list may have denied some what the mode's bits would allow them.
    mode &= static_cast<mode_t>(~(S_ISGID | S_IRWXG | S_IRWXO));
    lost += lost.empty() ? "its access control list" : ", its access control list";
  }
  if (!RemoveAccessList(descriptor)) return errno;
  return ::fchmod(descriptor, mode) == 0 ? 0 : errno;
}

}  // namespace kz
