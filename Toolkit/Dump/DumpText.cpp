// The control sequences of presentation text.
#include "Format/ControlSequence.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

void Describe(const ControlSequenceRow* row, std::string_view parameters, DumpStream& stream,
              DumpEvent& event) {
  switch (row != nullptr ? row->parameters : SequenceParameters::Bytes) {
    case SequenceParameters::Text:
      event.Add("text", stream.Text(parameters));
      return;
    case SequenceParameters::Number:
      if (parameters.size() == 1) event.Add("value", GetBig(parameters, 0, 1));
      if (parameters.size() >= 2) {
        event.Add("value", static_cast<int16_t>(GetBig(parameters, 0, 2)));
      }
      break;
    case SequenceParameters::Orientations:
      if (parameters.size() == 4) {
        event.Add("inline", GetBig(parameters, 0, 2) >> 7);
        event.Add("baseline", GetBig(parameters, 2, 2) >> 7);
      }
      break;
    case SequenceParameters::Bytes:
      break;
  }
  if (event.values.empty()) event.data = Hex(parameters);
}

}  // namespace

void DumpPresentationText(std::string_view data, int64_t offset, int depth, DumpStream& stream) {
  using enum ControlSequence::Fault;
  ControlSequences sequences(data);
  ControlSequence sequence;
  while (!stream.Ended() && sequences.Next(sequence)) {
    const int64_t at = offset + static_cast<int64_t>(sequence.offset);
    const auto length = static_cast<int64_t>(sequence.length);
    if (sequence.fault == NoSequence || sequence.fault == Length) {
      stream.Problem(at, length, depth,
                     sequence.fault == NoSequence ? "no control sequence begins here"
                                                  : "the control sequence has no valid length");
      continue;
    }
    const ControlSequenceRow* row = FindControlSequence(sequence.Type());
    DumpEvent event;
    event.kind = DumpKind::ControlSequence;
    event.offset = at;
    event.length = length;
    event.depth = depth;
    event.identifier = HexNumber(sequence.code, 1);
    if (row != nullptr) {
      event.acronym = row->acronym;
      event.name = row->words;
    }
    Describe(row, sequence.parameters, stream, event);
    stream.Put(event);
    if (sequence.fault == Cut) {
      stream.Problem(at, 0, depth, "the field ends within the control sequence");
    }
  }
}

}  // namespace kz
