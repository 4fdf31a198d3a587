// kzica extract: the pictures of a file, or of some of its pages, as picture files.
#include <unistd.h>

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
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/NumberedName.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFile.h"
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
  std::string file;
  std::string out;
  SelectionOptions pages;
  std::string images;
  bool all = false;
  std::string resources;  // folder; empty: none
  std::string format;
  bool dither = false;
  std::string profile;  // file with an ICC profile; empty: none
  kz::LoadOptions load;
};

// What a picture is written as: a picture, or its image data as they are stored.
struct OutputFormat {
  kz::PictureFormat picture = kz::PictureFormat::kNone;
  bool raw = false;
};

OutputFormat ChooseFormat(const ExtractOptions& options) {
  if (options.format.empty() && options.out == "-") {
    throw UsageError("standard output needs a --format");
  }
  const std::string name = options.format.empty() ? options.out : "." + options.format;
  if (std::filesystem::path("x" + name).extension() == ".raw") return {{}, true};
  const kz::PictureFormat picture = kz::FormatOfEnding(name);
  if (picture == kz::PictureFormat::kNone) {
    throw UsageError(options.out +
                     ": the ending is none of png, tif, pbm, pgm, ppm, pnm, jpg, pdf and raw; "
                     "say with --format what to write");
  }
  return {picture, false};
}

// An output file can't be the file that the pictures come from.
void RefuseSameFile(const ExtractOptions& options, const std::string& out) {
  if (IsInput(options.file, out)) {
    throw UsageError(out + ": this is the file to extract from");
  }
}

kz::Outcome WriteData(const std::string& out, const std::vector<unsigned char>& data,
                      kz::FileBatch* batch) {
  if (out == "-") {
    Print({data.begin(), data.end()});
    return {};
  }
  kz::AtomicFile file;
  kz::Outcome outcome = file.Open(out, batch);
  if (!outcome.Ok()) return outcome;
  for (size_t done = 0; done < data.size();) {
    const ssize_t n = write(file.Descriptor(), data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return kz::SystemFailure(K_ERROR_WRITE, n < 0 ? errno : EIO);
    done += static_cast<size_t>(n);
  }
  return file.Commit();
}

// A picture that is wanted, and the page that it is wanted of; 0: of none.
struct Wanted {
  kz::ShownPicture shown;
  int page;
  int number;  // in names: that of the picture; of a resource's after those of the file
};

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
        m_load(options.load),
        m_document(options.file) {
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
    if (!single && !HoldsSeveral()) RefuseSeveral("");
    const bool inks = m_format.picture == kz::PictureFormat::kTiff ||
                      m_format.picture == kz::PictureFormat::kJpeg;
    if (options.load.keepInks && (!inks || options.dither)) {
      throw UsageError("--keep-cmyk is for tif and jpg, without --dither");
    }
    RefuseTerminal(options.out);
  }

  Exit Run() {
    kz::Outcome outcome = ReadProfile();
    if (!outcome.Ok()) return Complain({m_options.profile}, outcome);
    outcome = m_document.Open();
    if (!outcome.Ok()) return Complain({m_options.file}, outcome);
    if (!m_options.resources.empty()) m_document.AddResources(m_options.resources);
    std::vector<Wanted> wanted;
    Exit exit = m_pages.IsEmpty() ? ChooseImages(wanted) : ChooseFromPages(wanted);
    if (!wanted.empty()) {
      const Exit written =
          Numbered() ? ToNumberedFiles(wanted)
                     : ToOneFile(kz::NumberedName(m_options.out, wanted[0].number), wanted);
      if (written != kDone) exit = written;
    }
    return ReportDamage(exit);
  }

 private:
  bool Numbered() const { return m_options.out != "-" && kz::IsNumbered(m_options.out); }
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
    m_load.profile = std::make_shared<const std::vector<unsigned char>>(profile);
    return {};
  }

  Subject SubjectOf(const Wanted& wanted) const {
    if (wanted.shown.document == &m_document) {
      return {m_options.file, wanted.page, wanted.shown.picture};
    }
    return {wanted.shown.document->Name(), 0, wanted.shown.picture};
  }

  Exit ChooseImages(std::vector<Wanted>& wanted) {
    std::vector<int> pictures;
    kz::Outcome outcome;
    if (m_document.Pictures() > 0) {
      outcome = m_images.Resolve(m_document.Pictures(), pictures);
    } else {
      const auto pages = static_cast<size_t>(m_document.Pages());
      outcome = kz::Failure(K_ERROR_INVALID_FORMAT,
                            "there is no picture in " +
                                (pages > 0 ? "its " + Count(pages, "page") : "it, and no page"));
    }
    if (!outcome.Ok()) return Complain({m_options.file}, outcome);
    for (const int picture : pictures) wanted.push_back({{&m_document, picture}, 0, picture});
    return kDone;
  }

  // Each picture once, also when several pages show it. A page without any keeps none
  // of the others from theirs.
  Exit ChooseFromPages(std::vector<Wanted>& wanted) {
    const kz::PageIndex& index = m_document.Index();
    std::vector<int> pages;
    Exit exit = SelectPages(index, m_pages, pages);
    std::set<std::pair<const kz::Document*, int>> taken;
    int ofResources = m_document.Pictures();
    for (const int page : pages) {
      const std::vector<kz::ShownPicture> pictures = m_document.PicturesOnPage(page);
      if (pictures.empty()) exit = ReportNoPicture(page);
      for (const kz::ShownPicture& shown : pictures) {
        if (!taken.emplace(shown.document, shown.picture).second) continue;
        const bool own = shown.document == &m_document;
        wanted.push_back({shown, page, own ? shown.picture : ++ofResources});
      }
      m_damaged |= IsDamaged(index, page);
    }
    if (wanted.size() > 1 && !HoldsSeveral()) {
      RefuseSeveral(PageList(pages) + (pages.size() == 1 ? " has " : " have ") +
                    Count(wanted.size(), "picture") + ", and this ");
    }
    return exit;
  }

  Exit ReportNoPicture(int page) const {
    constexpr std::string_view none = ", no picture";
    std::string words = m_document.Index().PageWords(page);
    if (words.ends_with(none)) words.resize(words.size() - none.size());
    return Complain({m_options.file},
                    kz::Failure(K_ERROR_INVALID_FORMAT,
                                "page " + std::to_string(page) + " has no picture: " + words));
  }

  // Damage where pictures were asked for may have taken some; elsewhere it is a warning
  // unless something failed.
  Exit ReportDamage(Exit exit) const {
    const kz::PageIndex& index = m_document.Index();
    // Resources by themselves needn't be a document.
    if (index.structure.Ok() || (!index.IsDamaged() && !index.IsDocument())) return exit;
    if (exit != kDone || m_damaged || (m_options.all && !index.skipped.empty())) {
      return Complain({m_options.file}, index.structure);
    }
    kz::Outcome damage;
    damage.warnings = {index.structure.what};
    Warn({m_options.file}, damage);
    return kDone;
  }

  // A picture that fails doesn't keep the others from their files.
  Exit ToNumberedFiles(const std::vector<Wanted>& wanted) {
    Exit exit = kDone;
    kz::FileBatch batch(
        [&](const std::string& out, const kz::Outcome& failed) { exit = Complain({out}, failed); });
    Progress progress(wanted.size(), "picture");
    for (const Wanted& one : wanted) {
      const Exit written = ToOneFile(kz::NumberedName(m_options.out, one.number), {one}, &batch);
      if (written != kDone) exit = kFileFailed;
      progress.Step();
    }
    batch.Finish();
    return exit;
  }

  Exit ToOneFile(const std::string& out, const std::vector<Wanted>& wanted,
                 kz::FileBatch* batch = nullptr) {
    RefuseSameFile(m_options, out);
    if (m_format.raw) return StoredData(out, wanted[0], batch);
    kz::PictureInfo info;
    if (wanted.size() == 1 && !m_options.dither &&
        wanted[0].shown.document->DescribePicture(wanted[0].shown.picture, info).Ok() &&
        info.storedAs == m_format.picture) {
      return info.topDown ? StoredData(out, wanted[0], batch) : FlippedData(out, wanted[0], batch);
    }
    return Pictures(out, wanted, batch);
  }

  Exit StoredData(const std::string& out, const Wanted& wanted, kz::FileBatch* batch) {
    std::vector<unsigned char> data;
    kz::Outcome outcome = wanted.shown.document->ReadImageData(wanted.shown.picture, data);
    if (!outcome.Ok()) return Complain(SubjectOf(wanted), outcome);
    outcome = WriteData(out, data, batch);
    Warn({out}, outcome);
    return outcome.Ok() ? kDone : Complain({out}, outcome);
  }

  // The data of a picture that is stored bottom up, for readers that don't know of that.
  Exit FlippedData(const std::string& out, const Wanted& wanted, kz::FileBatch* batch) {
    std::vector<unsigned char> data;
    bool flipped = false;
    kz::Outcome outcome = wanted.shown.document->ReadImageData(wanted.shown.picture, data);
    if (outcome.Ok()) outcome = kz::FlipJpeg(data, m_options.load.maxPixels, flipped);
    if (!outcome.Ok()) return Complain(SubjectOf(wanted), outcome);
    if (!flipped) {
      Note(SubjectOf(wanted),
           "is stored bottom up and can't be turned as it is: its JPEG data are coded again");
      return Pictures(out, {wanted}, batch);
    }
    outcome = WriteData(out, data, batch);
    Warn({out}, outcome);
    return outcome.Ok() ? kDone : Complain({out}, outcome);
  }

  // All that can be read; a file without any isn't written.
  Exit Pictures(const std::string& out, const std::vector<Wanted>& wanted, kz::FileBatch* batch) {
    kz::PictureWriter writer;
    kz::Outcome outcome = writer.Open(out, m_format.picture, batch);
    if (!outcome.Ok()) return Complain({out}, outcome);
    kz::DecodedImage image;
    size_t failed = 0;
    Progress progress(wanted.size(), "picture");
    for (const Wanted& one : wanted) {
      outcome = one.shown.document->LoadPicture(one.shown.picture, m_load, image);
      if (outcome.Ok()) {
        Warn(SubjectOf(one), outcome);
        outcome = Dither(image.bitmap);
      }
      progress.Step();
      if (!outcome.Ok()) {
        (void)Complain(SubjectOf(one), outcome);
        ++failed;
        continue;
      }
      outcome = image.IsInks() ? writer.AddInks(image.inks) : writer.AddPage(image.bitmap);
      if (outcome.status == K_ERROR_BITS_PER_PIXEL) {
        outcome.what += "; --dither makes black and white of it";
      }
      if (!outcome.Ok()) return Complain({out}, outcome);
    }
    if (failed == wanted.size()) return kFileFailed;
    outcome = writer.Commit();
    Warn({out}, outcome);
    if (!outcome.Ok()) return Complain({out}, outcome);
    return failed == 0 ? kDone : kFileFailed;
  }

  kz::Outcome Dither(kz::Bitmap& bitmap) const {
    if (!m_options.dither || bitmap.BitsPerPixel() == 1) return {};
    kz::Bitmap dithered;
    kz::Outcome outcome = kz::ConvertBitmap(bitmap, 1, true, dithered);
    bitmap = std::move(dithered);
    return outcome;
  }

  const ExtractOptions& m_options;
  OutputFormat m_format;
  kz::Selection m_pages;
  kz::PageRange m_images;
  kz::LoadOptions m_load;
  kz::Document m_document;
  bool m_damaged = false;  // pages that were asked for are
};

}  // namespace

void AddExtract(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("extract", "Write pictures of a file as picture files");
  command->footer(
      "--page takes the pictures of pages, those that a page includes too; --image counts the\n"
      "pictures of the whole file. Without either and --all, it is the first picture. OUT's\n"
      "ending says what to write: png, tif, pbm, pgm, ppm, pnm, jpg or pdf, or raw for the\n"
      "compressed image data as they are stored. JPEG data go to jpg as they are, turned without\n"
      "loss if they are stored bottom up and that can be done. Several pictures go into one tif\n"
      "or pdf, or into numbered files if OUT has a %d or, with leading zeros, a %03d that no\n"
      "letter follows: the number is that of the picture. %% is a percent sign. OUT - is standard\n"
      "output. What can't be read is reported, and the rest written: exit status 1. A damaged\n"
      "picture gives the rows that can be read, the rest white, with a warning: exit status 3.");
  auto options = std::make_shared<ExtractOptions>();
  command->add_option("FILE", options->file, "File to extract from")->required();
  command->add_option("OUT", options->out, "File to write")->required();
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
  command->add_flag("--dither", options->dither,
                    "Make black and white pictures, by error diffusion");
  command->add_flag("--keep-cmyk", options->load.keepInks,
                    "Leave pictures of printing inks as they are, in tif and jpg");
  command
      ->add_option("--profile", options->profile,
                   "ICC profile of CMYK pictures that have none; without, a plain formula")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);
  command->add_flag("--strict", options->load.strict,
                    "Refuse damaged pictures, instead of writing what can be read of them");
  AddMaxPixels(*command, options->load.maxPixels);
  AddNoWait(*command);
  command->callback([options, &exit] {
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Extraction(*options).Run();
  });
}

}  // namespace kzica
