#include "Toolkit/Convert/PictureExport.h"

#include <new>
#include <utility>

#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

// Whether the format carries any data as they are: none does without Group 4.
bool TakesData(const PictureWriter& writer) {
  PictureData least;
  least.width = least.height = 1;
  return writer.Takes(least);
}

}  // namespace

// One of the three, or why the writer doesn't take the picture.
struct ExportedPicture::Content {
  PictureData data;  // empty: it doesn't pass
  PictureWriter::PreparedPage page;
  InkPicture inks;
  Outcome prepared;
};

ExportedPicture::ExportedPicture() = default;
ExportedPicture::~ExportedPicture() = default;
ExportedPicture::ExportedPicture(ExportedPicture&& other) noexcept = default;
ExportedPicture& ExportedPicture::operator=(ExportedPicture&& other) noexcept = default;

void ExportedPicture::Make(const ShownPicture& shown, const ExportOptions& options,
                           const PictureWriter& writer) noexcept {
  try {
    m_content = std::make_unique<Content>();
    if (!Pass(shown, options, writer)) Load(shown, options, writer);
  } catch (const std::bad_alloc&) {
    m_content.reset();
    // A status without words takes no memory.
    m_read = {};
    m_read.status = K_ERROR_NO_MEMORY;
  }
}

bool ExportedPicture::Passes() const {
  return m_content != nullptr && !m_content->data.data.empty();
}

bool ExportedPicture::Pass(const ShownPicture& shown, const ExportOptions& options,
                           const PictureWriter& writer) {
  if (!TakesData(writer)) return false;
  PictureData& data = m_content->data;
  bool passes = false;
  m_read = shown.document->ReadPictureData(shown.picture, options.load, false, data, passes);
  // Dithered they are black and white already.
  passes =
      passes && !(options.dither && data.coding == PictureCoding::kJpeg) && writer.Takes(data) &&
      (options.trust || (CheckPictureData(data, options.load.maxPixels) && writer.Takes(data)));
  if (!passes) data = {};
  return passes;
}

void ExportedPicture::Load(const ShownPicture& shown, const ExportOptions& options,
                           const PictureWriter& writer) {
  DecodedImage image;
  m_read = shown.document->LoadPicture(shown.picture, options.load, image);
  if (!m_read.Ok()) return;
  if (image.IsInks()) {
    m_content->inks = std::move(image.inks);
    return;
  }
  if (options.dither && image.bitmap.BitsPerPixel() != 1) {
    Bitmap dithered;
    Outcome outcome = ConvertBitmap(image.bitmap, 1, true, dithered);
    if (!outcome.Ok()) {
      m_read = std::move(outcome);
      return;
    }
    image.bitmap = std::move(dithered);
  }
  m_content->prepared = writer.Prepare(image.bitmap, m_content->page);
}

Outcome ExportedPicture::AddTo(PictureWriter& writer) {
  if (m_content == nullptr) return m_read;
  const std::unique_ptr<Content> content = std::move(m_content);
  if (!content->data.data.empty()) return writer.AddData(content->data);
  if (!content->inks.rows.empty()) return writer.AddInks(content->inks);
  return content->prepared.Ok() ? writer.AddPrepared(std::move(content->page))
                                : std::move(content->prepared);
}

Outcome ExportPictures(const std::vector<ShownPicture>& pictures, const ExportOptions& options,
                       Workers& workers, PictureWriter& writer, const PictureTold& told,
                       ExportCounts& counts) try {
  // Codes the pictures, and has no file: the writer may fail while others prepare pages.
  PictureWriter coder;
  Outcome written = coder.Open("-", writer.Format());
  if (!written.Ok()) return written;
  std::vector<ExportedPicture> exported(pictures.size());
  workers.InOrder(
      pictures.size(),
      [&](size_t number) { exported[number].Make(pictures[number], options, coder); },
      [&](size_t number) {
        ExportedPicture picture = std::move(exported[number]);
        if (told) told(pictures[number], picture.Read());
        if (!picture.Read().Ok()) {
          ++counts.failed;
          return true;
        }
        const bool passes = picture.Passes();
        written = picture.AddTo(writer);
        if (!written.Ok()) return false;
        ++counts.written;
        if (passes) ++counts.passed;
        if (!picture.Read().warnings.empty()) ++counts.damaged;
        return true;
      });
  return written;
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY, "there is not enough memory");
}

}  // namespace kz
