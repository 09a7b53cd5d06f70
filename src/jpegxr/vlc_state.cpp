// The state of JPEG XR's adaptive coding (ITU-T T.832 8.7): initial contents, the choice of code tables by the
// discriminants, and the scan orders.
#include <cstddef>

#include "jpegxr/vlc_scan.h"
#include "jpegxr/vlc_tables.h"

static_assert(sizeof(QlmVLCState) == 2208);
static_assert(sizeof(QlmVLCScanRecord) == 16 && sizeof(QlmVLCTableRecord) == 20);
static_assert(offsetof(QlmVLCState, encodeTable) == 8 && offsetof(QlmVLCState, deltaTable0) == 176);
static_assert(offsetof(QlmVLCState, deltaTable1) == 344 && offsetof(QlmVLCState, decodeTable0) == 512);
static_assert(offsetof(QlmVLCState, decodeTable1) == 680 && offsetof(QlmVLCState, adaptive) == 848);
static_assert(offsetof(QlmVLCState, discriminant0) == 1268 && offsetof(QlmVLCState, discriminant1) == 1352);
static_assert(offsetof(QlmVLCState, scan2) == 1436 && offsetof(QlmVLCState, scan1) == 1692);
static_assert(offsetof(QlmVLCState, scan0) == 1948);

static constexpr int32_t kTables = 21;
static constexpr int32_t kKinds[kTables] = {5, 4, 8, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7};

// Kinds 4 and 8 stand in the state, but belong to codes that a caller keeps by itself.
struct QlmVLCKind {
  int32_t tables, initialTable;
  bool twoDiscriminants;
};
static constexpr QlmVLCKind kindOf(int32_t kind) {
  switch (kind) {
    case 5:
    case 7:
      return {2, 0, false};
    case 6:
      return {4, 1, true};
    default:
      return {5, 1, true};
  }
}

static constexpr int32_t kStepBound = 8, kLargestSum = 8 * kStepBound;

static void pointTo(QlmVLCState* state, int32_t i, const void* write, const void* read, QlmVLCSteps steps) {
  state->encodeTable[i] = write;
  state->decodeTable0[i] = state->decodeTable1[i] = read;
  state->deltaTable0[i] = steps.table0;
  state->deltaTable1[i] = steps.table1;
}
static void pointToCurrent(QlmVLCState* state, int32_t i) {
  const int32_t t = state->adaptive[i].tableIndex;
  switch (state->adaptive[i].kind) {
    case 5:
      return pointTo(state, i, &kRunTables[t], &kRunTables[t], {kSteps5.row[0], nullptr});
    case 6:
      return pointTo(state, i, kLaterTables[t].write, kLaterTables[t].read, ownStepsOf(kSteps6, t));
    case 7:
      return pointTo(state, i, kLevelTables[t].write, kLevelTables[t].read, {kSteps7.row[0], nullptr});
    default:
      return pointTo(state, i, kFirstTables[t].write, kFirstTables[t].read, ownStepsOf(kSteps12, t));
  }
}

static constexpr int32_t clampSum(int32_t v) {
  return v < -kLargestSum ? -kLargestSum : v > kLargestSum ? kLargestSum : v;
}

static void adaptTable(QlmVLCState* state, int32_t i) {
  QlmVLCTableRecord& table = state->adaptive[i];
  int32_t &low = state->discriminant0[i], &high = state->discriminant1[i];
  const QlmVLCKind kind = kindOf(table.kind);
  if (table.initialised == 0) {
    table.initialised = 1;
    low = high = 0;
    table.tableIndex = kind.initialTable;
  }
  const int32_t upper = kind.twoDiscriminants ? high : low;
  if (low < table.lowerBound) {
    --table.tableIndex;
    low = high = 0;
  } else if (upper > table.upperBound) {
    ++table.tableIndex;
    low = high = 0;
  } else {
    low = clampSum(low);
    high = clampSum(high);
  }
  // There is nothing below the first and nothing above the last table.
  table.lowerBound = table.tableIndex == 0 ? INT32_MIN : -kStepBound;
  table.upperBound = table.tableIndex == kind.tables - 1 ? 1 << 30 : kStepBound;
  pointToCurrent(state, i);
}

static void adaptTables(QlmVLCState* state, int32_t mode) {
  if (mode == 0) {
    adaptTable(state, 0);
    for (int32_t i = 5; i <= 12; ++i) adaptTable(state, i);
  } else {
    for (int32_t i = 13; i <= 20; ++i) adaptTable(state, i);
  }
}

static QlmVLCScanRecord* scanOf(QlmVLCState* state, int32_t which) {
  return which == 0 ? state->scan0 : which == 1 ? state->scan1 : state->scan2;
}

QLM_EXPORT(qlmiVLCGetStateSize_JPEGXR)
(int32_t* size) {
  if (!size) return qlmErrNullPointer;
  *size = sizeof(QlmVLCState);
  return qlmOk;
}

QLM_EXPORT(qlmiVLCInit_JPEGXR)
(QlmVLCState* state) {
  if (!state) return qlmErrNullPointer;

  // The numbers of the coefficients in the order of each scan.
  static constexpr int32_t kOrders[3][16] = {{0, 10, 2, 12, 5, 9, 4, 8, 1, 13, 6, 15, 14, 3, 11, 7},
                                             {0, 5, 10, 12, 1, 2, 8, 4, 6, 9, 3, 14, 13, 7, 11, 15},
                                             {0, 1, 4, 5, 2, 8, 6, 9, 3, 12, 10, 7, 13, 11, 14, 15}};
  *state = QlmVLCState{};
  for (int32_t i = 0; i < kTables; ++i) state->adaptive[i].kind = kKinds[i];
  adaptTables(state, 0);
  adaptTables(state, 1);
  state->scanCurrent = state->scan2;
  for (int32_t which = 0; which < 3; ++which) {
    QlmVLCScanRecord* const scan = scanOf(state, which);
    for (int32_t k = 0; k < 16; ++k) {
      const int32_t index = kOrders[which][k];
      scan[k] = {0, index, kNumberColumn[index], kNumberRow[index]};
    }
  }
  return qlmOk;
}

QLM_EXPORT(qlmiVLCAdapt_JPEGXR)
(QlmVLCState* state, int32_t mode) {
  if (!state) return qlmErrNullPointer;
  if (mode != 0 && mode != 1) return qlmErrRange;
  adaptTables(state, mode);
  return qlmOk;
}

QLM_EXPORT(qlmiVLCScanReset_JPEGXR)
(QlmVLCState* state, int32_t which) {
  if (!state) return qlmErrNullPointer;
  if (which < 0 || which > 2) return qlmErrRange;
  QlmVLCScanRecord* const scan = scanOf(state, which);
  scan[0].count = 32767;  // nothing overtakes DC
  for (int32_t k = 1; k < 16; ++k) scan[k].count = 34 - 2 * k;
  return qlmOk;
}

QLM_EXPORT(qlmiVLCScanSet_JPEGXR)
(QlmVLCState* state, int32_t which) {
  if (!state) return qlmErrNullPointer;
  if (which < 0 || which > 2) return qlmErrRange;
  state->scanCurrent = scanOf(state, which);
  return qlmOk;
}
