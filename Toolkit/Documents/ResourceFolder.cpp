#include "Toolkit/Documents/ResourceFolder.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "Toolkit/Base/AsciiCase.h"

namespace kz {

namespace fs = std::filesystem;

namespace {

constexpr std::array<const char*, 9> kEndings = {"",      ".afp", ".psg",  ".pse", ".ovl",
                                                 ".ovly", ".res", ".ioca", ".img"};
// More names than any resource has bytes are kept out of paths.
constexpr size_t kMaxName = 200;
// Resources of libraries that are told apart.
constexpr size_t kMostNames = 1'000'000;

std::string Cased(std::string text, char (*change)(char)) {
  std::transform(text.begin(), text.end(), text.begin(), change);
  return text;
}

bool IsFile(const std::string& path) {
  struct stat found;
  return ::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode);
}

bool IsLibrary(const fs::directory_entry& entry) {
  const std::string ending = Cased(entry.path().extension(), LowerCase);
  if (!ending.empty() && ending != ".afp" && ending != ".res" && ending != ".lib") return false;
  std::error_code failed;
  if (!entry.is_regular_file(failed) || failed) return false;
  const uintmax_t size = entry.file_size(failed);
  return !failed && size <= static_cast<uintmax_t>(ResourceFolder::kMostLibraryBytes);
}

}  // namespace

std::string ResourceFolder::FindFile(const std::string& name) const {
  const bool safe = !name.empty() && name.size() <= kMaxName && name != "." && name != ".." &&
                    name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
  if (!safe) return {};
  for (const std::string& cased : {name, Cased(name, UpperCase), Cased(name, LowerCase)}) {
    for (const char* ending : kEndings) {
      for (const std::string& end : {std::string(ending), Cased(ending, UpperCase)}) {
        std::string path = m_folder;
        path.append("/").append(cased).append(end);
        if (IsFile(path)) return path;
      }
    }
  }
  return {};
}

const Document* ResourceFolder::Open(const std::string& path) {
  const auto [place, added] = m_documents.try_emplace(path);
  if (!added) return place->second.get();
  auto document = std::make_unique<Document>(path);
  if (document->Open().Ok()) place->second = std::move(document);
  return place->second.get();
}

void ResourceFolder::ReadLibraries() {
  m_librariesRead = true;
  std::vector<std::string> paths;
  std::error_code failed;
  for (fs::directory_iterator entry(m_folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    if (IsLibrary(*entry)) paths.push_back(entry->path());
  }
  std::sort(paths.begin(), paths.end());
  if (paths.size() > kMostLibraries) paths.resize(kMostLibraries);
  for (const std::string& path : paths) {
    PageIndex index;
    if (!IndexFile(path, index).Ok()) continue;
    for (const IndexedResource& resource : index.resources) {
      if (m_libraries.size() == kMostNames) return;
      if (!resource.name.empty()) m_libraries.emplace(resource.name, path);
    }
  }
}

void ResourceFolder::TakeFromLibrary(const std::string& name, Resource& resource) {
  if (!m_librariesRead) ReadLibraries();
  const auto library = m_libraries.find(name);
  const Document* document = library != m_libraries.end() ? Open(library->second) : nullptr;
  if (document == nullptr) return;
  const std::vector<IndexedResource>& all = document->Index().resources;
  const auto place = std::find_if(all.begin(), all.end(),
                                  [&](const IndexedResource& one) { return one.name == name; });
  if (place == all.end()) return;
  resource.found = true;
  const auto index = static_cast<uint32_t>(place - all.begin());
  resource.place = {document, index};
  for (const int picture : document->Index().PicturesOfResource(index)) {
    resource.pictures.push_back({document, picture});
  }
}

const ResourceFolder::Resource& ResourceFolder::Get(const std::string& name) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto [place, added] = m_resources.try_emplace(name);
  Resource& resource = place->second;
  if (!added) return resource;
  const std::string path = FindFile(name);
  const Document* document = path.empty() ? nullptr : Open(path);
  if (document == nullptr) {
    TakeFromLibrary(name, resource);
    return resource;
  }
  resource.found = true;
  resource.place = {document, kNoIndex};
  for (int picture = 1; picture <= document->Pictures(); ++picture) {
    resource.pictures.push_back({document, picture});
  }
  return resource;
}

bool ResourceFolder::Has(const std::string& name) { return Get(name).found; }

bool ResourceFolder::Find(const std::string& name, ResourcePlace& place) {
  const Resource& resource = Get(name);
  if (resource.found) place = resource.place;
  return resource.found;
}

const std::vector<ShownPicture>& ResourceFolder::Pictures(const std::string& name) {
  return Get(name).pictures;
}

}  // namespace kz
