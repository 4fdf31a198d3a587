// Where extracted pictures go: one file, or one for each.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Convert/PictureExport.h"
#include "Tools/kzica/Command.h"

namespace kz {
class FileBatch;
}

namespace kzica {

// What a picture is written as: a picture, or its image data as they are stored.
struct OutputFormat {
  kz::PictureFormat picture = kz::PictureFormat::kNone;
  bool raw = false;
};

// A picture that is wanted, and the page of its own document that it is wanted of; 0: of none.
struct Wanted {
  kz::ShownPicture shown;
  int page;
  int number;        // in names: that of the picture; of a resource's after those of the file
  std::string file;  // it is wanted of
};

// Whether a name has a %f, which stands for the name of the file that a picture is of.
bool NamesFile(const std::string& out);
// The name with the file's, without its folder and ending, for each %f, and the number for the
// %d (see NumberedName).
std::string OutputName(const std::string& out, const Wanted& wanted);

class ExtractOutput {
 public:
  // `sources` are the files that are read, which aren't written to: a UsageError. Pictures are
  // prepared on so many threads; 0: on as many as there are processors.
  ExtractOutput(std::vector<std::string> sources, OutputFormat format, kz::ExportOptions options,
                unsigned jobs)
      : m_sources(std::move(sources)),
        m_format(format),
        m_options(std::move(options)),
        m_jobs(jobs) {}

  // Writes all that can be read into one file, which isn't made without any. Says what fails.
  Exit ToOneFile(const std::string& out, const std::vector<Wanted>& wanted) const;
  // Writes files of one picture each, named by a pattern with a %d or %f. A picture that fails
  // doesn't keep the others from their files. Two of one name are a UsageError.
  Exit ToNumberedFiles(const std::string& out, const std::vector<Wanted>& wanted) const;

 private:
  // Whether a picture's file is its data.
  enum class Stored : uint8_t { kNo, kAsTheyAre, kFlipped };
  struct Made {
    Stored stored = Stored::kNo;
    kz::ExportedPicture picture;  // if it isn't
  };

  Stored HowStored(const Wanted& wanted) const;
  unsigned Threads(size_t pictures) const;
  void RefuseSources(const std::string& out) const;
  Exit Write(const std::string& out, const Wanted& wanted, Made made, kz::FileBatch* batch) const;
  Exit WriteData(const std::string& out, const Wanted& wanted, bool flip,
                 kz::FileBatch* batch) const;
  Exit WritePictures(const std::string& out, const std::vector<Wanted>& wanted,
                     kz::FileBatch* batch) const;

  std::vector<std::string> m_sources;
  OutputFormat m_format;
  kz::ExportOptions m_options;
  unsigned m_jobs;
};

}  // namespace kzica
