#include "Toolkit/View/PageRenderer.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "Format/ObjectArea.h"
#include "Toolkit/Base/AsciiCase.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/View/Drawing/PageDrawing.h"
#include "Toolkit/View/Drawing/PdfOutline.h"
#include "Toolkit/View/Drawing/SurfaceFile.h"
#include "Toolkit/View/Html/HtmlView.h"
#include "Toolkit/View/RenderedFile.h"

namespace kz {

namespace {

TextDrawing DrawingOf(RenderedText text) {
  switch (text) {
    case RenderedText::kShown:
      return TextDrawing::Shown;
    case RenderedText::kInvisible:
      return TextDrawing::Under;
    case RenderedText::kNone:
      return TextDrawing::None;
  }
  return TextDrawing::Shown;
}

}  // namespace

const RenderFormatRow* FindRenderFormat(const std::string& name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return nullptr;
  std::string ending = name.substr(dot + 1);
  std::transform(ending.begin(), ending.end(), ending.begin(), LowerCase);
  for (const RenderFormatRow& row : kRenderFormats) {
    if (ending == row.ending) return &row;
  }
  return nullptr;
}

class PageRenderer::Shared {
 public:
  Shared(const Document& document, RenderOptions options)
      : m_document(document),
        m_options(std::move(options)),
        m_drawing(m_options.load, DrawingOf(m_options.text)),
        m_layouts(document, [this](std::string_view text, const TextStyle& style) {
          return m_drawing.Texts().Measure(text, style);
        }) {}

  Outcome WritePng(int page, const std::string& out, const PageTold& told, FileBatch* batch) {
    PageLayout layout;
    Outcome outcome = m_layouts.Read(page, layout);
    if (!outcome.Ok()) return outcome;
    const double scale = PngScale(layout);
    const double width = std::max(std::ceil(layout.width * scale - 0.01), 1.0);
    const double height = std::max(std::ceil(layout.height * scale - 0.01), 1.0);
    if (!(width * height <= static_cast<double>(kMostPixels)) ||
        std::max(width, height) > kMostSurfaceSide) {
      return Failure(K_ERROR_INVALID_FORMAT,
                     "page " + std::to_string(page) + " is too large for a png of " +
                         std::to_string(std::lround(scale * kPointsPerInch)) + " dpi");
    }
    const CairoSurface surface(cairo_image_surface_create(
        CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height)));
    outcome = DrawPage(surface.get(), Paper::Picture, scale, layout, told);
    Bitmap bitmap;
    if (outcome.Ok()) outcome = BitmapOf(surface.get(), bitmap);
    if (!outcome.Ok()) return outcome;
    const int resolution = std::max(static_cast<int>(std::lround(scale * kPointsPerInch)), 1);
    bitmap.SetResolution(resolution, resolution);
    PictureWriter writer;
    outcome = writer.Open(out, PictureFormat::kPng, batch);
    if (outcome.Ok()) outcome = writer.AddPage(bitmap);
    return outcome.Ok() ? writer.Commit() : outcome;
  }

  Outcome WriteSvg(int page, const std::string& out, const PageTold& told, FileBatch* batch) {
    PageLayout layout;
    Outcome outcome = m_layouts.Read(page, layout);
    RenderedFile file;
    if (outcome.Ok()) outcome = file.Open(out, batch);
    if (!outcome.Ok()) return outcome;
    const CairoSurface surface(
        cairo_svg_surface_create_for_stream(WriteSurface, &file, layout.width, layout.height));
    cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PT);
    outcome = DrawPage(surface.get(), Paper::Svg, 1, layout, told);
    Outcome finished = FinishSurface(surface.get(), file);
    return outcome.Ok() ? finished : outcome;
  }

  Outcome WritePdf(const std::vector<int>& pages, const std::string& out, const PageTold& told,
                   FileBatch* batch) {
    RenderedFile file;
    Outcome outcome = file.Open(out, batch);
    if (!outcome.Ok()) return outcome;
    const CairoSurface surface(cairo_pdf_surface_create_for_stream(WriteSurface, &file, 1, 1));
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_SUBJECT,
                                   "Text is set in fonts that stand in for the document's own.");
    AddOutline(surface.get(), m_document.Index(), pages, m_options.title);
    for (const int page : pages) {
      PageLayout layout;
      outcome = m_layouts.Read(page, layout);
      if (!outcome.Ok()) return outcome;
      cairo_pdf_surface_set_size(surface.get(), layout.width, layout.height);
      outcome = DrawPage(surface.get(), Paper::Pdf, 1, layout, told);
      if (!outcome.Ok()) return outcome;
      cairo_surface_show_page(surface.get());
    }
    return FinishSurface(surface.get(), file);
  }

  Outcome WriteHtml(const std::vector<int>& pages, const std::string& out, const PageTold& told,
                    FileBatch* batch) {
    RenderedFile file;
    Outcome outcome = file.Open(out, batch);
    if (!outcome.Ok()) return outcome;
    HtmlView view(m_document, m_options, m_layouts, file);
    outcome = view.Write(pages, told);
    return outcome.Ok() ? file.Commit() : outcome;
  }

 private:
  enum class Paper : uint8_t { Picture, Svg, Pdf };

  // Pixels of a png for each point of the page.
  double PngScale(const PageLayout& layout) const {
    const double longer = std::max(layout.width, layout.height);
    return m_options.size > 0 && longer > 0 ? m_options.size / longer
                                            : m_options.dpi / kPointsPerInch;
  }

  Outcome DrawPage(cairo_surface_t* surface, Paper kind, double scale, const PageLayout& layout,
                   const PageTold& told) {
    const CairoContext cairo(cairo_create(surface));
    // Pages of pdf files are white by themselves.
    if (kind != Paper::Pdf) {
      cairo_set_source_rgb(cairo.get(), 1, 1, 1);
      cairo_paint(cairo.get());
    }
    cairo_scale(cairo.get(), scale, scale);
    Outcome drawn;
    drawn.warnings = layout.warnings;
    m_drawing.Draw(cairo.get(), kind != Paper::Picture, layout, drawn.warnings);
    if (told) told(layout.page, drawn);
    return CairoOutcome(cairo_status(cairo.get()));
  }

  const Document& m_document;
  RenderOptions m_options;
  PageDrawing m_drawing;
  LayoutReader m_layouts;
};

PageRenderer::PageRenderer(const Document& document, RenderOptions options)
    : m_shared(std::make_unique<Shared>(document, std::move(options))) {}

PageRenderer::~PageRenderer() = default;

Outcome PageRenderer::Write(const std::vector<int>& pages, RenderFormat format,
                            const std::string& out, const PageTold& told, FileBatch* batch) try {
  if (pages.empty()) return Failure(K_ERROR_INVALID_FORMAT, "there is no page to draw");
  if (format == RenderFormat::kPdf) return m_shared->WritePdf(pages, out, told, batch);
  if (format == RenderFormat::kHtml) return m_shared->WriteHtml(pages, out, told, batch);
  if (pages.size() > 1) return Failure(K_ERROR_SAVE_FORMAT, "such a file holds one page");
  return format == RenderFormat::kPng ? m_shared->WritePng(pages[0], out, told, batch)
                                      : m_shared->WriteSvg(pages[0], out, told, batch);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
