#include "Toolkit/View/Sheets/ContactSheet.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/Files/NumberedName.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/View/Drawing/SurfaceFile.h"
#include "Toolkit/View/Sheets/SheetDrawing.h"

namespace kz {

namespace {

constexpr double kPaperWidth = 595, kPaperHeight = 842;  // A4
constexpr int kColumns = 6;
constexpr int kSize = 200;
constexpr int kPaperColumns = 4;
// Of thumbnails on paper: 150 dots per inch.
constexpr double kPaperDensity = 150.0 / 72;

double FontOf(double cell) { return std::clamp(cell * 0.06, 6.0, 15.0); }

SheetMeasures PictureMeasures(const SheetOptions& options) {
  SheetMeasures measures;
  measures.columns = options.columns > 0 ? options.columns : kColumns;
  measures.cell = options.size > 0 ? options.size : kSize;
  measures.font = std::round(FontOf(measures.cell));
  measures.gap = std::round(std::clamp(measures.cell * 0.1, 6.0, 24.0));
  measures.margin = std::round(measures.gap * 1.5);
  return measures;
}

// On A4 paper: columns of a size, or a size for the columns.
SheetMeasures PaperMeasures(const SheetOptions& options) {
  SheetMeasures measures;
  measures.density = kPaperDensity;
  measures.margin = 36;
  measures.gap = 16;
  const double room = kPaperWidth - 2 * measures.margin + measures.gap;
  if (options.size > 0) {
    measures.cell = options.size;
    const auto fit = static_cast<int>(room / (measures.cell + measures.gap));
    measures.columns = options.columns > 0 ? options.columns : std::max(fit, 1);
  } else {
    measures.columns = options.columns > 0 ? options.columns : kPaperColumns;
    const double each = room / measures.columns;
    // Less between those that are small.
    measures.gap = std::min(measures.gap, each / 8);
    measures.cell = std::max(each - measures.gap, double{ContactSheet::kLeastSize});
  }
  measures.font = FontOf(measures.cell);
  return measures;
}

SheetOptions WithinLimits(SheetOptions options) {
  options.columns = std::clamp(options.columns, 0, ContactSheet::kMostColumns);
  if (options.size != 0) {
    options.size = std::clamp(options.size, ContactSheet::kLeastSize, ContactSheet::kMostSize);
  }
  if (options.threads == 0) options.threads = Workers::Processors();
  return options;
}

}  // namespace

class ContactSheet::Shared {
 public:
  explicit Shared(SheetOptions options)
      : m_options(WithinLimits(std::move(options))), m_workers(m_options.threads) {}

  Outcome Open(const std::string& out, SheetFormat format) {
    m_out = out;
    m_paper = format == SheetFormat::kPdf;
    m_numbered = !m_paper && out != "-" && IsNumbered(out);
    m_measures = m_paper ? PaperMeasures(m_options) : PictureMeasures(m_options);
    m_maker = std::make_unique<ThumbnailMaker>(
        m_options.load, static_cast<int>(std::lround(m_measures.cell * m_measures.density)));
    m_drawing = std::make_unique<SheetDrawing>(m_measures);
    if (!m_paper) return {};
    const std::string name = out == "-" ? out : NumberedName(out, 0);
    Outcome outcome = m_options.mayWrite ? m_options.mayWrite(name) : Outcome();
    if (outcome.Ok()) outcome = m_file.Open(name, nullptr);
    if (!outcome.Ok()) return outcome;
    m_pdf.reset(cairo_pdf_surface_create_for_stream(WriteSurface, &m_file, 1, 1));
    if (!m_options.title.empty()) {
      cairo_pdf_surface_set_metadata(m_pdf.get(), CAIRO_PDF_METADATA_TITLE,
                                     Printable(m_options.title, Unprintable::Blank).c_str());
    }
    return CairoOutcome(cairo_surface_status(m_pdf.get()));
  }

  Outcome Add(const std::vector<SheetPage>& pages, const SheetPageTold& told) {
    std::vector<Thumbnail> made(pages.size());
    Outcome outcome;
    m_workers.InOrder(
        pages.size(), [&](size_t i) { made[i] = m_maker->Make(pages[i]); },
        [&](size_t i) {
          Tell(pages[i], made[i].outcome, told);
          outcome = Put(pages[i], std::move(made[i]));
          return outcome.Ok();
        });
    m_maker->Forget();
    return outcome;
  }

  Outcome Commit() {
    if (m_row.cells.empty() && m_rows.empty() && m_sheets == 0) {
      return Failure(K_ERROR_INVALID_FORMAT, "there is no page to show");
    }
    Outcome outcome = EndRow();
    if (outcome.Ok()) outcome = EndSheet();
    if (outcome.Ok() && m_paper) outcome = FinishSurface(m_pdf.get(), m_file);
    return outcome;
  }
  int Sheets() const { return m_sheets; }

 private:
  static void Tell(const SheetPage& page, const Outcome& drawn, const SheetPageTold& told) {
    if (!told) return;
    Outcome outcome;
    outcome.warnings = drawn.warnings;
    if (!drawn.Ok()) outcome.warnings.push_back("it can't be drawn: " + drawn.what);
    told(page, outcome);
  }

  Outcome Put(const SheetPage& page, Thumbnail thumbnail) {
    thumbnail.outcome = {};
    m_row.cells.push_back({std::move(thumbnail), std::to_string(page.page),
                           Printable(page.name, Unprintable::Blank)});
    return static_cast<int>(m_row.cells.size()) == m_measures.columns ? EndRow() : Outcome();
  }

  double PaperWidth() const {
    return std::max(std::ceil(m_measures.Width(static_cast<size_t>(m_measures.columns))),
                    kPaperWidth);
  }
  // How high rows may be on a sheet that another may follow.
  double MostHeight() const {
    return m_paper ? std::round(PaperWidth() / kPaperWidth * kPaperHeight)
                   : m_measures.Width(static_cast<size_t>(m_measures.columns)) * kFrameRatio;
  }
  // Pixels of a png with the rows so far.
  double PictureWidth() const {
    size_t cells = 0;
    for (const SheetRow& row : m_rows) cells = std::max(cells, row.cells.size());
    return m_measures.Width(cells);
  }
  double HeightWith(double rows) const { return 2 * m_measures.margin + rows; }

  Outcome EndRow() {
    if (m_row.cells.empty()) return {};
    m_drawing->Measure(m_row);
    const bool goesOn = m_paper || m_numbered;
    Outcome outcome;
    if (goesOn && !m_rows.empty() && HeightWith(m_rowsHeight + m_row.height) > MostHeight()) {
      outcome = EndSheet();
    }
    if (!m_rows.empty()) m_rowsHeight += m_measures.gap;
    m_rowsHeight += m_row.height;
    m_rows.push_back(std::move(m_row));
    m_row = {};
    return outcome.Ok() && !m_paper ? CheckSize() : outcome;
  }

  Outcome CheckSize() const {
    const double width = PictureWidth(), height = HeightWith(m_rowsHeight);
    if (width * height <= static_cast<double>(kMostPixels) &&
        std::max(width, height) <= kMostSurfaceSide) {
      return {};
    }
    return Failure(K_ERROR_INVALID_FORMAT,
                   m_numbered ? "a row of such thumbnails is too large for a png"
                              : "these are more pages than a png has room for; a pdf, or "
                                "a name with a %d, takes several sheets");
  }

  Outcome EndSheet() {
    ++m_sheets;
    Outcome outcome = m_paper ? DrawPaper() : WritePicture();
    m_rows.clear();
    m_rowsHeight = 0;
    return outcome;
  }

  void DrawRows(cairo_t* cairo, double left) {
    double y = m_measures.margin;
    for (SheetRow& row : m_rows) {
      m_drawing->Draw(cairo, row, left, y);
      y += row.height + m_measures.gap;
      // Pdf files refer to them until their sheet ends.
      if (!m_paper) row.cells.clear();
    }
  }

  Outcome DrawPaper() {
    const double width = PaperWidth();
    const double cells = m_measures.Width(static_cast<size_t>(m_measures.columns));
    cairo_pdf_surface_set_size(m_pdf.get(), width,
                               std::max(MostHeight(), HeightWith(m_rowsHeight)));
    const CairoContext cairo(cairo_create(m_pdf.get()));
    DrawRows(cairo.get(), m_measures.margin + (width - cells) / 2);
    cairo_surface_show_page(m_pdf.get());
    return CairoOutcome(cairo_status(cairo.get()));
  }

  Outcome WritePicture() {
    const std::string name = m_out == "-" ? m_out : NumberedName(m_out, m_sheets);
    Outcome outcome = m_options.mayWrite ? m_options.mayWrite(name) : Outcome();
    if (!outcome.Ok()) return outcome;
    CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                    static_cast<int>(PictureWidth()),
                                                    static_cast<int>(HeightWith(m_rowsHeight))));
    {
      const CairoContext cairo(cairo_create(surface.get()));
      SheetDrawing::Paint(cairo.get());
      DrawRows(cairo.get(), m_measures.margin);
      outcome = CairoOutcome(cairo_status(cairo.get()));
    }
    Bitmap bitmap;
    if (outcome.Ok()) outcome = BitmapOf(surface.get(), bitmap);
    surface.reset();
    PictureWriter writer;
    if (outcome.Ok()) outcome = writer.Open(name, PictureFormat::kPng);
    if (outcome.Ok()) outcome = writer.AddPage(bitmap);
    return outcome.Ok() ? writer.Commit() : outcome;
  }

  SheetOptions m_options;
  Workers m_workers;
  std::string m_out;
  bool m_paper = false;
  bool m_numbered = false;
  SheetMeasures m_measures;
  std::unique_ptr<ThumbnailMaker> m_maker;
  std::unique_ptr<SheetDrawing> m_drawing;
  RenderedFile m_file;  // longer than what writes to it
  CairoSurface m_pdf;
  SheetRow m_row;
  std::vector<SheetRow> m_rows;
  double m_rowsHeight = 0;  // with the gaps between them
  int m_sheets = 0;
};

ContactSheet::ContactSheet(SheetOptions options)
    : m_shared(std::make_unique<Shared>(std::move(options))) {}

ContactSheet::~ContactSheet() = default;

Outcome ContactSheet::Open(const std::string& out, SheetFormat format) {
  return m_shared->Open(out, format);
}

Outcome ContactSheet::Add(const std::vector<SheetPage>& pages, const SheetPageTold& told) try {
  return m_shared->Add(pages, told);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome ContactSheet::Commit() try { return m_shared->Commit(); } catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

int ContactSheet::Sheets() const { return m_shared->Sheets(); }

}  // namespace kz
