/**
 * @file
 * JPEG XR (ITU-T T.832): the photo core transform, adaptive variable-length and fixed-length block coders. No
 * container, prediction, overlap filter or coded block pattern.
 */
#ifndef QLMJP_JPEGXR_H
#define QLMJP_JPEGXR_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Photo core transform (T.832 9.9.7)
 *  The 4x4 integer lifting transform of every block of a region, in place, and its inverse. Each block is transformed
 * by itself: there is no overlap filter, no second stage over the DC values and no scaling. Afterwards the top left
 *  quadrant of a block holds the even-even part with the DC value at its first place, the bottom right one the odd-odd
 *  part, and the other two the mixed parts.
 *
 *  - `32s` wraps at 32 bits. `16s` wraps at 16 bits at every operation, inner products by 3 included: where one of them
 *    passes 16 bits the coefficients differ from those of `32s`. In both the inverse restores every block exactly.
 *  - `32f` leaves out the rounding terms, and fuses each product with the sum that follows it. The inverse restores a
 *    block to within rounding.
 *
 *  Steps and pointers need no alignment. The step is compared as an unsigned number, so that a negative one passes;
 * rows then go upward.
 *  @{ */

/**
 * Forward transform of every 4x4 block of a region.
 *
 * @param[in,out] srcDst  first sample of the region
 * @param[in] srcDstStep  bytes between rows, at least a row of samples
 * @param[in] size  samples, multiples of 4
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrSize  a side is below 1, or (tested behind the step) no multiple of 4
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTFwd_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmSize size);

/** @copydoc qlmiPCTFwd_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmSize size);

/**
 * Forward transform of the 4x4 blocks of a region, two blocks side by side at a time: where the width is 4 more than a
 * multiple of 8 the last four columns stay as they are, so that with a width of 4 nothing changes.
 *
 * @param[in,out] srcDst  first sample of the region
 * @param[in] srcDstStep  bytes between rows, at least a row of samples
 * @param[in] size  samples, multiples of 4
 * @retval qlmOk  all pairs of blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrSize  a side is below 1, or (tested behind the step) no multiple of 4
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTFwd_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep, QlmSize size);

/**
 * Forward transform of the blocks of a region 8 wide and 8 high.
 *
 * @param[in,out] srcDst  first sample of the region
 * @param[in] srcDstStep  bytes between rows, at least 8 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTFwd8x8_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd8x8_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd8x8_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd8x8_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd8x8_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/**
 * Forward transform of the blocks of a region 8 wide and 16 high.
 *
 * @param[in,out] srcDst  first sample of the region
 * @param[in] srcDstStep  bytes between rows, at least 8 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTFwd8x16_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd8x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd8x16_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd8x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd8x16_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/**
 * Forward transform of the blocks of a region 16 wide and 16 high.
 *
 * @param[in,out] srcDst  first sample of the region
 * @param[in] srcDstStep  bytes between rows, at least 16 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTFwd16x16_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd16x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd16x16_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTFwd16x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTFwd16x16_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/**
 * Inverse transform of every 4x4 block of a region.
 *
 * @param[in,out] srcDst  first coefficient of the region
 * @param[in] srcDstStep  bytes between rows, at least a row of coefficients
 * @param[in] size  coefficients, multiples of 4
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrSize  a side is below 1, or (tested behind the step) no multiple of 4
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTInv_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmSize size);

/** @copydoc qlmiPCTInv_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmSize size);

/**
 * Inverse transform of the 4x4 blocks of a region, two blocks side by side at a time: where the width is 4 more than a
 * multiple of 8 the last four columns stay as they are, so that with a width of 4 nothing changes.
 *
 * @param[in,out] srcDst  first coefficient of the region
 * @param[in] srcDstStep  bytes between rows, at least a row of coefficients
 * @param[in] size  coefficients, multiples of 4
 * @retval qlmOk  all pairs of blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrSize  a side is below 1, or (tested behind the step) no multiple of 4
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTInv_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep, QlmSize size);

/**
 * Inverse transform of the blocks of a region 8 wide and 8 high.
 *
 * @param[in,out] srcDst  first coefficient of the region
 * @param[in] srcDstStep  bytes between rows, at least 8 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTInv8x8_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv8x8_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv8x8_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv8x8_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv8x8_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/**
 * Inverse transform of the blocks of a region 8 wide and 16 high.
 *
 * @param[in,out] srcDst  first coefficient of the region
 * @param[in] srcDstStep  bytes between rows, at least 8 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTInv8x16_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv8x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv8x16_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv8x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv8x16_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/**
 * Inverse transform of the blocks of a region 16 wide and 16 high.
 *
 * @param[in,out] srcDst  first coefficient of the region
 * @param[in] srcDstStep  bytes between rows, at least 16 elements
 * @retval qlmOk  all blocks are transformed
 * @retval qlmErrNullPointer  @p srcDst is null
 * @retval qlmErrStep  the step is shorter than a row
 */
QLM_API QlmStatus qlmiPCTInv16x16_JPEGXR_16s_C1IR(int16_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv16x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv16x16_JPEGXR_32s_C1IR(int32_t* srcDst, int32_t srcDstStep);

/** @copydoc qlmiPCTInv16x16_JPEGXR_16s_C1IR */
QLM_API QlmStatus qlmiPCTInv16x16_JPEGXR_32f_C1IR(float* srcDst, int32_t srcDstStep);

/** @} */

/** @name State of the adaptive codes (T.832 8.7)
 *  @{ */

/**
 * A record of a scan order. `index` is the number of a coefficient in its 4x4 block, and `column` and `row` say where
 * that stands in the block as the photo core transform leaves it; these three belong together:
 *
 * | index  | 0 | 1 | 2 | 3 | 4 | 5 | 6 | 7 | 8 | 9 | 10 | 11 | 12 | 13 | 14 | 15 |
 * |--------|---|---|---|---|---|---|---|---|---|---|----|----|----|----|----|----|
 * | column | 0 | 1 | 0 | 1 | 3 | 2 | 3 | 2 | 0 | 1 | 0  | 1  | 3  | 2  | 3  | 2  |
 * | row    | 0 | 0 | 1 | 1 | 0 | 0 | 1 | 1 | 3 | 3 | 2  | 2  | 3  | 3  | 2  | 2  |
 */
typedef struct QlmVLCScanRecord {
  int32_t
      count; /**< How often the coefficient was significant since the reset of the scan, on top of where that began. */
  int32_t index;  /**< Number of the coefficient, 0 for DC. */
  int32_t column; /**< Its column in the block. */
  int32_t row;    /**< Its row in the block. */
} QlmVLCScanRecord;

/** What is known of one adaptive code table. */
typedef struct QlmVLCTableRecord {
  int32_t kind;        /**< Number of symbols: 5, 6, 7 or 12, or 4 or 8 for the four tables that are not adapted. */
  int32_t tableIndex;  /**< Which of the tables of the kind is in use. */
  int32_t initialised; /**< 1 once the table was adapted for the first time. */
  int32_t upperBound;  /**< A discriminant above it moves on to the next table. */
  int32_t lowerBound;  /**< A discriminant below it moves back to the table before. */
} QlmVLCTableRecord;

/**
 * Adaptive code tables and scan orders of one coded stream, of 2208 bytes. Belongs to one thread at a time.
 *
 * A caller makes it ready by qlmiVLCInit_JPEGXR() and qlmiVLCScanReset_JPEGXR() for each of the three scans.
 * `scanCurrent` points into the object itself, so a copy needs qlmiVLCScanSet_JPEGXR() before it is used; the other
 * pointers lead to constant tables of the library. The tables serve:
 *
 * | Table   | Kind     | Codes                                                          |
 * |---------|----------|----------------------------------------------------------------|
 * | 0       | 5        | runs                                                           |
 * | 1 to 4  | 4, 8, 7, 7 | none: not adapted, without pointers                          |
 * | 5, 6, 7 | 12, 6, 6 | DC lists in full resolution, class 0: first and later symbols  |
 * | 8, 9, 10 | 12, 6, 6 | the same, class 1; lists of subsampled chroma                 |
 * | 11, 12  | 7, 7     | levels of DC lists                                             |
 * | 13, 14, 15 | 12, 6, 6 | blocks of class 0: first and later symbols                  |
 * | 16, 17, 18 | 12, 6, 6 | blocks of class 1                                           |
 * | 19, 20  | 7, 7     | levels of blocks                                               |
 */
typedef struct QlmVLCState {
  QlmVLCScanRecord* scanCurrent;  /**< The scan of blocks in use: `scan0`, `scan1` or `scan2`. */
  const void* encodeTable[21];    /**< Codes in use, as they are written. */
  const void* deltaTable0[21];    /**< Steps of `discriminant0`, an `int8_t` for each symbol. */
  const void* deltaTable1[21];    /**< Steps of `discriminant1`, for kinds 6 and 12; null for the others. */
  const void* decodeTable0[21];   /**< Codes in use, as they are read. */
  const void* decodeTable1[21];   /**< The same as `decodeTable0`. */
  QlmVLCTableRecord adaptive[21]; /**< What is known of each table. */
  int32_t discriminant0[21];      /**< Grows and shrinks with each symbol coded. */
  int32_t discriminant1[21];      /**< The same for the table ahead, kinds 6 and 12. */
  QlmVLCScanRecord scan2[16];     /**< Scan 2, that of DC values. */
  QlmVLCScanRecord scan1[16];     /**< Scan 1. */
  QlmVLCScanRecord scan0[16];     /**< Scan 0. */
} QlmVLCState;

/**
 * Size of a #QlmVLCState.
 *
 * @param[out] size  the size in bytes, 2208
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiVLCGetStateSize_JPEGXR(int32_t* size);

/**
 * Builds the state that a stream begins with: initial tables, discriminants of 0, scans in their initial order, scan 2
 * in use. The counts of all scans are 0 and want qlmiVLCScanReset_JPEGXR() before the first block, as otherwise a
 * single coefficient would reorder a scan.
 *
 * @param[out] state  the state
 * @retval qlmOk  the state is built
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiVLCInit_JPEGXR(QlmVLCState* state);

/**
 * Adapts a group of code tables: one whose discriminant has left its bounds gives way to its neighbour and begins anew,
 * and the discriminants of the others are clamped to -64 to 64. Encoder and decoder call this at the same places.
 *
 * The first and the last table of a kind have no bound on their outer side.
 *
 * @param[in,out] state  the state
 * @param[in] mode  0 for tables 0 and 5 to 12 (runs and DC lists), 1 for tables 13 to 20 (blocks)
 * @retval qlmOk  the tables are adapted
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrRange  @p mode is neither 0 nor 1
 */
QLM_API QlmStatus qlmiVLCAdapt_JPEGXR(QlmVLCState* state, int32_t mode);

/**
 * Sets the counts of one scan to where they begin: 32767 for DC, then 32, 30 and so on down to 4. The order stays as it
 * is.
 *
 * @param[in,out] state  the state
 * @param[in] which  0, 1 or 2
 * @retval qlmOk  the counts are set
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrRange  @p which is not a scan
 */
QLM_API QlmStatus qlmiVLCScanReset_JPEGXR(QlmVLCState* state, int32_t which);

/**
 * Chooses the scan of the blocks that follow.
 *
 * @param[in,out] state  the state
 * @param[in] which  0, 1 or 2
 * @retval qlmOk  the scan is in use
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrRange  @p which is not a scan
 */
QLM_API QlmStatus qlmiVLCScanSet_JPEGXR(QlmVLCState* state, int32_t which);

/**
 * Turns the DC values of a macroblock into a list of runs and levels, and scan 2 into the scan in use.
 *
 * A value is significant if its magnitude is above the largest number of @p numBits bits; its level is what is above
 * these bits, with its sign. Each significant value counts in its record of the scan, and the record changes places
 * with the one before it when its count is greater; record 1 never does.
 *
 * With @p numBits above 0 the residual of a significant value is `low * 2` of its low bits, that of another is
 * `(magnitude << 2) + (negative << 1) + (magnitude != 0)`: what qlmiFLCEncode4x4_JPEGXR_32s1u_C1R() writes.
 *
 * @param[in] src  16 values by `index`; the first is of no account
 * @param[in] numBits  low bits that are coded apart, 0 to 15
 * @param[out] residual  16 values by `index`, of which 1 to 15 are written; nothing is written with @p numBits 0
 * @param[out] runLevel  room for 15 pairs of a run and a level; only those of the list are written
 * @param[out] count  number of pairs, 0 to 15
 * @param[in,out] state  the state
 * @retval qlmOk  the list is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrRange  @p numBits is not from 0 to 15
 */
QLM_API QlmStatus qlmiVLCScan4x4DC_JPEGXR_32s(const int32_t* src, int32_t numBits, int32_t* residual, int32_t* runLevel,
                                              int32_t* count, QlmVLCState* state);

/** @} */

/** @name Adaptive coding of blocks (T.832 8.7)
 *
 * A coded stream is a sequence of big-endian 16-bit units, bits most significant first. A caller holds its place in
 * three values that pass through every call: the next unit, a buffer of 32 bits whose first bit is bit 31, and the
 * number of bits in it.
 *
 * Readers take a unit whenever they hold fewer than 16 bits, so they return with 16 to 32 bits in the buffer (or with
 * what they were given, if they read nothing), and touch no unit beyond those. There is no test for the end of a
 * stream: a damaged one is read as far as its codes lead.
 *
 * Writers send a unit out whenever they hold more than 16 bits, so they return with at most 16 bits in the buffer.
 * Nothing flushes these; that is left to the caller.
 *
 * A call never reads or writes as much as 128 bytes of a stream, whatever it or the block holds.
 *
 * Bits of the buffer below those that are held are of no account, and 0 on return.
 *  @{ */

/**
 * Reads one block.
 *
 * The 16 elements are set to 0, then each coefficient is stored where its record of the scan in use says, and counts
 * there; the record changes places with the one before it when its count is greater. A block is read as having at
 * least one coefficient: callers know from elsewhere which blocks have none.
 *
 * A damaged stream is not noticed. A run that leads out of the block ends it, with a count of 16.
 *
 * @param[in,out] stream  the next unit
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in] scale  what a level of 1 stands for; the product wraps
 * @param[out] dst  the block. Must not overlap @p state
 * @param[in] dstStep  bytes between its rows
 * @param[in] tableClass  0 or 1, not tested: which tables are used
 * @param[out] count  number of coefficients
 * @param[in,out] state  the state
 * @retval qlmOk  the block is read
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32
 */
QLM_API QlmStatus qlmiVLCDecode4x4_JPEGXR_1u16s_C1R(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                    int16_t scale, int16_t* dst, int32_t dstStep, int32_t tableClass,
                                                    int32_t* count, QlmVLCState* state);

/** @copydoc qlmiVLCDecode4x4_JPEGXR_1u16s_C1R */
QLM_API QlmStatus qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                    int32_t scale, int32_t* dst, int32_t dstStep, int32_t tableClass,
                                                    int32_t* count, QlmVLCState* state);

/**
 * Writes one block.
 *
 * A coefficient other than DC is significant if its magnitude is above the largest number of @p numBits bits; its level
 * is what is above these bits. Levels, runs and signs of the significant coefficients are written in the order of the
 * scan in use; each counts in its record, and the record changes places with the one before it when its count is
 * greater, except for record 1. A block without any writes no code; at most the bits above 16 that were held go out.
 *
 * Levels up to 2^30 + 1 can be told. Beyond that, which only 32-bit coefficients near their limits reach, other levels
 * are written.
 *
 * @param[in] src  the block
 * @param[in] srcStep  bytes between its rows
 * @param[in] tableClass  0 or 1, not tested: which tables are used
 * @param[in] numBits  low bits that are left out, 0 to 15
 * @param[in,out] stream  where the next unit goes
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[out] count  number of significant coefficients
 * @param[in,out] state  the state
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32, or @p numBits is not from 0 to 15
 */
QLM_API QlmStatus qlmiVLCEncode4x4_JPEGXR_16s1u_C1R(const int16_t* src, int32_t srcStep, int32_t tableClass,
                                                    int32_t numBits, uint16_t** stream, uint32_t* bitBuffer,
                                                    uint32_t* bitCount, int32_t* count, QlmVLCState* state);

/** @copydoc qlmiVLCEncode4x4_JPEGXR_16s1u_C1R */
QLM_API QlmStatus qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(const int32_t* src, int32_t srcStep, int32_t tableClass,
                                                    int32_t numBits, uint16_t** stream, uint32_t* bitBuffer,
                                                    uint32_t* bitCount, int32_t* count, QlmVLCState* state);

/**
 * Writes one block as qlmiVLCEncode4x4_JPEGXR_16s1u_C1R() does, and gives the low bits that are left out, without the
 * last @p trimBits of them, as residuals for qlmiFLCEncode4x4_JPEGXR_16s1u_C1R().
 *
 * With `low = (magnitude & ((1 << numBits) - 1)) >> trimBits` the residual of a significant coefficient is `low * 2`,
 * that of another is `(low << 2) + (negative << 1) + 1`, or 0 where low is 0.
 *
 * @param[in] src  the block
 * @param[in] srcStep  bytes between its rows
 * @param[in] tableClass  0 or 1, not tested: which tables are used
 * @param[in] numBits  low bits that are left out, 0 to 15
 * @param[in] trimBits  those of them that are not coded at all, 0 to 15
 * @param[out] residual  16 values by `index`, of which 1 to 15 are written
 * @param[in,out] stream  where the next unit goes
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[out] count  number of significant coefficients
 * @param[in,out] state  the state
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32, or @p numBits or @p trimBits is not from 0 to 15
 */
QLM_API QlmStatus qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R(const int16_t* src, int32_t srcStep, int32_t tableClass,
                                                        int32_t numBits, int32_t trimBits, int32_t* residual,
                                                        uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                        int32_t* count, QlmVLCState* state);

/** @copydoc qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R */
QLM_API QlmStatus qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R(const int32_t* src, int32_t srcStep, int32_t tableClass,
                                                        int32_t numBits, int32_t trimBits, int32_t* residual,
                                                        uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                        int32_t* count, QlmVLCState* state);

/** @} */

/** @name Coding of DC lists and of low bits (T.832 8.7)
 *
 * Streams are read and written as by the functions for blocks.
 *  @{ */

/**
 * Reads the list of the DC values of one component in 4:2:0, 6 values with the first.
 *
 * The values are set to 0, then each level is stored behind its run of zeroes. A run that leads out of the values ends
 * that with `qlmOk`, while the count stays as it was: a caller that wants to know sets it beforehand.
 *
 * @param[in,out] stream  the next unit
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[out] dst  6 values
 * @param[out] count  number of levels
 * @param[in,out] state  the state
 * @retval qlmOk  the list is read
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32
 */
QLM_API QlmStatus qlmiVLCDecodeDC420_JPEGXR_1u32s(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                  int32_t* dst, int32_t* count, QlmVLCState* state);

/**
 * Reads the list of the DC values of one component in 4:2:2, 14 values with the first; otherwise as
 * qlmiVLCDecodeDC420_JPEGXR_1u32s().
 *
 * @param[in,out] stream  the next unit
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[out] dst  14 values
 * @param[out] count  number of levels
 * @param[in,out] state  the state
 * @retval qlmOk  the list is read
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32
 */
QLM_API QlmStatus qlmiVLCDecodeDC422_JPEGXR_1u32s(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                  int32_t* dst, int32_t* count, QlmVLCState* state);

/**
 * Reads the list of the DC values of one component in full resolution.
 *
 * Each level is stored where scan 2 says, whichever scan is in use, and counts in its record, which changes places with
 * the one before it when its count is greater. The places without a level stay as they are: the caller clears them.
 *
 * A damaged list may lead out of the scan. It then goes on in the records of scan 1, which stand behind it in @p state.
 *
 * @param[in,out] stream  the next unit
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in,out] dst  16 values by `index`
 * @param[in] tableClass  0 or 1, not tested: which tables are used
 * @param[out] count  number of levels
 * @param[in,out] state  the state
 * @retval qlmOk  the list is read
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32
 */
QLM_API QlmStatus qlmiVLCDecodeDC444_JPEGXR_1u32s(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                  int32_t* dst, int32_t tableClass, int32_t* count, QlmVLCState* state);

/**
 * Writes the list of the DC values of one component in 4:2:0.
 *
 * A list without a pair cannot be coded: with a @p count of 0 the first symbol is formed of a first and a second pair,
 * which must be there, and nothing comes behind the first pair.
 *
 * @param[in] runLevel  pairs of a run of zeroes and a level behind it, which is not 0
 * @param[in] count  number of pairs, 1 to 6
 * @param[in,out] stream  where the next unit goes; unlike elsewhere, the pointer in it is not tested
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in,out] state  the state
 * @retval qlmOk  the list is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrRange  @p bitCount is above 32, or @p count is not from 0 to 6
 */
QLM_API QlmStatus qlmiVLCEncodeDC420_JPEGXR_32s1u(const int32_t* runLevel, int32_t count, uint16_t** stream,
                                                  uint32_t* bitBuffer, uint32_t* bitCount, QlmVLCState* state);

/**
 * Writes the list of the DC values of one component in 4:2:2; otherwise as qlmiVLCEncodeDC420_JPEGXR_32s1u().
 *
 * @param[in] runLevel  pairs of a run of zeroes and a level behind it, which is not 0
 * @param[in] count  number of pairs, 1 to 14
 * @param[in,out] stream  where the next unit goes; the pointer in it is not tested
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in,out] state  the state
 * @retval qlmOk  the list is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrRange  @p bitCount is above 32, or @p count is not from 0 to 14
 */
QLM_API QlmStatus qlmiVLCEncodeDC422_JPEGXR_32s1u(const int32_t* runLevel, int32_t count, uint16_t** stream,
                                                  uint32_t* bitBuffer, uint32_t* bitCount, QlmVLCState* state);

/**
 * Writes the list of the DC values of one component in full resolution, as qlmiVLCScan4x4DC_JPEGXR_32s() gives it; no
 * record of a scan moves here. Otherwise as qlmiVLCEncodeDC420_JPEGXR_32s1u().
 *
 * @param[in] runLevel  pairs of a run and a level, which is not 0
 * @param[in] count  number of pairs, 1 to 16
 * @param[in] tableClass  0 or 1, not tested: which tables are used
 * @param[in,out] stream  where the next unit goes; the pointer in it is not tested
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in,out] state  the state
 * @retval qlmOk  the list is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrRange  @p bitCount is above 32, or @p count is not from 0 to 16
 */
QLM_API QlmStatus qlmiVLCEncodeDC444_JPEGXR_32s1u(const int32_t* runLevel, int32_t count, int32_t tableClass,
                                                  uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                  QlmVLCState* state);

/**
 * Reads the low bits of a block: @p numBits for each coefficient other than DC, in a fixed order, and a sign behind
 * them where they are not all 0 and the coefficient has no sign yet.
 *
 * A coefficient whose bits are all 0 stays as it is. Any other becomes bits * @p scale with the sign that was read; but
 * with @p refine set, one that is not 0 grows by bits * @p scale away from 0. The arithmetic wraps in the width of the
 * elements. With @p numBits 0 nothing is read, and the buffer stays as it is.
 *
 * @param[in,out] stream  the next unit
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in,out] srcDst  the block
 * @param[in] srcDstStep  bytes between its rows
 * @param[in] numBits  bits of each coefficient, 0 to 15
 * @param[in] scale  what the lowest of the bits stands for
 * @param[in] refine  nonzero if coefficients that are not 0 have their upper bits
 * @retval qlmOk  the bits are read
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32, or @p numBits is not from 0 to 15
 */
QLM_API QlmStatus qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                     int16_t* srcDst, int32_t srcDstStep, int32_t numBits,
                                                     int16_t scale, int32_t refine);

/** @copydoc qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR */
QLM_API QlmStatus qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                     int32_t* srcDst, int32_t srcDstStep, int32_t numBits,
                                                     int32_t scale, int32_t refine);

/**
 * Writes the low bits of a block: @p numBits for each coefficient other than DC, in a fixed order, and a sign behind
 * them where the coefficient has none in the adaptive code.
 *
 * With @p useResidual set all comes from the residuals that the scan or a block coder with residuals has made:
 * bit 0 of a residual says whether a sign is written, and the bits above it are the code. Otherwise the bits are those
 * from @p trimBits on of the magnitude, and a coefficient has a sign unless its magnitude has only 0 there and above.
 *
 * @param[in] src  the block; not read with @p useResidual set, but not null either
 * @param[in] srcStep  bytes between its rows
 * @param[in] residual  16 values by `index`; not read with @p useResidual 0, but not null either
 * @param[in,out] stream  where the next unit goes
 * @param[in,out] bitBuffer  the bits held, from bit 31 on
 * @param[in,out] bitCount  number of bits held, 0 to 32
 * @param[in] numBits  bits of each coefficient, 0 to 15
 * @param[in] trimBits  bits below them that are not coded, 0 to 15
 * @param[in] useResidual  nonzero to write residuals
 * @retval qlmOk  the bits are written
 * @retval qlmErrNullPointer  a pointer is null, the unit's included
 * @retval qlmErrRange  @p bitCount is above 32, or @p numBits or @p trimBits is not from 0 to 15
 */
QLM_API QlmStatus qlmiFLCEncode4x4_JPEGXR_16s1u_C1R(const int16_t* src, int32_t srcStep, const int32_t* residual,
                                                    uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                    int32_t numBits, int32_t trimBits, int32_t useResidual);

/** @copydoc qlmiFLCEncode4x4_JPEGXR_16s1u_C1R */
QLM_API QlmStatus qlmiFLCEncode4x4_JPEGXR_32s1u_C1R(const int32_t* src, int32_t srcStep, const int32_t* residual,
                                                    uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
                                                    int32_t numBits, int32_t trimBits, int32_t useResidual);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
