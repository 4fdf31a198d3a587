#include "Toolkit/Convert/ConvertReport.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "Toolkit/Base/Printable.h"

namespace kz {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kReadAtOnce = size_t{1} << 20;
// A source with very many outputs has a long line.
constexpr size_t kLongestLine = size_t{1} << 30;

constexpr const char* kStatusNames[] = {"done", "skipped", "failed", "no document"};

double Now() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// To milliseconds: JSON would have every digit of a binary fraction.
double Rounded(double seconds) {
  constexpr double thousand = 1000;
  return std::round(seconds * thousand) / thousand;
}

std::string Text(const Json& object) {
  const std::string text = object.dump(-1, ' ', false, Json::error_handler_t::replace);
  return Printable(text, Unprintable::Json);
}

bool IsUtf8(const std::string& text) {
  try {
    (void)Json(text).dump();
    return true;
  } catch (const Json::exception&) {
    return false;
  }
}

std::string Hexadecimal(const std::string& bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += {digits[byte >> 4], digits[byte & 15]};
  }
  return text;
}

std::string FromHexadecimal(const std::string& text) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::string bytes;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(digit(text[i]) << 4 | digit(text[i + 1]));
  }
  return bytes;
}

void ReadSource(const Json& object, SourceResult& source) {
  source.source = object.at("source").get<std::string>();
  if (object.contains("source_hex")) {
    source.source = FromHexadecimal(object["source_hex"].get<std::string>());
  }
  const auto status = object.at("status").get<std::string>();
  const auto* const name = std::find(std::begin(kStatusNames), std::end(kStatusNames), status);
  if (name == std::end(kStatusNames)) throw std::invalid_argument("status");
  source.status = static_cast<SourceStatus>(name - std::begin(kStatusNames));
  source.outputs = object.at("outputs").get<std::vector<std::string>>();
  source.pages = object.at("pages").get<size_t>();
  source.pictures = object.at("pictures").get<size_t>();
  source.passed = object.at("passed").get<size_t>();
  source.warnings = object.at("warnings").get<std::vector<std::string>>();
  source.errors = object.at("errors").get<std::vector<std::string>>();
  source.seconds = object.at("seconds").get<double>();
  source.bytesIn = object.at("bytes_in").get<int64_t>();
  source.bytesOut = object.at("bytes_out").get<int64_t>();
}

}  // namespace

std::string ReportLine(const SourceResult& result, const Shard& shard, double ended) {
  Json object = {{"source", result.source}};
  if (!IsUtf8(result.source)) object["source_hex"] = Hexadecimal(result.source);
  object["outputs"] = result.outputs;
  object["pages"] = result.pages;
  object["pictures"] = result.pictures;
  object["passed"] = result.passed;
  object["warnings"] = result.warnings;
  object["errors"] = result.errors;
  object["seconds"] = Rounded(result.seconds);
  object["bytes_in"] = result.bytesIn;
  object["bytes_out"] = result.bytesOut;
  object["status"] = kStatusNames[static_cast<size_t>(result.status)];
  object["shard"] = shard.Text();
  object["ended"] = Rounded(ended);
  return Text(object);
}

std::string SummaryLine(const ConvertTotals& totals, const Shard& shard, double ended) {
  return Text({{"summary", true},
               {"shard", shard.Text()},
               {"files", totals.Files()},
               {"done", totals.done},
               {"skipped", totals.skipped},
               {"failed", totals.failed},
               {"warned", totals.warned},
               {"without_pictures", totals.withoutPictures},
               {"no_documents", totals.noDocument},
               {"outputs", totals.outputs},
               {"pages", totals.pages},
               {"pictures", totals.pictures},
               {"passed", totals.passed},
               {"bytes_in", totals.bytesIn},
               {"bytes_out", totals.bytesOut},
               {"seconds", Rounded(totals.seconds)},
               {"ended", Rounded(ended)}});
}

Outcome ReadReportLine(std::string_view line, ReportEntry& entry) {
  try {
    const Json object = Json::parse(line);
    ReportEntry read;
    Outcome shard = Shard::Parse(object.at("shard").get<std::string>(), read.shard);
    if (!shard.Ok()) return shard;
    read.ended = object.at("ended").get<double>();
    read.summary = object.contains("summary");
    if (!read.summary) ReadSource(object, read.source);
    entry = std::move(read);
    return {};
  } catch (const std::exception&) {
    return Failure(K_ERROR_INVALID_FORMAT, "this is no line of a report");
  }
}

Outcome ReportWriter::Open(const std::string& path) {
  constexpr mode_t readable = 0666;
  m_file.Reset(OpenDescriptor(path.c_str(), O_RDWR | O_CREAT | O_APPEND, readable));
  // A pipe or a device can't be read back.
  if (m_file.Get() < 0) m_file.Reset(OpenDescriptor(path.c_str(), O_WRONLY | O_APPEND));
  if (m_file.Get() < 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  struct stat found;
  unsigned char last = '\n';
  if (::fstat(m_file.Get(), &found) == 0 && S_ISREG(found.st_mode) && found.st_size > 0) {
    (void)ReadFully(m_file.Get(), found.st_size - 1, &last, 1);
  }
  return last == '\n' ? Outcome{} : Write("");
}

Outcome ReportWriter::Add(const SourceResult& result) {
  return Write(ReportLine(result, m_shard, Now()));
}

Outcome ReportWriter::Finish(const ConvertTotals& totals) {
  Outcome outcome = Write(SummaryLine(totals, m_shard, Now()));
  if (outcome.Ok() && ::fsync(m_file.Get()) != 0 && errno != EINVAL && errno != EROFS) {
    return SystemFailure(K_ERROR_WRITE, errno);
  }
  return outcome;
}

Outcome ReportWriter::Write(std::string line) {
  line += '\n';
  const bool written =
      WriteFully(m_file.Get(), reinterpret_cast<const unsigned char*>(line.data()), line.size());
  return written ? Outcome{} : SystemFailure(K_ERROR_WRITE, errno);
}

Outcome ReportReader::Open(const std::string& path) {
  m_file.Reset(OpenDescriptor(path.c_str(), O_RDONLY));
  struct stat found;
  if (m_file.Get() < 0 || ::fstat(m_file.Get(), &found) != 0) {
    return SystemFailure(K_ERROR_OPEN_READ, errno);
  }
  if (!S_ISREG(found.st_mode)) {
    return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  Seek(0);
  return {};
}

void ReportReader::Seek(int64_t at) {
  m_failed = {};
  m_bytes.clear();
  m_next = 0;
  m_start = at;
}

bool ReportReader::Next(std::string& line, int64_t& at, bool& whole) {
  for (size_t searched = m_next;;) {
    const size_t end = m_bytes.find('\n', searched);
    whole = end != std::string::npos;
    if (whole) {
      at = m_start + static_cast<int64_t>(m_next);
      line.assign(m_bytes, m_next, end - m_next);
      m_next = end + 1;
      return true;
    }
    m_start += static_cast<int64_t>(m_next);
    m_bytes.erase(0, m_next);
    m_next = 0;
    searched = m_bytes.size();
    m_bytes.resize(searched + kReadAtOnce);
    const int64_t read =
        ReadFully(m_file.Get(), m_start + static_cast<int64_t>(searched),
                  reinterpret_cast<unsigned char*>(m_bytes.data()) + searched, kReadAtOnce);
    m_bytes.resize(searched + static_cast<size_t>(std::max<int64_t>(read, 0)));
    if (read < 0) m_failed = SystemFailure(K_ERROR_READ, errno);
    if (searched > kLongestLine) m_failed = Failure(K_ERROR_INVALID_FORMAT, "a line has no end");
    if (!m_failed.Ok()) return false;
    if (read > 0) continue;
    at = m_start;
    line = std::exchange(m_bytes, {});
    m_start += static_cast<int64_t>(line.size());
    return !line.empty();
  }
}

Outcome FailedSources(const std::string& report, std::vector<uint64_t>& hashes) {
  hashes.clear();
  struct stat found;
  const bool known = ::stat(report.c_str(), &found) == 0;
  if (known ? !S_ISREG(found.st_mode) : errno == ENOENT) return {};
  ReportReader reader;
  Outcome outcome = reader.Open(report);
  if (!outcome.Ok()) return outcome;
  std::unordered_map<uint64_t, bool> failed;
  std::string line;
  int64_t at = 0;
  for (bool whole = false; reader.Next(line, at, whole);) {
    ReportEntry entry;
    if (!ReadReportLine(line, entry).Ok() || entry.summary) continue;
    const uint64_t hash = StableHash(entry.source.source);
    // Of the others nothing need be known.
    if (entry.source.status == SourceStatus::Failed) failed[hash] = true;
    if (entry.source.status == SourceStatus::Done) failed.erase(hash);
  }
  for (const auto& [hash, ignored] : failed) hashes.push_back(hash);
  std::sort(hashes.begin(), hashes.end());
  return reader.Failed();
}

}  // namespace kz
