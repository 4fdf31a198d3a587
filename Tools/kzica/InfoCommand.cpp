// kzica info: what the pages of files are.
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/PageRange.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  std::string page = "1";
  bool json = false;
};

std::string RowOrder(const kz::PictureInfo& info) {
  return info.topDown ? "top-down" : "bottom-up";
}

std::string InWords(const std::string& file, const kz::PictureInfo& info,
                    const kz::Framing& framing) {
  const auto text = [](auto number) { return std::to_string(number); };
  const bool known = info.xResolution > 0 && info.yResolution > 0;
  std::string words = kz::Printable(file) + "\n";
  const auto line = [&words](const char* name, const std::string& value) {
    constexpr size_t column = 16;
    std::string label = std::string("  ") + name;
    label.resize(column, ' ');
    words += label + value + "\n";
  };
  line("container", kz::ContainerName(info.container));
  if (framing.IsFramed()) line("framing", kz::FramingName(framing));
  line("size", text(info.width) + " x " + text(info.height) + " pixels");
  line("depth",
       text(info.bitsPerPixel) + (info.bitsPerPixel == 1 ? " bit" : " bits") + " per pixel");
  line("resolution",
       known ? text(info.xResolution) + " x " + text(info.yResolution) + " dpi" : "not known");
  line("compression", info.compression);
  line("format", text(info.format));
  line("uncompressed", text(info.bytes) + " bytes, " + RowOrder(info));
  return words;
}

std::string InJson(const std::string& file, const kz::PictureInfo& info,
                   const kz::Framing& framing) {
  nlohmann::ordered_json object = {
      {"file", file},
      {"container", kz::ContainerName(info.container)},
      {"format", info.format},
      {"compression", info.compression},
      {"width", info.width},
      {"height", info.height},
      {"bitsPerPixel", info.bitsPerPixel},
      {"xResolution", info.xResolution},
      {"yResolution", info.yResolution},
      {"bytes", info.bytes},
      {"rowOrder", RowOrder(info)},
  };
  if (framing.IsFramed()) object["framing"] = kz::FramingName(framing);
  // A name that isn't UTF-8 must not end the listing.
  const std::string text =
      object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  return kz::Printable(text, kz::Unprintable::Json) + "\n";
}

// `file` was made of the argument.
Exit Describe(const std::string& argument, const std::string& file, const kz::PageRange& range,
              bool json) {
  kz::Document document(file);
  kz::Outcome outcome = document.Open();
  std::vector<int> picture;
  if (outcome.Ok()) outcome = range.Resolve(document.Pictures(), picture);
  kz::PictureInfo info;
  if (outcome.Ok()) outcome = document.DescribePicture(picture[0], info);
  if (!outcome.Ok()) return Complain({file}, outcome);
  const kz::Framing framing = FramingOf(file);
  Print(json ? InJson(argument, info, framing) : InWords(InputName(file), info, framing));
  const kz::Outcome& structure = document.Index().structure;
  return structure.Ok() ? kDone : Complain({file}, structure);
}

Exit Info(const InfoOptions& options) {
  kz::PageRange range;
  const kz::Outcome parsed = range.Parse(options.page);
  if (!parsed.Ok()) throw UsageError("--page: " + parsed.what);
  if (!range.IsSinglePage()) throw UsageError("--page: info describes one page of a file");
  Exit exit = kDone;
  for (const std::string& argument : options.files) {
    std::string file = argument;
    const bool opened = OpenInput(file) == kDone;
    if (!opened || Describe(argument, file, range, options.json) != kDone) exit = kFileFailed;
    CloseInput(file);
  }
  return exit;
}

}  // namespace

void AddInfo(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("info", "Show what a page of each file is");
  auto options = std::make_shared<InfoOptions>();
  command->add_option("FILE", options->files, "Files to describe")->required();
  command->add_option("-p,--page", options->page, "Page to describe; z is the last")
      ->type_name("N")
      ->capture_default_str();
  command->add_flag("--json", options->json, "Print one JSON object per file, each on a line");
  command->callback([options, &exit] { exit = Info(*options); });
}

}  // namespace kzica
