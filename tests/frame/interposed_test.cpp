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
