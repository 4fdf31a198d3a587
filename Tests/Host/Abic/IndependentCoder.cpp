#include "Tests/Host/Abic/IndependentCoder.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kz::test {
namespace {

using Bytes = std::vector<unsigned char>;

struct Row {
  uint32_t lowerSize;     // of the less probable symbol's part, which is the lower one
  int afterLessProbable;  // the next state
};

constexpr int kLastState = 29;
constexpr uint32_t kLeastSize = 0x1000;  // of the interval: 0.75
constexpr int kFractionBits = 12;

constexpr Row kRows[kLastState + 1] = {
    // clang-format off
    {0xAC1, 0}, {0xA81, 0}, {0xA01, 1}, {0x901, 2}, {0x701, 3},
    {0x681, 4}, {0x601, 5}, {0x501, 5}, {0x481, 6}, {0x441, 7},
    {0x381, 8}, {0x301, 9}, {0x2C1, 10}, {0x281, 11}, {0x241, 12},
    {0x181, 13}, {0x121, 14}, {0x0E1, 15}, {0x0A1, 16}, {0x071, 17},
    {0x059, 18}, {0x053, 19}, {0x027, 20}, {0x017, 21}, {0x013, 21},
    {0x00B, 23}, {0x007, 23}, {0x005, 25}, {0x003, 25}, {0x001, 27},
    // clang-format on
};

// What is known of one context.
struct Context {
  int state = 0;
  int moreProbable = 0;

  uint32_t LowerSize() const { return kRows[state].lowerSize; }
  void AfterMoreProbable() {
    if (state < kLastState) ++state;
  }
  void AfterLessProbable(bool flipsInStateOne) {
    if (state == 0 || (state == 1 && flipsInStateOne)) moreProbable = 1 - moreProbable;
    state = kRows[state].afterLessProbable;
  }
};

// Where decisions go to or come from.
class Coder {
 public:
  Coder() = default;
  Coder(const Coder&) = delete;
  Coder& operator=(const Coder&) = delete;
  virtual ~Coder() = default;

  // Codes the decision, or finds it out: returns what it is.
  virtual int Code(Context& context, int decision) = 0;
};

class Decoder : public Coder {
 public:
  Decoder(const Bytes& code, bool flipsInStateOne)
      : code_(code), flipsInStateOne_(flipsInStateOne) {
    c_ = NextByte() << 16;
    ByteIn();
    c_ <<= 4;
    ct_ -= 4;
  }

  int Code(Context& context, int) override {
    const uint32_t lower = context.LowerSize();
    int bit = context.moreProbable;
    if ((c_ >> 16) < lower) {
      a_ = lower;
      bit = 1 - bit;
      context.AfterLessProbable(flipsInStateOne_);
    } else {
      c_ -= lower << 16;
      a_ -= lower;
      if (a_ < kLeastSize) context.AfterMoreProbable();
    }
    while (a_ < kLeastSize) {
      if (ct_ == 0) ByteIn();
      a_ <<= 1;
      c_ <<= 1;
      --ct_;
    }
    return bit;
  }

 private:
  uint32_t NextByte() {
    last_ = next_ < code_.size() ? code_[next_++] : 0;
    return last_;
  }

  // The byte after FF begins with a bit that is a carry into it.
  void ByteIn() {
    ct_ = last_ == 0xFF ? 7 : 8;
    const uint32_t byte = NextByte();
    c_ += ct_ == 7 ? byte << 9 : byte << 8;
  }

  const Bytes& code_;
  bool flipsInStateOne_;
  size_t next_ = 0;
  uint32_t last_ = 0;
  uint32_t a_ = kLeastSize, c_ = 0;
  int ct_ = 0;
};

class Encoder : public Coder {
 public:
  explicit Encoder(bool flipsInStateOne) : flipsInStateOne_(flipsInStateOne) {}

  int Code(Context& context, int decision) override {
    const uint32_t lower = context.LowerSize();
    if (decision == context.moreProbable) {
      TakeUpper(lower, a_ - lower);
      a_ -= lower;
      if (a_ < kLeastSize) context.AfterMoreProbable();
    } else {
      TakeLower(lower, a_ - lower);
      a_ = lower;
      context.AfterLessProbable(flipsInStateOne_);
    }
    for (; a_ < kLeastSize; a_ <<= 1) Shift();
    return decision;
  }

  // What is written, after the last decision.
  virtual Bytes Finish() = 0;

 private:
  virtual void TakeUpper(uint32_t lower, uint32_t upper) = 0;
  virtual void TakeLower(uint32_t lower, uint32_t upper) = 0;
  virtual void Shift() = 0;

  bool flipsInStateOne_;
  uint32_t a_ = kLeastSize;
};

// Keeps the interval's lower end, in a register of fraction, spacer bits, byte and carry.
class CarryEncoder : public Encoder {
 public:
  CarryEncoder(bool flipsInStateOne, int spacerBits)
      : Encoder(flipsInStateOne), byteAt_(kFractionBits + spacerBits), ct_(8 + spacerBits) {}

  Bytes Finish() override {
    int bits = byteAt_ + 8 - ct_;
    while (bits > 0) {
      c_ <<= ct_;
      ByteOut();
      bits -= ct_;
    }
    return code_;
  }

 private:
  void TakeUpper(uint32_t lower, uint32_t) override { c_ += lower; }
  void TakeLower(uint32_t, uint32_t) override {}
  void Shift() override {
    c_ <<= 1;
    if (--ct_ == 0) ByteOut();
  }

  void ByteOut() {
    const uint32_t carry = uint32_t{1} << (byteAt_ + 8);
    if (!code_.empty() && code_.back() != 0xFF && (c_ & carry) != 0) {
      ++code_.back();
      c_ &= ~carry;
    }
    // A carry is the first bit of the byte after FF.
    const bool stuffs = !code_.empty() && code_.back() == 0xFF;
    const int kept = stuffs ? byteAt_ + 1 : byteAt_;
    code_.push_back(static_cast<unsigned char>(c_ >> kept));
    c_ &= (uint32_t{1} << kept) - 1;
    ct_ = stuffs ? 7 : 8;
  }

  int byteAt_;  // the lowest bit of the byte
  int ct_;
  uint32_t c_ = 0;
  Bytes code_;
};

// Keeps the interval's upper end, in full: a bit for the units, which only the very
// beginning has set, then the fraction. Borrows run through as many bits as they must.
class BorrowEncoder : public Encoder {
 public:
  explicit BorrowEncoder(bool flipsInStateOne) : Encoder(flipsInStateOne) { upperEnd_[0] = 1; }

  // The last number below the upper end.
  Bytes Finish() override {
    Subtract(1);
    Bytes code;
    size_t bit = 1;
    while (bit < upperEnd_.size()) {
      unsigned byte = 0;
      for (int count = !code.empty() && code.back() == 0xFF ? 7 : 8; count > 0; --count) {
        byte = byte << 1 | (bit < upperEnd_.size() ? upperEnd_[bit] : 0);
        ++bit;
      }
      code.push_back(static_cast<unsigned char>(byte));
    }
    return code;
  }

 private:
  void TakeUpper(uint32_t, uint32_t) override {}
  void TakeLower(uint32_t, uint32_t upper) override { Subtract(upper); }
  void Shift() override { upperEnd_.push_back(0); }

  void Subtract(uint32_t amount) {
    unsigned borrow = 0;
    for (size_t i = upperEnd_.size(); i-- > 0 && (amount != 0 || borrow != 0); amount >>= 1) {
      const unsigned taken = (amount & 1) + borrow;
      borrow = upperEnd_[i] < taken ? 1 : 0;
      upperEnd_[i] = static_cast<unsigned char>((upperEnd_[i] + taken) & 1);
    }
  }

  Bytes upperEnd_ = Bytes(1 + kFractionBits);  // a bit each, the most significant first
};

std::unique_ptr<Encoder> MakeEncoder(Producer producer, bool flipsInStateOne) {
  if (producer == Producer::Borrows) return std::make_unique<BorrowEncoder>(flipsInStateOne);
  int spacerBits = 4;
  if (producer == Producer::ThreeSpacerBits) spacerBits = 3;
  if (producer == Producer::TwoSpacerBits) spacerBits = 2;
  return std::make_unique<CarryEncoder>(flipsInStateOne, spacerBits);
}

Bytes EndAs(Producer producer, Bytes code) {
  if (producer == Producer::TrimsZeros) {
    while (!code.empty() && code.back() == 0) code.pop_back();
  }
  if (producer == Producer::AddsBytes) code.resize(code.size() + 1 + code.size() % 2);
  return code;
}

// The planes of an image below each other, a byte a bit.
class Raster {
 public:
  Raster(int width, int height, int depth, const OpenPoints& points)
      : width_(points.exactWidth ? width : (width + 7) / 8 * 8),
        height_(height),
        depth_(depth),
        points_(points),
        bits_(static_cast<size_t>(width_) * static_cast<size_t>(height) *
              static_cast<size_t>(depth)) {}

  int& At(int plane, int x, int y) { return bits_[Place(x, plane * height_ + y)]; }

  // Passes every bit through the coder.
  void Code(Coder& coder) {
    std::vector<Context> contexts(size_t{1} << points_.neighbours.size());
    for (int plane = 0; plane < depth_; ++plane) {
      const int firstRow = points_.planesApart ? plane * height_ : 0;
      for (int y = plane * height_; y < (plane + 1) * height_; ++y) {
        for (int x = 0; x < width_; ++x) {
          size_t context = 0;
          for (const auto& [dx, dy] : points_.neighbours) {
            context = context << 1 | static_cast<size_t>(Neighbour(x, y, dx, dy, firstRow));
          }
          int& bit = bits_[Place(x, y)];
          bit = coder.Code(contexts[context], bit);
        }
      }
    }
  }

 private:
  size_t Place(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }

  int Neighbour(int x, int y, int dx, int dy, int firstRow) const {
    if (points_.wrapsEdges) {
      const int current = y * width_ + x;
      const int place = current + dy * width_ + dx;
      if (place < firstRow * width_ || place >= current) return 0;
      return bits_[static_cast<size_t>(place)];
    }
    if (x + dx < 0 || x + dx >= width_ || y + dy < firstRow) return 0;
    return bits_[Place(x + dx, y + dy)];
  }

  int width_, height_, depth_;
  const OpenPoints& points_;
  std::vector<int> bits_;
};

// Passes every bit of the image with its place in the raster to a routine.
template <typename Routine>
void ForEachBit(IndependentImage& image, Raster& raster, Routine&& routine) {
  for (int plane = 0; plane < image.depth; ++plane) {
    size_t sample = 0;
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        routine(image.samples[sample++], image.depth - 1 - plane, raster.At(plane, x, y));
      }
    }
  }
}

}  // namespace

Bytes EncodeIndependently(const IndependentImage& image, const OpenPoints& points,
                          Producer producer) {
  Raster raster(image.width, image.height, image.depth, points);
  IndependentImage copy = image;
  ForEachBit(copy, raster,
             [](unsigned char& sample, int shift, int& bit) { bit = sample >> shift & 1; });
  const auto encoder = MakeEncoder(producer, points.flipsInStateOne);
  raster.Code(*encoder);
  return EndAs(producer, encoder->Finish());
}

IndependentImage DecodeIndependently(const Bytes& code, int width, int height, int depth,
                                     const OpenPoints& points) {
  Raster raster(width, height, depth, points);
  Decoder decoder(code, points.flipsInStateOne);
  raster.Code(decoder);
  IndependentImage image{width, height, depth, {}};
  image.samples.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
  ForEachBit(image, raster, [](unsigned char& sample, int shift, int& bit) {
    sample = static_cast<unsigned char>(sample | bit << shift);
  });
  return image;
}

Bytes EncodeDecisions(const Bytes& decisions, bool flipsInStateOne, Producer producer) {
  const auto encoder = MakeEncoder(producer, flipsInStateOne);
  Context context;
  for (const unsigned char decision : decisions) encoder->Code(context, decision);
  return EndAs(producer, encoder->Finish());
}

Bytes DecodeDecisions(const Bytes& code, int count, bool flipsInStateOne) {
  Decoder decoder(code, flipsInStateOne);
  Context context;
  Bytes decisions;
  for (int i = 0; i < count; ++i) {
    decisions.push_back(static_cast<unsigned char>(decoder.Code(context, 0)));
  }
  return decisions;
}

}  // namespace kz::test
