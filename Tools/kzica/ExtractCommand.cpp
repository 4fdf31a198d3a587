// kzica extract: the pictures of files, or of some of their pages, as picture files.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <vector>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/PageRange.h"
#include "Toolkit/Files/NumberedName.h"
#include "Tools/kzica/ExtractOutput.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

const std::vector<std::string> kFormats = [] {
  std::vector<std::string> formats = kz::PictureEndings();
  formats.emplace_back("raw");
  return formats;
}();

struct ExtractOptions {
  std::vector<std::string> files;
  std::string out;
  SelectionOptions pages;
  std::string images;
  bool all = false;
  std::string resources;  // folder; empty: none
  std::string format;
  std::string profile;  // file with an ICC profile; empty: none
  kz::ExportOptions with;
  unsigned jobs = 0;  // 0: as many as there are processors
};

OutputFormat ChooseFormat(const ExtractOptions& options) {
  if (options.format.empty() && options.out == "-") {
    throw UsageError("standard output needs a --format");
  }
  const std::string name = options.format.empty() ? options.out : "." + options.format;
  if (std::filesystem::path("x" + name).extension() == ".raw") return {{}, true};
  const kz::PictureFormat picture = kz::FormatOfEnding(name);
  if (picture == kz::PictureFormat::kNone) {
    std::string endings;
    for (const kz::PictureFormatRow& row : kz::kPictureFormats) {
      endings += (endings.empty() ? "" : ", ") + std::string(row.ending);
    }
    throw UsageError(options.out + ": the ending is none of " + endings +
                     " and raw; say with --format what to write");
  }
  return {picture, false};
}

// Whether any bytes of the page were skipped for damage.
bool IsDamaged(const kz::PageIndex& index, int page) {
  const kz::ByteRange bytes = index.pages[static_cast<size_t>(page) - 1].bytes;
  const auto first = std::partition_point(index.skipped.begin(), index.skipped.end(),
                                          [&](const kz::SkippedBytes& skipped) {
                                            return skipped.offset + skipped.length <= bytes.begin;
                                          });
  return first != index.skipped.end() && first->offset < bytes.end;
}

class Extraction {
 public:
  explicit Extraction(const ExtractOptions& options)
      : m_options(options),
        m_format(ChooseFormat(options)),
        m_pages(SelectionOf(options.pages)),
        m_images("picture"),
        m_with(options.with) {
    const bool named = !m_pages.IsEmpty();
    if (named && (options.all || !options.images.empty())) {
      throw UsageError("pictures are chosen by their pages, by --image or by --all, not by two");
    }
    const std::string images = options.all ? "1-z" : options.images.empty() ? "1" : options.images;
    const kz::Outcome parsed = m_images.Parse(images);
    if (!parsed.Ok()) throw UsageError("--image: " + parsed.what);
    // A group may be a single page.
    const bool byNumber = options.pages.groups.empty() && options.pages.tags.empty();
    const bool single = named ? !byNumber || m_pages.IsSinglePage() : m_images.IsSinglePage();
    if ((!single || options.files.size() > 1) && !HoldsSeveral()) RefuseSeveral("");
    const bool inks = m_format.picture == kz::PictureFormat::kTiff ||
                      m_format.picture == kz::PictureFormat::kJpeg;
    if (options.with.load.keepInks && (!inks || options.with.dither)) {
      throw UsageError("--keep-cmyk is for tif and jpg, without --dither");
    }
    RefuseTerminal(options.out);
  }

  Exit Run() {
    const kz::Outcome outcome = ReadProfile();
    if (!outcome.Ok()) return Complain({m_options.profile}, outcome);
    Exit exit = kDone;
    std::vector<std::string> opened;
    std::vector<Source> sources;
    std::vector<Wanted> wanted;
    for (const std::string& named : m_options.files) {
      std::string file = named;
      Source source;
      if (OpenInput(file) == kDone) {
        opened.push_back(file);
        source.document = std::make_unique<kz::Document>(file);
        source.exit = Choose(source, wanted);
        if (source.exit != kDone) exit = source.exit;
        sources.push_back(std::move(source));
      } else {
        exit = kFileFailed;
      }
    }
    // Of several files the names count what is written, unless they name the file too.
    if (sources.size() > 1 && !NamesFile(m_options.out)) {
      int number = 0;
      for (Wanted& one : wanted) one.number = ++number;
    }
    if (!wanted.empty()) {
      const ExtractOutput output(std::move(opened), m_format, m_with, m_options.jobs);
      const Exit written = Numbered()
                               ? output.ToNumberedFiles(m_options.out, wanted)
                               : output.ToOneFile(OutputName(m_options.out, wanted[0]), wanted);
      if (written != kDone) exit = written;
    }
    for (const Source& source : sources) {
      const Exit reported = ReportDamage(source, sources.size() == 1 ? exit : source.exit);
      if (reported != kDone) exit = reported;
    }
    return exit;
  }

 private:
  struct Source {
    std::unique_ptr<kz::Document> document;
    bool opened = false;
    bool damaged = false;  // pages that were asked for are
    Exit exit = kDone;     // of choosing its pictures
  };

  bool Numbered() const {
    return m_options.out != "-" && (kz::IsNumbered(m_options.out) || NamesFile(m_options.out));
  }
  bool HoldsSeveral() const {
    return Numbered() || (!m_format.raw && kz::HoldsPages(m_format.picture));
  }
  void RefuseSeveral(const std::string& why) const {
    throw UsageError(m_options.out + ": " + why +
                     "holds one picture; several go into a tif or pdf, or into numbered files if "
                     "the name has a %d");
  }

  kz::Outcome ReadProfile() {
    if (m_options.profile.empty()) return {};
    std::ifstream file(m_options.profile, std::ios::binary);
    const std::vector<unsigned char> profile{std::istreambuf_iterator<char>(file),
                                             std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) return kz::SystemFailure(K_ERROR_OPEN_READ, errno);
    if (!kz::IsInkProfile(profile)) {
      return kz::Failure(K_ERROR_INVALID_FORMAT, "this is no ICC profile of CMYK");
    }
    m_with.load.profile = std::make_shared<const std::vector<unsigned char>>(profile);
    return {};
  }

  Exit Choose(Source& source, std::vector<Wanted>& wanted) {
    kz::Document& document = *source.document;
    const kz::Outcome outcome = document.Open();
    if (!outcome.Ok()) return Complain({document.Name()}, outcome);
    source.opened = true;
    if (!m_options.resources.empty()) document.AddResources(m_options.resources);
    return m_pages.IsEmpty() ? ChooseImages(document, wanted) : ChooseFromPages(source, wanted);
  }

  Exit ChooseImages(const kz::Document& document, std::vector<Wanted>& wanted) {
    std::vector<int> pictures;
    kz::Outcome outcome;
    if (document.Pictures() > 0) {
      outcome = m_images.Resolve(document.Pictures(), pictures);
    } else {
      const auto pages = static_cast<size_t>(document.Pages());
      outcome = kz::Failure(K_ERROR_INVALID_FORMAT,
                            "there is no picture in " +
                                (pages > 0 ? "its " + Count(pages, "page") : "it, and no page"));
    }
    if (!outcome.Ok()) return Complain({document.Name()}, outcome);
    for (const int picture : pictures) {
      wanted.push_back({{&document, picture}, 0, picture, document.Name()});
    }
    return kDone;
  }

  // Each picture once, also when several pages show it. A page without any keeps none
  // of the others from theirs.
  Exit ChooseFromPages(Source& source, std::vector<Wanted>& wanted) {
    const kz::Document& document = *source.document;
    const kz::PageIndex& index = document.Index();
    std::vector<int> pages;
    Exit exit = SelectPages(index, m_pages, pages);
    std::set<std::pair<const kz::Document*, int>> taken;
    int ofResources = document.Pictures();
    for (const int page : pages) {
      const std::vector<kz::ShownPicture> pictures = document.PicturesOnPage(page);
      if (pictures.empty()) exit = ReportNoPicture(document, page);
      for (const kz::ShownPicture& shown : pictures) {
        if (!taken.emplace(shown.document, shown.picture).second) continue;
        const bool own = shown.document == &document;
        wanted.push_back(
            {shown, own ? page : 0, own ? shown.picture : ++ofResources, document.Name()});
      }
      source.damaged |= IsDamaged(index, page);
    }
    if (wanted.size() > 1 && !HoldsSeveral()) {
      RefuseSeveral(PageList(pages) + (pages.size() == 1 ? " has " : " have ") +
                    Count(wanted.size(), "picture") + ", and this ");
    }
    return exit;
  }

  static Exit ReportNoPicture(const kz::Document& document, int page) {
    return Complain(
        {document.Name()},
        kz::Failure(K_ERROR_INVALID_FORMAT, "page " + std::to_string(page) + " has no picture" +
                                                document.Index().InsteadOfPictures({page})));
  }

  // Damage where pictures were asked for may have taken some; elsewhere it is a warning
  // unless something failed.
  Exit ReportDamage(const Source& source, Exit exit) const {
    if (!source.opened) return exit;
    const kz::PageIndex& index = source.document->Index();
    // Resources by themselves needn't be a document.
    if (index.structure.Ok() || (!index.IsDamaged() && !index.IsDocument())) return exit;
    if (exit != kDone || source.damaged || (m_options.all && !index.skipped.empty())) {
      return Complain({source.document->Name()}, index.structure);
    }
    kz::Outcome damage;
    damage.warnings = {index.structure.what};
    Warn({source.document->Name()}, damage);
    return kDone;
  }

  const ExtractOptions& m_options;
  OutputFormat m_format;
  kz::Selection m_pages;
  kz::PageRange m_images;
  kz::ExportOptions m_with;
};

}  // namespace

void AddExtract(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("extract", "Write pictures of files as picture files");
  command->footer(
      "--page takes the pictures of pages, those that a page includes too; --image counts the\n"
      "pictures of the whole file. Without either and --all, it is the first picture. OUT's\n"
      "ending says what to write: png, tif, pbm, pgm, ppm, pnm, jpg or pdf, or raw for the\n"
      "compressed image data as they are stored. JPEG data go to jpg as they are, turned without\n"
      "loss if they are stored bottom up and that can be done. Group 3 and Group 4 data go to tif\n"
      "and pdf as they are and JPEG data to pdf, once they were decoded as a check: what isn't "
      "whole\n"
      "is read as any other picture, and --trust does without the check. Several pictures go into "
      "one tif\n"
      "or pdf, or into numbered files if OUT has a %d or, with leading zeros, a %03d that no\n"
      "letter follows: the number is that of the picture. %f is the name of its file, without the\n"
      "ending; without it, %d counts the pictures of several FILEs through. %% is a percent sign.\n"
      "Pictures of several FILEs go into one tif or pdf in their order. OUT - is standard output.\n"
      "What can't be read is reported, and the rest written: exit status 1. A damaged\n"
      "picture gives the rows that can be read, the rest white, with a warning: exit status 3.");
  auto options = std::make_shared<ExtractOptions>();
  // A positional argument after one that takes many never gets any.
  command
      ->add_option("FILE", options->files,
                   "Files to extract from; the last one is the file to write")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->option_text("... OUT");
  AddSelection(*command, options->pages,
               "Pages whose pictures to write, like 2, 1,3-5, 9- or z (the last)");
  CLI::Option* image = command
                           ->add_option("-i,--image", options->images,
                                        "Pictures of the file, like 2, 1,3-5, 9- or z")
                           ->type_name("PICTURES");
  AddResources(*command, options->resources);
  command->add_flag("-a,--all", options->all, "Each picture of the file")->excludes(image);
  command->add_option("-f,--format", options->format, "What to write, whatever the ending is")
      ->check(CLI::IsMember(kFormats));
  command->add_flag("--dither", options->with.dither,
                    "Make black and white pictures, by error diffusion");
  command->add_flag("--keep-cmyk", options->with.load.keepInks,
                    "Leave pictures of printing inks as they are, in tif and jpg");
  command
      ->add_option("--profile", options->profile,
                   "ICC profile of CMYK pictures that have none; without, a plain formula")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);
  command->add_flag("--strict", options->with.load.strict,
                    "Refuse damaged pictures, instead of writing what can be read of them");
  command->add_flag("--trust", options->with.trust,
                    "Don't decode, as a check, data that go to tif or pdf as they are");
  AddJobs(*command, options->jobs);
  AddMaxPixels(*command, options->with.load.maxPixels);
  AddNoWait(*command);
  command->callback([options, &exit] {
    options->out = std::move(options->files.back());
    options->files.pop_back();
    exit = Extraction(*options).Run();
  });
}

}  // namespace kzica
