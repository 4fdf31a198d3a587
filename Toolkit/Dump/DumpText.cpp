// The control sequences of presentation text.
#include <algorithm>

#include "Format/ControlSequence.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

// How a control sequence's parameters are shown.
enum class Shown { Bytes, Number, Numbers, Text };

struct SequenceName {
  unsigned type;
  const char* acronym;
  const char* words;
  Shown shown;
};

constexpr SequenceName kSequences[] = {
    {0x72, "OVS", "Overstrike", Shown::Bytes},
    {0x74, "STC", "Set Text Color", Shown::Bytes},
    {0x76, "USC", "Underscore", Shown::Bytes},
    {0x78, "TBM", "Temporary Baseline Move", Shown::Bytes},
    {0x80, "SEC", "Set Extended Text Color", Shown::Bytes},
    {0xC0, "SIM", "Set Inline Margin", Shown::Number},
    {0xC2, "SIA", "Set Intercharacter Adjustment", Shown::Bytes},
    {0xC4, "SVI", "Set Variable Space Character Increment", Shown::Number},
    {0xC6, "AMI", "Absolute Move Inline", Shown::Number},
    {0xC8, "RMI", "Relative Move Inline", Shown::Number},
    {0xD0, "SBI", "Set Baseline Increment", Shown::Number},
    {0xD2, "AMB", "Absolute Move Baseline", Shown::Number},
    {0xD4, "RMB", "Relative Move Baseline", Shown::Number},
    {0xD8, "BLN", "Begin Line", Shown::Bytes},
    {ptx::kTransparentData, "TRN", "Transparent Data", Shown::Text},
    {0xE4, "DIR", "Draw I-axis Rule", Shown::Number},
    {0xE6, "DBR", "Draw B-axis Rule", Shown::Number},
    {0xEE, "RPS", "Repeat String", Shown::Bytes},
    {0xF0, "SCFL", "Set Coded Font Local", Shown::Number},
    {0xF2, "BSU", "Begin Suppression", Shown::Number},
    {0xF4, "ESU", "End Suppression", Shown::Number},
    {0xF6, "STO", "Set Text Orientation", Shown::Numbers},
    {0xF8, "NOP", "No Operation", Shown::Bytes},
};

const SequenceName* Find(unsigned type) {
  const auto* row =
      std::find_if(std::begin(kSequences), std::end(kSequences),
                   [type](const SequenceName& sequence) { return sequence.type == type; });
  return row != std::end(kSequences) ? row : nullptr;
}

// Two bytes are a signed number, as moves are; one byte isn't.
int64_t Number(std::string_view bytes) {
  const int64_t value = Big(bytes, 0, std::min<size_t>(bytes.size(), 2));
  return bytes.size() >= 2 ? static_cast<int16_t>(value) : value;
}

void Describe(const SequenceName* sequence, std::string_view parameters, DumpStream& stream,
              DumpEvent& event) {
  const Shown shown = sequence != nullptr ? sequence->shown : Shown::Bytes;
  if (shown == Shown::Text) {
    event.Add("text", stream.Text(parameters));
  } else if (shown == Shown::Number && !parameters.empty()) {
    event.Add("value", Number(parameters));
  } else if (shown == Shown::Numbers && parameters.size() == 4) {
    // Angles: degrees above seven bits of fraction.
    event.Add("inline", Big(parameters, 0, 2) >> 7);
    event.Add("baseline", Big(parameters, 2, 2) >> 7);
  } else {
    event.data = Hex(parameters, 16);
  }
}

}  // namespace

void DumpPresentationText(std::string_view data, int64_t offset, int depth, DumpStream& stream) {
  ControlSequences sequences(data);
  ControlSequence sequence;
  while (!stream.Ended() && sequences.Next(sequence)) {
    const int64_t at = offset + static_cast<int64_t>(sequence.offset);
    const auto length = static_cast<int64_t>(sequence.length);
    if (sequence.fault == ControlSequence::Fault::NoSequence) {
      stream.Problem(at, length, depth, "no control sequence begins here");
      continue;
    }
    if (sequence.fault == ControlSequence::Fault::Length) {
      stream.Problem(at, length, depth, "the control sequence has no valid length");
      continue;
    }
    const SequenceName* name = Find(sequence.Type());
    DumpEvent event;
    event.kind = DumpKind::ControlSequence;
    event.offset = at;
    event.depth = depth;
    event.length = length;
    const char code = static_cast<char>(sequence.code);
    event.identifier = Hex({&code, 1});
    if (name != nullptr) {
      event.acronym = name->acronym;
      event.name = name->words;
    }
    Describe(name, sequence.parameters, stream, event);
    stream.Put(event);
    if (sequence.fault == ControlSequence::Fault::Cut) {
      stream.Problem(at, 0, depth, "the field ends within the control sequence");
    }
  }
}

}  // namespace kz
