// Pictures of documents on their way into picture files.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz {

struct ExportOptions {
  LoadOptions load;
  bool dither = false;  // black and white pictures of all, by error diffusion
  bool trust = false;   // data that go as they are aren't decoded as a check
};

// A picture as it goes into a file: its data as they are, where the format carries them and they
// decode whole; else as it was loaded.
class K_EXPORT ExportedPicture {
 public:
  ExportedPicture();
  ~ExportedPicture();
  ExportedPicture(ExportedPicture&& other) noexcept;
  ExportedPicture& operator=(ExportedPicture&& other) noexcept;

  // Reads the picture and codes it for the writer, which is open. Any thread may, with one
  // writer for several pictures, as long as no page fails that is added to it: one that was opened
  // for "-" and is never committed serves all of a format. Throws nothing.
  void Make(const ShownPicture& shown, const ExportOptions& options,
            const PictureWriter& writer) noexcept;
  // What became of reading it, as Document::LoadPicture says. The others count only if that is Ok.
  const Outcome& Read() const { return m_read; }
  // Whether its data go as they are.
  bool Passes() const;
  // Adds it to the writer, or to another of the same format, once. Fails as that does.
  Outcome AddTo(PictureWriter& writer);

 private:
  struct Content;
  void Load(const ShownPicture& shown, const ExportOptions& options, const PictureWriter& writer);
  bool Pass(const ShownPicture& shown, const ExportOptions& options, const PictureWriter& writer);

  Outcome m_read;
  std::unique_ptr<Content> m_content;
};

struct ExportCounts {
  size_t written = 0;
  size_t failed = 0;   // can't be read
  size_t passed = 0;   // of the written ones: with their data as they were
  size_t damaged = 0;  // of the written ones: with warnings
};

// What became of reading a picture: told in the order of the pictures, from the calling thread.
using PictureTold = std::function<void(const ShownPicture&, const Outcome&)>;

// Adds the pictures to the writer, in their order, prepared on the workers. A picture that can't
// be read is told and left out. Fails with what the writer says.
K_EXPORT Outcome ExportPictures(const std::vector<ShownPicture>& pictures,
                                const ExportOptions& options, Workers& workers,
                                PictureWriter& writer, const PictureTold& told,
                                ExportCounts& counts);

}  // namespace kz
