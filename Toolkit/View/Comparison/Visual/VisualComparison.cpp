#include "Toolkit/View/Comparison/Visual/VisualComparison.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "Format/ObjectArea.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/View/Comparison/Visual/DifferencePicture.h"
#include "Toolkit/View/Drawing/PageImages.h"
#include "Toolkit/View/Html/Markup.h"
#include "Toolkit/View/Html/Sha256.h"
#include "Toolkit/View/RenderedFile.h"

namespace kz {

extern const std::string_view kCompareStyle;  // compare.css

namespace {

// Of a page as it is shown: pixels.
constexpr double kMostSide = 1800;

// "Page 3", "Page 3 | 4", "What belongs to no page".
std::string Heading(const ComparedPages& pages) {
  if (pages.a == 0 && pages.b == 0) return "Outside of pages";
  const int page = std::max(pages.a, pages.b);
  if (!pages.IsPair() || pages.a == pages.b) return "Page " + std::to_string(page);
  return "Page " + std::to_string(pages.a) + " | " + std::to_string(pages.b);
}

std::string AnchorOf(size_t section) {
  return std::string("s").append(std::to_string(section + 1));
}

std::string StateOf(const ComparedPages& pages) {
  if (pages.IsPair()) return pages.differences.empty() ? "the same" : "";
  if (pages.a > 0) return "only in the first file";
  return pages.b > 0 ? "only in the second file" : "";
}

// Escaped text in an element.
std::string Element(const std::string& name, std::string_view text,
                    const std::string& attributes = {}) {
  return "<" + name + (attributes.empty() ? "" : " " + attributes) + ">" + EscapedText(text) +
         "</" + name + ">";
}

}  // namespace

class VisualComparison::Shared {
 public:
  Shared(const Document& a, const Document& b, VisualOptions options)
      : m_a(a), m_b(b), m_options(std::move(options)), m_images(m_options.load) {
    if (m_options.threads == 0) m_options.threads = Workers::Processors();
  }

  void Add(const ComparedPages& pages) {
    if (pages.IsPair() && pages.differences.empty() && !m_options.all) return;
    for (int i = 0; i < pages.count; ++i) {
      if (m_shown.size() == kMostShown && (pages.a > 0 || pages.b > 0)) {
        m_more += pages.count - i;
        return;
      }
      ComparedPages one = pages;
      one.count = 1;
      if (one.a > 0) one.a += i;
      if (one.b > 0) one.b += i;
      m_shown.push_back(std::move(one));
    }
  }

  Outcome Write(const std::string& out, const CompareSummary& summary) {
    Outcome outcome = m_file.Open(out, nullptr);
    if (!outcome.Ok()) return outcome;
    Put(Head(summary) + Contents());
    Workers workers(m_options.threads);
    std::vector<std::string> made(m_shown.size());
    workers.InOrder(
        m_shown.size(), [&](size_t i) { made[i] = GuardedSection(i); },
        [&](size_t i) {
          Put(made[i]);
          made[i] = {};
          return !m_noMemory && m_file.Written().Ok();
        });
    Put("</main></body></html>\n");
    return m_noMemory ? Failure(K_ERROR_NO_MEMORY) : m_file.Commit();
  }

 private:
  void Put(const std::string& text) { (void)m_file.Write(text.data(), text.size()); }

  std::string Head(const CompareSummary& summary) const {
    const std::string title = m_options.nameA + " | " + m_options.nameB;
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "img-src data:; style-src " +
        PolicyHash(kCompareStyle) +
        "; base-uri 'none'; form-action 'none'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n" +
        Element("title", title) + "\n<style>" + std::string(kCompareStyle) +
        "</style></head>\n<body><header>" + Element("h1", "Comparison");
    const auto file = [](const char* chip, const std::string& name, int pages) {
      return "<p class=\"file\"><span class=\"chip " + std::string(chip) + "\"></span>" +
             EscapedText(name) + " " +
             Element("span", std::to_string(pages) + (pages == 1 ? " page" : " pages"),
                     "class=\"faint\"") +
             "</p>\n";
    };
    html += file("removed", m_options.nameA, summary.pagesA);
    html += file("added", m_options.nameB, summary.pagesB);
    std::string words = std::to_string(summary.same) + " the same, " +
                        std::to_string(summary.different) + " different";
    if (summary.onlyA > 0)
      words.append(", ").append(std::to_string(summary.onlyA)).append(" only in the first");
    if (summary.onlyB > 0)
      words.append(", ").append(std::to_string(summary.onlyB)).append(" only in the second");
    html += Element("p", words) +
            "<p class=\"faint\">In the differences, <span class=\"chip removed\"></span>is only in "
            "the first file, <span class=\"chip added\"></span>only in the second, "
            "<span class=\"chip common\"></span>in both. A page grows when it is clicked.</p>\n";
    return html + "</header>\n";
  }

  std::string Contents() const {
    std::string html = "<nav><ul>\n";
    for (size_t i = 0; i < m_shown.size(); ++i) {
      html += "<li>" + Element("a", Heading(m_shown[i]), "href=\"#" + AnchorOf(i) + "\"");
      const std::string state = StateOf(m_shown[i]);
      if (!state.empty()) html.append(" ").append(Element("span", state, "class=\"faint\""));
      html += "</li>\n";
    }
    html += "</ul>";
    if (m_more > 0) {
      html += Element("p", std::to_string(m_more) + " more pages aren't shown", "class=\"faint\"");
    }
    return html + "</nav>\n<main>\n";
  }

  std::string GuardedSection(size_t number) try {
    return Section(number);
  } catch (const std::bad_alloc&) {
    m_noMemory = true;
    return {};
  }

  std::string Section(size_t number) {
    const ComparedPages& pages = m_shown[number];
    std::string html = "<section id=\"" + AnchorOf(number) + "\">" + Element("h2", Heading(pages));
    const std::string state = StateOf(pages);
    if (!state.empty()) html += Element("p", state, "class=\"faint\"");
    if (!pages.differences.empty()) {
      html += "<ul>";
      for (const Difference& one : pages.differences) {
        const bool isText = one.aspect == Aspect::kText;
        html += Element("li", isText ? "text: " + one.what : one.what);
      }
      html += "</ul>";
    }
    if (pages.a > 0 || pages.b > 0) html += "\n<div class=\"pages\">" + Figures(number) + "</div>";
    return html + "</section>\n";
  }

  std::string Figures(size_t number) {
    const ComparedPages& pages = m_shown[number];
    CairoSurface a, b;
    Outcome ofA, ofB;
    double scale = m_options.dpi / kPointsPerInch, used = scale;
    const auto scaleOf = [&](const PageLayout& layout) {
      used = std::min(scale, kMostSide / std::max({layout.width, layout.height, 1.0}));
      return used;
    };
    if (pages.a > 0) ofA = m_images.Draw(m_a, pages.a, scaleOf, a);
    if (pages.b > 0) {
      const double before = scale = used;
      ofB = m_images.Draw(m_b, pages.b, scaleOf, b);
      scale = used;
      // The smaller scale is that of both.
      if (pages.a > 0 && used < before) ofA = m_images.Draw(m_a, pages.a, scaleOf, a);
    }
    const std::string anchor = AnchorOf(number);
    std::string html = Figure(anchor + "a", "First", pages.a, ofA, a.get()) +
                       Figure(anchor + "b", "Second", pages.b, ofB, b.get());
    if (a != nullptr && b != nullptr && ofA.Ok() && ofB.Ok()) {
      const CairoSurface both = DifferencePicture(a.get(), b.get());
      html += Figure(anchor + "d", "Difference", -1, CairoOutcome(cairo_surface_status(both.get())),
                     both.get());
    }
    return html;
  }

  // `page`: 0 when the file has none there.
  static std::string Figure(const std::string& id, const std::string& name, int page,
                            const Outcome& drawn, cairo_surface_t* picture) {
    std::string caption = name;
    if (page > 0) caption += ", page " + std::to_string(page);
    std::string html = "<figure>" + Element("figcaption", caption);
    const auto instead = [&](const std::string& words) {
      return html + Element("p", words, "class=\"none\"") + "</figure>";
    };
    if (page == 0) return instead("not in this file");
    if (!drawn.Ok()) return instead("can't be drawn: " + drawn.what);
    html += "<input type=\"checkbox\" id=\"" + id + "\"><label for=\"" + id +
            "\"><img loading=\"lazy\" alt=\"" + EscapedText(caption) + "\" width=\"" +
            std::to_string(cairo_image_surface_get_width(picture)) + "\" height=\"" +
            std::to_string(cairo_image_surface_get_height(picture)) +
            "\" src=\"data:image/png;base64,";
    return html + ToBase64(PngOf(picture)) + "\"></label></figure>\n";
  }

  const Document& m_a;
  const Document& m_b;
  VisualOptions m_options;
  PageImages m_images;
  std::vector<ComparedPages> m_shown;
  int m_more = 0;
  RenderedFile m_file;
  std::atomic<bool> m_noMemory = false;
};

VisualComparison::VisualComparison(const Document& a, const Document& b, VisualOptions options)
    : m_shared(std::make_unique<Shared>(a, b, std::move(options))) {}

VisualComparison::~VisualComparison() = default;

void VisualComparison::Add(const ComparedPages& pages) { m_shared->Add(pages); }

Outcome VisualComparison::Write(const std::string& out, const CompareSummary& summary) try {
  return m_shared->Write(out, summary);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
