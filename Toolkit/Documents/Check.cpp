#include "Toolkit/Documents/Check.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <unordered_map>

#include "Toolkit/Base/Workers.h"

namespace kz {

namespace {

Problem Damage(const Outcome& outcome, int picture = 0) {
  return {Severity::Damage, 0, picture, outcome.status, outcome.what};
}

Problem Warning(std::string what, int status, int page = 0, int picture = 0) {
  return {Severity::Warning, page, picture, status, std::move(what)};
}

std::string SkippedWords(const SkippedBytes& skipped) {
  return "bytes " + std::to_string(skipped.offset) + " to " +
         std::to_string(skipped.offset + skipped.length) + ": no structured field (" +
         std::to_string(skipped.length) + " bytes skipped)";
}

void CheckStructure(const Document& document, std::vector<Problem>& problems) {
  const PageIndex& index = document.Index();
  const Outcome& structure = index.structure;
  if (index.IsDamaged()) {
    // That there is no field is what the skipped bytes say, with their length.
    if (structure.status == K_ERROR_READ) problems.push_back(Damage(structure));
    for (const SkippedBytes& skipped : index.skipped) {
      problems.push_back(Damage(Failure(K_ERROR_INVALID_FORMAT, SkippedWords(skipped))));
    }
  } else if (!structure.Ok() && index.IsDocument()) {
    problems.push_back(Warning("its pages can't be edited: " + structure.what, structure.status));
  }
  for (const IncludedName& missing : document.Missing()) {
    problems.push_back(Warning("the resource " + missing.name + " isn't in the file",
                               K_ERROR_INVALID_FORMAT, missing.page));
  }
}

// Problems of pictures, those of the first ones: there may be millions, all alike.
class FirstProblems {
 public:
  void Add(int picture, Problem problem) {
    m_problems.emplace(picture, std::move(problem));
    if (m_problems.size() <= CheckReport::kMostOfPictures) return;
    const auto last = std::prev(m_problems.end());
    ++m_more;
    m_moreDamage |= last->second.severity == Severity::Damage;
    m_problems.erase(last);
  }

  std::vector<Problem> Take() {
    std::vector<Problem> list;
    for (auto& [picture, problem] : m_problems) list.push_back(std::move(problem));
    return list;
  }

  // For those that are left out, if there are any.
  void AddRest(std::vector<Problem>& list) const {
    if (m_more == 0) return;
    const std::string words = std::to_string(m_more) + " more of its pictures' problems";
    list.push_back(m_moreDamage ? Damage(Failure(K_ERROR_INVALID_FORMAT, words))
                                : Warning(words, K_ERROR_INVALID_FORMAT));
  }

 private:
  std::multimap<int, Problem> m_problems;
  int64_t m_more = 0;
  bool m_moreDamage = false;
};

// Loads pictures on several threads.
class PictureChecks {
 public:
  PictureChecks(const Document& document, const CheckRequest& request)
      : m_document(document), m_request(request) {}

  FirstProblems Run() {
    const auto pictures = static_cast<size_t>(m_document.Pictures());
    Workers workers(static_cast<unsigned>(std::min<size_t>(Workers::Processors(), pictures)));
    workers.Each(pictures, [this](size_t number) { Work(static_cast<int>(number) + 1); });
    return std::move(m_problems);
  }
  // Pictures that weren't checked.
  int WithoutMemory() const { return m_withoutMemory; }

 private:
  void Work(int picture) {
    try {
      Check(picture);
    } catch (const std::bad_alloc&) {
      ++m_withoutMemory;
    }
    if (m_request.progress) ReportProgress();
  }

  void Check(int picture) {
    Bitmap bitmap;
    PictureInfo info;
    // What is missing is to be found, also where something can be seen of the picture.
    LoadOptions options = m_request.load;
    options.complete = true;
    const Outcome outcome = m_document.LoadPicture(picture, options, bitmap, &info);
    for (const std::string& warning : outcome.warnings) {
      Add(picture, Warning(warning, K_SUCCESS, 0, picture));
    }
    if (outcome.Ok()) return;
    const bool known = info.unsupported.empty();
    Add(picture, known ? Damage(outcome, picture)
                       : Warning("can't be read: " + outcome.what, outcome.status, 0, picture));
  }

  void ReportProgress() {
    const std::lock_guard lock(m_mutex);
    m_request.progress(++m_done, m_document.Pictures());
  }

  void Add(int picture, Problem problem) {
    const std::lock_guard lock(m_mutex);
    m_problems.Add(picture, std::move(problem));
  }

  const Document& m_document;
  const CheckRequest& m_request;
  std::atomic<int> m_withoutMemory = 0;
  std::mutex m_mutex;
  int m_done = 0;
  FirstProblems m_problems;
};

// Fills in the first page that shows the picture of each problem.
void NamePages(const PageIndex& index, std::vector<Problem>& problems) {
  std::unordered_map<int, int> firstPages;  // of pictures that stand on no page
  for (Problem& problem : problems) {
    problem.page = index.pictures[static_cast<size_t>(problem.picture) - 1].page;
    if (problem.page == 0) firstPages.emplace(problem.picture, 0);
  }
  if (firstPages.empty()) return;
  for (int page = 1; page <= static_cast<int>(index.pages.size()); ++page) {
    for (const int picture : index.PicturesOf(page)) {
      const auto found = firstPages.find(picture);
      if (found != firstPages.end() && found->second == 0) found->second = page;
    }
  }
  for (Problem& problem : problems) {
    if (problem.page == 0) problem.page = firstPages.at(problem.picture);
  }
}

}  // namespace

int CheckReport::Count(Severity severity) const {
  return static_cast<int>(
      std::count_if(problems.begin(), problems.end(),
                    [&](const Problem& problem) { return problem.severity == severity; }));
}

CheckReport CheckFile(const std::string& file, const CheckRequest& request) {
  Document document(file);
  CheckReport report;
  report.opened = document.Open();
  if (!report.opened.Ok()) return report;
  if (!request.resources.empty()) document.AddResources(request.resources);
  report.pages = document.Pages();
  report.pictures = document.Pictures();
  CheckStructure(document, report.problems);
  PictureChecks checks(document, request);
  FirstProblems found = checks.Run();
  std::vector<Problem> ofPictures = found.Take();
  NamePages(document.Index(), ofPictures);
  report.problems.insert(report.problems.end(), ofPictures.begin(), ofPictures.end());
  found.AddRest(report.problems);
  if (checks.WithoutMemory() > 0) {
    report.problems.push_back(Damage(
        Failure(K_ERROR_NO_MEMORY, "there is not enough memory to check " +
                                       std::to_string(checks.WithoutMemory()) + " pictures")));
  }
  return report;
}

}  // namespace kz
