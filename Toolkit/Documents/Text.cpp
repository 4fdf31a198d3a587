#include "Toolkit/Documents/Text.h"

#include <algorithm>
#include <new>
#include <optional>

#include "Format/ControlSequence.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Documents/PageWalk.h"
#include "Toolkit/Fields/FontText.h"
#include "Toolkit/Fields/TextFlow.h"

namespace kz {

namespace {

// The pages that were asked for.
class Wanted {
 public:
  explicit Wanted(std::vector<int> pages) : m_pages(std::move(pages)) {
    std::sort(m_pages.begin(), m_pages.end());
  }
  bool Has(int page) const {
    return m_pages.empty() || std::binary_search(m_pages.begin(), m_pages.end(), page);
  }
  // 0: there is no last one.
  int Last() const { return m_pages.empty() ? 0 : m_pages.back(); }

 private:
  std::vector<int> m_pages;
};

// What becomes of the fields of a document.
class PageTaker {
 public:
  virtual ~PageTaker() = default;
  virtual void BeginPage() {}
  // A field, be it in the page or not.
  virtual void Take(PageWalk& walk, const ScannedField& field, bool wanted) = 0;
  // False ends the reading.
  virtual bool EndPage(int page) = 0;
};

// Fails for pages that aren't there.
Outcome CheckLast(const Wanted& wanted, int pages) {
  if (wanted.Last() <= pages) return {};
  std::string what = "there is no page " + std::to_string(wanted.Last());
  what += pages > 0 ? ", the last is page " + std::to_string(pages) : ": the document has no pages";
  return Failure(K_ERROR_INVALID_FORMAT, std::move(what));
}

Outcome Finish(const PageWalk& walk, const Wanted& wanted) {
  Outcome damage = walk.Damage();
  if (walk.Pages() == 0 && !damage.Ok()) return damage;
  Outcome done = CheckLast(wanted, walk.Pages());
  if (done.Ok() && !damage.Ok()) done.warnings.push_back(std::move(damage.what));
  return done;
}

Outcome ReadPages(const std::string& file, const Wanted& wanted, PageTaker& reader) {
  Container container = Container::Modca;
  Outcome outcome = FindContainer(file, container);
  FileWindow window;
  if (outcome.Ok()) outcome = window.Open(file);
  if (!outcome.Ok()) return outcome;
  if (container == Container::Ioca) {
    PageIndex index;
    outcome = IndexFile(file, index);
    return outcome.Ok() ? CheckLast(wanted, static_cast<int>(index.pages.size())) : outcome;
  }
  PageWalk walk(window);
  ScannedField field;
  for (int page = 0;;) {
    const bool more = walk.Next(field);
    if (walk.Page() != page) {
      if (page > 0 && wanted.Has(page) && !reader.EndPage(page)) return {};
      if (page > 0 && page == wanted.Last()) return {};
      page = walk.Page();
      if (page > 0) reader.BeginPage();
    }
    if (!more) return Finish(walk, wanted);
    reader.Take(walk, field, page > 0 && wanted.Has(page));
  }
}

class TextReader : public PageTaker {
 public:
  TextReader(FontText& fonts, const TakeTextPage& take)
      : m_text(fonts),
        m_flow([this](std::string_view bytes, unsigned font, bool unicode) {
          const auto found = m_fonts.find(font);
          const MappedFont* mapped = found != m_fonts.end() ? &found->second : nullptr;
          return unicode ? m_text.DecodeUnicode(bytes, mapped) : m_text.Decode(bytes, mapped);
        }),
        m_take(take) {}

  void BeginPage() override {
    m_fonts = m_documentFonts;
    m_page = {};
    m_pageSpace = m_space = {};
    m_begun = m_inText = false;
    m_fontsOfPage.reset();
    m_otherObject = 0;
  }

  void Take(PageWalk& walk, const ScannedField& field, bool wanted) override {
    if (wanted) {
      TakeInPage(walk, field);
    } else if (walk.Page() == 0) {
      TakeOutside(walk, field);
    }
  }

  bool EndPage(int page) override {
    m_page.page = page;
    m_page.lines = m_flow.TakeLines();
    return m_take(m_page);
  }

 private:
  // Objects on a page with fonts of their own.
  static bool BeginsOtherObject(uint16_t code) {
    return code == sf::kBeginImageObject || code == sf::kBeginGraphics || code == sf::kBeginBarCode;
  }

  void TakeOutside(PageWalk& walk, const ScannedField& field) {
    if (walk.InResources()) {
      if (FontText::IsOfFonts(field.code)) m_text.TakeResource(field.code, walk.Data(field));
    } else if (field.code == sf::kBeginDocument) {
      m_documentFonts.clear();
      m_text.TakeDocument(walk.Data(field));
    } else if (MapsFonts(field.code)) {
      AddMappedFonts(field.code, walk.Data(field), m_documentFonts);
    }
  }

  void TakeInPage(PageWalk& walk, const ScannedField& field) {
    const uint16_t code = field.code;
    if (m_otherObject != 0) {
      if (code == PartnerOf(m_otherObject)) m_otherObject = 0;
    } else if (BeginsOtherObject(code)) {
      m_otherObject = code;
    } else if (MapsFonts(code)) {
      if (m_inText && !m_fontsOfPage) m_fontsOfPage = m_fonts;
      AddMappedFonts(code, walk.Data(field), m_fonts);
    } else if (code == sf::kPageDescriptor || code == sf::kTextDescriptor) {
      Describe(walk.Data(field));
    } else if (code == sf::kBeginText || code == sf::kEndText) {
      m_inText = code == sf::kBeginText;
      m_begun = false;
      m_space = m_pageSpace;
      if (m_fontsOfPage) m_fonts = std::move(*m_fontsOfPage);
      m_fontsOfPage.reset();
    } else if (code == sf::kObjectAreaPosition && m_inText) {
      constexpr size_t x = 2, y = 5, bytes = 3;
      const std::string_view data = walk.Data(field);
      m_space.x = static_cast<double>(GetBig(data, x, bytes)) * m_pageSpace.xPoints;
      m_space.y = static_cast<double>(GetBig(data, y, bytes)) * m_pageSpace.yPoints;
    } else if (code == sf::kPresentationText) {
      AddText(walk.Data(field), field);
    }
  }

  void Describe(std::string_view data) {
    TextSpace space = m_space;
    if (!ReadSpace(data, space)) return;
    if (!m_inText) m_pageSpace = space;
    m_space = std::move(space);
  }

  void AddText(std::string_view data, const ScannedField& field) {
    if (!m_begun) m_flow.Begin(m_space);
    m_begun = true;
    size_t offset = 0;
    const char* fault = m_flow.Add(data, offset);
    if (fault == nullptr || !m_page.warnings.empty()) return;
    const int64_t at = field.DataOffset() + static_cast<int64_t>(offset);
    m_page.warnings.push_back(std::string(fault) + " at byte " + std::to_string(at));
  }

  FontText& m_text;
  TextFlow m_flow;
  const TakeTextPage& m_take;
  TextPage m_page;
  FontMap m_documentFonts;  // mapped outside of pages
  FontMap m_fonts;
  std::optional<FontMap> m_fontsOfPage;  // in a text object that maps others
  TextSpace m_pageSpace;
  TextSpace m_space;
  bool m_inText = false;  // in a text object
  bool m_begun = false;   // its text
  uint16_t m_otherObject = 0;
};

class RawReader : public PageTaker {
 public:
  explicit RawReader(const TakeRawText& take) : m_take(take) {}

  void Take(PageWalk& walk, const ScannedField& field, bool wanted) override {
    if (!wanted || field.code != sf::kPresentationText) return;
    bool ended = true;
    ControlSequences sequences(walk.Data(field));
    ControlSequence sequence;
    while (sequences.Next(sequence)) {
      if (sequence.Type() == ptx::kTransparentData) {
        m_raw.append(sequence.parameters);
        ended = ended && sequence.parameters.empty();
      } else if (sequence.MovesBaseline() && !ended) {
        m_raw += "\r\n";
        ended = true;
      }
    }
    m_raw += "\r\n";
  }
  bool EndPage(int page) override {
    const bool more = m_take(page, m_raw);
    m_raw.clear();
    return more;
  }

 private:
  const TakeRawText& m_take;
  std::string m_raw;
};

}  // namespace

Outcome ReadTexts(const std::string& file, const TextOptions& options,
                  const TakeTextPage& take) try {
  FontText fonts;
  if (!options.encoding.empty()) {
    Outcome outcome = fonts.Override(options.encoding);
    if (!outcome.Ok()) return outcome;
  }
  TextReader reader(fonts, take);
  return ReadPages(file, Wanted(options.pages), reader);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome ReadRawTexts(const std::string& file, const std::vector<int>& pages,
                     const TakeRawText& take) try {
  RawReader reader(take);
  return ReadPages(file, Wanted(pages), reader);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
