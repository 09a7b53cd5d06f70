/**
 * @file
 * JPEG (ITU-T T.81): level shift, quantisation, DCT, colour conversion of MCUs, Huffman coding.
 *
 * A *block* is 64 contiguous elements in natural order: element `8 * row + column`. No function needs an alignment of
 * any pointer or step.
 */
#ifndef QLMJP_JPEG_H
#define QLMJP_JPEG_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Level shift and quantisation tables (T.81 A.3.1, A.3.4, B.2.4.1)
 *  @{ */

QLM_API QlmStatus qlmiSub128_JPEG_8u16s_C1R(const uint8_t* src, int32_t srcStep, int16_t* dst, int32_t dstStep,
                                            QlmSize size);
QLM_API QlmStatus qlmiAdd128_JPEG_16s8u_C1R(const int16_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                            QlmSize size);
QLM_API QlmStatus qlmiQuantFwdRawTableInit_JPEG_8u(uint8_t* rawTable, int32_t quality);
QLM_API QlmStatus qlmiQuantFwdTableInit_JPEG_8u16u(const uint8_t* rawTable, uint16_t* fwdTable);
QLM_API QlmStatus qlmiQuantInvTableInit_JPEG_8u16u(const uint8_t* rawTable, uint16_t* invTable);
QLM_API QlmStatus qlmiQuantFwd8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* fwdTable);
QLM_API QlmStatus qlmiQuantInv8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* invTable);

/** @} */
/** @name Forward DCT with quantisation (T.81 A.3.3, A.3.4)
 *  @{ */

QLM_API QlmStatus qlmiDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* src, int16_t* dst, const uint16_t* fwdTable);
QLM_API QlmStatus qlmiDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* fwdTable);
QLM_API QlmStatus qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* src, int32_t srcStep, int16_t* dst,
                                                      const uint16_t* fwdTable);
QLM_API QlmStatus qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const uint16_t* src, int32_t srcStep, int16_t* dst,
                                                       const float* fwdTable);

/** @} */
/** @name Inverse DCT with dequantisation (T.81 A.3.3, A.3.4)
 *  Each coefficient is multiplied by its quantiser, keeping the low 16 bits, and the block is transformed in fixed
 * point. Samples are the nearest integers up to the rounding of 16-bit arithmetic; the steps are fixed, so the result
 * is the same to the bit everywhere. A decoder that knows how far the coefficients of a block reach picks a cheaper
 * member; no member looks at the data to decide. Source and destination must not overlap unless a member works in
 * place.
 *  @{ */

/**
 * Inverse transform of one block into 64 samples without level shift.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  64 samples in natural order; may be @p src
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8_JPEG_16s_C1(const int16_t* src, int16_t* dst, const uint16_t* invTable);

/**
 * Inverse transform of one block in place, without level shift.
 *
 * @param[in,out] block  64 quantised coefficients in natural order; then 64 samples
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the block is transformed
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* invTable);

/**
 * Inverse transform of one block into 8x8 samples of a plane: the full transform, plus 128, clamped to 0 to 255.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 8 rows of 8 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                      const uint16_t* invTable);

/**
 * Inverse transform of a block that has only its DC coefficient: 8x8 equal samples.
 *
 * The only coefficient and quantiser read are the first. The product keeps 32 bits and is shifted right by 3 without
 * rounding, so the samples may differ by 1 from those of qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R(): a DC of -1 with a
 * quantiser of 1 gives 127, not 128.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 8 rows of 8 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                          const uint16_t* invTable);

/**
 * Inverse transform of a block whose coefficients lie in its upper left 2x2 corner: exactly the samples of
 * qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R() on a block with zeros elsewhere. Other coefficients are not read.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 8 rows of 8 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                          const uint16_t* invTable);

/**
 * Inverse transform of a block whose coefficients lie in its upper left 4x4 corner: exactly the samples of
 * qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R() on a block with zeros elsewhere. Other coefficients are not used.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 8 rows of 8 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                          const uint16_t* invTable);

/**
 * Inverse transform at a quarter of the size: 2x2 samples, the means of the 4x4 groups of the full result up to
 * rounding. Rows and columns 2, 4 and 6 of the coefficients do not count.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 2 rows of 2 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                           const uint16_t* invTable);

/**
 * Inverse transform at half the size: 4x4 samples, the means of the 2x2 groups of the full result up to rounding. Row
 * and column 4 of the coefficients do not count.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 4 rows of 4 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as qlmiQuantInvTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const int16_t* src, uint8_t* dst, int32_t dstStep,
                                                           const uint16_t* invTable);

/**
 * Inverse transform of one block into 8x8 samples of 12 bits, in single precision: the transform plus 2048, truncated
 * towards zero (not rounded) and clamped to 0 to 4095. A sum beyond 32 bits gives 0.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  first of 8 rows of 8 samples
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] invTable  64 quantisers in natural order, as floats
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p invTable behind it)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(const int16_t* src, uint16_t* dst, int32_t dstStep,
                                                       const float* invTable);

/** @} */
/** @name Colour conversion between pixels and the blocks of one MCU (JFIF; T.81 A.2.3)
 *
 * Blocks hold level-shifted samples (sample minus 128), those of one plane contiguous and in raster order:
 *
 * | Form | Pixels of the MCU | Luma blocks | Cb, Cr blocks (each) |
 * |------|-------------------|-------------|----------------------|
 * | 444  | 8 x 8             | 1           | 1                    |
 * | 422  | 16 x 8            | 2           | 1                    |
 * | 411  | 16 x 16           | 4           | 1                    |
 *
 * Forward, a chroma element is computed from the sum of the pixels that it covers; inverse, it is replicated over them.
 * Exactly the pixels of the MCU are read or written. Source and destination must not overlap.
 *  @{ */

/**
 * Turns the pixels of one MCU into level-shifted blocks, ready for the forward DCT: 14-bit fixed point, rounded.
 * @param[in] src first pixel of the MCU, three bytes a pixel in the order of the name
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr: each entry points to the first block of its plane
 * @retval qlmOk the blocks are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `dst` is null
 * @retval qlmErrStep `srcStep` is below 1
 */
QLM_API QlmStatus qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R */
QLM_API QlmStatus qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R */
QLM_API QlmStatus qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);

/**
 * Turns the level-shifted blocks of one MCU, as the inverse DCT gives them, into pixels: 14-bit fixed point, clamped to
 * 0 to 255. Values far outside the range of samples clamp, too.
 * @param[in] src the planes Y, Cb, Cr: each entry points to the first block of its plane
 * @param[out] dst first pixel of the MCU, three bytes a pixel in the order of the name
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @retval qlmOk the pixels are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `src` is null
 * @retval qlmErrStep `dstStep` is below 1
 */
QLM_API QlmStatus qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);

/** @} */
/** @name Huffman tables and coder state (T.81 Annexes C, F.1.2, F.2.2)
 *  @{ */

/** Decoding table: the code list of T.81 F.2.2.3 and a lookup by the first byte. Read-only once built. */
typedef struct QlmDecodeHuffmanSpec {
  uint16_t symbols[256];   /**< Values in code order. */
  uint32_t lookup[256];    /**< (code length << 16) | symbol; upper half 0 where no code of up to 8 bits starts so. */
  uint16_t minCode[18];    /**< First code of length 1 to 16. */
  uint16_t maxCode[18];    /**< Last code of length 1 to 16, 0xFFFF where there is none. */
  uint16_t firstIndex[18]; /**< Index in `symbols` of the first code of length 1 to 16. */
} QlmDecodeHuffmanSpec;

/** Encoding table. Read-only once built. */
typedef struct QlmEncodeHuffmanSpec {
  uint32_t codes[256]; /**< By symbol: (code length << 16) | code; 0 where the symbol has no code. */
} QlmEncodeHuffmanSpec;

/** What a decoder keeps between blocks. Belongs to one segment and one thread at a time. */
typedef struct QlmDecodeHuffmanState {
  uint64_t accumulator;   /**< Bits read and not yet used, right-justified. */
  int32_t bitCount;       /**< Valid bits in `accumulator`; may be negative after a shortage at a marker. */
  int32_t eobRun;         /**< Progressive: blocks still covered by the last EOBn symbol. */
  int32_t codedPositions; /**< After a sequential block: zig-zag positions consumed, DC included; 0 if DC failed. */
} QlmDecodeHuffmanState;

/** What an encoder keeps between blocks. Belongs to one segment and one thread at a time. */
typedef struct QlmEncodeHuffmanState {
  uint64_t accumulator;         /**< Pending output bits. */
  int32_t bitCount;             /**< Number of pending bits. */
  int32_t eobRun;               /**< Progressive: blocks counted into the pending end-of-band run. */
  int32_t correctionCount;      /**< Progressive refinement: correction bits held. */
  uint8_t correctionBits[1024]; /**< One correction bit a byte, oldest first. */
} QlmEncodeHuffmanState;

QLM_API QlmStatus qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* size);
QLM_API QlmStatus qlmiDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                    QlmDecodeHuffmanSpec* spec);
QLM_API QlmStatus qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                         QlmDecodeHuffmanSpec** spec);
QLM_API QlmStatus qlmiDecodeHuffmanSpecFree_JPEG_8u(QlmDecodeHuffmanSpec* spec);

QLM_API QlmStatus qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* size);
QLM_API QlmStatus qlmiEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                    QlmEncodeHuffmanSpec* spec);
QLM_API QlmStatus qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                         QlmEncodeHuffmanSpec** spec);
QLM_API QlmStatus qlmiEncodeHuffmanSpecFree_JPEG_8u(QlmEncodeHuffmanSpec* spec);

QLM_API QlmStatus qlmiDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size);
QLM_API QlmStatus qlmiDecodeHuffmanStateInit_JPEG_8u(QlmDecodeHuffmanState* state);
QLM_API QlmStatus qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(QlmDecodeHuffmanState** state);
QLM_API QlmStatus qlmiDecodeHuffmanStateFree_JPEG_8u(QlmDecodeHuffmanState* state);

QLM_API QlmStatus qlmiEncodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size);
QLM_API QlmStatus qlmiEncodeHuffmanStateInit_JPEG_8u(QlmEncodeHuffmanState* state);
QLM_API QlmStatus qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(QlmEncodeHuffmanState** state);
QLM_API QlmStatus qlmiEncodeHuffmanStateFree_JPEG_8u(QlmEncodeHuffmanState* state);

/** @} */
/** @name Huffman coding of baseline blocks (T.81 F.1.2, F.2.2)
 *  @{ */

QLM_API QlmStatus qlmiEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                     int32_t* dstPosition, int16_t* lastDC,
                                                     const QlmEncodeHuffmanSpec* dcTable,
                                                     const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state,
                                                     int32_t flush);
QLM_API QlmStatus qlmiDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength, int32_t* srcPosition,
                                                     int16_t* dst, int16_t* lastDC, int32_t* marker,
                                                     const QlmDecodeHuffmanSpec* dcTable,
                                                     const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state);
QLM_API QlmStatus qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t* dstBitPosition,
                                                            int16_t* lastDC, const QlmEncodeHuffmanSpec* dcTable,
                                                            const QlmEncodeHuffmanSpec* acTable);
QLM_API QlmStatus qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* src, int32_t* srcBitPosition, int16_t* dst,
                                                            int16_t* lastDC, int32_t* marker, uint32_t* prefetchedBits,
                                                            int32_t* prefetchedCount,
                                                            const QlmDecodeHuffmanSpec* dcTable,
                                                            const QlmDecodeHuffmanSpec* acTable);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
