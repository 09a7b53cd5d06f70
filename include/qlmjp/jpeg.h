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
 *  A *raw table* is the 64 quantisers of a DQT segment of 8-bit precision in zig-zag order, as they stand in the file.
 * A *forward table* holds their reciprocals in natural order, in 1.15 fixed point: the nearest integer to 32768 divided
 *  by the quantiser, so that a quantiser of 1 gives 32768. An *inverse table* holds the quantisers in natural order.
 *  @{ */

/**
 * Level shift down: every sample minus 128.
 *
 * Large regions are shared out over threads; the result does not depend on their number.
 *
 * @param[in] src  first of the rows of unsigned samples
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  first of the rows of samples from -128 to 127; must not overlap the source
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] size  width and height in samples, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null (each pointer is tested before its step, the source before the
 *                            destination)
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1 (tested last)
 */
QLM_API QlmStatus qlmiSub128_JPEG_8u16s_C1R(const uint8_t* src, int32_t srcStep, int16_t* dst, int32_t dstStep,
                                            QlmSize size);

/**
 * Level shift up: every sample plus 128, clamped to 0 to 255.
 *
 * Large regions are shared out over threads; the result does not depend on their number.
 *
 * @param[in] src  first of the rows of signed samples, of any 16-bit value
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  first of the rows of unsigned samples; must not overlap the source
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] size  width and height in samples, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null (each pointer is tested before its step, the source before the
 *                            destination)
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1 (tested last)
 */
QLM_API QlmStatus qlmiAdd128_JPEG_16s8u_C1R(const int16_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                            QlmSize size);

/**
 * Scales a raw table by a quality, as JPEG encoders use to: by 5000 / quality percent below 50, by 200 - 2 quality
 * percent from there on. Entries are rounded and clamped to 1 to 255; 100 and everything above give a table of ones.
 *
 * @param[in,out] rawTable  64 quantisers in any order
 * @param[in] quality  at least 1
 * @retval qlmOk  the table is scaled
 * @retval qlmErrNullPointer  @p rawTable is null
 * @retval qlmErrBadArgument  @p quality is below 1; the table is unchanged
 */
QLM_API QlmStatus qlmiQuantFwdRawTableInit_JPEG_8u(uint8_t* rawTable, int32_t quality);

/**
 * Makes the forward table of a raw table.
 *
 * @param[in] rawTable  64 quantisers in zig-zag order
 * @param[out] fwdTable  64 reciprocals in natural order
 * @retval qlmOk  the table is written
 * @retval qlmWarnDivByZero  the same, and a quantiser of 0 was met: its entry is 65535, the others are right
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiQuantFwdTableInit_JPEG_8u16u(const uint8_t* rawTable, uint16_t* fwdTable);

/**
 * Makes the inverse table of a raw table.
 *
 * @param[in] rawTable  64 quantisers in zig-zag order; 0 stays 0
 * @param[out] invTable  64 quantisers in natural order
 * @retval qlmOk  the table is written
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiQuantInvTableInit_JPEG_8u16u(const uint8_t* rawTable, uint16_t* invTable);

/**
 * Quantises one block in place: each coefficient divided by its quantiser, halves upward.
 *
 * Right for coefficients from -4096 to 4095, which is all that the forward DCT of 8-bit samples gives; beyond, a 16-bit
 * shift wraps (4096 with a quantiser of 1 gives -4096). The results may differ by 1 from those of the forward DCT with
 * quantisation, which rounds the exact product with halves to even.
 *
 * @param[in,out] block  64 coefficients in natural order
 * @param[in] fwdTable  64 reciprocals in natural order
 * @retval qlmOk  the block is quantised
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiQuantFwd8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* fwdTable);

/**
 * Dequantises one block in place: the low 16 bits of each coefficient times its quantiser.
 *
 * @param[in,out] block  64 coefficients in natural order
 * @param[in] invTable  64 quantisers in natural order
 * @retval qlmOk  the block is dequantised
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiQuantInv8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* invTable);

/** @} */
/** @name Forward DCT with quantisation (T.81 A.3.3, A.3.4)
 *  An 8x8 DCT scaled as in the standard (a block of ones gives 8 in the corner), with each coefficient divided by its
 *  quantiser. For 8-bit samples the transform is in fixed point, its 12-bit coefficients are multiplied by the forward
 *  table exactly, and halves go to even. The steps are fixed, so the result is the same to the bit everywhere. Time
 * does not depend on the data. Tables must not overlap what is written.
 *  @{ */

/**
 * Forward transform of one block of level-shifted samples.
 *
 * @param[in] src  64 samples in natural order, meant to be -128 to 127; sums of larger ones saturate
 * @param[out] dst  64 quantised coefficients in natural order; may be @p src
 * @param[in] fwdTable  64 reciprocals in natural order, as qlmiQuantFwdTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* src, int16_t* dst, const uint16_t* fwdTable);

/**
 * Forward transform of one block of level-shifted samples in place.
 *
 * @param[in,out] block  64 samples in natural order, as above; then 64 quantised coefficients
 * @param[in] fwdTable  64 reciprocals in natural order, as qlmiQuantFwdTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the block is transformed
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* block, const uint16_t* fwdTable);

/**
 * Forward transform of 8x8 samples of a plane: minus 128, then as qlmiDCTQuantFwd8x8_JPEG_16s_C1().
 *
 * @param[in] src  first of 8 rows of 8 samples
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  64 quantised coefficients in natural order
 * @param[in] fwdTable  64 reciprocals in natural order, as qlmiQuantFwdTableInit_JPEG_8u16u() makes them
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p fwdTable behind it)
 * @retval qlmErrStep  @p srcStep is below 1
 */
QLM_API QlmStatus qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* src, int32_t srcStep, int16_t* dst,
                                                      const uint16_t* fwdTable);

/**
 * Forward transform of 8x8 samples of 12 bits in single precision: minus 2048, transformed, multiplied by the table,
 * rounded with halves to even, saturated to 16 bits. A product beyond the 32-bit integers gives -32768.
 *
 * @param[in] src  first of 8 rows of 8 samples; those of 32768 and more count as negative
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  64 quantised coefficients in natural order
 * @param[in] fwdTable  64 multipliers in natural order: 1 divided by the quantiser
 * @retval qlmOk  the block is written
 * @retval qlmErrNullPointer  a pointer is null (@p src and @p dst are tested before the step, @p fwdTable behind it)
 * @retval qlmErrStep  @p srcStep is below 1
 */
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
/** @name Colour conversion of regions, RGB to YCbCr (JFIF; T.81 A.1.1)
 *
 * `C3` pixels have three bytes in the order of the name, `C4` pixels a fourth that is never read, `P3` is three planes
 * of one shape. Chroma is offset by 128. `422` halves chroma horizontally, `411` horizontally and vertically: a chroma
 * sample comes from the plain sum of the pixels that it covers. Fixed point, within 1 of the rounded real value; the
 * last columns of a row can differ by 1 from the same pixels elsewhere in it.
 *
 * Source and destination must not overlap. Large regions of three-byte pixels and of planes are shared out over
 * threads.
 *  @{ */

/**
 * Converts a region of three-byte pixels to three planes of full resolution.
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstStep distance in bytes between the rows of each destination plane
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                               int32_t dstStep, QlmSize size);
/** @copydoc qlmiRGBToYCbCr_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                               int32_t dstStep, QlmSize size);
/**
 * Converts a region of four-byte pixels to three planes of full resolution. Steps are not tested and may be negative.
 * @param[in] src first pixel; the fourth byte of a pixel is not read
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstStep distance in bytes between the rows of each destination plane
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGBToYCbCr_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                               int32_t dstStep, QlmSize size);
/** @copydoc qlmiRGBToYCbCr_JPEG_8u_C4P3R */
QLM_API QlmStatus qlmiBGRToYCbCr_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                               int32_t dstStep, QlmSize size);
/**
 * Converts three planes to three planes.
 * @param[in] src the planes R, G, B
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstStep distance in bytes between the rows of each destination plane
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const src[3], int32_t srcStep, uint8_t* const dst[3],
                                             int32_t dstStep, QlmSize size);

/**
 * Converts a region of 16-bit pixels to three planes. Red is in the lowest bits of `RGB` pixels and in the highest of
 * `BGR` pixels; samples are widened to 8 bits by a left shift alone, so that white is 248 (252 in 6 bits).
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstStep distance in bytes between the rows of each destination plane
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R */
QLM_API QlmStatus qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R */
QLM_API QlmStatus qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R */
QLM_API QlmStatus qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                     int32_t dstStep, QlmSize size);

/**
 * Converts a region of three-byte pixels to luma alone.
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the plane Y
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGBToY_JPEG_8u_C3C1R(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                           QlmSize size);
/** @copydoc qlmiRGBToY_JPEG_8u_C3C1R */
QLM_API QlmStatus qlmiBGRToY_JPEG_8u_C3C1R(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                           QlmSize size);
/**
 * Converts three planes to luma alone.
 * @param[in] src the planes R, G, B
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst the plane Y
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiRGBToY_JPEG_8u_P3C1R(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                           QlmSize size);

/**
 * Converts a region of pixels to a plane of luma and two planes of chroma with half the width. Steps are not tested
 * and may be negative.
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstSteps distance in bytes between the rows of each destination plane
 * @param[in] size width and height of the luma plane in pixels
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width is odd: the last column is left out and the destination keeps what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `dst`, is null
 * @retval qlmErrSize the width is below 2 or the height below 1
 */
QLM_API QlmStatus qlmiRGBToYCbCr422_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr422_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiRGBToYCbCr422_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr422_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr422_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr422_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr422_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/**
 * Converts a region of pixels to a plane of luma and two planes of chroma with half the width and half the height.
 * Steps are not tested and may be negative.
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr
 * @param[in] dstSteps distance in bytes between the rows of each destination plane
 * @param[in] size width and height of the luma plane in pixels
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width or the height is odd: the last column or row is left out and the destination keeps
 * what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `dst`, is null
 * @retval qlmErrSize the width or the height is below 2
 */
QLM_API QlmStatus qlmiRGBToYCbCr411_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr411_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiRGBToYCbCr411_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr411_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr411_JPEG_8u_C3P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);
/** @copydoc qlmiRGBToYCbCr411_JPEG_8u_C3P3R */
QLM_API QlmStatus qlmiBGRToYCbCr411_JPEG_8u_C4P3R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3],
                                                  const int32_t dstSteps[3], QlmSize size);

/** @} */
/** @name Colour conversion of regions, YCbCr to RGB (JFIF; T.81 A.1.1)
 *
 * The way back: layouts as above. Subsampled chroma is replicated over the pixels that it covers. Fixed point, within 1
 * of the rounded real value (packed 4:2:2 within 2 in green), clamped to 0 to 255.
 *
 * Source and destination must not overlap. Large regions of three-byte pixels and of planes are shared out over
 * threads.
 *  @{ */

/**
 * Converts three planes of full resolution to a region of three-byte pixels.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCbCrToRGB_JPEG_8u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst,
                                               int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCrToRGB_JPEG_8u_P3C3R */
QLM_API QlmStatus qlmiYCbCrToBGR_JPEG_8u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst,
                                               int32_t dstStep, QlmSize size);
/**
 * Converts three planes of full resolution to a region of four-byte pixels. Steps are not tested and may be negative.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @param[in] alpha fourth byte of every pixel
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCbCrToRGB_JPEG_8u_P3C4R(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst,
                                               int32_t dstStep, QlmSize size, uint8_t alpha);
/** @copydoc qlmiYCbCrToRGB_JPEG_8u_P3C4R */
QLM_API QlmStatus qlmiYCbCrToBGR_JPEG_8u_P3C4R(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst,
                                               int32_t dstStep, QlmSize size, uint8_t alpha);
/**
 * Converts three planes to three planes.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst the planes R, G, B
 * @param[in] dstStep distance in bytes between the rows of each destination plane
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCbCrToRGB_JPEG_8u_P3R(const uint8_t* const src[3], int32_t srcStep, uint8_t* const dst[3],
                                             int32_t dstStep, QlmSize size);

/**
 * Converts three planes to a region of 16-bit pixels. Red is in the lowest bits of `RGB` pixels and in the highest of
 * `BGR` pixels; samples are cut by a right shift, without rounding or dither, and bit 15 of 555 pixels is 0.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcStep distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst,
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R */
QLM_API QlmStatus qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst,
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R */
QLM_API QlmStatus qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst,
                                                     int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R */
QLM_API QlmStatus qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst,
                                                     int32_t dstStep, QlmSize size);

/**
 * Converts a plane of luma and two planes of chroma with half the width to a region of three-byte
 * pixels. Steps are not tested and may be negative.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcSteps distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height of the luma plane in pixels
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width is odd: the last column is left out and the destination keeps what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `src`, is null
 * @retval qlmErrSize the width is below 2 or the height below 1
 */
QLM_API QlmStatus qlmiYCbCr422ToRGB_JPEG_8u_P3C3R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCr422ToRGB_JPEG_8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr422ToBGR_JPEG_8u_P3C3R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size);
/**
 * Converts a plane of luma and two planes of chroma with half the width to a region of four-byte
 * pixels. Steps are not tested and may be negative.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcSteps distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height of the luma plane in pixels
 * @param[in] alpha fourth byte of every pixel
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width is odd: the last column is left out and the destination keeps what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `src`, is null
 * @retval qlmErrSize the width is below 2 or the height below 1
 */
QLM_API QlmStatus qlmiYCbCr422ToRGB_JPEG_8u_P3C4R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size, uint8_t alpha);
/** @copydoc qlmiYCbCr422ToRGB_JPEG_8u_P3C4R */
QLM_API QlmStatus qlmiYCbCr422ToBGR_JPEG_8u_P3C4R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size, uint8_t alpha);
/**
 * Converts a plane of luma and two planes of chroma with half the width and half the height to a region of three-byte
 * pixels. Steps are not tested and may be negative.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcSteps distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height of the luma plane in pixels
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width or the height is odd: the last column or row is left out and the destination keeps
 * what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `src`, is null
 * @retval qlmErrSize the width or the height is below 2
 */
QLM_API QlmStatus qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size);
/** @copydoc qlmiYCbCr411ToRGB_JPEG_8u_P3C3R */
QLM_API QlmStatus qlmiYCbCr411ToBGR_JPEG_8u_P3C3R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size);
/**
 * Converts a plane of luma and two planes of chroma with half the width and half the height to a region of four-byte
 * pixels. Steps are not tested and may be negative.
 * @param[in] src the planes Y, Cb, Cr
 * @param[in] srcSteps distance in bytes between the rows of each source plane
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height of the luma plane in pixels
 * @param[in] alpha fourth byte of every pixel
 * @retval qlmOk the region is complete
 * @retval qlmWarnOddSize the width or the height is odd: the last column or row is left out and the destination keeps
 * what it held there
 * @retval qlmErrNullPointer a pointer, or an entry of `src`, is null
 * @retval qlmErrSize the width or the height is below 2
 */
QLM_API QlmStatus qlmiYCbCr411ToRGB_JPEG_8u_P3C4R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size, uint8_t alpha);
/** @copydoc qlmiYCbCr411ToRGB_JPEG_8u_P3C4R */
QLM_API QlmStatus qlmiYCbCr411ToBGR_JPEG_8u_P3C4R(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst,
                                                  int32_t dstStep, QlmSize size, uint8_t alpha);
/**
 * Converts packed 4:2:2 rows to a region of three-byte pixels. Steps are not tested.
 * @param[in] src first pair of pixels: bytes Y0, Cb, Y1, Cr; with an odd width the last pair is read whole
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst first pixel; with an odd width one pixel more than the region holds is written in each row
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete, whatever the parity of its width
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                                  QlmSize size);

/** @} */
/** @name Colour conversion of regions, CMYK and YCCK (T.872 6.5.3)
 *
 * YCCK is CMYK with C, M, Y taken as 255 minus red, green, blue and put through YCbCr, and with K as it is. `C4` pixels
 * are C, M, Y, K; `P4` is four planes of one shape, C, M, Y, K or Y, Cb, Cr, K. Source and destination must not
 * overlap. Large regions are shared out over threads.
 *  @{ */

/**
 * Converts a region of CMYK pixels to YCCK planes.
 * @param[in] src first pixel
 * @param[in] srcStep distance in bytes between the rows of the source
 * @param[out] dst the planes Y, Cb, Cr, K
 * @param[in] dstStep distance in bytes between the rows of the destination
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* src, int32_t srcStep, uint8_t* const dst[4],
                                               int32_t dstStep, QlmSize size);
/**
 * Converts a region of CMYK planes to YCCK planes.
 * @param[in] src the planes C, M, Y, K
 * @param[in] srcStep distance in bytes between the rows of the source
 * @param[out] dst the planes Y, Cb, Cr, K
 * @param[in] dstStep distance in bytes between the rows of the destination
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiCMYKToYCCK_JPEG_8u_P4R(const uint8_t* const src[4], int32_t srcStep, uint8_t* const dst[4],
                                             int32_t dstStep, QlmSize size);
/**
 * Converts a region of YCCK planes to CMYK pixels.
 * @param[in] src the planes Y, Cb, Cr, K
 * @param[in] srcStep distance in bytes between the rows of the source
 * @param[out] dst first pixel
 * @param[in] dstStep distance in bytes between the rows of the destination
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCCKToCMYK_JPEG_8u_P4C4R(const uint8_t* const src[4], int32_t srcStep, uint8_t* dst,
                                               int32_t dstStep, QlmSize size);
/**
 * Converts a region of YCCK planes to CMYK planes.
 * @param[in] src the planes Y, Cb, Cr, K
 * @param[in] srcStep distance in bytes between the rows of the source
 * @param[out] dst the planes C, M, Y, K
 * @param[in] dstStep distance in bytes between the rows of the destination
 * @param[in] size width and height in pixels, at least 1 each
 * @retval qlmOk the region is complete
 * @retval qlmErrNullPointer a pointer, or an entry of an array of planes, is null
 * @retval qlmErrStep a step is below 1
 * @retval qlmErrSize the width or the height is below 1
 */
QLM_API QlmStatus qlmiYCCKToCMYK_JPEG_8u_P4R(const uint8_t* const src[4], int32_t srcStep, uint8_t* const dst[4],
                                             int32_t dstStep, QlmSize size);

/** @} */
/** @name Colour conversion between pixels and the blocks of one MCU (JFIF; T.81 A.2.3)
 *
 * Blocks hold level-shifted samples (sample minus 128), those of one plane contiguous and in raster order:
 *
 * | Form | Pixels of the MCU | Luma and K blocks (each) | Cb, Cr blocks (each) |
 * |------|-------------------|--------------------------|----------------------|
 * | 444  | 8 x 8             | 1                        | 1                    |
 * | 422  | 16 x 8            | 2                        | 1                    |
 * | 411  | 16 x 16           | 4                        | 1                    |
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
 * Turns the pixels of one MCU into level-shifted blocks, ready for the forward DCT: 14-bit fixed point, rounded.
 * @param[in] src first pixel of the MCU, red in the highest bits; samples are widened by a left shift alone
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr: each entry points to the first block of its plane
 * @retval qlmOk the blocks are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `dst` is null
 * @retval qlmErrStep `srcStep` is below 1
 */
QLM_API QlmStatus qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R */
QLM_API QlmStatus qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R */
QLM_API QlmStatus qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R */
QLM_API QlmStatus qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R */
QLM_API QlmStatus qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);
/** @copydoc qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R */
QLM_API QlmStatus qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]);

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
/**
 * Turns the level-shifted blocks of one MCU, as the inverse DCT gives them, into pixels: 14-bit fixed point, clamped to
 * 0 to 255. Values far outside the range of samples clamp, too.
 * @param[in] src the planes Y, Cb, Cr: each entry points to the first block of its plane
 * @param[out] dst first pixel of the MCU, red in the highest bits; samples are cut by a right shift
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @retval qlmOk the pixels are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `src` is null
 * @retval qlmErrStep `dstStep` is below 1
 */
QLM_API QlmStatus qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R */
QLM_API QlmStatus qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R */
QLM_API QlmStatus qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R */
QLM_API QlmStatus qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R */
QLM_API QlmStatus qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);
/** @copydoc qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R */
QLM_API QlmStatus qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const src[3], uint16_t* dst, int32_t dstStep);

/**
 * Turns the CMYK pixels of one MCU into level-shifted blocks of YCCK, ready for the forward DCT.
 * @param[in] src first pixel of the MCU: bytes C, M, Y, K
 * @param[in] srcStep distance in bytes between the rows of `src`
 * @param[out] dst the planes Y, Cb, Cr, K: each entry points to the first block of its plane
 * @retval qlmOk the blocks are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `dst` is null
 * @retval qlmErrStep `srcStep` is below 1
 */
QLM_API QlmStatus qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]);
/** @copydoc qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R */
QLM_API QlmStatus qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]);
/** @copydoc qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R */
QLM_API QlmStatus qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]);
/**
 * Turns the level-shifted YCCK blocks of one MCU, as the inverse DCT gives them, into CMYK pixels, clamped to 0 to 255.
 * @param[in] src the planes Y, Cb, Cr, K: each entry points to the first block of its plane
 * @param[out] dst first pixel of the MCU: bytes C, M, Y, K
 * @param[in] dstStep distance in bytes between the rows of `dst`
 * @retval qlmOk the pixels are complete
 * @retval qlmErrNullPointer `src`, `dst` or (tested after the step) an entry of `src` is null
 * @retval qlmErrStep `dstStep` is below 1
 */
QLM_API QlmStatus qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const src[4], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R */
QLM_API QlmStatus qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const src[4], uint8_t* dst, int32_t dstStep);
/** @copydoc qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R */
QLM_API QlmStatus qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const src[4], uint8_t* dst, int32_t dstStep);

/** @} */
/** @name Chroma sampling of planes and rows
 *  8-bit samples of one channel. H2V1 halves or doubles along the row, H2V2 in both directions. Source and destination
 *  must not overlap.
 *  @{ */

/**
 * Halves a plane along its rows: `d[i] = (s[2i] + s[2i + 1] + 1) >> 1`. Shares rows out over threads above 8192
 * destination samples.
 *
 * @param[in] src  source plane; the loops read 2 * dstSize.width samples of each of dstSize.height rows
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[in] srcSize  checked to be at least 1 x 1, and otherwise not used: @p dstSize alone rules the loops
 * @param[out] dst  destination plane
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] dstSize  samples to write, at least 1 x 1
 * @retval qlmOk  the plane is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  a width or height is below 1
 */
QLM_API QlmStatus qlmiSampleDownH2V1_JPEG_8u_C1R(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst,
                                                 int32_t dstStep, QlmSize dstSize);

/**
 * Halves a plane in both directions: `d[i] = (a[2i] + a[2i + 1] + b[2i] + b[2i + 1] + 3) >> 2`, with `a` and `b` the
 * source rows 2j and 2j + 1 of destination row j. The bias of 3 leans upward by design. Shares rows out over threads
 * above 8192 destination samples.
 * @copydetails qlmiSampleDownH2V1_JPEG_8u_C1R
 */
QLM_API QlmStatus qlmiSampleDownH2V2_JPEG_8u_C1R(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst,
                                                 int32_t dstStep, QlmSize dstSize);

/**
 * Doubles a plane along its rows with the 3:1 triangle filter:
 * `d[2k] = (3 s[k] + s[k - 1] + 1) >> 2`, `d[2k + 1] = (3 s[k] + s[k + 1] + 2) >> 2`. Never forks.
 *
 * There is no edge rule: the caller provides one sample before and one behind each source row, and writes there what
 * the edge shall be (a copy of its neighbour, as a rule):
 *
 *                  src
 *                   v
 *             +---+---+---+---+---+---+
 *     row 0   | * | s | s | s | s | * |     s  dstSize.width / 2 samples, rounded up
 *     row 1   | * | s | s | s | s | * |     *  provided by the caller; an odd width does
 *             +---+---+---+---+---+---+        not read the one behind the row
 *
 * @param[in] src  first sample of the first source row, see the drawing
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[in] srcSize  checked to be at least 1 x 1, and otherwise not used: @p dstSize alone rules the loops
 * @param[out] dst  destination plane
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] dstSize  samples to write, at least 1 x 1; an odd width ends with the even formula
 * @retval qlmOk  the plane is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  a width or height is below 1
 */
QLM_API QlmStatus qlmiSampleUpH2V1_JPEG_8u_C1R(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst,
                                               int32_t dstStep, QlmSize dstSize);

/**
 * Doubles a plane in both directions with the 3:1 triangle filter. Destination row j lies nearest to source row
 * n = j / 2; the far row is n - 1 for even j and n + 1 for odd j. With `c[k] = 3 near[k] + far[k]`:
 * `d[2k] = (3 c[k] + c[k - 1] + 8) >> 4`, `d[2k + 1] = (3 c[k] + c[k + 1] + 7) >> 4`. Shares rows out over threads
 * above 8192 destination samples.
 *
 * There is no edge rule: the caller provides a frame of one sample around the source:
 *
 *                  src
 *                   v
 *             +---+---+---+---+---+---+
 *     row -1  | * | * | * | * | * | * |     s  half of dstSize, rounded up
 *     row 0   | * | s | s | s | s | * |     *  provided by the caller; an odd width does not read the
 *     row 1   | * | s | s | s | s | * |        column behind the rows, an odd height not the row below
 *     row 2   | * | * | * | * | * | * |
 *             +---+---+---+---+---+---+
 *
 * @param[in] src  first sample of the first source row, see the drawing
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[in] srcSize  checked to be at least 1 x 1, and otherwise not used: @p dstSize alone rules the loops
 * @param[out] dst  destination plane
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] dstSize  samples to write, at least 1 x 1; an odd width ends with the even formula
 * @retval qlmOk  the plane is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  a width or height is below 1
 */
QLM_API QlmStatus qlmiSampleUpH2V2_JPEG_8u_C1R(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst,
                                               int32_t dstStep, QlmSize dstSize);

/**
 * Halves one row with an alternating bias: `d[i] = (s[2i] + s[2i + 1] + (i & 1)) >> 1`. Writes srcWidth / 2 samples; a
 * last odd sample has no output.
 *
 * @param[in] src  source row
 * @param[in] srcWidth  samples in the source row, at least 1
 * @param[out] dst  destination row
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcWidth is below 1
 */
QLM_API QlmStatus qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* src, int32_t srcWidth, uint8_t* dst);

/**
 * Halves two rows into one with an alternating bias:
 * `d[i] = (a[2i] + a[2i + 1] + b[2i] + b[2i + 1] + 1 + (i & 1)) >> 2`.
 *
 * A width from 32 on gives srcWidth / 2 samples. A width below 32 gives (srcWidth + 1) / 2: for an odd one the last
 * output reads one sample behind the end of each row, which the caller provides.
 *
 * @param[in] src1  upper source row
 * @param[in] src2  lower source row
 * @param[in] srcWidth  samples in a source row, at least 1
 * @param[out] dst  destination row
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcWidth is below 1
 */
QLM_API QlmStatus qlmiSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* src1, const uint8_t* src2, int32_t srcWidth,
                                                       uint8_t* dst);

/**
 * Doubles one row with the 3:1 triangle filter: `d[2k] = (3 s[k] + s[k - 1] + 1) >> 2`,
 * `d[2k + 1] = (3 s[k] + s[k + 1] + 2) >> 2`; the first and the last output are copies of the first and last sample.
 *
 * @param[in] src  source row
 * @param[in] srcWidth  samples in the source row; at least 2 for a meaningful result. 1 is not refused and gives the
 *                      sample twice
 * @param[out] dst  destination row, 2 * srcWidth samples
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcWidth is below 1
 */
QLM_API QlmStatus qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* src, int32_t srcWidth, uint8_t* dst);

/**
 * Doubles one row of a plane that is doubled in both directions. With `c[k] = 3 src1[k] + src2[k]`:
 * `d[2k] = (3 c[k] + c[k - 1] + 8) >> 4`, `d[2k + 1] = (3 c[k] + c[k + 1] + 7) >> 4`, at the ends with c of the first
 * and last sample in place of the missing neighbour.
 *
 * @param[in] src1  the source row that is nearest to the destination row
 * @param[in] src2  the other source row, above or below
 * @param[in] srcWidth  samples in a source row; at least 2 for a meaningful result. 1 is not refused
 * @param[out] dst  destination row, 2 * srcWidth samples
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcWidth is below 1
 */
QLM_API QlmStatus qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* src1, const uint8_t* src2, int32_t srcWidth,
                                                          uint8_t* dst);

/** @} */
/** @name Sampling of one MCU
 *  Between interleaved 8-bit components and the level-shifted blocks of one MCU. Nothing is filtered across the borders
 *  of the MCU. The entries of an array are Y, Cb, Cr; blocks of a component follow one another, 64 elements apart.
 *  Blocks and pixels must not overlap.
 *  @{ */

/**
 * Takes the interleaved components of one MCU apart into blocks, with a chroma sample a pixel: each value is the sample
 * minus 128.
 *
 * @param[in] src  8 rows of 8 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  one block each of Y, Cb and Cr
 * @retval qlmOk  the blocks are written
 * @retval qlmErrNullPointer  @p src, the array or (tested behind the step) one of its entries is null
 * @retval qlmErrStep  @p srcStep is below 1
 */
QLM_API QlmStatus qlmiSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);

/**
 * Takes the interleaved components of one MCU apart into blocks, with a chroma sample for two pixels of a row, their
 * truncated mean: `((a + b) >> 1) - 128`.
 *
 * @param[in] src  8 rows of 16 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  two blocks of Y (left, right), one each of Cb and Cr
 * @retval qlmOk  the blocks are written
 * @retval qlmErrNullPointer  @p src, the array or (tested behind the step) one of its entries is null
 * @retval qlmErrStep  @p srcStep is below 1
 */
QLM_API QlmStatus qlmiSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);

/**
 * Takes the interleaved components of one MCU apart into blocks, with a chroma sample for 2x2 pixels, their truncated
 * mean: `((a + b + c + d) >> 2) - 128`.
 *
 * @param[in] src  16 rows of 16 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  four blocks of Y (in raster order), one each of Cb and Cr
 * @retval qlmOk  the blocks are written
 * @retval qlmErrNullPointer  @p src, the array or (tested behind the step) one of its entries is null
 * @retval qlmErrStep  @p srcStep is below 1
 */
QLM_API QlmStatus qlmiSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);

/**
 * Puts the blocks of one MCU together to interleaved components, with a chroma sample a pixel: each byte is the value
 * plus 128, clamped to 0 to 255.
 *
 * @param[in] src  one block each of Y, Cb and Cr
 * @param[out] dst  8 rows of 8 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @retval qlmOk  the pixels are written
 * @retval qlmErrNullPointer  the array, @p dst or one of the array's entries is null (all tested before the step)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);

/**
 * Puts the blocks of one MCU together to interleaved components, each chroma sample replicated over two pixels of a
 * row: each byte is the value plus 128, clamped to 0 to 255.
 *
 * @param[in] src  two blocks of Y (left, right), one each of Cb and Cr
 * @param[out] dst  8 rows of 16 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @retval qlmOk  the pixels are written
 * @retval qlmErrNullPointer  the array, @p dst or one of the array's entries is null (all tested before the step)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);

/**
 * Puts the blocks of one MCU together to interleaved components, each chroma sample replicated over 2x2 pixels: each
 * byte is the value plus 128, clamped to 0 to 255.
 *
 * @param[in] src  four blocks of Y (in raster order), one each of Cb and Cr
 * @param[out] dst  16 rows of 16 pixels of 3 bytes: Y, Cb, Cr
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @retval qlmOk  the pixels are written
 * @retval qlmErrNullPointer  the array, @p dst or one of the array's entries is null (all tested before the step)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);

/**
 * Takes one MCU of packed 4:2:2 apart into blocks: each value is the sample minus 128.
 *
 * @param[in] src  8 rows of 32 bytes: Y0, Cb0, Y1, Cr0, and so on
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dst  two blocks of Y (left, right), one each of Cb and Cr
 * @retval qlmOk  the blocks are written
 * @retval qlmErrNullPointer  @p src, the array or (tested behind the step) one of its entries is null
 * @retval qlmErrStep  @p srcStep is below 1
 */
QLM_API QlmStatus qlmiSplit422LS_MCU_8u16s_C2P3R(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]);

/**
 * Puts the blocks of one MCU together to packed 4:2:2: each byte is the value plus 128, clamped to 0 to 255.
 *
 * @param[in] src  two blocks of Y (left, right), one each of Cb and Cr
 * @param[out] dst  8 rows of 32 bytes: Y0, Cb0, Y1, Cr0, and so on
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @retval qlmOk  the pixels are written
 * @retval qlmErrNullPointer  the array, @p dst or one of the array's entries is null (all tested before the step)
 * @retval qlmErrStep  @p dstStep is below 1
 */
QLM_API QlmStatus qlmiJoin422LS_MCU_16s8u_P3C2R(const int16_t* const src[3], uint8_t* dst, int32_t dstStep);

/** @} */
/** @name Huffman tables and coder state (T.81 Annexes C, F.1.2, F.2.2)
 *  All Huffman coders work on four records, in memory of the caller (size query and Init) or in memory of the library
 *  (InitAlloc and Free). Tables are read-only once built and may be shared by any number of threads. A state belongs to
 *  one entropy-coded segment and to one thread at a time: it starts with Init, and the encoder's is reset by every
 *  flush, while the decoder's is to be initialised again at each restart interval and scan.
 *
 *  Tables are built from the two lists of a DHT segment: 16 counts, of which entry i is the number of codes of length
 *  i + 1, and the values in the order of their codes, of which as many are read as the counts add up to.
 *  @{ */

/** Decoding table: the code limits of T.81 F.2.2.3 and a lookup by the first byte. Read-only once built. */
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

/**
 * Size of a #QlmDecodeHuffmanSpec, for whoever allocates it without its declaration.
 *
 * @param[out] size  the size in bytes, 1644
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* size);

/**
 * Builds a decoding table in memory of the caller.
 *
 * More lenient than the encoder's: codes that outgrow their length are accepted, as long as no code of up to 8 bits
 * leaves the lookup. Decoding with such a table is defined and safe, though not sensible.
 *
 * @param[in] counts  16 counts of codes by length
 * @param[in] values  values in code order
 * @param[out] spec  the table
 * @retval qlmOk  the table is built; without any code, the first symbol that is read with it fails
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrHuffTable  more than 256 codes, or a code of up to 8 bits leaves the lookup; the table is not to be
 * used
 */
QLM_API QlmStatus qlmiDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                    QlmDecodeHuffmanSpec* spec);

/**
 * Allocates a decoding table and builds it as qlmiDecodeHuffmanSpecInit_JPEG_8u() does.
 *
 * @param[in] counts  16 counts of codes by length
 * @param[in] values  values in code order
 * @param[out] spec  receives the table, which the caller releases by qlmiDecodeHuffmanSpecFree_JPEG_8u(), also after
 *                   qlmErrHuffTable
 * @retval qlmOk  the table is built
 * @retval qlmErrNullPointer  a pointer is null or the allocation failed; nothing is stored
 * @retval qlmErrHuffTable  as qlmiDecodeHuffmanSpecInit_JPEG_8u()
 */
QLM_API QlmStatus qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                         QlmDecodeHuffmanSpec** spec);

/**
 * Releases a table that qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u() allocated.
 *
 * @param[in] spec  the table
 * @retval qlmOk  the table is released
 * @retval qlmErrNullPointer  @p spec is null
 */
QLM_API QlmStatus qlmiDecodeHuffmanSpecFree_JPEG_8u(QlmDecodeHuffmanSpec* spec);

/**
 * Size of a #QlmEncodeHuffmanSpec.
 *
 * @param[out] size  the size in bytes, 1024
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* size);

/**
 * Builds an encoding table in memory of the caller (T.81 C.2, C.3).
 *
 * A value that stands twice in the list has the later code. No value is refused for the class of the table.
 *
 * @param[in] counts  16 counts of codes by length
 * @param[in] values  values in code order
 * @param[out] spec  the table
 * @retval qlmOk  the table is built; coding a symbol that is not among the values fails
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrHuffTable  more than 256 codes, more codes of a length than there are, or a code of all ones; the table
 *                          then has no code at all
 */
QLM_API QlmStatus qlmiEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                    QlmEncodeHuffmanSpec* spec);

/**
 * Allocates an encoding table and builds it as qlmiEncodeHuffmanSpecInit_JPEG_8u() does.
 *
 * @param[in] counts  16 counts of codes by length
 * @param[in] values  values in code order
 * @param[out] spec  receives the table, which the caller releases by qlmiEncodeHuffmanSpecFree_JPEG_8u(), also after
 *                   qlmErrHuffTable
 * @retval qlmOk  the table is built
 * @retval qlmErrNullPointer  a pointer is null or the allocation failed; nothing is stored
 * @retval qlmErrHuffTable  as qlmiEncodeHuffmanSpecInit_JPEG_8u()
 */
QLM_API QlmStatus qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* counts, const uint8_t* values,
                                                         QlmEncodeHuffmanSpec** spec);

/**
 * Releases a table that qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u() allocated.
 *
 * @param[in] spec  the table
 * @retval qlmOk  the table is released
 * @retval qlmErrNullPointer  @p spec is null
 */
QLM_API QlmStatus qlmiEncodeHuffmanSpecFree_JPEG_8u(QlmEncodeHuffmanSpec* spec);

/**
 * Size of a #QlmDecodeHuffmanState.
 *
 * @param[out] size  the size in bytes, 24
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size);

/**
 * Makes a decoder's state ready for a segment: no bits, no end-of-band run. The caller clears its marker as well.
 *
 * @param[out] state  the state
 * @retval qlmOk  the state is ready
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiDecodeHuffmanStateInit_JPEG_8u(QlmDecodeHuffmanState* state);

/**
 * Allocates a decoder's state, ready for a segment.
 *
 * @param[out] state  receives the state, which the caller releases by qlmiDecodeHuffmanStateFree_JPEG_8u()
 * @retval qlmOk  the state is ready
 * @retval qlmErrNullPointer  @p state is null or the allocation failed; nothing is stored
 */
QLM_API QlmStatus qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(QlmDecodeHuffmanState** state);

/**
 * Releases a state that qlmiDecodeHuffmanStateInitAlloc_JPEG_8u() allocated.
 *
 * @param[in] state  the state
 * @retval qlmOk  the state is released
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiDecodeHuffmanStateFree_JPEG_8u(QlmDecodeHuffmanState* state);

/**
 * Size of a #QlmEncodeHuffmanState.
 *
 * @param[out] size  the size in bytes, 1048
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiEncodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size);

/**
 * Makes an encoder's state ready for a segment: no pending bits, no end-of-band run, no correction bits.
 *
 * @param[out] state  the state
 * @retval qlmOk  the state is ready
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiEncodeHuffmanStateInit_JPEG_8u(QlmEncodeHuffmanState* state);

/**
 * Allocates an encoder's state, ready for a segment.
 *
 * @param[out] state  receives the state, which the caller releases by qlmiEncodeHuffmanStateFree_JPEG_8u()
 * @retval qlmOk  the state is ready
 * @retval qlmErrNullPointer  @p state is null or the allocation failed; nothing is stored
 */
QLM_API QlmStatus qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(QlmEncodeHuffmanState** state);

/**
 * Releases a state that qlmiEncodeHuffmanStateInitAlloc_JPEG_8u() allocated.
 *
 * @param[in] state  the state
 * @retval qlmOk  the state is released
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiEncodeHuffmanStateFree_JPEG_8u(QlmEncodeHuffmanState* state);

/** @} */
/** @name Huffman coding of baseline blocks (T.81 F.1.2, F.2.2)
 *  One block of quantised coefficients a call, with 0x00 stuffed behind every byte 0xFF. The caller keeps the position
 *  in the stream and one last DC value a component, both 0 at first; the last DC value is also reset at each restart
 *  interval. The first pair works on a stream of known length with a state, and reports every shortage. The `_Direct`
 *  pair has neither: positions count bits, and that the stream is long enough is the caller's affair.
 *  @{ */

/**
 * Encodes one block, or ends a segment.
 *
 * Bits that do not fill a byte stay pending in @p state. The last call for a segment has @p flush set: it pads the
 * pending bits with ones, stores them, and resets the state. It looks at nothing else, so @p src, @p lastDC and the
 * tables may then be null.
 *
 * Bytes of the destination behind the new position may have been written, too.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in,out] lastDC  DC value of the block before of the same component, replaced by that of this block before
 *                        anything is written
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in] acTable  codes of the AC symbols, run of zeroes * 16 + category
 * @param[in,out] state  pending bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the block is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrHuffTable  a symbol has no code in its table; what stands before it in the block is written. There is
 * no symbol for a coefficient of -32768 behind 15 zeroes
 * @retval qlmErrOutOfBuffer  the destination is full; what fits is written and counted in the position, while the state
 *                            holds the bits from before the code or value that did not fit. A flush resets the state
 *                            all the same
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                     int32_t* dstPosition, int16_t* lastDC,
                                                     const QlmEncodeHuffmanSpec* dcTable,
                                                     const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state,
                                                     int32_t flush);

/**
 * Decodes one block.
 *
 * A marker in the source ends the reading: it is recorded in @p marker, with the position behind it, and as long as
 * that is nonzero no byte is read. Blocks are then decoded from the bits that are left in @p state, until they fall
 * short. How many bits of the source the state holds between blocks depends on what lies ahead in the source; the
 * position and the state belong together.
 *
 * Of the DC symbol the low 4 bits count. A run that goes up to 8 positions beyond the end of the block puts its value
 * at position 63.
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes; may be 0, as the state may hold enough bits
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[out] dst  64 quantised coefficients in natural order
 * @param[in,out] lastDC  DC value of the block before of the same component, replaced by that of this block as soon as
 *                        that is read
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in] acTable  codes of the AC symbols
 * @param[in,out] state  bits read and not yet used; `codedPositions` tells how far the block was coded
 * @retval qlmOk  the block is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrBadArgument  @p srcLength is negative
 * @retval qlmErrOutOfBuffer  the source ends where bits are needed, or with a 0xFF
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches
 * @retval qlmErrDecodedPosition  a run goes more than 8 positions beyond the end of the block; `codedPositions` is as
 *                                before
 *
 * After the last three the block holds the coefficients up to the failure, and the position and the state what was
 * read.
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength, int32_t* srcPosition,
                                                     int16_t* dst, int16_t* lastDC, int32_t* marker,
                                                     const QlmDecodeHuffmanSpec* dcTable,
                                                     const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state);

/**
 * Encodes one block at a bit position.
 *
 * Bits before the position in its byte are kept. The bits of the block that do not fill a byte are stored in the byte
 * at the new position with zeroes behind them, or a zero byte where there are none; whoever ends a segment fills them
 * up with ones. No length is tested: the destination needs room for the block and 8 bytes, of which up to 3 behind the
 * new position may be written. A symbol without a code in its table takes no bits, though its value does.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[in,out] dst  the destination, from its beginning
 * @param[in,out] dstBitPosition  position in the destination in bits, moved on behind the block
 * @param[in,out] lastDC  DC value of the block before of the same component, replaced by that of this block
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in] acTable  codes of the AC symbols
 * @retval qlmOk  the block is encoded
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t* dstBitPosition,
                                                            int16_t* lastDC, const QlmEncodeHuffmanSpec* dcTable,
                                                            const QlmEncodeHuffmanSpec* acTable);

/**
 * Decodes one block at a position, with bits read ahead in two variables of the caller, both 0 at first.
 *
 * No length is tested: the source must go on with a marker behind its last block. It may be read up to the end of the
 * aligned 16 bytes that hold the last byte that is needed. At a marker the reading ends, and blocks are decoded from
 * the bits that are left: a call that finds none gives a block of zeroes and changes nothing; where they end within a
 * code, so does the block. A last code or value may take more bits than are left, which leaves a negative count, and
 * the next call fails.
 *
 * @param[in] src  the source, from its beginning
 * @param[in,out] srcBitPosition  position in the source in bits, rounded down to a byte on entry; behind the bytes read
 *                                on return, so a multiple of 8
 * @param[out] dst  64 quantised coefficients in natural order
 * @param[in,out] lastDC  DC value of the block before of the same component, replaced by that of this block as soon as
 *                        that is read
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in,out] prefetchedBits  bits read and not yet used, right-justified
 * @param[in,out] prefetchedCount  number of valid bits of @p prefetchedBits, at most 32
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in] acTable  codes of the AC symbols
 * @retval qlmOk  the block is decoded, or the segment is at its end
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrBadArgument  the position or the count is negative
 * @retval qlmErrOutOfBuffer  no bit is left where a value is needed
 * @retval qlmErrDctRange  no code of up to 16 bits matches
 * @retval qlmErrDecodedPosition  a run goes more than 8 positions beyond the end of the block
 *
 * After the last three the position and the bits read ahead are as before.
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* src, int32_t* srcBitPosition, int16_t* dst,
                                                            int16_t* lastDC, int32_t* marker, uint32_t* prefetchedBits,
                                                            int32_t* prefetchedCount,
                                                            const QlmDecodeHuffmanSpec* dcTable,
                                                            const QlmDecodeHuffmanSpec* acTable);

/** @} */
/** @name Huffman coding of progressive blocks (T.81 Annex G)
 *  One block of one scan a call, in both directions: the first scan of the DC coefficients, the first scan of a band of
 *  AC coefficients, and the scans that add one bit to either. The band is the zig-zag positions @p ss to @p se; @p al
 *  is how many low bits of the coefficients the scan leaves to later ones. Streams, positions, markers and last DC
 *  values are as for baseline blocks. Blocks are in natural order; the decoders never clear one: the caller keeps all
 *  coefficients of the picture, which start from zero, and every scan adds its part.
 *
 *  A scan, or a restart interval of it, is coded with a state of its own: from Init, block by block, and for the
 *  encoders up to a call with the flush flag set. DC and AC scans hold their pending bits in different forms, so each
 *  is to be ended by its own function.
 *  @{ */

/**
 * Encodes the DC coefficient of one block in a first scan (T.81 G.1.2.1), or ends a segment.
 *
 * The value is the coefficient shifted right by @p al, rounded down. With @p flush set the pending bits are padded with
 * ones and stored, and the state is reset; nothing else is looked at, so @p src, @p lastDC and @p dcTable may then be
 * null. Bytes of the destination behind the new position may have been written, too.
 *
 * @param[in] src  64 quantised coefficients in natural order, of which the first is read
 * @param[out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in,out] lastDC  shifted DC value of the block before of the same component, replaced by that of this block
 *                        before anything is written
 * @param[in] al  low bits that are left out, 0 to 13
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in,out] state  pending bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the block is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrBadArgument  @p al is outside its range
 * @retval qlmErrDctRange  the difference has a category above 11; nothing is written
 * @retval qlmErrHuffTable  the category has no code in the table; nothing is written
 * @retval qlmErrOutOfBuffer  the destination is full, as for qlmiEncodeHuffman8x8_JPEG_16s1u_C1()
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                             int32_t* dstPosition, int16_t* lastDC, int32_t al,
                                                             const QlmEncodeHuffmanSpec* dcTable,
                                                             QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Encodes one more bit of the DC coefficient of one block (T.81 G.1.2.1), or ends a segment.
 *
 * The bit is bit @p al of the coefficient. With @p flush set the pending bits are padded with ones and stored, and the
 * state is reset; @p src may then be null.
 *
 * @param[in] src  64 quantised coefficients in natural order, of which the first is read
 * @param[out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in] al  the bit, 0 to 13
 * @param[in,out] state  pending bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the bit is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrBadArgument  @p al is outside its range
 * @retval qlmErrOutOfBuffer  the destination is full, as for qlmiEncodeHuffman8x8_JPEG_16s1u_C1()
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                              int32_t* dstPosition, int32_t al,
                                                              QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Encodes a band of one block in its first scan (T.81 G.1.2.2), or ends a segment.
 *
 * Magnitudes are shifted right by @p al; what becomes zero counts as zero. Blocks whose band ends with zeroes are
 * counted into a run, which is written before the next coefficient, when it reaches 32767, or at the end of the
 * segment. With @p flush set the run is written, with the correction bits that @p state may hold, the last byte is
 * padded with ones where bits are pending for it, and the state is reset, except that `eobRun` remains where its
 * symbol could not be written; @p src, @p ss, @p se and @p al are then not looked at, and @p src may be null.
 *
 * Up to 64 bits stay pending in @p state between calls. Bytes of the destination behind the new position may have been
 * written, too.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in] ss  first zig-zag position of the band, 1 to 63
 * @param[in] se  last zig-zag position of the band, @p ss to 63
 * @param[in] al  low bits that are left out, 0 to 13
 * @param[in] acTable  codes of the AC symbols: run of zeroes * 16 + category, and log2 of a run of blocks * 16
 * @param[in,out] state  pending bits and the pending run
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the block is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is outside its range
 * @retval qlmErrDctRange  a shifted magnitude has more than 11 bits, or a run that the state was given is too long
 * @retval qlmErrHuffTable  a symbol has no code in the table
 * @retval qlmErrOutOfBuffer  the destination is full
 *
 * After the last three what stands before the failure is written, or pending in @p state. A flush resets the state all
 * the same.
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                             int32_t* dstPosition, int32_t ss, int32_t se, int32_t al,
                                                             const QlmEncodeHuffmanSpec* acTable,
                                                             QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Encodes one more bit of a band of one block (T.81 G.1.2.3), or ends a segment.
 *
 * Coefficients that become nonzero by bit @p al are coded with their signs. Those that were nonzero before have a
 * correction bit each, which follows the next symbol; the correction bits of blocks in a pending run are kept in
 * @p state, and the run is also written once there are more than 937 of them. Otherwise as
 * qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1().
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in] ss  first zig-zag position of the band, 1 to 63
 * @param[in] se  last zig-zag position of the band, @p ss to 63
 * @param[in] al  the bit, 0 to 13
 * @param[in] acTable  codes of the AC symbols: run of zeroes * 16 + 1, and log2 of a run of blocks * 16
 * @param[in,out] state  pending bits, the pending run and its correction bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the block is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is outside its range
 * @retval qlmErrDctRange  a run that the state was given is too long
 * @retval qlmErrHuffTable  a symbol has no code in the table
 * @retval qlmErrOutOfBuffer  the destination is full
 *
 * After the last three what stands before the failure is written, or pending in @p state, except for the correction
 * bits of the block that no symbol stands before; `correctionCount` is as before the call. A flush resets the state all
 * the same.
 */
QLM_API QlmStatus qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                              int32_t* dstPosition, int32_t ss, int32_t se, int32_t al,
                                                              const QlmEncodeHuffmanSpec* acTable,
                                                              QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Decodes the DC coefficient of one block in a first scan (T.81 G.2).
 *
 * Of the symbol the low 4 bits count. The other coefficients stay as they are.
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[in,out] dst  64 quantised coefficients in natural order, of which the first is written
 * @param[in,out] lastDC  DC value of the block before of the same component, before the shift, replaced by that of this
 *                        block
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] al  by how many bits the value is shifted left, 0 to 13
 * @param[in] dcTable  codes of the categories of DC differences
 * @param[in,out] state  bits read and not yet used
 * @retval qlmOk  the block is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength is below 1
 * @retval qlmErrBadArgument  @p al is outside its range
 * @retval qlmErrOutOfBuffer  the source ends where bits are needed, or with a 0xFF; the block is as before
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches; the block is as before
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength,
                                                             int32_t* srcPosition, int16_t* dst, int16_t* lastDC,
                                                             int32_t* marker, int32_t al,
                                                             const QlmDecodeHuffmanSpec* dcTable,
                                                             QlmDecodeHuffmanState* state);

/**
 * Decodes one more bit of the DC coefficient of one block (T.81 G.2).
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[in,out] dst  64 quantised coefficients in natural order; bit @p al of the first is set where the bit is 1
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] al  the bit, 0 to 13
 * @param[in,out] state  bits read and not yet used
 * @retval qlmOk  the bit is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength is below 1
 * @retval qlmErrBadArgument  @p al is outside its range
 * @retval qlmErrOutOfBuffer  the source ends where the bit is needed, or with a 0xFF; the block is as before
 * @retval qlmErrDctRange  the bit is needed behind a marker; the block is as before
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength,
                                                              int32_t* srcPosition, int16_t* dst, int32_t* marker,
                                                              int32_t al, QlmDecodeHuffmanState* state);

/**
 * Decodes a band of one block in its first scan (T.81 G.2).
 *
 * While a run of blocks without coefficients lasts, a call only counts it down. Zero coefficients are not written. The
 * data is trusted: a run of zeroes that goes beyond the band puts its value at a later position of the block, and one
 * that goes beyond the block at position 63.
 *
 * The state holds up to 64 bits between calls; how many depends on what lies ahead in the source. The position and the
 * state belong together.
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[in,out] dst  64 quantised coefficients in natural order
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] ss  first zig-zag position of the band, 1 to 63
 * @param[in] se  last zig-zag position of the band, @p ss to 63
 * @param[in] al  by how many bits the values are shifted left, 0 to 13
 * @param[in] acTable  codes of the AC symbols
 * @param[in,out] state  bits read and not yet used, and the run of blocks
 * @retval qlmOk  the block is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength is below 1
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is outside its range
 * @retval qlmErrOutOfBuffer  the source or, by a marker that was not met before, the segment ends where bits are needed
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches
 *
 * After the last two the block holds the coefficients up to the failure.
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength,
                                                             int32_t* srcPosition, int16_t* dst, int32_t* marker,
                                                             int32_t ss, int32_t se, int32_t al,
                                                             const QlmDecodeHuffmanSpec* acTable,
                                                             QlmDecodeHuffmanState* state);

/**
 * Decodes one more bit of a band of one block (T.81 G.2).
 *
 * A coefficient that is nonzero takes a correction bit, which adds 2^@p al to its magnitude unless bit @p al is set
 * already. A coefficient that becomes nonzero has that magnitude. The data is trusted: any category but 0 counts as 1,
 * and where a run of zeroes goes beyond the band its coefficient is stored at the position behind the band, or at 63.
 * Otherwise as qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1().
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[in,out] dst  64 quantised coefficients in natural order
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] ss  first zig-zag position of the band, 1 to 63
 * @param[in] se  last zig-zag position of the band, @p ss to 63
 * @param[in] al  the bit, 0 to 13
 * @param[in] acTable  codes of the AC symbols
 * @param[in,out] state  bits read and not yet used, and the run of blocks
 * @retval qlmOk  the block is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength is below 1
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is outside its range
 * @retval qlmErrOutOfBuffer  the source or, by a marker that was not met before, the segment ends where bits are needed
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches
 *
 * After the last two the block holds the coefficients up to the failure.
 */
QLM_API QlmStatus qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength,
                                                              int32_t* srcPosition, int16_t* dst, int32_t* marker,
                                                              int32_t ss, int32_t se, int32_t al,
                                                              const QlmDecodeHuffmanSpec* acTable,
                                                              QlmDecodeHuffmanState* state);

/** @} */
/** @name Huffman statistics and optimal tables (T.81 K.2)
 *  The first pass of optimal coding counts, symbol by symbol, what the coders would write, and
 *  qlmiEncodeHuffmanRawTableInit_JPEG_8u() makes the lists of a table of the counts; the second pass codes with it.
 *
 *  Statistics are 256 counts by symbol, which the caller sets to zero at first and which every call adds to: by
 * category for DC values and lossless differences, by run of zeroes * 16 + category for AC coefficients, with 0x00 for
 * the end of the block, 0xF0 for 16 zeroes and 16 * n for an end-of-band run of 2^n blocks and more. After a failure
 * they hold what was counted up to it.
 *  @{ */

/**
 * Counts one DC difference or lossless difference.
 *
 * @param[in] src  the difference
 * @param[in,out] dcStatistics  256 counts, of which those of categories 0 to 16 are used
 * @retval qlmOk  the difference is counted
 * @retval qlmErrNullPointer  a pointer is null
 */
QLM_API QlmStatus qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(const int16_t* src, int32_t* dcStatistics);

/**
 * Counts the symbols of a sequential block (T.81 F.1.2).
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[in,out] dcStatistics  256 counts of the categories of DC differences
 * @param[in,out] acStatistics  256 counts of the AC symbols
 * @param[in,out] lastDC  DC value of the block before of the same component, replaced by that of this block
 * @retval qlmOk  the block is counted
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrDctRange  a DC difference of category 16, with @p lastDC replaced all the same, or an AC coefficient of
 *                         category 15 or 16
 */
QLM_API QlmStatus qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(const int16_t* src, int32_t* dcStatistics,
                                                          int32_t* acStatistics, int16_t* lastDC);

/**
 * Counts the symbol of a block in the first DC scan of a progressive image (T.81 G.1.2.1). Refinement scans of DC
 * values have no symbols.
 *
 * @param[in] src  64 quantised coefficients in natural order, of which the first is used
 * @param[in,out] dcStatistics  256 counts of the categories of DC differences
 * @param[in,out] lastDC  shifted DC value of the block before of the same component, replaced by that of this block
 * @param[in] al  bits that the scan leaves out, 0 to 13
 * @retval qlmOk  the block is counted
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrBadArgument  @p al is out of its range
 * @retval qlmErrDctRange  a difference of a category above 11; @p lastDC is replaced all the same
 */
QLM_API QlmStatus qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const int16_t* src, int32_t* dcStatistics,
                                                                  int16_t* lastDC, int32_t al);

/**
 * Counts the symbols of a block in the first scan of a band of AC coefficients (T.81 G.1.2.2), or ends the scan.
 *
 * Blocks without a coefficient to code, or behind their last one, lengthen an end-of-band run that @p state keeps. Its
 * symbol is counted when the run ends: before the next coefficient, at 0x7FFF blocks, or by the last call of a scan or
 * restart interval, which has @p flush set and resets the state whatever its status. That call looks at nothing else.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[in,out] acStatistics  256 counts of the AC symbols
 * @param[in] ss  first position of the band in zig-zag order, 1 to 63
 * @param[in] se  last position of the band, @p ss to 63
 * @param[in] al  bits that the scan leaves out, 0 to 13
 * @param[in,out] state  the pending run
 * @param[in] flush  nonzero to end the scan
 * @retval qlmOk  the block is counted, or the scan ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is out of its range
 * @retval qlmErrDctRange  a shifted coefficient of more than 10 bits, one less than the encoder allows; or a pending
 * run, from elsewhere, that no symbol can express
 */
QLM_API QlmStatus qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* src, int32_t* acStatistics, int32_t ss,
                                                                  int32_t se, int32_t al, QlmEncodeHuffmanState* state,
                                                                  int32_t flush);

/**
 * Counts the symbols of a block in a refinement scan of a band of AC coefficients (T.81 G.1.2.3), or ends the scan.
 *
 * As qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(), but the run also ends when more than 937 correction bits have
 * gathered, of which @p state keeps the number alone.
 *
 * @param[in] src  64 quantised coefficients in natural order
 * @param[in,out] acStatistics  256 counts of the AC symbols
 * @param[in] ss  first position of the band in zig-zag order, 1 to 63
 * @param[in] se  last position of the band, @p ss to 63
 * @param[in] al  the bit that the scan adds, 0 to 13
 * @param[in,out] state  the pending run and the number of its correction bits
 * @param[in] flush  nonzero to end the scan
 * @retval qlmOk  the block is counted, or the scan ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrBadArgument  @p ss, @p se or @p al is out of its range
 * @retval qlmErrDctRange  a pending run, from elsewhere, that no symbol can express
 */
QLM_API QlmStatus qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* src, int32_t* acStatistics,
                                                                   int32_t ss, int32_t se, int32_t al,
                                                                   QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Makes the lists of a DHT segment for a table that is optimal for given statistics, with codes of up to 16 bits and
 * none of all ones (T.81 figures K.1 to K.4). Of symbols that are equally frequent the higher one gets no shorter code.
 *
 * Counts and the sums of them that are merged must stay within 1000000000: symbols beyond are left out, and the table
 * is not complete.
 *
 * @param[in] statistics  256 counts by symbol
 * @param[out] counts  16 counts of codes by length
 * @param[out] values  values in code order, room for 256; as many are written as there are symbols with a code
 * @retval qlmOk  the lists are written; they are empty where no symbol occurs
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrHuffTable  a code would have more than 32 bits before the limit to 16; nothing is written
 */
QLM_API QlmStatus qlmiEncodeHuffmanRawTableInit_JPEG_8u(const int32_t* statistics, uint8_t* counts, uint8_t* values);

/** @} */
/** @name Lossless prediction and row coding (T.81 Annex H)
 *  A row of samples becomes a row of differences to a prediction from the neighbours, which is Huffman coded by
 *  categories; decoding goes the other way. Both are signed and wrap modulo 2^16: samples of 16 bits are handed over as
 *  the signed values of the same bits. Of a row that is not the first, the first sample is predicted from the one
 * above.
 *
 *  Prediction works from left to right, each element being read from memory when its turn comes, whatever the overlap
 * of the rows: the destination may be a source row where no element is needed once it has been overwritten.
 *  @{ */

/**
 * Differences of the first row of an image or restart interval: to the sample on the left, of the first sample to
 * 2^(precision - pointTransform - 1) (T.81 H.1.2.1).
 *
 * @param[in] src  the samples
 * @param[out] dst  the differences
 * @param[in] width  samples in the row
 * @param[in] precision  bits of a sample, 2 to 16
 * @param[in] pointTransform  bits that the samples have been shifted right by, at least 0; from @p precision on, the
 *                            exponent above is taken modulo 32
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 * @retval qlmErrBadArgument  @p precision or @p pointTransform is out of its range
 */
QLM_API QlmStatus qlmiDiffPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int32_t width, int32_t precision,
                                                   int32_t pointTransform);

/**
 * Samples of the first row from their differences; the inverse of qlmiDiffPredFirstRow_JPEG_16s_C1(). The destination
 * may be the source.
 *
 * @param[in] src  the differences
 * @param[out] dst  the samples
 * @param[in] width  samples in the row
 * @param[in] precision  bits of a sample, 2 to 16
 * @param[in] pointTransform  bits that the samples have been shifted right by, at least 0
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 * @retval qlmErrBadArgument  @p precision or @p pointTransform is out of its range
 */
QLM_API QlmStatus qlmiReconstructPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int32_t width,
                                                          int32_t precision, int32_t pointTransform);

/**
 * Differences of a later row to a prediction from the sample a on the left, b above and c above on the left (T.81 table
 * H.1): 1 is a, 2 is b, 3 is c, 4 is a + b - c, 5 is a + ((b - c) >> 1), 6 is b + ((a - c) >> 1), 7 is (a + b) >> 1.
 * Halves are those of signed values in 32 bits.
 *
 * @param[in] src  the samples
 * @param[in] previous  the samples of the row above
 * @param[out] dst  the differences
 * @param[in] width  samples in a row
 * @param[in] predictor  1 to 7
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 * @retval qlmErrBadArgument  @p predictor is out of its range
 */
QLM_API QlmStatus qlmiDiffPredRow_JPEG_16s_C1(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width,
                                              int32_t predictor);

/**
 * Samples of a later row from their differences; the inverse of qlmiDiffPredRow_JPEG_16s_C1(). The destination may be
 * the source.
 *
 * @param[in] src  the differences
 * @param[in] previous  the samples of the row above
 * @param[out] dst  the samples
 * @param[in] width  samples in a row
 * @param[in] predictor  1 to 7
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 * @retval qlmErrBadArgument  @p predictor is out of its range
 */
QLM_API QlmStatus qlmiReconstructPredRow_JPEG_16s_C1(const int16_t* src, const int16_t* previous, int16_t* dst,
                                                     int32_t width, int32_t predictor);

/**
 * Encodes one difference (T.81 H.1.2.2), or ends a segment.
 *
 * Bits that do not fill a byte stay pending in @p state. The last call for a segment has @p flush set: it pads the
 * pending bits with ones, stores them, and resets the state. It looks at nothing else.
 *
 * @param[in] src  the difference
 * @param[in,out] dst  the destination, from its beginning
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in] dcTable  codes of the categories 0 to 16
 * @param[in,out] state  pending bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the difference is encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null
 * @retval qlmErrSize  @p dstLength is below 1
 * @retval qlmErrHuffTable  the category has no code in the table
 * @retval qlmErrOutOfBuffer  the destination is full; what fits is written and counted in the position, while the state
 *                            holds the bits from before the code or value that did not fit. A flush resets the state
 *                            all the same
 */
QLM_API QlmStatus qlmiEncodeHuffmanOne_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst, int32_t dstLength,
                                                     int32_t* dstPosition, const QlmEncodeHuffmanSpec* dcTable,
                                                     QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Decodes one difference (T.81 H.2.2). A symbol of 16 or more stands for 32768, which is -32768 in 16 bits, and has no
 * further bits.
 *
 * A marker in the source ends the reading: it is recorded in @p marker, with the position behind it, and as long as
 * that is nonzero no byte is read.
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[out] dst  the difference
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] dcTable  codes of the categories
 * @param[in,out] state  bits read and not yet used
 * @retval qlmOk  the difference is decoded
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength is below 1
 * @retval qlmErrOutOfBuffer  the source ends where bits are needed, or with a 0xFF
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches
 *
 * After the last two the position and the state hold what was read.
 */
QLM_API QlmStatus qlmiDecodeHuffmanOne_JPEG_1u16s_C1(const uint8_t* src, int32_t srcLength, int32_t* srcPosition,
                                                     int16_t* dst, int32_t* marker, const QlmDecodeHuffmanSpec* dcTable,
                                                     QlmDecodeHuffmanState* state);

/**
 * Encodes a row of differences of up to four components, interleaved sample by sample as in a scan whose MCUs have one
 * sample of each, or ends a segment as qlmiEncodeHuffmanOne_JPEG_16s1u_C1() does.
 *
 * @param[in] rows  the differences, one row a component; of more than four the first four are coded
 * @param[in] width  differences in a row
 * @param[in] rowCount  number of rows
 * @param[in,out] dst  the destination, from its beginning; bytes behind the new position may have been written, too
 * @param[in] dstLength  length of the destination in bytes
 * @param[in,out] dstPosition  position in the destination in bytes, moved on behind the bytes stored
 * @param[in] dcTables  codes of the categories 0 to 16, one table a row
 * @param[in,out] state  pending bits
 * @param[in] flush  nonzero to end the segment
 * @retval qlmOk  the rows are encoded, or the segment ended
 * @retval qlmErrNullPointer  a pointer that is needed is null, also one of the first four rows and tables
 * @retval qlmErrSize  @p dstLength, @p width or @p rowCount is below 1
 * @retval qlmErrHuffTable  a category has no code in its table
 * @retval qlmErrOutOfBuffer  the destination is full
 *
 * After the last two the position and the state are as before; with more than four rows they are as
 * qlmiEncodeHuffmanOne_JPEG_16s1u_C1() leaves them at the difference that failed.
 */
QLM_API QlmStatus qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(const int16_t* const rows[], int32_t width, int32_t rowCount,
                                                       uint8_t* dst, int32_t dstLength, int32_t* dstPosition,
                                                       const QlmEncodeHuffmanSpec* const dcTables[],
                                                       QlmEncodeHuffmanState* state, int32_t flush);

/**
 * Decodes a row of differences of up to four components, interleaved sample by sample.
 *
 * Each difference is decoded as by qlmiDecodeHuffmanOne_JPEG_1u16s_C1(). How many bits of the source the state holds
 * between rows depends on what lies ahead in the source; the position and the state belong together.
 *
 * @param[in] src  the source, from its beginning
 * @param[in] srcLength  length of the source in bytes
 * @param[in,out] srcPosition  position in the source in bytes, moved on behind the bytes read
 * @param[out] rows  the differences, one row a component; of more than four the first four are decoded
 * @param[in] width  differences in a row
 * @param[in] rowCount  number of rows
 * @param[in,out] marker  0, or the second byte of the marker that was met
 * @param[in] dcTables  codes of the categories, one table a row
 * @param[in,out] state  bits read and not yet used
 * @retval qlmOk  the rows are decoded
 * @retval qlmErrNullPointer  a pointer is null, also one of the first four rows and tables
 * @retval qlmErrSize  @p srcLength, @p width or @p rowCount is below 1
 * @retval qlmErrOutOfBuffer  the source ends where bits are needed, or with a 0xFF
 * @retval qlmErrDctRange  bits are needed behind a marker, or no code of up to 16 bits matches
 *
 * After the last two the differences before the failure are written, and the position and the state hold what was read.
 */
QLM_API QlmStatus qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4(const uint8_t* src, int32_t srcLength, int32_t* srcPosition,
                                                       int16_t* const rows[], int32_t width, int32_t rowCount,
                                                       int32_t* marker, const QlmDecodeHuffmanSpec* const dcTables[],
                                                       QlmDecodeHuffmanState* state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
