#include "Toolkit/Convert/SourceConversion.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string_view>

#include "Toolkit/Convert/SourceKind.h"
#include "Toolkit/Files/TemporaryFile.h"

namespace kz {

namespace {

bool IsBefore(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

// "page 2", "pages 1-3, 5", of rising numbers; of very many stretches how many pages.
std::string PageWords(const std::vector<int>& pages) {
  constexpr int mostStretches = 20;
  std::string words = pages.size() == 1 ? "page " : "pages ";
  int stretches = 0;
  for (size_t i = 0; i < pages.size(); ++stretches) {
    if (stretches == mostStretches) return std::to_string(pages.size()) + " pages";
    size_t end = i + 1;
    while (end < pages.size() && pages[end] == pages[end - 1] + 1) ++end;
    if (i > 0) words += ", ";
    words += std::to_string(pages[i]);
    if (end - i > 1) words.append("-").append(std::to_string(pages[end - 1]));
    i = end;
  }
  return words;
}

void AddWords(std::vector<std::string>& list, const std::string& words, size_t& more) {
  if (list.size() < SourceResult::kMostWords) {
    list.push_back(words);
  } else {
    ++more;
  }
}

}  // namespace

struct SourceConversion::JobResult {
  std::unique_ptr<FileBatch> files;
  std::string output;  // empty: none
  ExportCounts counts;
  std::vector<std::string> warnings;
  std::vector<std::string> errors;
  size_t moreWarnings = 0;
  size_t moreErrors = 0;
};

ConvertedSource SourceConversion::Convert(const std::vector<std::string>& rivals, bool more) {
  const auto start = std::chrono::steady_clock::now();
  SourceResult& result = m_converted.result;
  result.source = m_source.path;
  try {
    Run(rivals, more);
  } catch (const std::bad_alloc&) {
    Fail(StatusText(K_ERROR_NO_MEMORY));
  } catch (const std::filesystem::filesystem_error& error) {
    Fail(error.code().message());
  }
  const auto rest = [](size_t count) { return "and " + std::to_string(count) + " more"; };
  if (m_moreErrors > 0) result.errors.push_back(rest(m_moreErrors));
  if (m_moreWarnings > 0) result.warnings.push_back(rest(m_moreWarnings));
  if (!result.errors.empty()) result.status = SourceStatus::Failed;
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return std::move(m_converted);
}

void SourceConversion::Fail(const std::string& words) {
  AddWords(m_converted.result.errors, words, m_moreErrors);
}

void SourceConversion::Warn(const std::string& words) {
  AddWords(m_converted.result.warnings, words, m_moreWarnings);
}

void SourceConversion::Run(const std::vector<std::string>& rivals, bool more) {
  if (!m_source.problem.Ok()) return Fail(m_source.problem.what);
  if (::stat(m_source.path.c_str(), &m_found) != 0) {
    return Fail(SystemFailure(K_ERROR_OPEN_READ, errno).what);
  }
  const ConvertRequest& request = m_run.request;
  // The one output of a document is known before it is opened.
  if (request.skipExisting && request.per == OutputPer::Document && HoldsPages(request.format) &&
      rivals.empty() && BeginsAsDocument(m_source.path) && Skip()) {
    return;
  }
  SourceOpener opener;
  bool isDocument = true;
  Outcome outcome = opener.Open(m_source.path, m_source.named, isDocument);
  if (!isDocument) {
    m_converted.result.status = SourceStatus::NoDocument;
    return;
  }
  if (!outcome.Ok()) return Fail(outcome.what);
  m_converted.result.bytesIn = m_found.st_size;
  for (const std::string& warning : outcome.warnings) Warn(warning);
  if (IsOutdone(rivals, more)) return;
  m_document = opener.Take();
  if (m_run.resources != nullptr) m_document->AddResources(m_run.resources);
  ConvertDocument();
}

bool SourceConversion::IsOutdone(const std::vector<std::string>& rivals, bool more) {
  for (const std::string& rival : rivals) {
    SourceOpener opener;
    bool isDocument = true;
    if (!opener.Open(rival, false, isDocument).Ok() || !isDocument) continue;
    Fail("its outputs would have the same names as those of " + rival);
    return true;
  }
  if (more) Fail("its outputs would have the same names as those of many other sources");
  return more;
}

void SourceConversion::ConvertDocument() {
  const PageIndex& index = m_document->Index();
  SourceResult& result = m_converted.result;
  result.pages = index.pages.size();
  FindJobs();
  if (m_run.request.skipExisting && !m_jobs.empty() && Skip()) return;
  if (index.IsDamaged()) Fail(DamageWords(index));
  constexpr size_t mostMissing = 20;
  const std::vector<IncludedName> missing = m_document->Missing();
  for (size_t i = 0; i < std::min(missing.size(), mostMissing); ++i) {
    const std::string page =
        missing[i].page > 0 ? "page " + std::to_string(missing[i].page) + ": " : std::string();
    Warn(page + "the resource " + missing[i].name + " is missing");
  }
  if (missing.size() > mostMissing) {
    Warn("and " + std::to_string(missing.size() - mostMissing) + " more resources");
  }
  RunJobs();
}

void SourceConversion::FindJobs() {
  m_parts = FindParts(*m_document, m_run.request.per);
  const bool several = HoldsPages(m_run.request.format);
  std::vector<int> without;
  std::set<std::string> taken;
  for (size_t part = 0; part < m_parts.size(); ++part) {
    const std::vector<PartPicture> pictures = PicturesOf(*m_document, m_parts[part], without);
    const size_t begin = m_pictures.size();
    if (begin + pictures.size() > PageIndex::kMostShownInAll) {
      Fail("its pages show more than " + std::to_string(PageIndex::kMostShownInAll) +
           " pictures: the others are left out");
      break;
    }
    m_pictures.insert(m_pictures.end(), pictures.begin(), pictures.end());
    const size_t perJob = several ? std::max<size_t>(pictures.size(), 1) : 1;
    for (size_t i = 0; i < pictures.size(); i += perJob) {
      Job job = {part, begin + i, std::min(perJob, pictures.size() - i), m_parts[part].number};
      if (m_run.request.per == OutputPer::Document && m_run.names.HasNumber()) {
        job.number = i + 1;
      } else if (pictures.size() > perJob) {
        job.suffix = i + 1;
      }
      // Groups may have names in common.
      for (size_t n = 2; m_run.names.HasGroup() && !taken.insert(OutputOf(job)).second; ++n) {
        job.suffix = n;
      }
      m_jobs.push_back(job);
    }
  }
  WarnOf(without);
}

// Pages without a picture.
void SourceConversion::WarnOf(const std::vector<int>& pages) {
  if (pages.empty()) {
    if (m_pictures.empty()) Warn("there is no page and no picture in it");
    return;
  }
  std::string what = m_pictures.empty()  ? "none of its pages has a"
                     : pages.size() == 1 ? PageWords(pages) + " has no"
                                         : PageWords(pages) + " have no";
  what += " picture" + m_document->Index().InsteadOfPictures(pages);
  Warn(what);
}

std::string SourceConversion::OutputOf(const Job& job) const {
  const std::string group =
      m_run.names.HasGroup() ? GroupName(*m_document, m_parts[job.part]) : std::string();
  const std::string& to = m_run.request.to;
  return to + (to.ends_with('/') ? "" : "/") +
         m_run.names.Name(m_source.relative, job.number, group, job.suffix);
}

// True when nothing is to be done: its outputs are there.
bool SourceConversion::Skip() {
  const ConvertRequest& request = m_run.request;
  if (request.again && request.again(m_source.path)) return false;
  std::vector<std::string> outputs;
  if (m_document == nullptr) outputs.push_back(OutputOf(Job{}));
  for (const Job& job : m_jobs) outputs.push_back(OutputOf(job));
  const bool there = std::all_of(outputs.begin(), outputs.end(),
                                 [this](const std::string& output) { return IsThere(output); });
  if (!there) return false;
  // A killed run may have left others that nobody completes.
  const std::string folder = std::filesystem::path(outputs[0]).parent_path();
  const OwnedDescriptor opened(OpenDescriptor(folder.c_str(), O_PATH | O_DIRECTORY));
  if (opened.Get() >= 0) RemoveStaleFiles(opened.Get());
  m_converted.result.status = SourceStatus::Skipped;
  m_converted.result.outputs = std::move(outputs);
  return true;
}

bool SourceConversion::IsThere(const std::string& output) const {
  struct stat there;
  return ::stat(output.c_str(), &there) == 0 && S_ISREG(there.st_mode) && there.st_size > 0 &&
         !IsBefore(there.st_mtim, m_found.st_mtim) && IsBefore(there.st_mtim, m_run.begun) &&
         (there.st_dev != m_found.st_dev || there.st_ino != m_found.st_ino);
}

void SourceConversion::RunJobs() {
  m_converted.files = std::make_unique<FileBatch>(
      [this](const std::string& output, const Outcome& why) {
        TakeBack(m_converted.result, output, why);
      },
      m_run.filesPerSource);
  if (m_jobs.size() == 1) {
    JobResult result;
    RunJob(m_jobs[0], result);
    Take(result);
    return;
  }
  std::mutex mutex;
  std::map<size_t, JobResult> done;
  m_run.workers.InOrder(
      m_jobs.size(),
      [&](size_t i) {
        JobResult result;
        try {
          RunJob(m_jobs[i], result);
        } catch (const std::bad_alloc&) {
          result.errors.emplace_back(StatusText(K_ERROR_NO_MEMORY));
        }
        const std::lock_guard lock(mutex);
        done.emplace(i, std::move(result));
      },
      [&](size_t i) {
        std::unique_lock lock(mutex);
        auto node = done.extract(i);
        lock.unlock();
        Take(node.mapped());
        return true;
      });
}

void SourceConversion::Take(JobResult& job) {
  SourceResult& result = m_converted.result;
  for (const std::string& words : job.warnings) Warn(words);
  for (const std::string& words : job.errors) Fail(words);
  m_moreWarnings += job.moreWarnings;
  m_moreErrors += job.moreErrors;
  if (job.output.empty()) return;
  result.outputs.push_back(job.output);
  m_converted.claimed.push_back(job.output);
  result.pictures += job.counts.written;
  result.passed += job.counts.passed;
  m_converted.files->Adopt(*job.files);
  if (m_converted.files->Size() >= m_run.filesPerSource) m_converted.files->Finish();
}

void SourceConversion::RunJob(const Job& job, JobResult& result) const {
  const std::string output = OutputOf(job);
  std::string owner;
  if (!m_run.claims.Claim(output, m_source.path, owner)) {
    result.errors.push_back(output + ": " + owner +
                            " has an output of this name; it stays as it is");
    return;
  }
  const Outcome outcome = Write(job, output, result);
  if (result.output.empty()) m_run.claims.Release(output);
  for (const std::string& words : outcome.warnings) {
    AddWords(result.warnings, std::string(output).append(": ").append(words), result.moreWarnings);
  }
  if (!outcome.Ok()) AddWords(result.errors, output + ": " + outcome.what, result.moreErrors);
}

// An output without any picture that can be read isn't written.
Outcome SourceConversion::Write(const Job& job, const std::string& output,
                                JobResult& result) const {
  const ConvertRequest& request = m_run.request;
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(output).parent_path(), error);
  if (error) return SystemFailure(K_ERROR_OPEN_WRITE, error.value());
  // Its files are handed over, with those of other jobs.
  result.files = std::make_unique<FileBatch>([](const std::string&, const Outcome&) {});
  PictureWriter writer;
  Outcome outcome = writer.Open(output, request.format, result.files.get());
  if (outcome.Ok()) outcome = CheckTarget(output);
  if (!outcome.Ok()) return outcome;
  std::vector<ShownPicture> pictures;
  pictures.reserve(job.count);
  for (size_t i = 0; i < job.count; ++i) pictures.push_back(m_pictures[job.first + i].shown);
  ExportOptions options;
  options.load = request.load;
  options.dither = request.dither;
  options.trust = request.trust;
  size_t at = 0;
  const auto told = [&](const ShownPicture& shown, const Outcome& what) {
    while (at < job.count &&
           (pictures[at].document != shown.document || pictures[at].picture != shown.picture)) {
      ++at;
    }
    const std::string words = at < job.count ? PictureWords(m_pictures[job.first + at]) : "";
    ++at;
    for (const std::string& warning : what.warnings) {
      AddWords(result.warnings, words + warning, result.moreWarnings);
    }
    if (!what.Ok()) AddWords(result.errors, words + what.what, result.moreErrors);
    if (m_run.pictureDone) m_run.pictureDone();
  };
  outcome = ExportPictures(pictures, options, m_run.workers, writer, told, result.counts);
  if (outcome.status == K_ERROR_BITS_PER_PIXEL) {
    outcome.what += "; dithering makes black and white of it";
  }
  if (!outcome.Ok() || result.counts.written == 0) return outcome;
  outcome = writer.Commit();
  if (outcome.Ok()) result.output = output;
  return outcome;
}

// The file is opened for writing: what is there is locked, and stays unless it is committed.
Outcome SourceConversion::CheckTarget(const std::string& output) const {
  struct stat there;
  if (::stat(output.c_str(), &there) != 0) return {};
  if (there.st_dev == m_found.st_dev && there.st_ino == m_found.st_ino) {
    return Failure(K_ERROR_OPEN_WRITE, "this is the source");
  }
  if (!IsBefore(there.st_mtim, m_run.begun)) {
    return Failure(K_ERROR_OPEN_WRITE,
                   "another source has an output of this name; it stays as it is");
  }
  Container container;
  if (there.st_size > 0 && FindContainer(output, container).Ok()) {
    return Failure(K_ERROR_OPEN_WRITE, "a document stands there; it stays as it is");
  }
  return {};
}

std::string SourceConversion::PictureWords(const PartPicture& picture) const {
  std::string words;
  if (picture.page > 0) words = "page " + std::to_string(picture.page) + ", ";
  words += "picture " + std::to_string(picture.shown.picture);
  if (picture.shown.document != m_document.get()) words += " of " + picture.shown.document->Name();
  return words + ": ";
}

}  // namespace kz
