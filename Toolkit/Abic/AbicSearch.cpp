#include "Toolkit/Abic/AbicSearch.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <numeric>
#include <utility>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Images/Coders/AbicCodec.h"

namespace kz {

namespace {

constexpr int kContextPlaces = 7;
// The template of the nearest places: four to the left, seven above, five above those.
constexpr uint32_t kNearPlaces = AbicPlacesWhere([](AbicPlace place) {
  const int reach = place.row == 0 ? 4 : place.row == -1 ? 3 : 2;
  return place.column >= -reach && place.column <= reach;
});
static_assert(std::popcount(kNearPlaces) == 16);
constexpr uint32_t kAllPlaces = AbicPlacesWhere([](AbicPlace) { return true; });

// With wrong parameters a string is nearly always used up too early, so how many rows come
// out of its beginning tells which sets are worth trying on more of it: one of so many stays
// each time, but not fewer than some. Of text and halftones the right ones are the first or
// nearly so at 4096 bytes; in error diffusion they have been seen among the first tenth there.
constexpr size_t kBeginnings[] = {4096, 8192, 32768};
constexpr size_t kStaysOneOf = 6;
constexpr size_t kStayAtLeast = 256;
// Strings up to this size are tried on all sets when of those that stayed none fits or several
// contexts do: a coder whose contexts say little of its picture may use more than the wrong ones.
constexpr size_t kMostForAll = size_t{32} * 1024;

// Samples to try matches on.
constexpr size_t kMostSamples = 64;
constexpr size_t kMostMatches = 64;

struct Candidate {
  AbicParameters parameters;
  AbicFit fit;
};

AbicString StringOf(const AbicSample& sample) {
  return {sample.data.data(), sample.data.size(), sample.width, sample.height, sample.depth};
}

// All subsets of `places` of the usual number, with every combination of the other points.
std::vector<Candidate> AllOf(uint32_t places, const AbicSample& sample, bool exactWidth,
                             bool reversedBits) {
  std::vector<Candidate> all;
  // Subsets in ascending order, of which few have the number.
  for (uint32_t set = 0; (set = (set - places) & places) != 0;) {
    if (std::popcount(set) != kContextPlaces) continue;
    for (unsigned points = 0; points < (sample.depth > 1 ? 8U : 4U); ++points) {
      Candidate candidate;
      candidate.parameters = {set,        (points & 1) != 0, (points & 2) != 0, (points & 4) != 0,
                              exactWidth, reversedBits};
      all.push_back(candidate);
    }
  }
  return all;
}

// How far from a pixel the places are, all in all: nearer ones are likelier.
int Distance(uint32_t places) {
  int sum = 0;
  for (size_t i = 0; i < kAbicPlaces.size(); ++i) {
    const AbicPlace place = kAbicPlaces[i];
    if ((places >> i & 1U) != 0) sum += place.column * place.column + 2 * place.row * place.row;
  }
  return sum;
}

bool IsLikelier(const AbicParameters& a, const AbicParameters& b) {
  const auto rank = [](const AbicParameters& p) {
    const int others = int{p.flipsInStateOne} + p.wrapsEdges + p.planesApart;
    return std::pair(p.places == kAbicUsualPlaces ? 0 : Distance(p.places), others);
  };
  return rank(a) < rank(b);
}

class Search {
 public:
  Search(const AbicSample& sample, K_DecodeAbicWithRoutine decode, const AbicSearchOptions& options,
         Workers& workers)
      : m_sample(sample), m_decode(decode), m_options(options), m_workers(workers) {}

  // What fits of the candidates.
  std::vector<Candidate> Find(std::vector<Candidate> candidates, bool all) {
    m_tried += static_cast<int64_t>(candidates.size());
    for (const size_t beginning : kBeginnings) {
      if (all || 2 * beginning > m_sample.data.size()) break;
      // A beginning may be too short for an image that is nearly all white.
      if (Try(candidates, beginning)) KeepBest(candidates);
    }
    if (!Try(candidates, m_sample.data.size())) return {};
    std::erase_if(candidates, [](const Candidate& each) { return !AbicFits(each.fit); });
    return candidates;
  }
  int64_t Tried() const { return m_tried; }

 private:
  // Reads so many bytes with each of them. False when they can't be read with any.
  bool Try(std::vector<Candidate>& candidates, size_t bytes) {
    AbicString string = StringOf(m_sample);
    string.size = bytes;
    std::atomic<bool> failed = false;
    // Several at a time, which makes sharing them out cheap.
    constexpr size_t batch = 64;
    const size_t batches = (candidates.size() + batch - 1) / batch;
    m_workers.InOrder(
        batches,
        [&](size_t i) {
          const size_t end = std::min(candidates.size(), (i + 1) * batch);
          for (size_t each = i * batch; each < end; ++each) {
            Candidate& candidate = candidates[each];
            if (m_decode(&string, &candidate.parameters, nullptr, &candidate.fit) != K_SUCCESS) {
              failed = true;
            }
          }
        },
        [&](size_t i) {
          if (m_options.progress) {
            m_options.progress(static_cast<int64_t>(i + 1), static_cast<int64_t>(batches));
          }
          return !failed;
        });
    return !failed;
  }

  static void KeepBest(std::vector<Candidate>& candidates) {
    const size_t stay = std::max(kStayAtLeast, candidates.size() / kStaysOneOf);
    if (stay >= candidates.size()) return;
    const auto last = candidates.begin() + static_cast<ptrdiff_t>(stay);
    std::nth_element(
        candidates.begin(), last, candidates.end(),
        [](const Candidate& a, const Candidate& b) { return a.fit.rows > b.fit.rows; });
    candidates.erase(last, candidates.end());
  }

  const AbicSample& m_sample;
  K_DecodeAbicWithRoutine m_decode;
  const AbicSearchOptions& m_options;
  Workers& m_workers;
  int64_t m_tried = 0;
};

// The bytes that the picture of a string takes with the usual parameters; UINT64_MAX when there
// is no memory for it.
uint64_t PictureBytes(const AbicString& string, const AbicParameters& parameters,
                      K_DecodeAbicWithRoutine decode, K_EncodeAbicWithRoutine encode) {
  unsigned char *rows = nullptr, *code = nullptr;
  uint64_t size = UINT64_MAX;
  AbicFit fit;
  if (decode(&string, &parameters, &rows, &fit) != K_SUCCESS) return size;
  const AbicParameters usual = {.exactWidth = true};
  if (encode(rows, &string, &usual, &code, &size) == K_SUCCESS) {
    WinGlobalFree(WinGlobalHandle(code));
  }
  WinGlobalFree(WinGlobalHandle(rows));
  return size;
}

// The context with which the codec reads a string by itself; 0: none fits that it tries.
uint32_t UntoldPlaces(const AbicSample& sample) {
  const auto decode = FindAbicRoutine<K_DecodeLikelyAbicRoutine>("K_DecodeLikelyABIC");
  const AbicString string = StringOf(sample);
  AbicReading reading;
  reading.parameters.exactWidth = sample.exactWidth;
  unsigned char* rows = nullptr;
  if (decode == nullptr || decode(&string, &rows, &reading) != K_SUCCESS) return 0;
  WinGlobalFree(WinGlobalHandle(rows));
  return AbicFits(reading.fit) ? reading.parameters.places : 0;
}

// Of strings of some kilobytes one set in many thousands fits by chance. The noise that it makes
// of them takes a quarter more than they are, a picture nearly always less. Where even the
// simplest takes more, as ordered dither may, that tells nothing.
void LeaveOutNoise(std::vector<AbicMatch>& matches, uint64_t stringBytes) {
  uint64_t least = UINT64_MAX;
  for (const AbicMatch& match : matches) least = std::min(least, match.pictureBytes);
  if (least > stringBytes + stringBytes / 8) {
    for (AbicMatch& match : matches) match.pictureBytes = 0;
    return;
  }
  std::erase_if(matches,
                [=](const AbicMatch& match) { return match.pictureBytes - least > least / 8; });
}

// Which of the samples to search with: the shortest that tells, or else the longest; those
// after it are next.
std::vector<size_t> BestFirst(const std::vector<AbicSample>& samples) {
  std::vector<size_t> order(samples.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    const size_t sizeA = samples[a].data.size(), sizeB = samples[b].data.size();
    const bool tellsA = sizeA >= kAbicTellingBytes, tellsB = sizeB >= kAbicTellingBytes;
    if (tellsA != tellsB) return tellsA;
    return tellsA ? sizeA < sizeB : sizeA > sizeB;
  });
  return order;
}

// What fits of a sample, with the framing that it says or else with another.
std::vector<Candidate> FindFraming(Search& search, const AbicSample& sample, uint32_t places) {
  for (const bool otherBits : {false, true}) {
    for (const bool otherWidth : {false, true}) {
      if (otherWidth && sample.width % 8 == 0) continue;
      auto found =
          search.Find(AllOf(places, sample, sample.exactWidth != otherWidth, otherBits), false);
      if (!found.empty()) return found;
    }
  }
  return {};
}

// Whether sets are left out by what they make of its beginning.
bool IsStaged(const AbicSample& sample) { return 2 * kBeginnings[0] <= sample.data.size(); }

bool IsOneContext(const std::vector<Candidate>& found) {
  return !found.empty() && std::all_of(found.begin(), found.end(), [&](const Candidate& each) {
    return each.parameters.places == found.front().parameters.places;
  });
}

std::vector<Candidate> FindAny(Search& search, const AbicSample& sample,
                               const AbicSearchOptions& options) {
  const uint32_t places = options.places != 0 ? options.places : kNearPlaces;
  std::vector<Candidate> found = FindFraming(search, sample, places);
  // Several contexts fit by chance where none of those that stayed is the right one.
  if (IsStaged(sample) && !IsOneContext(found) &&
      (options.thorough || sample.data.size() <= kMostForAll)) {
    auto better = search.Find(AllOf(places, sample, sample.exactWidth, false), true);
    if (!better.empty()) found = std::move(better);
  }
  if (found.empty() && options.thorough) found = FindFraming(search, sample, kAllPlaces);
  return found;
}

}  // namespace

Outcome SearchAbicParameters(const std::vector<AbicSample>& samples,
                             const AbicSearchOptions& options, Workers& workers,
                             AbicSearchResult& result) {
  const auto decode = FindAbicRoutine<K_DecodeAbicWithRoutine>("K_DecodeABICWith");
  if (decode == nullptr) return Failure(K_ERROR_NO_ABIC_DECODER);
  const auto encode = FindAbicRoutine<K_EncodeAbicWithRoutine>("K_EncodeABICWith");
  if (encode == nullptr) return Failure(K_ERROR_NO_ABIC_ENCODER);
  const std::vector<size_t> order = BestFirst(samples);
  if (order.empty()) return Failure(K_ERROR_INVALID_FORMAT, "there are no ABIC data");
  result = {};
  // One that doesn't tell leaves it to the others; one that is damaged is found by none.
  constexpr size_t mostSearched = 3;
  std::vector<Candidate> found;
  for (size_t i = 0; i < std::min(order.size(), mostSearched) && found.empty(); ++i) {
    result.searched = order[i];
    const AbicSample& sample = samples[order[i]];
    Search search(sample, decode, options, workers);
    found = FindAny(search, sample, options);
    result.tried += search.Tried();
  }
  result.untold = UntoldPlaces(samples[result.searched]);
  result.samples = std::min(order.size(), kMostSamples);
  result.matches.resize(found.size());
  workers.Each(found.size(), [&](size_t each) {
    AbicMatch& match = result.matches[each];
    match = {found[each].parameters, found[each].fit, 0, 0};
    match.pictureBytes =
        PictureBytes(StringOf(samples[result.searched]), match.parameters, decode, encode);
    for (size_t i = 0; i < result.samples; ++i) {
      const AbicSample& sample = samples[order[i]];
      const AbicString string = StringOf(sample);
      AbicParameters parameters = match.parameters;
      // What is wrong with what one says of its framing is wrong with the others.
      if (samples[result.searched].exactWidth != sample.exactWidth) {
        parameters.exactWidth = !parameters.exactWidth;
      }
      // A bilevel string doesn't tell what is above a plane.
      const bool either = samples[result.searched].depth == 1 && sample.depth > 1;
      for (const bool apart : {false, true}) {
        if (either) parameters.planesApart = apart;
        AbicFit fit;
        const bool read = decode(&string, &parameters, nullptr, &fit) == K_SUCCESS;
        if (read && AbicFits(fit)) {
          ++match.samples;
          break;
        }
        if (!either) break;
      }
    }
  });
  LeaveOutNoise(result.matches, samples[result.searched].data.size());
  std::sort(result.matches.begin(), result.matches.end(),
            [](const AbicMatch& a, const AbicMatch& b) {
              if (a.samples != b.samples) return a.samples > b.samples;
              if (a.pictureBytes != b.pictureBytes) return a.pictureBytes < b.pictureBytes;
              return IsLikelier(a.parameters, b.parameters);
            });
  std::erase_if(result.matches, [most = result.matches.empty() ? 0 : result.matches[0].samples](
                                    const AbicMatch& match) { return match.samples < most; });
  if (result.matches.size() > kMostMatches) result.matches.resize(kMostMatches);
  return {};
}

}  // namespace kz
