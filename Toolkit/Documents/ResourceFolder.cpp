#include "Toolkit/Documents/ResourceFolder.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace kz {

namespace {

constexpr std::array<const char*, 9> kEndings = {"",      ".afp", ".psg",  ".pse", ".ovl",
                                                 ".ovly", ".res", ".ioca", ".img"};
// More names than any resource has bytes are kept out of paths.
constexpr size_t kMaxName = 200;

// ASCII only, in any locale.
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Cased(std::string text, char (*change)(char)) {
  std::transform(text.begin(), text.end(), text.begin(), change);
  return text;
}

bool IsFile(const std::string& path) {
  struct stat found;
  return ::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode);
}

}  // namespace

std::string ResourceFolder::Find(const std::string& name) const {
  const bool safe = !name.empty() && name.size() <= kMaxName && name != "." && name != ".." &&
                    name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
  if (!safe) return {};
  for (const std::string& cased : {name, Cased(name, Upper), Cased(name, Lower)}) {
    for (const char* ending : kEndings) {
      for (const std::string& end : {std::string(ending), Cased(ending, Upper)}) {
        std::string path = m_folder;
        path.append("/").append(cased).append(end);
        if (IsFile(path)) return path;
      }
    }
  }
  return {};
}

const Document* ResourceFolder::Open(const std::string& name) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto [place, added] = m_documents.try_emplace(name);
  if (!added) return place->second.get();
  const std::string path = Find(name);
  if (path.empty()) return nullptr;
  auto document = std::make_unique<Document>(path);
  if (document->Open().Ok()) place->second = std::move(document);
  return place->second.get();
}

}  // namespace kz
