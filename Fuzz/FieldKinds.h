// The three kinds of fields that documents nest: structured fields, the
// self-defining fields of an image segment and the control sequences of
// presentation text, each as the mutator sees it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"

using Bytes = std::vector<uint8_t>;
using Random = std::mt19937;

struct Span {
  size_t start;
  size_t length;
};

struct FieldKind {
  // Bytes of the field that begins here, 0 for none that holds together.
  size_t (*Length)(const uint8_t* at, size_t left);
  // Bytes before the field's data.
  size_t (*Head)(const uint8_t* field);
  // Makes the length say what the field has; data that it can't express go.
  void (*PutLength)(Bytes& field);
  // Gives it another identifier, or other flags.
  void (*Rename)(Bytes& field, Random& random);
  // What the field's data are a sequence of; null for other data.
  const FieldKind* (*Within)(const Bytes& field);
  // Data that such a field might have. False when nothing is known of them.
  bool (*FillData)(const Bytes& field, Bytes& data, Random& random);
  // A field without data.
  Bytes (*New)(Random& random);

  // The fields that the bytes begin with.
  std::vector<Span> Split(const Bytes& bytes) const;
};

extern const FieldKind kStructuredFields;
extern const FieldKind kSelfDefiningFields;
extern const FieldKind kControlSequences;
