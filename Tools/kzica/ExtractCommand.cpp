// kzica extract: pages as picture files.
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
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
  std::string pages = "1";
  bool all = false;
  std::string format;
  bool dither = false;
  kz::LoadOptions load;
};

// What a page is written as: a picture, or its image data as they are stored.
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

kz::PageRange ChoosePages(const ExtractOptions& options) {
  kz::PageRange range;
  const kz::Outcome parsed = range.Parse(options.all ? "1-z" : options.pages);
  if (!parsed.Ok()) throw UsageError("--page: " + parsed.what);
  return range;
}

// An output file can't be the file that the pages come from.
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

class Extraction {
 public:
  explicit Extraction(const ExtractOptions& options)
      : m_options(options),
        m_format(ChooseFormat(options)),
        m_range(ChoosePages(options)),
        m_document(options.file) {
    const bool holdsPages = !m_format.raw && kz::HoldsPages(m_format.picture);
    if (!m_range.IsSinglePage() && !holdsPages && !Numbered()) {
      throw UsageError(options.out +
                       ": holds one page; several go into a tif or pdf, or into numbered files "
                       "if the name has a %d");
    }
    RefuseTerminal(options.out);
  }

  Exit Run() {
    std::vector<int> pages;
    kz::Outcome outcome;
    outcome = m_document.Open();
    if (outcome.Ok()) outcome = m_range.Resolve(m_document.Pictures(), pages);
    if (!outcome.Ok()) return Complain({m_options.file}, outcome);
    const Exit exit = Numbered() ? ToNumberedFiles(pages)
                                 : ToOneFile(kz::NumberedName(m_options.out, pages[0]), pages);
    const kz::Outcome& structure = m_document.Index().structure;
    return structure.Ok() ? exit : Complain({m_options.file}, structure);
  }

 private:
  bool Numbered() const { return m_options.out != "-" && kz::IsNumbered(m_options.out); }

  // A page that fails doesn't keep the others from their files.
  Exit ToNumberedFiles(const std::vector<int>& pages) {
    Exit exit = kDone;
    kz::FileBatch batch(
        [&](const std::string& out, const kz::Outcome& failed) { exit = Complain({out}, failed); });
    Progress progress(pages.size());
    for (const int page : pages) {
      const Exit written = ToOneFile(kz::NumberedName(m_options.out, page), {page}, &batch);
      if (written != kDone) exit = kFileFailed;
      progress.Step();
    }
    batch.Finish();
    return exit;
  }

  Exit ToOneFile(const std::string& out, const std::vector<int>& pages,
                 kz::FileBatch* batch = nullptr) {
    RefuseSameFile(m_options, out);
    if (m_format.raw) return StoredData(out, pages[0], batch);
    kz::PictureInfo info;
    if (m_format.picture == kz::PictureFormat::kJpeg && !m_options.dither &&
        m_document.DescribePicture(pages[0], info).Ok() && info.coding == kz::Coding::Jpeg) {
      return info.topDown ? StoredData(out, pages[0], batch) : FlippedData(out, pages[0], batch);
    }
    return Pictures(out, pages, batch);
  }

  Exit StoredData(const std::string& out, int page, kz::FileBatch* batch) {
    std::vector<unsigned char> data;
    kz::Outcome outcome = m_document.ReadImageData(page, data);
    if (!outcome.Ok()) return Complain({m_options.file, page}, outcome);
    outcome = WriteData(out, data, batch);
    Warn({out}, outcome);
    return outcome.Ok() ? kDone : Complain({out}, outcome);
  }

  // The data of a page that is stored bottom up, for readers that don't know of that.
  Exit FlippedData(const std::string& out, int page, kz::FileBatch* batch) {
    std::vector<unsigned char> data;
    bool flipped = false;
    kz::Outcome outcome = m_document.ReadImageData(page, data);
    if (outcome.Ok()) outcome = kz::FlipJpeg(data, m_options.load.maxPixels, flipped);
    if (!outcome.Ok()) return Complain({m_options.file, page}, outcome);
    if (!flipped) {
      Note({m_options.file, page},
           "is stored bottom up and can't be turned as it is: its JPEG data are coded again");
      return Pictures(out, {page}, batch);
    }
    outcome = WriteData(out, data, batch);
    Warn({out}, outcome);
    return outcome.Ok() ? kDone : Complain({out}, outcome);
  }

  Exit Pictures(const std::string& out, const std::vector<int>& pages, kz::FileBatch* batch) {
    kz::PictureWriter writer;
    kz::Outcome outcome = writer.Open(out, m_format.picture, batch);
    if (!outcome.Ok()) return Complain({out}, outcome);
    kz::Bitmap bitmap;
    Progress progress(pages.size());
    for (const int page : pages) {
      outcome = m_document.LoadPicture(page, m_options.load, bitmap);
      if (!outcome.Ok()) return Complain({m_options.file, page}, outcome);
      Warn({m_options.file, page}, outcome);
      outcome = Dither(bitmap);
      if (!outcome.Ok()) return Complain({m_options.file, page}, outcome);
      outcome = writer.AddPage(bitmap);
      if (outcome.status == K_ERROR_BITS_PER_PIXEL) {
        outcome.what += "; --dither makes black and white of it";
      }
      if (!outcome.Ok()) return Complain({out}, outcome);
      progress.Step();
    }
    outcome = writer.Commit();
    Warn({out}, outcome);
    return outcome.Ok() ? kDone : Complain({out}, outcome);
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
  kz::PageRange m_range;
  kz::Document m_document;
};

}  // namespace

void AddExtract(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("extract", "Write pages as picture files");
  command->footer(
      "OUT's ending says what to write: png, tif, pbm, pgm, ppm, pnm, jpg or pdf, or raw for\n"
      "the compressed image data as they are stored. A JPEG page goes to jpg as it is, turned\n"
      "without loss if it is stored bottom up and that can be done. Several\n"
      "pages go into one tif or pdf, or into numbered files if OUT has a %d or, with leading\n"
      "zeros, a %03d that no letter follows; %% is a percent sign. OUT - is standard output.");
  auto options = std::make_shared<ExtractOptions>();
  command->add_option("FILE", options->file, "File to extract from")->required();
  command->add_option("OUT", options->out, "File to write")->required();
  CLI::Option* page =
      command->add_option("-p,--page", options->pages, "Pages, like 2, 1,3-5, 9-, z (the last)")
          ->type_name("PAGES")
          ->capture_default_str();
  command->add_flag("-a,--all", options->all, "All pages")->excludes(page);
  command->add_option("-f,--format", options->format, "What to write, whatever the ending is")
      ->check(CLI::IsMember(kFormats));
  command->add_flag("--dither", options->dither,
                    "Make black and white pictures, by error diffusion");
  AddMaxPixels(*command, options->load.maxPixels);
  AddNoWait(*command);
  command->callback([options, &exit] {
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Extraction(*options).Run();
  });
}

}  // namespace kzica
