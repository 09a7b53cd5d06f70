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
 *  @{ */

/** @} */
/** @name Huffman statistics and optimal tables (T.81 K.2)
 *  @{ */

/** @} */
/** @name Lossless prediction and row coding (T.81 Annex H)
 *  @{ */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
