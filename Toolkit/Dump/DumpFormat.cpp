// The two forms of a dump.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Dump/Dump.h"

namespace kz {

namespace {

std::string InWords(const DumpValue& value) {
  return value.isNumber ? std::to_string(value.number) : value.words;
}

// What a value and the one after it are called together; null for a value that
// stands alone.
const char* PairName(std::string_view name) {
  if (name == "xUnits") return "units ";
  if (name == "width") return "size ";
  return nullptr;
}

// "bitsPerPixel" as "bits per pixel ".
std::string Label(std::string_view name) {
  std::string label;
  for (const char c : name) {
    const bool capital = c >= 'A' && c <= 'Z';
    if (capital) label += ' ';
    label += capital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return label += ' ';
}

class TextDump : public DumpSink {
 public:
  explicit TextDump(DumpOutput output) : m_output(std::move(output)) {}

  bool Take(const DumpEvent& event) override {
    if (!m_headed) {
      m_headed = true;
      if (!m_output("    offset     length  id      field\n")) return false;
    }
    const std::string indent(static_cast<size_t>(event.depth) * 2, ' ');
    char columns[64];
    std::string line;
    if (event.kind == DumpKind::Problem) {
      (void)std::snprintf(columns, sizeof(columns), "%10lld  !!%17s",
                          static_cast<long long>(event.offset), "");
      line.append(columns).append(indent).append("*** ").append(event.name);
    } else {
      (void)std::snprintf(columns, sizeof(columns), "%10lld  %s %6lld  %-6s  ",
                          static_cast<long long>(event.offset), event.prefixed ? "5A" : "  ",
                          static_cast<long long>(event.length), event.identifier.c_str());
      line.append(columns).append(indent).append(Title(event)).append(Details(event));
    }
    return m_output(line.append("\n"));
  }

 private:
  static std::string Title(const DumpEvent& event) {
    if (event.name.empty()) return "?";
    return event.acronym.empty() ? event.name
                                 : std::string(event.acronym).append("  ").append(event.name);
  }

  static std::string Details(const DumpEvent& event) {
    std::string details;
    const auto add = [&details](std::string_view label, std::string_view detail) {
      details.append(details.empty() ? ": " : ", ").append(label).append(detail);
    };
    for (size_t i = 0; i < event.values.size(); ++i) {
      const DumpValue& value = event.values[i];
      const char* pair = PairName(value.name);
      if (pair != nullptr && i + 1 < event.values.size()) {
        add(pair, InWords(value).append(" x ").append(InWords(event.values[++i])));
      } else if (std::string_view("text") == value.name) {
        add("\"", InWords(value).append("\""));
      } else if (std::string_view("bytes") == value.name) {
        add("", InWords(value).append(" bytes"));
      } else {
        add(Label(value.name), InWords(value));
      }
    }
    if (!event.data.empty()) add("", event.data);
    for (const std::string& flag : event.flags) add("", flag);
    if (!event.extension.empty()) details.append(" ").append(event.extension);
    return details;
  }

  DumpOutput m_output;
  bool m_headed = false;
};

const char* KindName(DumpKind kind) {
  switch (kind) {
    case DumpKind::StructuredField:
      return "structuredField";
    case DumpKind::SelfDefiningField:
      return "selfDefiningField";
    case DumpKind::ControlSequence:
      return "controlSequence";
    case DumpKind::Problem:
      return "problem";
  }
  return "";
}

// A field may have several values of one name: these become a list.
void AddValue(nlohmann::ordered_json& values, nlohmann::ordered_json value) {
  if (values.is_null()) {
    values = std::move(value);
    return;
  }
  if (!values.is_array()) values = nlohmann::ordered_json::array({std::move(values)});
  values.push_back(std::move(value));
}

class JsonDump : public DumpSink {
 public:
  JsonDump(DumpOutput output, std::string file)
      : m_output(std::move(output)), m_file(std::move(file)) {}

  bool Take(const DumpEvent& event) override {
    nlohmann::ordered_json object;
    if (!m_file.empty()) object["file"] = m_file;
    object["kind"] = KindName(event.kind);
    object["offset"] = event.offset;
    object["length"] = event.length;
    object["depth"] = event.depth;
    const auto add = [&object](const char* key, const std::string& value) {
      if (!value.empty()) object[key] = value;
    };
    if (event.kind == DumpKind::StructuredField) object["carriageControl"] = event.prefixed;
    add("identifier", event.identifier);
    add("acronym", event.acronym);
    add(event.kind == DumpKind::Problem ? "problem" : "name", event.name);
    if (!event.flags.empty()) object["flags"] = event.flags;
    add("extension", event.extension);
    nlohmann::ordered_json values;
    for (const DumpValue& value : event.values) {
      AddValue(values[value.name], value.isNumber ? nlohmann::ordered_json(value.number)
                                                  : nlohmann::ordered_json(value.words));
    }
    if (!values.empty()) object["values"] = std::move(values);
    add("data", event.data);
    const std::string text =
        object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    return m_output(Printable(text, Unprintable::Json) + "\n");
  }

 private:
  DumpOutput m_output;
  std::string m_file;
};

}  // namespace

std::unique_ptr<DumpSink> MakeTextDump(DumpOutput output) {
  return std::make_unique<TextDump>(std::move(output));
}

std::unique_ptr<DumpSink> MakeJsonDump(DumpOutput output, std::string file) {
  return std::make_unique<JsonDump>(std::move(output), std::move(file));
}

}  // namespace kz
