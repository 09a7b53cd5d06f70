// The three coding passes, arithmetic and raw (ITU-T T.800 D.3, D.6). All scan the block in stripes of four rows, and a
// stripe in chunks of sixteen columns. At its beginning a chunk gets a mask of the samples that a pass looks at
// (stripe_flags.h). In the significance pass each sample that becomes significant adds its neighbours behind it; in
// the refinement pass, and in the cleanup pass but for its runs, the mask is final.
#include "jpeg2000/block/block_decode_passes.h"

#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg2000/block/stripe_flags.h"

namespace {

// The values of a pass. Samples are reconstructed in the middle of the interval that they are known to be in.
struct QlmPlane {
  uint32_t bit;    // of the plane
  uint32_t first;  // a magnitude that becomes significant
  uint32_t half;   // the middle below the plane
  uint32_t keep;   // the bits above the plane, and the sign
};
QlmPlane planeOf(int32_t plane) {
  // A block of more planes than a sample has bits finds its shifts cut to five bits.
  const uint32_t p = static_cast<uint32_t>(plane) & 31;
  return {1u << p, (3u << p) >> 1, (1u << p) >> 1, ~0u << p << 1};
}

// A chunk of a stripe.
struct QlmChunk {
  QlmColumn *neighbours, *own;  // the bytes of its columns
  ptrdiff_t stripe;             // from a column to the one of the stripe below
  int32_t count;                // columns
  bool full;                    // the stripe has four rows
  uint64_t samples;             // mask of those that are in the block
  char* first;                  // sample
  ptrdiff_t step;               // between rows of samples
  const QlmTidingsTable* tidings;
};

template <typename OnChunk>
[[gnu::always_inline]] inline void forEachChunk(const QlmDecodeState_JPEG2K& state, const OnChunk& onChunk) {
  const ptrdiff_t stripeDistance = stripeColumns(state.width), ownDistance = ownColumns(state.width);
  const bool causal = state.styleFlags & kVerticallyCausal;
  QlmColumn* stripe = state.flags + 1;
  for (int32_t y = 0; y < state.height; y += kStripeRows, stripe += stripeDistance) {
    const int32_t rows = state.height - y < kStripeRows ? state.height - y : kStripeRows;
    const uint64_t rowsInBlock = 0x1111111111111111u * ((1u << rows) - 1);
    char* const samples = reinterpret_cast<char*>(state.samples) + ptrdiff_t{state.step} * y;
    for (int32_t x = 0; x < state.width; x += kChunkColumns) {
      const int32_t count = state.width - x < kChunkColumns ? state.width - x : kChunkColumns;
      onChunk(QlmChunk{stripe + x, stripe + x + ownDistance, stripeDistance, count, rows == kStripeRows,
                       rowsInBlock & (~uint64_t{0} >> (64 - 4 * count)), samples + 4 * ptrdiff_t{x}, state.step,
                       causal || y == 0 ? &kTidingsSilentAbove : &kTidings});
    }
  }
}

inline int lowestOf(uint64_t samples) { return static_cast<int>(_tzcnt_u64(samples)); }

inline uint32_t* sampleAt(const QlmChunk& chunk, int i) {
  return reinterpret_cast<uint32_t*>(chunk.first + chunk.step * (i & 3) + 4 * (i >> 2));
}

// The bytes of a sample.
struct QlmSampleFlags {
  uint32_t neighbours, own;
};
inline QlmSampleFlags flagsOf(const QlmChunk& chunk, int i) {
  return {byteOf(chunk.neighbours, i), byteOf(chunk.own, i)};
}

// What the decisions of a chunk are read with: the arithmetic decoder with the contexts of the subband, or raw bits.
struct QlmMqDecisions {
  QlmMqRun run;
  const uint8_t* significanceContexts;
};
QlmMqDecisions begin(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq) {
  return {ownMqRun(mq), state.significanceContexts->data()};
}
void end(QlmMqDecoder& mq, const QlmMqDecisions& decisions) { ownMqKeep(mq, decisions.run); }
[[gnu::always_inline]] inline uint32_t decode(QlmMqDecisions& decisions, size_t context) {
  return ownMqDecode(decisions.run, decisions.run.contexts[context]);
}
[[gnu::always_inline]] inline uint32_t decodeSignificance(QlmMqDecisions& decisions, QlmSampleFlags flags) {
  return decode(decisions, decisions.significanceContexts[flags.neighbours]);
}
[[gnu::always_inline]] inline uint32_t decodeSign(QlmMqDecisions& decisions, QlmSampleFlags flags) {
  // The table wants the four bits of the neighbours' signs above a fifth that does not matter.
  const uint8_t entry = kSignContexts[flags.neighbours >> kSignIndexShift | (flags.own & 0xF) << 5];
  return decode(decisions, signContext(entry)) ^ signInversion(entry);
}

QlmRawDecoder begin(const QlmDecodeState_JPEG2K&, const QlmRawDecoder& raw) { return raw; }
void end(QlmRawDecoder& raw, const QlmRawDecoder& decisions) { raw = decisions; }
inline uint32_t decodeSignificance(QlmRawDecoder& decisions, QlmSampleFlags) { return ownRawDecode(decisions); }
inline uint32_t decodeSign(QlmRawDecoder& decisions, QlmSampleFlags) { return ownRawDecode(decisions); }

// A sample becomes significant: reads its sign, writes it, and tells its neighbours.
template <typename Decisions>
[[gnu::always_inline]] inline void becomeSignificant(Decisions& decisions, const QlmChunk& chunk, int i,
                                                     QlmSampleFlags flags, uint32_t first) {
  const int row = i & 3, column = i >> 2;
  const QlmTidings& tidings = chunk.tidings->of[row];
  tellSignificance(chunk.neighbours + column, chunk.stripe, tidings);
  const uint32_t negative = decodeSign(decisions, flags);
  tellSign(chunk.own + column, chunk.stripe * tidings.outerStripe, chunk.tidings->signOf[row][negative]);
  storeAny(sampleAt(chunk, i), negative << 31 | first);
}

// The loop over the samples of a chunk stands in a function of its own in each pass, so that a compiler finds registers
// for all that it needs. A chunk passed by value takes none: it is on the stack.

// Returns the samples visited. `ahead` are those that have a significant neighbour at the beginning.
template <typename Decoder>
[[gnu::noinline]] uint64_t significanceOfChunk(const QlmDecodeState_JPEG2K& state, Decoder& decoder, QlmChunk chunk,
                                               uint64_t ahead, uint64_t insignificant, uint32_t first) {
  auto decisions = begin(state, decoder);
  uint64_t visited = ahead;
  do {
    const int i = lowestOf(ahead);
    ahead &= ahead - 1;
    const QlmSampleFlags flags = flagsOf(chunk, i);
    if (decodeSignificance(decisions, flags)) {
      becomeSignificant(decisions, chunk, i, flags, first);
      const uint64_t reached = kNeighboursBehind[i & 3] << i & insignificant;
      ahead |= reached;
      visited |= reached;
    }
  } while (ahead != 0);
  end(decoder, decisions);
  return visited;
}

template <typename Decoder>
void significancePass(const QlmDecodeState_JPEG2K& state, Decoder& decoder) {
  const QlmPlane plane = planeOf(state.plane);
  forEachChunk(state, [&](const QlmChunk& chunk) {
    const uint64_t insignificant = chunk.samples & ~samplesWith<kOwnSignificant>(chunk.own, chunk.count);
    const uint64_t ahead = insignificant & ~samplesAlone(chunk.neighbours, chunk.count);
    if (ahead == 0) return;
    changeOwn<kOwnVisited, true>(chunk.own,
                                 significanceOfChunk(state, decoder, chunk, ahead, insignificant, plane.first));
  });
}

// The decisions of the samples of a mask, as a mask. Their contexts follow from the flags as they are before the pass.
[[gnu::noinline]] uint64_t refinementsOfChunk(QlmMqDecoder& mq, const QlmChunk& chunk, uint64_t ahead) {
  QlmMqRun run = ownMqRun(mq);
  QlmMqState* const contexts = mq.contexts + kFirstRefinementContext;
  const uint64_t refined = samplesWith<kOwnRefined>(chunk.own, chunk.count);
  const uint64_t beside = ~(refined | samplesAlone(chunk.neighbours, chunk.count));
  // With three contexts the last one often comes again, and a load of its state would have to wait for the store. So
  // the store waits until after the next load, and what it is going to store goes on in a register.
  uint64_t last = 0;
  QlmMqState lastState = contexts[last];
  uint64_t ones = 0;
  do {
    const int i = lowestOf(ahead);
    ahead &= ahead - 1;
    const uint64_t context = 2 * (refined >> i & 1) + (beside >> i & 1);
    const QlmMqState stored = contexts[context];
    contexts[last] = lastState;
    const QlmDecided decided = ownMqDecodeState(run, ifEqual(context, last, lastState, stored));
    ones |= uint64_t{decided.decision} << i;
    last = context;
    lastState = decided.state;
  } while (ahead != 0);
  contexts[last] = lastState;
  ownMqKeep(mq, run);
  return ones;
}
[[gnu::noinline]] uint64_t refinementsOfChunk(QlmRawDecoder& raw, const QlmChunk&, uint64_t ahead) {
  uint64_t ones = 0;
  for (; ahead != 0; ahead &= ahead - 1) ones |= uint64_t{ownRawDecode(raw)} << lowestOf(ahead);
  return ones;
}

// Lanes of 32 bits whose top bit is set where a sample of one row and eight columns is in a mask of those columns.
inline __m256i rowOfMask(uint64_t samples, int row) {
  const __m256i toTop = _mm256_sub_epi32(_mm256_set1_epi32(31 - row), _mm256_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28));
  return _mm256_sllv_epi32(_mm256_set1_epi32(static_cast<int32_t>(samples)), toTop);
}

// Gives the refined samples their new bit, a row of eight columns at a time.
inline void refineSamples(const QlmChunk& chunk, const QlmPlane& plane, uint64_t refined, uint64_t ones) {
  const auto all = [](uint32_t v) { return _mm256_set1_epi32(static_cast<int32_t>(v)); };
  for (int32_t x = 0; x < chunk.count; x += 8, refined >>= 32, ones >>= 32) {
    for (int row = 0; row < kStripeRows; ++row) {
      const __m256i here = rowOfMask(refined, row), one = rowOfMask(ones, row);
      char* const samples = chunk.first + chunk.step * row + 4 * x;
      const auto refine = [&](__m256i v) {
        const __m256i bit = _mm256_and_si256(_mm256_srai_epi32(one, 31), all(plane.bit));
        return _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(v, all(plane.keep)), bit), all(plane.half));
      };
      if (_mm256_movemask_ps(_mm256_castsi256_ps(here)) == 0) continue;
      if (x + 8 <= chunk.count) {
        const __m256i v = load32(samples);
        store32(samples, _mm256_castps_si256(_mm256_blendv_ps(_mm256_castsi256_ps(v), _mm256_castsi256_ps(refine(v)),
                                                              _mm256_castsi256_ps(here))));
      } else {
        auto* const part = reinterpret_cast<int32_t*>(samples);
        _mm256_maskstore_epi32(part, here, refine(_mm256_maskload_epi32(part, here)));
      }
    }
  }
}

template <bool kMarkRefined, typename Decoder>
void refinementPass(const QlmDecodeState_JPEG2K& state, Decoder& decoder) {
  const QlmPlane plane = planeOf(state.plane);
  forEachChunk(state, [&](const QlmChunk& chunk) {
    const uint64_t refined = chunk.samples & samplesWith<kOwnSignificant>(chunk.own, chunk.count) &
                             ~samplesWith<kOwnVisited>(chunk.own, chunk.count);
    if (refined == 0) return;
    refineSamples(chunk, plane, refined, refinementsOfChunk(decoder, chunk, refined));
    if (kMarkRefined) changeOwn<kOwnRefined, true>(chunk.own, refined);
  });
}

// `ahead` are the samples that are neither significant nor visited.
[[gnu::noinline]] void cleanupOfChunk(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& decoder, QlmChunk chunk,
                                      uint64_t ahead, uint32_t first) {
  QlmMqDecisions decisions = begin(state, decoder);
  // The columns of four rows that have no significant neighbour, and so no significant sample: one decision says that
  // they stay so, or two more give the row of the first significant sample.
  uint64_t idle = chunk.full ? ahead & idleColumns(chunk.neighbours, chunk.count) : 0;
  do {
    int i = lowestOf(ahead);
    if (idle >> i & 1) {
      const uint64_t columns = _tzcnt_u64(~(idle >> i)) / 4;
      const uint64_t plain = ownMqTakePlainMps(decisions.run, decisions.run.contexts[kRunContext], columns);
      ahead &= ~(_bzhi_u64(~uint64_t{0}, static_cast<uint32_t>(4 * plain)) << i);
      if (plain == columns) continue;
      i += static_cast<int>(4 * plain);
      if (!decode(decisions, kRunContext)) {
        ahead &= ~(uint64_t{0xF} << i);
        continue;
      }
      const uint32_t upper = decode(decisions, kUniformContext);
      const int row = static_cast<int>(2 * upper + decode(decisions, kUniformContext));
      ahead &= ~(((uint64_t{2} << row) - 1) << i);
      i += row;
    } else {
      ahead &= ahead - 1;
      if (!decodeSignificance(decisions, flagsOf(chunk, i))) continue;
    }
    becomeSignificant(decisions, chunk, i, flagsOf(chunk, i), first);
    idle &= ~(uint64_t{0xFF} << (i & ~3));
  } while (ahead != 0);
  end(decoder, decisions);
}

}  // namespace

void ownDecodeSignificancePass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq) { significancePass(state, mq); }
void ownDecodeSignificancePass(const QlmDecodeState_JPEG2K& state, QlmRawDecoder& raw) { significancePass(state, raw); }

void ownDecodeRefinementPass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq) { refinementPass<true>(state, mq); }
// Leaves no mark of the refinement behind, so that its samples still count as never refined.
void ownDecodeRefinementPass(const QlmDecodeState_JPEG2K& state, QlmRawDecoder& raw) {
  refinementPass<false>(state, raw);
}

void ownDecodeCleanupPass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq) {
  const QlmPlane plane = planeOf(state.plane);
  forEachChunk(state, [&](const QlmChunk& chunk) {
    const uint64_t visited = samplesWith<kOwnVisited>(chunk.own, chunk.count);
    const uint64_t ahead = chunk.samples & ~samplesWith<kOwnSignificant>(chunk.own, chunk.count) & ~visited;
    changeOwn<kOwnVisited, false>(chunk.own, visited & chunk.samples);
    if (ahead != 0) cleanupOfChunk(state, mq, chunk, ahead, plane.first);
  });
}

bool ownDecodeSegmentationSymbol(QlmMqDecoder& mq) {
  QlmMqRun run = ownMqRun(mq);
  uint32_t symbol = 0;
  for (int i = 0; i < 4; ++i) symbol = symbol << 1 | ownMqDecode(run, run.contexts[kUniformContext]);
  ownMqKeep(mq, run);
  return symbol == 0b1010;
}
