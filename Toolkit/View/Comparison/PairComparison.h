// Two pages, or what belongs to no page, compared in words.
#pragma once

#include <vector>

#include "Toolkit/View/Comparison/ComparedDocument.h"
#include "Toolkit/View/Comparison/Comparison.h"

namespace kz {

// Of a page and aspect no more are told one by one.
constexpr size_t kMostTold = 5;

// Adds what differs to a list.
class PairComparison {
 public:
  PairComparison(ComparedDocument& a, ComparedDocument& b, std::vector<Difference>& to)
      : m_a(a), m_b(b), m_to(to) {}

  void CompareSizes(const SeenPage& a, const SeenPage& b);
  void ComparePictures(const SeenPage& a, const SeenPage& b);
  void CompareText(const SeenPage& a, const SeenPage& b);
  // Lists of fields; `place` begins the words: "fields".
  void CompareFields(const std::vector<FieldToken>& a, const std::vector<FieldToken>& b,
                     const char* place);
  // Pictures of the files that stand on no page.
  void CompareOwnPictures();

 private:
  struct Shown {
    const PlacedPicture* placed;  // null: on no page
    ShownPicture shown;
    std::string name;  // "picture 1"
  };
  void ComparePictureLists(const std::vector<Shown>& a, const std::vector<Shown>& b);
  void ComparePicture(const Shown& a, const Shown& b);
  bool SamePixels(const Shown& a, const Shown& b, Difference& difference);
  void ComparePlaces(const Shown& a, const Shown& b);
  void Add(Aspect aspect, std::string what);
  void AddPicture(const Shown* a, const Shown* b, Difference difference);
  static std::vector<Shown> ShownOn(const SeenPage& page);
  static std::vector<Shown> OnNoPage(const Document& document);

  ComparedDocument& m_a;
  ComparedDocument& m_b;
  std::vector<Difference>& m_to;
};

// How lists of words differ: what is only in one, some of it and how many more; `noun`:
// "rule or box".
void CompareWords(const std::vector<std::string>& a, const std::vector<std::string>& b,
                  Aspect aspect, const std::string& noun, std::vector<Difference>& to);

// The tags of a page as NAME=VALUE, in their order, and groups, with their tags.
class TagLists {
 public:
  explicit TagLists(const PageIndex& index);
  std::vector<std::string> OfPage(int page) const;
  std::vector<std::string> Groups() const;

 private:
  const PageIndex& m_index;
  std::vector<uint32_t> m_byPage;  // tags, in the order of their pages
};

}  // namespace kz
