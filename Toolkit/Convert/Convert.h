// Many files to picture files: the pictures of their pages.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Convert/OutputNames.h"
#include "Toolkit/Convert/Shard.h"
#include "Toolkit/Convert/SourceFiles.h"
#include "Toolkit/Images/DecodedImage.h"

namespace kz {

enum class SourceStatus : uint8_t {
  Done,
  Skipped,     // its outputs were there
  Failed,      // nothing, or not all of it, is in the outputs
  NoDocument,  // found in a folder, and nothing that is converted
};

// What became of a source. Those of its outputs that are listed are in their places, stored on
// the disk.
struct SourceResult {
  std::string source;  // the path by which it was read
  SourceStatus status = SourceStatus::Done;
  std::vector<std::string> outputs;
  size_t pages = 0;     // of the source
  size_t pictures = 0;  // in the outputs
  size_t passed = 0;    // of these, with their coded data as they were
  // In words, with the page and the picture; at most kMostWords and how many more there are.
  std::vector<std::string> warnings;
  std::vector<std::string> errors;
  double seconds = 0;  // from its opening on, until the outputs were written
  int64_t bytesIn = 0;
  int64_t bytesOut = 0;
  static constexpr size_t kMostWords = 100;
};

struct ConvertTotals {
  size_t done = 0;
  size_t skipped = 0;
  size_t failed = 0;
  size_t noDocument = 0;
  size_t warned = 0;           // sources with warnings
  size_t withoutPictures = 0;  // those of them that gave no output for lack of any
  size_t outputs = 0;
  size_t pages = 0;
  size_t pictures = 0;
  size_t passed = 0;
  int64_t bytesIn = 0;
  int64_t bytesOut = 0;
  double seconds = 0;  // that the whole took

  size_t Files() const { return done + skipped + failed; }
};

// Adds a source, but not its seconds.
K_EXPORT void AddToTotals(const SourceResult& result, ConvertTotals& totals);

struct ConvertProgress {
  size_t files = 0;    // that are done
  size_t inAll = 0;    // as far as is known
  bool known = false;  // whether that is all
  size_t pages = 0;    // pictures that were taken on
  double seconds = 0;
};

struct ConvertRequest {
  std::vector<std::string> sources;  // files and folders
  std::string list;                  // see SourceRequest
  std::string to;                    // folder; it is made
  PictureFormat format = PictureFormat::kPdf;
  OutputPer per = OutputPer::Document;
  std::string name;      // see OutputNames; empty: the usual one
  unsigned threads = 0;  // 0: as many as there are processors
  // Leaves out sources whose outputs are all there, and not older than the source, unless
  // `again` has their path.
  bool skipExisting = false;
  std::function<bool(const std::string& source)> again;
  Shard shard;
  std::string resources;  // folder for what the sources don't hold; empty: none
  LoadOptions load;
  bool dither = false;
  bool trust = false;  // data that go as they are aren't decoded as a check
  // Told of each source, in their order, when its outputs are in place. Both may be empty. They
  // are called from any thread, but never at the same time.
  std::function<void(const SourceResult&)> result;
  std::function<void(const ConvertProgress&)> progress;  // some ten times a second
};

// Converts them, several sources and several pages at once; memory is taken for as many
// pictures as there are threads, and 16 bytes for each source in a row of sources whose names
// might clash: the files of a folder, or all when they come from more than one. What is wrong
// with a source is in its result, and doesn't keep the others. Fails only when nothing can be
// begun: -9 for a name that can't be, -10 for the list, -14 for the output folder.
K_EXPORT Outcome Convert(const ConvertRequest& request, ConvertTotals& totals);

}  // namespace kz
