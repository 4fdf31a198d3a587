#include "Tools/kzica/Description.h"

#include <algorithm>
#include <map>

#include "Toolkit/Base/Printable.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

using nlohmann::ordered_json;

std::string Line(const std::string& name, const std::string& value) {
  constexpr size_t column = 16;
  std::string label = "  " + name;
  label.resize(std::max(column, label.size() + 1), ' ');
  return label + kz::Printable(value) + "\n";
}

std::string Text(int64_t number) { return std::to_string(number); }

const kz::IndexedPicture& Indexed(const kz::PageIndex& index, const DescribedPicture& picture) {
  return index.pictures[static_cast<size_t>(picture.number) - 1];
}

// "2 page segments, 1 overlay".
std::string ResourceWords(const kz::PageIndex& index) {
  std::map<uint16_t, size_t> counts;
  for (const kz::IndexedResource& resource : index.resources) ++counts[resource.code];
  std::string words;
  for (const auto& [code, count] : counts) {
    words += (words.empty() ? "" : ", ") + Count(count, kz::ResourceKindName(code));
  }
  return words;
}

std::string MissingWords(const std::vector<kz::IncludedName>& missing) {
  std::string words;
  for (const kz::IncludedName& include : missing) {
    words += (words.empty() ? "" : ", ") + include.name;
  }
  return words;
}

std::string SkippedWords(const kz::PageIndex& index) {
  int64_t length = 0;
  for (const kz::SkippedBytes& skipped : index.skipped) length += skipped.length;
  const std::string bytes = Count(static_cast<size_t>(length), "byte");
  return index.skipped.size() == 1
             ? bytes + " from byte " + Text(index.skipped[0].offset) + " on"
             : bytes + " in " + Text(static_cast<int64_t>(index.skipped.size())) + " places";
}

std::string ResourceOf(const kz::PageIndex& index, const DescribedPicture& picture) {
  const uint32_t resource = Indexed(index, picture).resource;
  return resource == kz::kNoIndex ? "" : index.resources[resource].name;
}

// "1-3, 5".
std::string Ranges(const std::vector<int>& pages) {
  const std::string list = pages.empty() ? "" : PageList(pages);
  return list.substr(list.find(' ') + 1);
}

std::string PlaceWords(const kz::PageIndex& index, const DescribedPicture& picture) {
  std::string words;
  if (Indexed(index, picture).resource != kz::kNoIndex) {
    const std::string name = ResourceOf(index, picture);
    words = name.empty() ? ", in a resource" : ", in resource " + name;
  }
  if (picture.pages.empty()) return words + ", on no page";
  return words + ", on " + PageList(picture.pages);
}

const char* RowOrder(const kz::PictureInfo& info) {
  return info.topDown ? "top-down" : "bottom-up";
}

bool ResolutionIsKnown(const kz::PictureInfo& info) {
  return info.xResolution > 0 && info.yResolution > 0;
}

std::string Unreadable(const kz::Outcome& outcome) {
  return "can't be read: " + outcome.what + " (status " + Text(outcome.status) + ")";
}

std::string Padded(std::string text, size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text + "  ";
}

std::string RightAligned(const std::string& text, size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text + "  ";
}

}  // namespace

std::string FileInWords(const std::string& name, const kz::Framing& framing,
                        const kz::PageIndex& index, const std::vector<kz::IncludedName>& missing) {
  std::string words =
      kz::Printable(name) + "\n" + Line("container", kz::ContainerName(index.container));
  if (framing.IsFramed()) words += Line("framing", kz::FramingName(framing));
  words += Line("pages", Text(static_cast<int64_t>(index.pages.size()))) +
           Line("pictures", Text(static_cast<int64_t>(index.pictures.size())));
  if (!index.groups.empty()) {
    words += Line("groups", Text(static_cast<int64_t>(index.groups.size())));
  }
  if (!index.tags.empty()) words += Line("tags", Text(static_cast<int64_t>(index.tags.size())));
  if (!index.resources.empty()) words += Line("resources", ResourceWords(index));
  if (!missing.empty()) words += Line("missing", MissingWords(missing));
  if (!index.skipped.empty()) words += Line("skipped", SkippedWords(index));
  if (!index.structure.Ok() && (index.IsDamaged() || index.IsDocument())) {
    words += Line("structure", index.structure.what);
  }
  return words;
}

std::string IncludedInWords(const std::vector<kz::ShownPicture>& pictures) {
  std::vector<std::pair<const kz::Document*, size_t>> counts;
  for (const kz::ShownPicture& picture : pictures) {
    auto place = std::find_if(counts.begin(), counts.end(),
                              [&](const auto& count) { return count.first == picture.document; });
    if (place == counts.end()) place = counts.insert(place, {picture.document, 0});
    ++place->second;
  }
  std::string words;
  for (const auto& [document, count] : counts) {
    words += Line("included", Count(count, "picture") + " of " + document->Name());
  }
  return words;
}

std::string PageInWords(const kz::PageIndex& index, int page) {
  return Line("page", Text(page) + " of " + Text(static_cast<int64_t>(index.pages.size())) + ": " +
                          index.PageWords(page));
}

std::string PictureInWords(const kz::PageIndex& index, const DescribedPicture& picture) {
  const kz::IndexedPicture& at = Indexed(index, picture);
  const kz::PictureInfo& info = picture.info;
  std::string words = Line("picture", Text(picture.number) + " of " +
                                          Text(static_cast<int64_t>(index.pictures.size())) +
                                          PlaceWords(index, picture));
  if (at.kind != kz::PictureKind::Ioca) words += Line("kind", kz::PictureKindName(at.kind));
  if (!picture.outcome.Ok())
    return words + "  " + kz::Printable(Unreadable(picture.outcome)) + "\n";
  return words + Line("size", Text(info.width) + " x " + Text(info.height) + " pixels") +
         Line("depth", Count(static_cast<size_t>(info.bitsPerPixel), "bit") + " per pixel") +
         Line("resolution", ResolutionIsKnown(info)
                                ? Text(info.xResolution) + " x " + Text(info.yResolution) + " dpi"
                                : "not known") +
         Line("compression", info.compression) +
         (info.layout.empty() ? "" : Line("layout", info.layout)) +
         (info.format == 0 ? "" : Line("format", Text(info.format))) +
         Line("uncompressed", std::to_string(info.bytes) + " bytes, " + RowOrder(info)) +
         (info.unsupported.empty() ? "" : Line("unreadable", info.unsupported));
}

std::string RowInWords(const kz::PageIndex& index, const DescribedPicture* picture) {
  // What is longer than its column moves the rest of its row.
  constexpr size_t number = 7, pages = 9, resource = 8, kind = 10, size = 13, depth = 5,
                   resolution = 9, bytes = 11;
  if (picture == nullptr) {
    return RightAligned("picture", number) + Padded("pages", pages) + Padded("resource", resource) +
           Padded("kind", kind) + Padded("size", size) + RightAligned("depth", depth) +
           Padded("dpi", resolution) + RightAligned("bytes", bytes) + "compression\n";
  }
  const auto cell = [](const std::string& text) { return text.empty() ? "-" : text; };
  const kz::PictureInfo& info = picture->info;
  std::string row = RightAligned(Text(picture->number), number) +
                    Padded(cell(Ranges(picture->pages)), pages) +
                    Padded(cell(ResourceOf(index, *picture)), resource) +
                    Padded(kz::PictureKindName(Indexed(index, *picture).kind), kind);
  if (picture->outcome.Ok()) {
    row += Padded(Text(info.width) + " x " + Text(info.height), size) +
           RightAligned(Text(info.bitsPerPixel), depth) +
           Padded(ResolutionIsKnown(info) ? Text(info.xResolution) + " x " + Text(info.yResolution)
                                          : "-",
                  resolution) +
           RightAligned(std::to_string(info.bytes), bytes) + info.compression;
    if (!info.layout.empty()) row += ", " + info.layout;
    if (!info.unsupported.empty()) row += "; can't be read: " + info.unsupported;
  } else {
    row += Unreadable(picture->outcome);
  }
  return kz::Printable(row) + "\n";
}

ordered_json FileInJson(const std::string& name, const kz::Framing& framing,
                        const kz::PageIndex& index, const std::vector<kz::IncludedName>& missing) {
  ordered_json names = ordered_json::array();
  for (const kz::IncludedName& include : missing) names.push_back(include.name);
  ordered_json skipped = ordered_json::array();
  for (const kz::SkippedBytes& bytes : index.skipped) {
    skipped.push_back({{"offset", bytes.offset}, {"length", bytes.length}});
  }
  return {{"version", kJsonVersion},
          {"file", name},
          {"container", kz::ContainerName(index.container)},
          {"framing", framing.IsFramed() ? ordered_json(kz::FramingName(framing)) : nullptr},
          {"pages", index.pages.size()},
          {"images", index.pictures.size()},
          {"groups", index.groups.size()},
          {"tags", index.tags.size()},
          {"resources", index.resources.size()},
          {"missing", names},
          {"skipped", skipped},
          {"structure", InJson(index.structure)}};
}

ordered_json IncludedInJson(const std::vector<kz::ShownPicture>& pictures) {
  ordered_json list = ordered_json::array();
  for (const kz::ShownPicture& picture : pictures) {
    list.push_back({{"file", picture.document->Name()}, {"image", picture.picture}});
  }
  return list;
}

ordered_json PictureInJson(const kz::PageIndex& index, const DescribedPicture& picture) {
  const kz::IndexedPicture& at = Indexed(index, picture);
  ordered_json object = {
      {"page", picture.pages.empty() ? ordered_json(nullptr) : ordered_json(picture.pages[0])},
      {"image", picture.number},
      {"onPages", picture.pages},
      {"kind", kz::PictureKindName(at.kind)}};
  if (at.resource != kz::kNoIndex) object["resource"] = ResourceOf(index, picture);
  if (!picture.outcome.Ok()) {
    object["error"] = InJson(picture.outcome);
    return object;
  }
  const kz::PictureInfo& info = picture.info;
  object.update({{"format", info.format},
                 {"compression", info.compression},
                 {"width", info.width},
                 {"height", info.height},
                 {"bitsPerPixel", info.bitsPerPixel},
                 {"xResolution", info.xResolution},
                 {"yResolution", info.yResolution},
                 {"bytes", info.bytes},
                 {"rowOrder", RowOrder(info)}});
  if (!info.layout.empty()) object["layout"] = info.layout;
  if (!info.unsupported.empty()) {
    object["error"] = InJson(kz::Failure(K_ERROR_INVALID_FORMAT, info.unsupported));
  }
  return object;
}

}  // namespace kzica
