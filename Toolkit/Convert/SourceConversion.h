// One source to its outputs.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Toolkit/Base/Workers.h"
#include "Toolkit/Convert/Convert.h"
#include "Toolkit/Convert/OutputCommit.h"
#include "Toolkit/Convert/OutputParts.h"
#include "Toolkit/Convert/PictureExport.h"
#include "Toolkit/Documents/ResourceFolder.h"

namespace kz {

// What all sources of a run share.
struct ConvertRun {
  const ConvertRequest& request;
  OutputNames names;
  Workers& workers;
  OutputClaims& claims;
  std::shared_ptr<ResourceFolder> resources;  // null: none
  // Files that were written to since then are of this run.
  timespec begun = {};
  size_t filesPerSource = 1;  // that wait for their places
  std::function<void()> pictureDone;
};

class SourceConversion {
 public:
  SourceConversion(const ConvertRun& run, const SourceFile& source)
      : m_run(run), m_source(source) {}

  // `rivals` are earlier sources that would give outputs of the same names, if they are
  // documents; `more`: there are too many to look at.
  ConvertedSource Convert(const std::vector<std::string>& rivals, bool more);

 private:
  // What goes into one output.
  struct Job {
    size_t part = 0;
    size_t first = 0;  // of its pictures
    size_t count = 0;
    size_t number = 0;  // in the name
    size_t suffix = 0;
  };
  struct JobResult;

  void Run(const std::vector<std::string>& rivals, bool more);
  bool OpenDocument();
  bool IsOutdone(const std::vector<std::string>& rivals, bool more);
  void ConvertDocument();
  void FindJobs();
  void WarnOf(const std::vector<int>& pages);
  std::string OutputOf(const Job& job) const;
  bool Skip();
  bool IsThere(const std::string& output) const;
  void RunJobs();
  void RunJob(const Job& job, JobResult& result) const;
  Outcome Write(const Job& job, const std::string& output, JobResult& result) const;
  Outcome CheckTarget(const std::string& output) const;
  void Take(JobResult& result);
  std::string PictureWords(const PartPicture& picture) const;
  void Fail(const std::string& words);
  void Warn(const std::string& words);

  const ConvertRun& m_run;
  const SourceFile& m_source;
  struct stat m_found = {};
  std::unique_ptr<Document> m_document;
  std::vector<OutputPart> m_parts;
  std::vector<PartPicture> m_pictures;  // of all jobs, one after the other
  std::vector<Job> m_jobs;
  ConvertedSource m_converted;
  size_t m_moreErrors = 0;
  size_t m_moreWarnings = 0;
};

}  // namespace kz
