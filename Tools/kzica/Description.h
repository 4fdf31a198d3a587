// What kzica info says of a file and its pictures, in words and in JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Format/RecordFraming.h"
#include "Toolkit/Documents/Document.h"

namespace kzica {

struct DescribedPicture {
  int number = 0;
  std::vector<int> pages;  // that show it
  kz::PictureInfo info;
  kz::Outcome outcome;  // why there is no info
};

// Lines of labels and values.
std::string FileInWords(const std::string& name, const kz::Framing& framing,
                        const kz::PageIndex& index, const std::vector<kz::IncludedName>& missing);
// A line for each of the files that they are in; none for none.
std::string IncludedInWords(const std::vector<kz::ShownPicture>& pictures);
std::string PageInWords(const kz::PageIndex& index, int page);
std::string PictureInWords(const kz::PageIndex& index, const DescribedPicture& picture);

// A table with a row for each picture. Without a picture the row of headings.
std::string RowInWords(const kz::PageIndex& index, const DescribedPicture* picture);

nlohmann::ordered_json FileInJson(const std::string& name, const kz::Framing& framing,
                                  const kz::PageIndex& index,
                                  const std::vector<kz::IncludedName>& missing);
nlohmann::ordered_json IncludedInJson(const std::vector<kz::ShownPicture>& pictures);
nlohmann::ordered_json PictureInJson(const kz::PageIndex& index, const DescribedPicture& picture);

}  // namespace kzica
