// kzica info: what files hold, and what their pictures are.
#include <algorithm>
#include <memory>

#include "Toolkit/Documents/PageRange.h"
#include "Tools/kzica/Description.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"

namespace kzica {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  std::string page;
  std::string image;
  bool all = false;
  bool json = false;
};

// The one page or picture that an option names.
kz::PageRange ParseNumber(const std::string& option, const char* noun, const std::string& text) {
  kz::PageRange range(noun);
  if (text.empty()) return range;
  const kz::Outcome parsed = range.Parse(text);
  if (!parsed.Ok() || !range.IsSinglePage()) {
    throw UsageError(option + ": '" + text + "' is no number, nor z for the last");
  }
  return range;
}

class FileInfo {
 public:
  FileInfo(const InfoOptions& options, const kz::PageRange& page, const kz::PageRange& image)
      : m_options(options), m_page(page), m_image(image) {}

  // `file` was made of the argument.
  Exit Run(const std::string& argument, const std::string& file) {
    kz::Document document(file);
    kz::Outcome outcome = document.Open();
    Chosen chosen;
    if (outcome.Ok()) outcome = Choose(document, chosen);
    if (!outcome.Ok()) return Complain({file}, outcome);
    if (m_options.json) {
      ShowJson(argument, document, chosen);
    } else {
      ShowWords(InputName(file), document, chosen);
    }
    for (const auto& [picture, failure] : m_asked) Complain({file, chosen.page, picture}, failure);
    const kz::PageIndex& index = document.Index();
    if (index.IsDamaged()) return Complain({file}, index.structure);
    if (!m_asked.empty()) return kFileFailed;
    return m_unreadable || (!index.structure.Ok() && index.IsDocument()) ? kWarned : kDone;
  }

 private:
  struct Chosen {
    int page = 0;  // that was asked for; 0: none was
    std::vector<int> pictures;
  };

  bool IsAsked() const { return !m_options.page.empty() || !m_options.image.empty(); }

  kz::Outcome Choose(const kz::Document& document, Chosen& chosen) const {
    std::vector<int> numbers;
    if (!m_options.page.empty()) {
      if (document.Pages() == 0) return kz::Failure(K_ERROR_INVALID_FORMAT, "there are no pages");
      kz::Outcome outcome = m_page.Resolve(document.Pages(), numbers);
      if (!outcome.Ok()) return outcome;
      chosen.page = numbers[0];
      for (const int picture : document.Index().PicturesOf(chosen.page)) {
        const auto end = chosen.pictures.end();
        if (std::find(chosen.pictures.begin(), end, picture) == end) {
          chosen.pictures.push_back(picture);
        }
      }
    } else if (!m_options.image.empty()) {
      if (document.Pictures() == 0) {
        return kz::Failure(K_ERROR_INVALID_FORMAT, "there are no pictures");
      }
      kz::Outcome outcome = m_image.Resolve(document.Pictures(), numbers);
      if (!outcome.Ok()) return outcome;
      chosen.pictures = numbers;
    } else if (document.Pictures() > 0) {
      chosen.pictures = {1};
    }
    return {};
  }

  DescribedPicture Describe(const kz::Document& document, int picture, std::vector<int> pages) {
    DescribedPicture described{picture, std::move(pages), {}, {}};
    described.outcome = document.DescribePicture(picture, described.info);
    if (!described.outcome.Ok()) {
      m_unreadable = true;
      if (IsAsked()) m_asked.emplace_back(picture, described.outcome);
    }
    return described;
  }
  DescribedPicture Describe(const kz::Document& document, int picture) {
    return Describe(document, picture, document.Index().PagesShowing(picture));
  }
  // Calls to(described) for all pictures of the file.
  template <typename To>
  void DescribeAll(const kz::Document& document, To to) {
    std::vector<std::vector<int>> pages = document.Index().PagesOfPictures();
    for (int picture = 1; picture <= document.Pictures(); ++picture) {
      to(Describe(document, picture, std::move(pages[static_cast<size_t>(picture) - 1])));
    }
  }

  void ShowWords(const std::string& name, const kz::Document& document, const Chosen& chosen) {
    const kz::PageIndex& index = document.Index();
    Print(FileInWords(name, FramingOf(index.file), index));
    if (m_options.all) {
      if (document.Pictures() > 0) Print(RowInWords(index, nullptr));
      DescribeAll(document,
                  [&](const DescribedPicture& picture) { Print(RowInWords(index, &picture)); });
      return;
    }
    if (chosen.page > 0) Print(PageInWords(index, chosen.page));
    for (const int picture : chosen.pictures) {
      Print(PictureInWords(index, Describe(document, picture)));
    }
  }

  void ShowJson(const std::string& name, const kz::Document& document, const Chosen& chosen) {
    const kz::PageIndex& index = document.Index();
    nlohmann::ordered_json object = FileInJson(name, FramingOf(index.file), index);
    nlohmann::ordered_json pictures = nlohmann::ordered_json::array();
    const auto add = [&](const DescribedPicture& picture) {
      pictures.push_back(PictureInJson(index, picture));
    };
    object["page"] = nullptr;
    object["image"] = nullptr;
    if (m_options.all) {
      DescribeAll(document, add);
    } else {
      for (const int picture : chosen.pictures) add(Describe(document, picture));
    }
    if (!pictures.empty()) object.update(pictures[0]);
    if (chosen.page > 0) {
      object["page"] = chosen.page;
      object["holds"] = index.PageWords(chosen.page);
    }
    if (m_options.all || chosen.page > 0) object["pictures"] = std::move(pictures);
    PrintJson(object);
  }

  const InfoOptions& m_options;
  const kz::PageRange& m_page;
  const kz::PageRange& m_image;
  bool m_unreadable = false;
  std::vector<std::pair<int, kz::Outcome>> m_asked;  // pictures that can't be described
};

Exit Info(const InfoOptions& options) {
  const kz::PageRange page = ParseNumber("--page", "page", options.page);
  const kz::PageRange image = ParseNumber("--image", "picture", options.image);
  Exit exit = kDone;
  for (const std::string& argument : options.files) {
    std::string file = argument;
    Exit described = OpenInput(file);
    if (described == kDone) described = FileInfo(options, page, image).Run(argument, file);
    if (described == kFileFailed || exit == kDone) exit = described;
    CloseInput(file);
  }
  return exit;
}

}  // namespace

void AddInfo(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("info", "Show what files hold and what a picture is");
  command->footer(
      "Shows pages, pictures, groups and resources of each file, and the first picture, or the\n"
      "one of --image, or those that the page of --page shows, included ones too. Exit status 1\n"
      "when a file is damaged or what was asked for can't be read, 3 when another picture can't.\n"
      "--json prints for each file version (1), file, container, framing (or null), pages,\n"
      "images, groups, tags, resources (how many there are), missing (names of resources),\n"
      "skipped (bytes that are no fields: offset, length), structure (null, or status and what\n"
      "is wrong) and, of the picture, page (the first that shows it), image (its number),\n"
      "onPages, kind, resource (in which it stands), format, compression, width, height,\n"
      "bitsPerPixel, xResolution, yResolution, bytes, rowOrder, or error (status, what). With\n"
      "--all, and with --page, whose page holds what holds says, pictures is a list of these.");
  auto options = std::make_shared<InfoOptions>();
  command->add_option("FILE", options->files, "Files to describe")->required();
  CLI::Option* page =
      command
          ->add_option("-p,--page", options->page, "Describe the pictures of a page; z is the last")
          ->type_name("N");
  CLI::Option* image =
      command->add_option("-i,--image", options->image, "Describe a picture; z is the last")
          ->type_name("N")
          ->excludes(page);
  command->add_flag("-a,--all", options->all, "Print a row for each picture")
      ->excludes(page)
      ->excludes(image);
  command->add_flag("--json", options->json, "Print one JSON object per file, each on a line");
  command->callback([options, &exit] { exit = Info(*options); });
}

}  // namespace kzica
