// The pictures that become pages, and the files that they go into: what create, append,
// insert and replace share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Toolkit/Editing/SavePage.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Tools/kzica/Command.h"

namespace kzica {

// The options on how pages are written.
struct PageOptions {
  std::string compression;  // empty: by the picture
  std::string dpi;          // empty: the picture's own
  int bitsPerPixel = 0;
  int quality = 0;
  bool dither = false;
  int functionSet = 0;
  bool recode = false;
  bool trust = false;
};

void AddPageOptions(CLI::App& command, PageOptions& options);
// Adds --container; `container` stays empty when it isn't given.
CLI::Option* AddContainerOption(CLI::App& command, std::string& container);
// The container of a name that the option admits.
kz::Container ContainerOfName(const std::string& name);

// One page of a picture file.
struct Picture {
  Subject source;
  kz::PictureData data;  // that become its page as they are; else empty
  kz::Bitmap bitmap;     // empty where there are such data
  kz::JpegFile jpeg;     // that it came from, if it did
};

// Writes pictures as pages of one file.
class PageSaver {
 public:
  // `target` is what the file is called. A --dpi that is none is a UsageError.
  PageSaver(const PageOptions& options, kz::Container container, const std::string& target);

  // Reads a page of a picture file, as its data where the page will have these.
  kz::Outcome Read(kz::PictureReader& reader, int page, Picture& picture) const;
  // Writes one picture as a page of the file at the path. Says what fails.
  Exit Save(const std::string& path, Picture& picture, kz::SaveMode mode) const;

 private:
  // What is asked for, where nothing else is with such a compression.
  kz::SaveRequest RequestFor(kz::Compression compression) const;
  bool TakesData() const;

  const PageOptions& m_options;
  kz::Container m_container;
  std::string m_target;
  int m_xResolution = 0;  // 0: the picture's own
  int m_yResolution = 0;
};

// Reads all pages of the picture files for the saver, one after the other, and hands them
// over until one fails. Says what fails.
Exit ForEachPicture(const std::vector<std::string>& files, const PageSaver& saver,
                    const std::function<Exit(Picture&)>& take);

}  // namespace kzica
