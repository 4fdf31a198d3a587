#include "Tools/kzica/Pages.h"

#include <charconv>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

constexpr int kDefaultQuality = 90;

// Takes a positive number off the front of the text; 0 when there is none.
int TakeNumber(std::string_view& text) {
  int number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || number < 1) return 0;
  text.remove_prefix(static_cast<size_t>(result.ptr - text.data()));
  return number;
}

// The names that the rows of a table have as options.
template <typename Row, size_t Count>
std::vector<std::string> OptionsOf(const Row (&rows)[Count]) {
  std::vector<std::string> names;
  for (const Row& row : rows) {
    if (row.option != nullptr) names.emplace_back(row.option);
  }
  return names;
}

}  // namespace

void AddPageOptions(CLI::App& command, PageOptions& options) {
  options.quality = kDefaultQuality;
  command
      .add_option("-c,--compression", options.compression,
                  "How to code pages; if not given, g4 for 1-bit pictures and jpeg for others, and "
                  "Group 3 and Group 4 data of tif files stay what they are")
      ->check(CLI::IsMember(OptionsOf(kz::kCompressions)));
  command
      .add_option("--dpi", options.dpi,
                  "Resolution of the pages, like 300 or 204x98, instead of the pictures' own")
      ->type_name("N[xN]");
  command
      .add_option("--bits", options.bitsPerPixel,
                  "Bits per pixel to write, if the compression leaves a choice: 1 or 4 for abic, "
                  "8 (grey) or 24 for jpeg, any for none")
      ->check(CLI::IsMember({1, 4, 8, 24}));
  command.add_option("-q,--quality", options.quality, "Quality of JPEG data")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  command.add_flag("--dither", options.dither,
                   "Make 1 bit out of more by error diffusion, not by a threshold");
  command
      .add_option("--function-set", options.functionSet,
                  "IOCA function set to write: 11 describes the picture as other readers want it, "
                  "10 leaves grey and colour to this family's own readers; if not given, 11 for "
                  "jpeg and for none with more than 1 bit per pixel")
      ->check(CLI::IsMember({10, 11}));
  command.add_flag("--recode", options.recode,
                   "Code the data of jpg and tif files anew instead of storing them as they are");
  command.add_flag("--trust", options.trust,
                   "Store Group 3 and Group 4 data of tif files without decoding them as a check");
}

CLI::Option* AddContainerOption(CLI::App& command, std::string& container) {
  return command
      .add_option("--container", container,
                  "What to wrap pages in: a MO:DCA document, one with carriage control, or, for a "
                  "single page, nothing")
      ->check(CLI::IsMember(OptionsOf(kz::kContainers)));
}

kz::Container ContainerOfName(const std::string& name) {
  const kz::ContainerRow* row = kz::FindContainerOption(name);
  return row != nullptr ? row->container : kz::Container::Modca;
}

PageSaver::PageSaver(const PageOptions& options, kz::Container container, const std::string& target)
    : m_options(options), m_container(container), m_target(target) {
  if (options.dpi.empty()) return;
  std::string_view text = options.dpi;
  m_xResolution = m_yResolution = TakeNumber(text);
  if (text.starts_with('x')) {
    text.remove_prefix(1);
    m_yResolution = TakeNumber(text);
  }
  if (m_xResolution == 0 || m_yResolution == 0 || !text.empty()) {
    throw UsageError("--dpi: '" + options.dpi + "' is no resolution like 300 or 204x98");
  }
}

kz::SaveRequest PageSaver::RequestFor(kz::Compression compression) const {
  kz::SaveRequest request;
  request.container = m_container;
  request.compression = compression;
  if (const kz::CompressionRow* row = kz::FindCompressionOption(m_options.compression)) {
    request.compression = row->compression;
  }
  request.bitsPerPixel = m_options.bitsPerPixel;
  request.quality = m_options.quality;
  request.dither = m_options.dither;
  request.functionSet = m_options.functionSet;
  return request;
}

bool PageSaver::TakesData() const {
  const kz::CompressionRow* row = kz::FindCompressionOption(m_options.compression);
  return !m_options.recode && (row == nullptr || row->coding == kz::Coding::Fax);
}

kz::Outcome PageSaver::Read(kz::PictureReader& reader, int page, Picture& picture) const {
  kz::PictureData& data = picture.data;
  if (TakesData() && reader.ReadData(page, !m_options.trust, data)) {
    if (m_xResolution > 0) {
      data.xResolution = m_xResolution;
      data.yResolution = m_yResolution;
    }
    if (StoresData(data, RequestFor(kz::DefaultCompression(data)))) return {};
  }
  data = {};
  picture.jpeg = reader.Jpeg();
  return reader.Read(page, picture.bitmap);
}

Exit PageSaver::Save(const std::string& path, Picture& picture, kz::SaveMode mode) const {
  if (!picture.data.data.empty()) {
    kz::SaveRequest request = RequestFor(kz::DefaultCompression(picture.data));
    request.mode = mode;
    const kz::Outcome saved = SaveData(path, picture.data, request);
    return saved.Ok() ? kDone : Complain({m_target}, saved);
  }
  kz::Bitmap& bitmap = picture.bitmap;
  kz::SaveRequest request = RequestFor(kz::DefaultCompression(bitmap));
  request.mode = mode;
  const bool storable = picture.jpeg.data != nullptr && !m_options.recode;
  if (storable && picture.jpeg.objection == nullptr) request.jpeg = picture.jpeg.data;
  if (m_xResolution > 0) bitmap.SetResolution(m_xResolution, m_yResolution);

  kz::Outcome outcome = CheckPicture(bitmap, request);
  if (!outcome.Ok()) return Complain(picture.source, outcome);
  if (storable && picture.jpeg.objection != nullptr && StoresJpeg(request, bitmap)) {
    Note(picture.source, std::string("its JPEG data are coded anew: ") + picture.jpeg.objection);
  }
  const int depth = bitmap.BitsPerPixel();
  if (depth > 1 && m_options.bitsPerPixel == 0 && !request.dither &&
      DepthOf(request, bitmap) == 1) {
    Note(picture.source, "its " + std::to_string(depth) +
                             " bits per pixel become black and white; --dither keeps shades");
  }
  outcome = SavePage(path, bitmap, request);
  return outcome.Ok() ? kDone : Complain({m_target}, outcome);
}

Exit ForEachPicture(const std::vector<std::string>& files, const PageSaver& saver,
                    const std::function<Exit(Picture&)>& take) {
  Progress progress(files.size(), "file");
  for (std::string file : files) {
    if (OpenInput(file) != kDone) return kFileFailed;
    kz::PictureReader reader;
    kz::Outcome outcome = reader.Open(file);
    if (!outcome.Ok()) return Complain({file}, outcome);
    const int pages = reader.Pages();
    for (int page = 1; page <= pages; ++page) {
      Picture picture;
      picture.source = {file, pages > 1 ? page : 0};
      outcome = saver.Read(reader, page, picture);
      if (!outcome.Ok()) return Complain(picture.source, outcome);
      Warn(picture.source, outcome);
      const Exit exit = take(picture);
      if (exit != kDone) return exit;
    }
    progress.Step();
  }
  return kDone;
}

}  // namespace kzica
