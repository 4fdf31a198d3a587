// kzica info: what files hold, and what their pictures are.
#include <memory>
#include <set>
#include <unordered_set>

#include "Toolkit/Documents/PageRange.h"
#include "Tools/kzica/Description.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  SelectionOptions pages;  // a single number, if any
  std::string image;
  std::string resources;  // folder; empty: none
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
  FileInfo(const InfoOptions& options, const kz::Selection& pages, const kz::PageRange& image)
      : m_options(options), m_pages(pages), m_image(image) {}

  // `file` was made of the argument.
  Exit Run(const std::string& argument, const std::string& file) {
    kz::Document document(file);
    kz::Outcome outcome = document.Open();
    if (!m_options.resources.empty()) document.AddResources(m_options.resources);
    Chosen chosen;
    if (outcome.Ok()) outcome = Choose(document, chosen);
    if (!outcome.Ok()) return Complain({file}, outcome);
    if (m_options.json) {
      ShowJson(argument, document, chosen);
    } else {
      ShowWords(InputName(file), document, chosen);
    }
    for (const auto& [picture, failure] : m_asked)
      Complain({file, chosen.PageToName(), picture}, failure);
    const kz::PageIndex& index = document.Index();
    if (index.IsDamaged()) return Complain({file}, index.structure);
    if (!m_asked.empty()) return kFileFailed;
    return m_unreadable || (!index.structure.Ok() && index.IsDocument()) ? kWarned : kDone;
  }

 private:
  struct Chosen {
    std::vector<int> pages;  // that were asked for
    std::vector<int> pictures;
    int PageToName() const { return pages.size() == 1 ? pages[0] : 0; }
  };

  bool IsAsked() const { return !m_pages.IsEmpty() || !m_options.image.empty(); }

  kz::Outcome Choose(const kz::Document& document, Chosen& chosen) const {
    std::vector<int> numbers;
    if (!m_pages.IsEmpty()) {
      if (document.Pages() == 0) return kz::Failure(K_ERROR_INVALID_FORMAT, "there are no pages");
      kz::Outcome outcome = m_pages.Resolve(document.Index(), chosen.pages);
      if (!outcome.Ok()) return outcome;
      std::unordered_set<int> taken;
      for (const int page : chosen.pages) {
        for (const int picture : document.Index().PicturesOf(page)) {
          if (taken.insert(picture).second) chosen.pictures.push_back(picture);
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

  // The pictures of the folder that the chosen pages show; without these, those of the
  // resources that it has.
  static std::vector<kz::ShownPicture> Included(const kz::Document& document,
                                                const Chosen& chosen) {
    if (chosen.pages.empty()) return document.PicturesFromFolder();
    std::vector<kz::ShownPicture> included;
    std::set<std::pair<const kz::Document*, int>> taken;
    for (const int page : chosen.pages) {
      for (const kz::ShownPicture& shown : document.PicturesOnPage(page)) {
        if (shown.document == &document) continue;
        if (taken.emplace(shown.document, shown.picture).second) included.push_back(shown);
      }
    }
    return included;
  }

  DescribedPicture Describe(const kz::Document& document, int picture, std::vector<int> pages) {
    DescribedPicture described{picture, std::move(pages), {}, {}};
    described.outcome = document.DescribePicture(picture, described.info);
    kz::Outcome unreadable = described.outcome;
    if (unreadable.Ok() && !described.info.unsupported.empty()) {
      unreadable = kz::Failure(K_ERROR_INVALID_FORMAT, described.info.unsupported);
    }
    if (!unreadable.Ok()) {
      m_unreadable = true;
      if (IsAsked()) m_asked.emplace_back(picture, unreadable);
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
    Print(FileInWords(name, FramingOf(index.file), index, document.Missing()));
    Print(IncludedInWords(Included(document, chosen)));
    if (m_options.all) {
      if (document.Pictures() > 0) Print(RowInWords(index, nullptr));
      DescribeAll(document,
                  [&](const DescribedPicture& picture) { Print(RowInWords(index, &picture)); });
      return;
    }
    for (const int page : chosen.pages) Print(PageInWords(index, page));
    for (const int picture : chosen.pictures) {
      Print(PictureInWords(index, Describe(document, picture)));
    }
  }

  void ShowJson(const std::string& name, const kz::Document& document, const Chosen& chosen) {
    const kz::PageIndex& index = document.Index();
    nlohmann::ordered_json object =
        FileInJson(name, FramingOf(index.file), index, document.Missing());
    if (!m_options.resources.empty()) {
      object["included"] = IncludedInJson(Included(document, chosen));
    }
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
    if (!chosen.pages.empty()) {
      object["page"] = chosen.pages[0];
      object["holds"] = index.PageWords(chosen.pages);
      const SelectionOptions& options = m_options.pages;
      if (!options.groups.empty() || !options.tags.empty()) object["selected"] = chosen.pages;
    }
    if (m_options.all || !chosen.pages.empty()) object["pictures"] = std::move(pictures);
    PrintJson(object);
  }

  const InfoOptions& m_options;
  const kz::Selection& m_pages;
  const kz::PageRange& m_image;
  bool m_unreadable = false;
  std::vector<std::pair<int, kz::Outcome>> m_asked;  // pictures that can't be described
};

Exit Info(const InfoOptions& options) {
  (void)ParseNumber("--page", "page", options.pages.pages);
  const kz::Selection pages = SelectionOf(options.pages);
  const kz::PageRange image = ParseNumber("--image", "picture", options.image);
  Exit exit = kDone;
  for (const std::string& argument : options.files) {
    std::string file = argument;
    Exit described = OpenInput(file);
    if (described == kDone) described = FileInfo(options, pages, image).Run(argument, file);
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
      "one of --image, or those that the page of --page or the pages of --group and --tag show,\n"
      "included ones too; those in files of --resources are counted. Exit status 1 when a file\n"
      "is damaged or what was asked for can't be read, 3 when another picture can't.\n"
      "--json prints for each file version (1), file, container, framing (or null), pages,\n"
      "images, groups, tags, resources (how many there are), missing (names of resources),\n"
      "skipped (bytes that are no fields: offset, length), structure (null, or status and what\n"
      "is wrong) and, of the picture, page (the first that shows it), image (its number),\n"
      "onPages, kind, resource (in which it stands), format, compression, width, height,\n"
      "bitsPerPixel, xResolution, yResolution, bytes, rowOrder, layout (tiles, bands; if there\n"
      "are any), or error (status, what), or both when its kind can't be loaded. With\n"
      "--all and where pages are chosen pictures is a list of these, and the pages hold what\n"
      "holds says; selected lists the pages of --group and --tag, included the pictures in files\n"
      "of --resources (file, image).");
  auto options = std::make_shared<InfoOptions>();
  command->add_option("FILE", options->files, "Files to describe")->required();
  CLI::Option* page = command
                          ->add_option("-p,--page", options->pages.pages,
                                       "Describe the pictures of a page; z is the last")
                          ->type_name("N");
  CLI::Option* image =
      command->add_option("-i,--image", options->image, "Describe a picture; z is the last")
          ->type_name("N")
          ->excludes(page);
  CLI::Option* all = command->add_flag("-a,--all", options->all, "Print a row for each picture")
                         ->excludes(page)
                         ->excludes(image);
  AddSelection(*command, options->pages, "");
  for (const char* name : {"--group", "--tag"}) {
    command->get_option(name)->excludes(image)->excludes(all);
  }
  AddResources(*command, options->resources);
  command->add_flag("--json", options->json, "Print one JSON object per file, each on a line");
  command->callback([options, &exit] { exit = Info(*options); });
}

}  // namespace kzica
