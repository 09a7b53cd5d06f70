// A program that defines the core services itself gets the library's calls: at load, for threads, and for memory.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "qlmjp.h"
#include "support/fake_core.h"
#include "sweep/sweep.h"

using test::fakeCore;
using test::resetFakeCore;
using test::Row;

namespace {

// The exports that share their rows out over threads. No other ever asks for the number of threads.
const std::set<std::string> kThreaded = {
    "qlmiAdd128_JPEG_16s8u_C1R",       "qlmiBGRToYCbCr_JPEG_8u_C3P3R",   "qlmiBGRToY_JPEG_8u_C3C1R",
    "qlmiCMYKToYCCK_JPEG_8u_C4P4R",    "qlmiCMYKToYCCK_JPEG_8u_P4R",     "qlmiRGBToYCbCr_JPEG_8u_C3P3R",
    "qlmiRGBToYCbCr_JPEG_8u_P3R",      "qlmiRGBToY_JPEG_8u_C3C1R",       "qlmiRGBToY_JPEG_8u_P3C1R",
    "qlmiSampleDownH2V1_JPEG_8u_C1R",  "qlmiSampleDownH2V2_JPEG_8u_C1R", "qlmiSampleUpH2V2_JPEG_8u_C1R",
    "qlmiSub128_JPEG_8u16s_C1R",       "qlmiYCCKToCMYK_JPEG_8u_P4C4R",   "qlmiYCCKToCMYK_JPEG_8u_P4R",
    "qlmiYCbCr422ToRGB_JPEG_8u_C2C3R", "qlmiYCbCrToBGR_JPEG_8u_P3C3R",   "qlmiYCbCrToRGB_JPEG_8u_P3C3R",
    "qlmiYCbCrToRGB_JPEG_8u_P3R",
};

}  // namespace

TEST(LoadHook, asksForFeaturesOnceAndRefusesNoProcessor) { EXPECT_EQ(fakeCore().featureCalls, 1); }

TEST(Threads, listedExportsAskOnceACallAndOthersNever) {
  for (const Row& row : test::sweepTable()) {
    if (!row.call) continue;
    resetFakeCore();
    test::callRow(row, {});
    EXPECT_EQ(fakeCore().threadCalls, kThreaded.contains(row.name) ? 1 : 0) << row.name;
  }
}

TEST(Threads, failingChecksDoNotAsk) {
  for (const Row& row : test::sweepTable()) {
    resetFakeCore();
    for (size_t i = 0; i < row.arguments.size(); ++i)
      for (const test::Fault& fault : row.arguments[i].faults) test::callRow(row, {{i, fault}});
    EXPECT_EQ(fakeCore().threadCalls, 0) << row.name;
  }
}

TEST(Memory, everyAllocationIsReleased) {
  for (const Row& row : test::sweepTable()) {
    if (!row.call) continue;
    resetFakeCore();
    test::callRow(row, {});
    EXPECT_EQ(fakeCore().allocations, fakeCore().releases) << row.name;
  }
}

TEST(Memory, huffmanObjectsAskForTheirReportedSize) {
  const uint8_t counts[16] = {0, 1}, values[1] = {5};
  resetFakeCore();
  QlmDecodeHuffmanSpec* decodeSpec = nullptr;
  ASSERT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &decodeSpec), qlmOk);
  EXPECT_EQ(fakeCore().lastLength, 1644);
  EXPECT_EQ(qlmiDecodeHuffmanSpecFree_JPEG_8u(decodeSpec), qlmOk);
  QlmEncodeHuffmanSpec* encodeSpec = nullptr;
  ASSERT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &encodeSpec), qlmOk);
  EXPECT_EQ(fakeCore().lastLength, 1024);
  EXPECT_EQ(qlmiEncodeHuffmanSpecFree_JPEG_8u(encodeSpec), qlmOk);
  QlmDecodeHuffmanState* decodeState = nullptr;
  ASSERT_EQ(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(&decodeState), qlmOk);
  EXPECT_EQ(fakeCore().lastLength, 24);
  EXPECT_EQ(qlmiDecodeHuffmanStateFree_JPEG_8u(decodeState), qlmOk);
  QlmEncodeHuffmanState* encodeState = nullptr;
  ASSERT_EQ(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(&encodeState), qlmOk);
  EXPECT_EQ(fakeCore().lastLength, 1048);
  EXPECT_EQ(qlmiEncodeHuffmanStateFree_JPEG_8u(encodeState), qlmOk);
  EXPECT_EQ(fakeCore().allocations, 4);
  EXPECT_EQ(fakeCore().releases, 4);
}

TEST(Memory, failedHuffmanAllocationReportsANullPointerAndStoresNothing) {
  const uint8_t counts[16] = {0, 1}, values[1] = {5};
  resetFakeCore();
  fakeCore().failAllocationsFrom = 0;
  int mark = 0;
  auto* decodeSpec = reinterpret_cast<QlmDecodeHuffmanSpec*>(&mark);
  auto* encodeSpec = reinterpret_cast<QlmEncodeHuffmanSpec*>(&mark);
  auto* decodeState = reinterpret_cast<QlmDecodeHuffmanState*>(&mark);
  auto* encodeState = reinterpret_cast<QlmEncodeHuffmanState*>(&mark);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &decodeSpec), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &encodeSpec), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(&decodeState), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(&encodeState), qlmErrNullPointer);
  EXPECT_EQ(static_cast<void*>(decodeSpec), &mark);
  EXPECT_EQ(static_cast<void*>(encodeSpec), &mark);
  EXPECT_EQ(static_cast<void*>(decodeState), &mark);
  EXPECT_EQ(static_cast<void*>(encodeState), &mark);
}

TEST(Memory, aRefusedTableLeavesTheObjectToItsOwner) {
  uint8_t counts[16] = {};
  counts[15] = 255;
  counts[14] = 2;  // 257 codes
  const uint8_t values[257] = {};
  resetFakeCore();
  QlmDecodeHuffmanSpec* decodeSpec = nullptr;
  EXPECT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &decodeSpec), qlmErrHuffTable);
  ASSERT_NE(decodeSpec, nullptr);
  EXPECT_EQ(qlmiDecodeHuffmanSpecFree_JPEG_8u(decodeSpec), qlmOk);
  QlmEncodeHuffmanSpec* encodeSpec = nullptr;
  EXPECT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, &encodeSpec), qlmErrHuffTable);
  ASSERT_NE(encodeSpec, nullptr);
  EXPECT_EQ(qlmiEncodeHuffmanSpecFree_JPEG_8u(encodeSpec), qlmOk);
}

// Whichever allocation fails, what came before it is released and the caller holds null.
TEST(Memory, aFailedAllocationOfACodeBlockCoderLeavesNothing) {
  int mark = 0;
  const auto check = [&](auto* untouched, const auto& initAlloc, const auto& free) {
    for (int32_t good = 0;; ++good) {
      ASSERT_LT(good, 10);
      resetFakeCore();
      fakeCore().failAllocationsFrom = good;
      auto* state = untouched;
      const QlmStatus status = initAlloc(&state, QlmSize{9, 7});
      if (status == qlmOk) {
        EXPECT_GT(good, 0);
        EXPECT_EQ(fakeCore().allocations, good);
        EXPECT_EQ(fakeCore().releases, 0);
        EXPECT_EQ(free(state), qlmOk);
        EXPECT_EQ(fakeCore().releases, good);
        return;
      }
      EXPECT_EQ(status, qlmErrMemAlloc);
      EXPECT_EQ(state, nullptr);
      EXPECT_EQ(fakeCore().allocations, good);
      EXPECT_EQ(fakeCore().releases, good);
    }
  };
  check(reinterpret_cast<QlmEncodeState_JPEG2K*>(&mark), qlmiEncodeInitAlloc_JPEG2K, qlmiEncodeFree_JPEG2K);
  check(reinterpret_cast<QlmDecodeState_JPEG2K*>(&mark), qlmiDecodeCBProgrInitAlloc_JPEG2K,
        qlmiDecodeCBProgrFree_JPEG2K);
}

TEST(Memory, codeBlockDecodersAskForTheirReportedSizeAndCodingForNothing) {
  resetFakeCore();
  int32_t size = 0;
  ASSERT_EQ(qlmiDecodeCBProgrGetStateSize_JPEG2K({64, 48}, &size), qlmOk);
  QlmDecodeState_JPEG2K* decoder = nullptr;
  ASSERT_EQ(qlmiDecodeCBProgrInitAlloc_JPEG2K(&decoder, {64, 48}), qlmOk);
  EXPECT_EQ(fakeCore().lastLength, size);
  EXPECT_EQ(fakeCore().allocations, 1);
  QlmEncodeState_JPEG2K* encoder = nullptr;
  ASSERT_EQ(qlmiEncodeInitAlloc_JPEG2K(&encoder, {64, 48}), qlmOk);

  const int before = fakeCore().allocations;
  const int32_t samples[4] = {1, 2, 3, 4};
  int32_t decoded[4], bits, passes, segments, notFinished, length = 100;
  uint8_t bytes[100];
  ASSERT_EQ(
      qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples, 8, {2, 2}, encoder, 0, 31, 0, 0, 0, &bits, &passes, &segments),
      qlmOk);
  ASSERT_EQ(qlmiEncodeStoreBits_JPEG2K_1u(bytes, &length, encoder, &notFinished), qlmOk);
  ASSERT_EQ(
      qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes, decoded, 8, {2, 2}, 0, bits, passes, &length, 1, 0, nullptr, decoder),
      qlmOk);
  EXPECT_EQ(decoded[3], 4);
  EXPECT_EQ(fakeCore().allocations, before);
  EXPECT_EQ(fakeCore().releases, 0);
  EXPECT_EQ(qlmiEncodeFree_JPEG2K(encoder), qlmOk);
  EXPECT_EQ(qlmiDecodeCBProgrFree_JPEG2K(decoder), qlmOk);
  EXPECT_EQ(fakeCore().releases, before);
}

// Outer record, coder, an array of contexts and one of decisions, and the flag words.
TEST(Memory, codeBlockEncodersAskForTheirRecordsAndArrays) {
  std::multiset<int32_t> lengths;
  QlmEncodeState_JPEG2K* state = nullptr;
  for (int32_t good = 0; !state; ++good) {
    ASSERT_LT(good, 10);
    resetFakeCore();
    fakeCore().failAllocationsFrom = good;
    if (qlmiEncodeInitAlloc_JPEG2K(&state, {9, 7}) != qlmOk) lengths.insert(fakeCore().lastLength);
  }
  EXPECT_EQ(qlmiEncodeFree_JPEG2K(state), qlmOk);
  EXPECT_EQ(lengths, (std::multiset<int32_t>{936, 2112, 9 * 1090 * 2, 9 * 1090 * 2, 64 * 6}));
}
