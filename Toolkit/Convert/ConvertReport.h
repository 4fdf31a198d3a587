// Reports of conversions: a line of JSON for each source, and one at the end of a run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Convert/Convert.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

// The line of a source, without an end of line. What isn't UTF-8 is replaced; the source's name
// has its bytes in "source_hex" then. `ended` is seconds since 1970.
K_EXPORT std::string ReportLine(const SourceResult& result, const Shard& shard, double ended);
// The last line of a run.
K_EXPORT std::string SummaryLine(const ConvertTotals& totals, const Shard& shard, double ended);

// What a line says.
struct ReportEntry {
  bool summary = false;
  Shard shard;
  double ended = 0;     // seconds since 1970
  SourceResult source;  // of a line that is no summary
};
// -9 for what is no such line.
K_EXPORT Outcome ReadReportLine(std::string_view line, ReportEntry& entry);

// Appends to a report, a whole line at once, so that a killed run leaves whole lines.
class K_EXPORT ReportWriter {
 public:
  explicit ReportWriter(const Shard& shard) : m_shard(shard) {}
  // Makes the file or goes on in it, past what a killed run may have left unfinished. -14 when
  // that fails.
  Outcome Open(const std::string& path);
  // -5 when writing fails.
  Outcome Add(const SourceResult& result);
  Outcome Finish(const ConvertTotals& totals);

 private:
  Outcome Write(std::string line);

  Shard m_shard;
  OwnedDescriptor m_file;
};

// The lines of a file, one after the other, whatever its size.
class K_EXPORT ReportReader {
 public:
  // -10 when it can't be opened.
  Outcome Open(const std::string& path);
  // False at the end, also when reading fails: see Failed. `at` is where the line begins;
  // `whole` is false for a last line without its end.
  bool Next(std::string& line, int64_t& at, bool& whole);
  // Goes on at the line that begins there.
  void Seek(int64_t at);
  const Outcome& Failed() const { return m_failed; }

 private:
  OwnedDescriptor m_file;
  std::string m_bytes;
  size_t m_next = 0;    // in the bytes
  int64_t m_start = 0;  // of the bytes in the file
  Outcome m_failed;
};

// Hashes of the sources of which the report says last that they failed, sorted. A report that
// isn't there, or no file, names none.
K_EXPORT Outcome FailedSources(const std::string& report, std::vector<uint64_t>& hashes);

}  // namespace kz
