#include "Toolkit/View/Html/HtmlView.h"

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/View/Contents.h"
#include "Toolkit/View/Html/Markup.h"
#include "Toolkit/View/Html/PageJson.h"

namespace kz {

// Embedded from view.css, view.html and Script.
extern const std::string_view kHtmlViewStyle;
extern const std::string_view kHtmlViewBody;
extern const std::string_view kHtmlViewScript;

HtmlView::HtmlView(const Document& document, const RenderOptions& options, LayoutReader& layouts,
                   RenderedFile& file)
    : m_document(document), m_options(options), m_layouts(layouts), m_file(file) {}

Outcome HtmlView::Write(const std::vector<int>& pages, const PageTold& told) {
  Begin();
  Outcome outcome = WritePages(pages, told);
  if (!outcome.Ok()) return outcome;
  WriteIndex(pages);
  Put("<script>");
  Put(kHtmlViewScript);
  Put("</script>\n");
  WritePictures(told);
  PutElement("application/json", "told", "[" + m_told + "]");
  Put("</body>\n</html>\n");
  return m_file.Written();
}

void HtmlView::Begin() {
  std::string head =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "img-src data: blob:; style-src ";
  head += PolicyHash(kHtmlViewStyle);
  head += "; script-src ";
  head += PolicyHash(kHtmlViewScript);
  head +=
      "; base-uri 'none'; form-action 'none'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<link rel=\"icon\" href=\"data:,\">\n<title>";
  head += EscapedText(m_options.title);
  head += "</title>\n<style>";
  head += kHtmlViewStyle;
  head += "</style>\n</head>\n<body>\n";
  head += kHtmlViewBody;
  (void)m_file.Write(head.data(), head.size());
}

Outcome HtmlView::WritePages(const std::vector<int>& pages, const PageTold& told) {
  for (const int page : pages) {
    PageLayout layout;
    Outcome outcome = m_layouts.Read(page, layout);
    if (!outcome.Ok()) return outcome;
    PutElement("application/json", "page-" + std::to_string(m_sizes.size()),
               PageJson(layout, m_options.text != RenderedText::kNone,
                        [&](const ShownPicture& shown) { return NumberOf(shown, page); }));
    m_sizes.emplace_back(layout.width, layout.height);
    outcome.warnings = std::move(layout.warnings);
    if (told) told(page, outcome);
    outcome = m_file.Written();
    if (!outcome.Ok()) return outcome;
  }
  return {};
}

void HtmlView::WriteIndex(const std::vector<int>& pages) {
  std::string index = R"({"title":)" + JsonString(Printable(m_options.title, Unprintable::Blank));
  index += R"(,"textIsInvisible":)";
  index += m_options.text == RenderedText::kInvisible ? "true" : "false";
  index += R"(,"hasText":)";
  index += m_options.text == RenderedText::kNone ? "false" : "true";
  index += ",\n\"pages\":[";
  for (size_t i = 0; i < pages.size(); ++i) {
    index += (i == 0 ? "[" : ",[") + std::to_string(pages[i]) + ',' + JsonNumber(m_sizes[i].first) +
             ',' + JsonNumber(m_sizes[i].second) + ']';
  }
  index += "],\n\"contents\":[";
  const char* separator = "[";
  for (const ContentsEntry& entry : ContentsOf(m_document.Index(), pages)) {
    index += separator + std::to_string(entry.level) + ',' + JsonString(entry.name) + ',' +
             std::to_string(entry.page) + ']';
    separator = ",[";
  }
  PutElement("application/json", "index", index + "]}");
}

void HtmlView::WritePictures(const PageTold& told) {
  Workers workers(Workers::Processors());
  std::vector<HtmlPicture> made(m_pictures.size());
  workers.InOrder(
      made.size(),
      [&](size_t i) { made[i] = MakeHtmlPicture(m_pictures[i].picture, m_options.load); },
      [&](size_t i) {
        WritePicture(i, made[i], told);
        made[i] = {};
        return m_file.Written().Ok();
      });
}

void HtmlView::WritePicture(size_t number, const HtmlPicture& picture, const PageTold& told) {
  const Shown& shown = m_pictures[number];
  Outcome outcome;
  outcome.warnings = picture.outcome.warnings;
  if (!picture.outcome.Ok()) outcome.warnings.push_back(picture.outcome.what);
  for (std::string& warning : outcome.warnings) {
    warning.insert(0, "picture " + std::to_string(shown.picture.picture) + ": ");
    m_told +=
        (m_told.empty() ? "[" : ",[") + std::to_string(number) + ',' + JsonString(warning) + ']';
  }
  if (told && !outcome.warnings.empty()) told(shown.page, outcome);

  Put("<script type=\"text/plain\" id=\"picture-" + std::to_string(number) + "\"");
  if (picture.data.empty()) {
    Put(" data-failed=\"picture " + std::to_string(shown.picture.picture) + "\">");
  } else if (const auto [stored, isNew] = m_stored.emplace(picture.digest, number); !isNew) {
    Put(" data-same=\"" + std::to_string(stored->second) + "\">");
  } else {
    Put(std::string(" data-type=\"") + picture.type + "\">");
    Base64 coder([this](std::string_view piece) { return Put(piece); });
    if (coder.Add(picture.data.data(), picture.data.size())) (void)coder.Finish();
  }
  Put("</script>\n");
}

size_t HtmlView::NumberOf(const ShownPicture& shown, int page) {
  const auto [known, isNew] =
      m_numbers.emplace(std::pair(shown.document, shown.picture), m_pictures.size());
  if (isNew) m_pictures.push_back({shown, page});
  return known->second;
}

bool HtmlView::Put(std::string_view text) { return m_file.Write(text.data(), text.size()); }

// An element that isn't run and isn't shown; `id` and `kind` need no escapes.
void HtmlView::PutElement(std::string_view kind, const std::string& id, std::string_view content) {
  Put("<script type=\"" + std::string(kind) + "\" id=\"" + id + "\">");
  Put(content);
  Put("</script>\n");
}

}  // namespace kz
