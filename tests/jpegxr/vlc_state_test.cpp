// The state of JPEG XR's adaptive codes (ITU-T T.832 8.7): its first contents, adaptation, scan orders and the scan of
// DC values, against the model and by number.
#include <climits>
#include <set>

#include "vlc_support.h"

namespace {

using test::Coder;
using test::Edge;
using test::Guarded;
using test::Random;
using test::Tail;

TEST(Model, qlmiVLCGetStateSize_JPEGXR) {
  int32_t size = -1;
  EXPECT_EQ(qlmiVLCGetStateSize_JPEGXR(&size), qlmOk);
  EXPECT_EQ(size, 2208);
  EXPECT_EQ(static_cast<size_t>(size), sizeof(QlmVLCState));
}

// Whatever the memory held before.
TEST(Model, qlmiVLCInit_JPEGXR) {
  model::VlcState expected;
  model::initVlc(expected);
  for (const Edge edge : {Edge::Back, Edge::Front})
    for (const int fill : {0x00, 0xFF, 0x5A}) {
      Guarded<QlmVLCState> state(1, edge);
      std::memset(static_cast<void*>(state.data()), fill, sizeof(QlmVLCState));
      ASSERT_EQ(qlmiVLCInit_JPEGXR(state.data()), qlmOk);
      EXPECT_TRUE(test::sameState(state[0], expected));
      // Again, over counts and discriminants that have moved.
      state[0].discriminant0[13] = 20;
      state[0].discriminant1[0] = -20;
      state[0].scan1[3] = {9, 9, 9, 9};
      for (const int32_t which : {0, 1, 2}) ASSERT_EQ(qlmiVLCScanReset_JPEGXR(state.data(), which), qlmOk);
      ASSERT_EQ(qlmiVLCInit_JPEGXR(state.data()), qlmOk);
      EXPECT_TRUE(test::sameState(state[0], expected));
    }
}

TEST(Model, qlmiVLCAdapt_JPEGXR) {
  TRACE_SEED(0x9100);
  Random random(0x9100);
  Coder coder;
  std::set<std::pair<int32_t, int32_t>> seen;  // kind, table
  for (int32_t round = 0; round < 4000; ++round) {
    const int64_t limit = round % 3 == 0 ? 12 : round % 3 == 1 ? 100 : 1000000;
    for (size_t table = 0; table < 21; ++table)
      coder.setDiscriminants(table, static_cast<int32_t>(random.between(-limit, limit)),
                             static_cast<int32_t>(random.between(-limit, limit)));
    // The record alone decides what happens: bounds as they stand there, the initial step when it asks for it.
    if (random.oneIn(10)) {
      const auto table = static_cast<size_t>(random.between(5, 20));
      coder->adaptive[table].initialised = coder.model.adaptive[table].initialised = 0;
    }
    coder.adapt(static_cast<int32_t>(random.between(0, 1)));
    ASSERT_TRUE(coder.same()) << "round " << round;
    for (const QlmVLCTableRecord& record : coder->adaptive) seen.insert({record.kind, record.tableIndex});
  }
  // All tables of all kinds, those of 4 and 8 being never adapted.
  EXPECT_EQ(seen.size(), 2u + 4u + 2u + 5u + 2u);
}

TEST(Model, qlmiVLCScanReset_JPEGXR) {
  TRACE_SEED(0x9101);
  Random random(0x9101);
  Coder coder;
  for (int32_t round = 0; round < 64; ++round) {
    // Any order and any counts.
    for (int32_t which = 0; which < 3; ++which) {
      QlmVLCScanRecord* const scan = coder.model.scan(which);
      for (int64_t k = 1; k < 16; ++k) std::swap(scan[k], scan[random.between(1, 15)]);
      for (int64_t k = 0; k < 16; ++k) scan[k].count = static_cast<int32_t>(random.between(0, 40000));
      std::copy_n(scan, 16, const_cast<QlmVLCScanRecord*>(test::scanOf(*coder.get(), which)));
    }
    coder.reset(round % 3);
    ASSERT_TRUE(coder.same()) << "round " << round;
  }
}

TEST(Model, qlmiVLCScanSet_JPEGXR) {
  Coder coder;
  for (const int32_t which : {0, 1, 2, 1, 0, 2, 0}) {
    coder.select(which);
    EXPECT_TRUE(coder.same());
  }
  EXPECT_EQ(qlmiVLCScanSet_JPEGXR(coder.get(), 0), qlmOk);
  EXPECT_EQ(coder->scanCurrent, coder->scan0);
}

TEST(Model, qlmiVLCScan4x4DC_JPEGXR_32s) {
  TRACE_SEED(0x9102);
  Random random(0x9102);
  Tail<int32_t> src(16), residual(16), runLevel(30), count(1);
  int32_t swaps = 0;
  Coder coder;
  for (int32_t round = 0; round < 20000; ++round) {
    coder.stir(random);
    const auto numBits = static_cast<int32_t>(random.between(0, 15));
    const int64_t share = random.between(0, 16), bits = random.oneIn(4) ? 31 : random.between(0, numBits + 4);
    int32_t values[16], before[16], expectedResidual[16];
    for (int32_t& v : values) {
      v = test::randomCoefficient<int32_t>(share, bits, random);
      if (random.oneIn(100)) v = random.oneIn(2) ? INT_MIN : INT_MAX;
    }
    random.fill(std::span<int32_t>(before));
    std::copy_n(before, 16, expectedResidual);
    const auto orderBefore = coder.model.records;
    const std::vector<model::RunLevel> expected = model::scanDc(values, numBits, expectedResidual, coder.model);
    for (size_t k = 0; k < 16; ++k) swaps += coder.model.records[k].index != orderBefore[k].index;

    std::copy_n(values, 16, src.last(16));
    std::copy_n(before, 16, residual.last(16));
    int32_t* const list = runLevel.last(2 * expected.size());
    *count.last(1) = -1;
    ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src.last(16), numBits, residual.last(16), list, count.last(1), coder.get()),
              qlmOk);
    ASSERT_EQ(*count.last(1), static_cast<int32_t>(expected.size())) << "round " << round << " bits " << numBits;
    for (size_t i = 0; i < expected.size(); ++i) {
      ASSERT_EQ(list[2 * i], expected[i].run) << "round " << round << " pair " << i;
      ASSERT_EQ(list[2 * i + 1], expected[i].level) << "round " << round << " pair " << i;
    }
    ASSERT_TRUE(std::equal(expectedResidual, expectedResidual + 16, residual.last(16)))
        << "round " << round << " bits " << numBits;
    ASSERT_TRUE(std::equal(values, values + 16, src.last(16)));
    ASSERT_TRUE(coder.same()) << "round " << round << " bits " << numBits;
  }
  EXPECT_GT(swaps, 1000);
}

// ---- By number ----

TEST(VlcState, FirstContents) {
  Guarded<QlmVLCState> memory(1);
  QlmVLCState& state = memory[0];
  ASSERT_EQ(qlmiVLCInit_JPEGXR(&state), qlmOk);
  EXPECT_EQ(state.scanCurrent, state.scan2);
  constexpr int32_t kKinds[21] = {5, 4, 8, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7};
  for (size_t i = 0; i < 21; ++i) {
    const QlmVLCTableRecord& record = state.adaptive[i];
    const bool adapted = i == 0 || i >= 5, second = kKinds[i] == 6 || kKinds[i] == 12;
    EXPECT_EQ(record.kind, kKinds[i]) << i;
    EXPECT_EQ(record.tableIndex, second ? 1 : 0) << i;
    EXPECT_EQ(record.initialised, adapted ? 1 : 0) << i;
    EXPECT_EQ(record.lowerBound, !adapted ? 0 : second ? -8 : INT_MIN) << i;
    EXPECT_EQ(record.upperBound, !adapted ? 0 : 8) << i;
    EXPECT_EQ(state.discriminant0[i], 0) << i;
    EXPECT_EQ(state.discriminant1[i], 0) << i;
  }
  constexpr int32_t kScan0[16] = {0, 10, 2, 12, 5, 9, 4, 8, 1, 13, 6, 15, 14, 3, 11, 7};
  constexpr int32_t kScan1[16] = {0, 5, 10, 12, 1, 2, 8, 4, 6, 9, 3, 14, 13, 7, 11, 15};
  constexpr int32_t kScan2[16] = {0, 1, 4, 5, 2, 8, 6, 9, 3, 12, 10, 7, 13, 11, 14, 15};
  constexpr int32_t kColumn[16] = {0, 1, 0, 1, 3, 2, 3, 2, 0, 1, 0, 1, 3, 2, 3, 2};
  constexpr int32_t kRow[16] = {0, 0, 1, 1, 0, 0, 1, 1, 3, 3, 2, 2, 3, 3, 2, 2};
  for (size_t k = 0; k < 16; ++k) {
    EXPECT_EQ(state.scan0[k].index, kScan0[k]);
    EXPECT_EQ(state.scan1[k].index, kScan1[k]);
    EXPECT_EQ(state.scan2[k].index, kScan2[k]);
    for (const QlmVLCScanRecord& r : {state.scan0[k], state.scan1[k], state.scan2[k]}) {
      EXPECT_EQ(r.count, 0);
      EXPECT_EQ(r.column, kColumn[r.index]);
      EXPECT_EQ(r.row, kRow[r.index]);
    }
  }
}

TEST(VlcState, ResetGivesFallingCountsAndLeavesTheOrder) {
  Coder coder;
  std::swap(coder->scan1[4], coder->scan1[5]);
  ASSERT_EQ(qlmiVLCScanReset_JPEGXR(coder.get(), 1), qlmOk);
  EXPECT_EQ(coder->scan1[0].count, 32767);
  for (int32_t k = 1; k < 16; ++k) EXPECT_EQ(coder->scan1[k].count, 34 - 2 * k);
  EXPECT_EQ(coder->scan1[4].index, 2);
  EXPECT_EQ(coder->scan1[5].index, 1);
  EXPECT_EQ(coder->scan1[5].column, 1);
}

TEST(VlcState, TablesMoveWithinTheirBounds) {
  Coder coder;
  const QlmVLCTableRecord& record = coder->adaptive[13];
  const auto adapted = [&](int32_t first, int32_t second) {
    coder.setDiscriminants(13, first, second);
    coder.adapt(1);
    return record.tableIndex;
  };
  EXPECT_EQ(adapted(-8, 8), 1);  // the bounds themselves do nothing
  EXPECT_EQ(coder->discriminant0[13], -8);
  EXPECT_EQ(coder->discriminant1[13], 8);
  EXPECT_EQ(adapted(70, -70), 1);  // not the ones that are asked
  EXPECT_EQ(coder->discriminant0[13], 64);
  EXPECT_EQ(coder->discriminant1[13], -64);
  EXPECT_EQ(adapted(-9, 9), 0);  // down comes first
  EXPECT_EQ(coder->discriminant0[13], 0);
  EXPECT_EQ(coder->discriminant1[13], 0);
  EXPECT_EQ(record.lowerBound, INT_MIN);
  EXPECT_EQ(record.upperBound, 8);
  EXPECT_EQ(adapted(INT_MIN, 8), 0);  // not below the first
  EXPECT_EQ(coder->discriminant0[13], -64);
  for (const int32_t table : {1, 2, 3, 4}) EXPECT_EQ(adapted(-8, 9), table);
  EXPECT_EQ(record.lowerBound, -8);
  EXPECT_EQ(record.upperBound, 1073741824);
  EXPECT_EQ(adapted(-8, 1073741824), 4);  // nor above the last
  EXPECT_EQ(coder->discriminant1[13], 64);
  EXPECT_EQ(adapted(-9, 64), 3);
}

TEST(VlcState, KindsOfOneDiscriminantAskTheFirst) {
  Coder coder;
  coder.setDiscriminants(19, 0, 100);
  coder.adapt(1);
  EXPECT_EQ(coder->adaptive[19].tableIndex, 0);
  EXPECT_EQ(coder->discriminant1[19], 64);
  coder.setDiscriminants(19, 9, -100);
  coder.adapt(1);
  EXPECT_EQ(coder->adaptive[19].tableIndex, 1);
  EXPECT_EQ(coder->adaptive[19].lowerBound, -8);
  EXPECT_EQ(coder->adaptive[19].upperBound, 1073741824);
  EXPECT_EQ(coder->discriminant1[19], 0);
}

TEST(VlcState, EachModeAdaptsItsTables) {
  for (const int32_t mode : {0, 1}) {
    Coder coder;
    for (size_t i = 0; i < 21; ++i) coder.setDiscriminants(i, 100, 100);
    ASSERT_EQ(qlmiVLCAdapt_JPEGXR(coder.get(), mode), qlmOk);
    for (size_t i = 0; i < 21; ++i) {
      const bool adapted = mode == 0 ? i == 0 || (i >= 5 && i <= 12) : i >= 13;
      EXPECT_EQ(coder->discriminant0[i], adapted ? 0 : 100) << "mode " << mode << " table " << i;
    }
    EXPECT_EQ(qlmiVLCAdapt_JPEGXR(coder.get(), 2), qlmErrRange);
    EXPECT_EQ(qlmiVLCAdapt_JPEGXR(coder.get(), -1), qlmErrRange);
  }
}

// One coefficient of -1, 1, 0, -5 and so on at index 1, which is record 1, the others 0.
TEST(VlcScan, ResidualsOfSmallValues) {
  const auto scanned = [](int32_t v, int32_t numBits) {
    Coder coder;
    int32_t src[16] = {77, v}, residual[16], runLevel[32] = {-1, -1}, count = -1;
    std::fill_n(residual, 16, -9);
    EXPECT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, numBits, residual, runLevel, &count, coder.get()), qlmOk);
    EXPECT_EQ(residual[0], -9);  // DC has none
    for (size_t i = 2; i < 16; ++i) EXPECT_EQ(residual[i], numBits > 0 ? 0 : -9);
    return std::array{residual[1], count, runLevel[0], runLevel[1]};
  };
  EXPECT_EQ(scanned(-1, 2), (std::array{7, 0, -1, -1}));
  EXPECT_EQ(scanned(1, 2), (std::array{5, 0, -1, -1}));
  EXPECT_EQ(scanned(0, 2), (std::array{0, 0, -1, -1}));
  EXPECT_EQ(scanned(-5, 2), (std::array{2, 1, 0, -1}));
  EXPECT_EQ(scanned(3, 2), (std::array{13, 0, -1, -1}));
  EXPECT_EQ(scanned(4, 2), (std::array{0, 1, 0, 1}));
  EXPECT_EQ(scanned(-5, 0), (std::array{-9, 1, 0, -5}));
  EXPECT_EQ(scanned(32767, 15), (std::array{131069, 0, -1, -1}));
  EXPECT_EQ(scanned(-32769, 15), (std::array{2, 1, 0, -1}));
  EXPECT_EQ(scanned(INT_MIN, 0), (std::array{-9, 1, 0, INT_MIN}));
  EXPECT_EQ(scanned(INT_MIN, 1), (std::array{0, 1, 0, -(1 << 30)}));
  EXPECT_EQ(scanned(INT_MIN, 15), (std::array{0, 1, 0, -65536}));
}

TEST(VlcScan, BitCountsUpToFifteen) {
  Coder coder;
  int32_t src[16]{}, residual[16], runLevel[32], count = 5;
  std::fill_n(residual, 16, -9);
  EXPECT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, 16, residual, runLevel, &count, coder.get()), qlmErrRange);
  EXPECT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, -1, residual, runLevel, &count, coder.get()), qlmErrRange);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, 15, residual, runLevel, &count, coder.get()), qlmOk);
  EXPECT_EQ(count, 0);
  for (size_t i = 1; i < 16; ++i) EXPECT_EQ(residual[i], 0);
}

TEST(VlcScan, AlwaysTakesTheScanOfDcValues) {
  Coder coder;
  coder.select(0);
  int32_t src[16] = {0, 0, 0, 0, 9}, residual[16], runLevel[32], count;
  ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, 0, residual, runLevel, &count, coder.get()), qlmOk);
  EXPECT_EQ(coder->scanCurrent, coder->scan2);
  EXPECT_EQ(coder->scan2[2].count, 31);  // index 4
  EXPECT_EQ(runLevel[0], 1);
}

// Record 2 begins two behind record 1, and moves up with the third coefficient that record 1 does not get.
TEST(VlcScan, ThreeMoreCoefficientsMoveARecordUp) {
  for (const int32_t numBits : {0, 1}) {
    Coder coder;
    int32_t src[16] = {0, 0, 0, 0, 8}, residual[16], runLevel[32], count;
    for (int32_t call = 1; call <= 3; ++call) {
      ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, numBits, residual, runLevel, &count, coder.get()), qlmOk);
      EXPECT_EQ(runLevel[0], 1);
      EXPECT_EQ(coder->scan2[1].index, call < 3 ? 1 : 4) << call;
    }
    EXPECT_EQ(coder->scan2[1].count, 33);
    EXPECT_EQ(coder->scan2[1].column, 3);
    EXPECT_EQ(coder->scan2[1].row, 0);
    EXPECT_EQ(coder->scan2[2].index, 1);
    EXPECT_EQ(coder->scan2[2].count, 32);
    ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, numBits, residual, runLevel, &count, coder.get()), qlmOk);
    EXPECT_EQ(runLevel[0], 0);
  }
}

// A record moves up by one place at most, and record 1 not at all, even above the DC record.
TEST(VlcScan, OnePlaceAtMostAndNeverTheFirst) {
  for (const int32_t numBits : {0, 1}) {
    Coder coder;
    ASSERT_EQ(qlmiVLCInit_JPEGXR(coder.get()), qlmOk);  // counts of 0
    int32_t src[16], residual[16], runLevel[32], count;
    std::fill_n(src, 16, 2);
    ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, numBits, residual, runLevel, &count, coder.get()), qlmOk);
    EXPECT_EQ(count, 15);
    for (size_t k = 0; k < 16; ++k) {
      constexpr int32_t kScan2[16] = {0, 1, 4, 5, 2, 8, 6, 9, 3, 12, 10, 7, 13, 11, 14, 15};
      EXPECT_EQ(coder->scan2[k].index, kScan2[k]);
      EXPECT_EQ(coder->scan2[k].count, k == 0 ? 0 : 1);
    }
    std::fill_n(src, 16, 0);
    src[8] = -2;  // record 5
    ASSERT_EQ(qlmiVLCScan4x4DC_JPEGXR_32s(src, numBits, residual, runLevel, &count, coder.get()), qlmOk);
    EXPECT_EQ(coder->scan2[4].index, 8);
    EXPECT_EQ(coder->scan2[5].index, 2);
  }
}

}  // namespace
