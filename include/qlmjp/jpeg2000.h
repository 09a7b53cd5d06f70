/**
 * @file
 * JPEG 2000 (ITU-T T.800): wavelets, component transforms and code-blocks. No codestream, tiles or packets.
 */
#ifndef QLMJP_JPEG2000_H
#define QLMJP_JPEG2000_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Reversible 5/3 wavelet (T.800 Annex F)
 *  One level in two bands. Even positions of the image's grid hold low values, odd ones high values:
 *  `H(k) = x[k] - ((x[k-1] + x[k+1]) >> 1)` and `L(k) = x[k] + ((H(k-1) + H(k+1) + 2) >> 2)`, the shifts being floors.
 *  Lines of a plane are extended by whole-sample symmetry. Nothing saturates. In the 16-bit forms sums have 32 bits,
 * but 16 in Row and Col from a width of 16 on and in all of ColLift, which matters for samples of 2^13 and more.
 *  @{ */

/**
 * Bytes of the scratch block of the plane form of the same name ending: 0 where no line needs a line buffer. Computed
 * in 32 bits with no check of the size or of overflow.
 *
 * @param[in] rect  the region that will be transformed
 * @param[out] size  bytes of the block. The plane form wants a valid pointer even where this is 0
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR(QlmRect rect, int32_t* size);

/** @copydoc qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTGetBufSize_B53_JPEG2K_16s_C1R(QlmRect rect, int32_t* size);

/**
 * One forward level of a plane in place: all columns, then all rows. Afterwards each line holds its low values first,
 * then its high values, so that the low-low band is in the top left corner. Lines of one sample are doubled where the
 * sample stands at an odd position, and lines of two samples have the low value first whatever the position.
 *
 * The size is not checked: with a height below 1 the first row, with a width below 1 the first sample of each row is
 * treated as a line of one sample.
 *
 * @param[in,out] srcDst  first sample of the plane
 * @param[in] srcDstStep  bytes between rows, at least 1
 * @param[in] rect  origin, of which only the parity counts, and size of the region
 * @param[out] buffer  scratch of the size that the query gives; nothing survives the call
 * @retval qlmOk  the level is complete
 * @retval qlmErrNullPointer  a pointer is null (@p buffer is tested behind the step)
 * @retval qlmErrStep  the step is below 1
 */
QLM_API QlmStatus qlmiWTFwd_B53_JPEG2K_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/**
 * One inverse level of a plane in place, the way back of the forward form: all rows, then all columns. Lines of one
 * sample at an odd position are halved, truncating toward zero.
 *
 * The size is not checked: with a height below 1 the first row, with a width below 1 the first sample of each row is
 * treated as a line of one sample.
 *
 * @param[in,out] srcDst  first sample of the plane
 * @param[in] srcDstStep  bytes between rows, at least 1
 * @param[in] rect  origin, of which only the parity counts, and size of the region
 * @param[out] buffer  scratch of the size that the query gives; nothing survives the call
 * @retval qlmOk  the level is complete
 * @retval qlmErrNullPointer  a pointer is null (@p buffer is tested behind the step)
 * @retval qlmErrStep  the step is below 1
 */
QLM_API QlmStatus qlmiWTInv_B53_JPEG2K_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/**
 * One forward level of a plane into four bands. The result is that of the form in place, cut behind the first
 * `(width + 1) >> 1` columns and `(height + 1) >> 1` rows. The cut does not look at the origin: where origin and length
 * are both odd, the last row or column of a low band holds the first high values.
 *
 * @param[in] src  first sample of the plane; may overlap the bands
 * @param[in] srcStep  bytes between rows, at least 1
 * @param[in] rect  origin, of which only the parity counts, and size of the region, each at least 1
 * @param[out] dst  four planes: low in x and y; low in x, high in y; high in x, low in y; high in both
 * @param[in] dstStep  bytes between rows of the four planes, each at least 1
 * @param[out] buffer  scratch of the size that the query gives; nothing survives the call
 * @retval qlmOk  the level is complete
 * @retval qlmErrNullPointer  a pointer is null (the entries of @p dst are tested behind @p srcStep)
 * @retval qlmErrStep  a step is below 1 (the entries of @p dstStep are tested behind those of @p dst)
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwd_B53_JPEG2K_16s_C1R(const int16_t* src, int32_t srcStep, QlmRect rect, int16_t* const dst[4],
                                               const int32_t dstStep[4], uint8_t* buffer);

/**
 * One inverse level of four bands into a plane, the way back of the forward form.
 *
 * @param[in] src  four planes: low in x and y; low in x, high in y; high in x, low in y; high in both. They are cut as
 *                 the forward form cuts them
 * @param[in] srcStep  bytes between rows of the four planes, each at least 1
 * @param[out] dst  first sample of the plane; may overlap the bands
 * @param[in] dstStep  bytes between rows, at least 1
 * @param[in] rect  origin, of which only the parity counts, and size of the region, each at least 1
 * @param[out] buffer  scratch of the size that the query gives; nothing survives the call
 * @retval qlmOk  the level is complete
 * @retval qlmErrNullPointer  a pointer is null (the entries of @p src are tested behind @p dstStep)
 * @retval qlmErrStep  a step is below 1 (the entries of @p srcStep are tested behind those of @p src)
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInv_B53_JPEG2K_16s_C1R(const int16_t* const src[4], const int32_t srcStep[4], int16_t* dst,
                                               int32_t dstStep, QlmRect rect, uint8_t* buffer);

/**
 * Filters the rows of a region forward, with no boundary rule of its own: the source goes on beyond the region.
 *
 * With n outputs a row, the samples -2 to 2n of each row are read at an even position, -1 to 2n + 1 at an odd one.
 *
 * @param[in] src  first sample of the region
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dstLow  first of the low values; must not overlap @p src
 * @param[in] dstLowStep  bytes between rows of low values, at least 1
 * @param[out] dstHigh  first of the high values; must not overlap @p src
 * @param[in] dstHighStep  bytes between rows of high values, at least 1
 * @param[in] dstRoi  size of the low and of the high plane, each at least 1
 * @param[in] phase  0 where the first sample stands at an even position, any other value where at an odd one
 * @retval qlmOk  both planes are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwdRow_B53_JPEG2K_16s_C1R(const int16_t* src, int32_t srcStep, int16_t* dstLow,
                                                  int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);

/**
 * Filters the rows of a region back, with no boundary rule of its own: the bands go on beyond the region.
 *
 * With n values a row of each band, the low
 * values 0 to n are read at an even position, -1 to n - 1 at an odd one, and the high values -1 to n at either.
 *
 * @param[in] srcLow  first of the low values
 * @param[in] srcLowStep  bytes between rows of low values, at least 1
 * @param[in] srcHigh  first of the high values
 * @param[in] srcHighStep  bytes between rows of high values, at least 1
 * @param[in] srcRoi  size of the low and of the high plane, each at least 1
 * @param[out] dst  first sample of the region; must not overlap the bands
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] phase  0 where the first sample stands at an even position, any other value where at an odd one
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInvRow_B53_JPEG2K_16s_C1R(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int16_t* dst, int32_t dstStep,
                                                  int32_t phase);

/**
 * Filters the columns of a region forward, with no boundary rule of its own: the source goes on beyond the region.
 *
 * With n outputs a column, the rows -2 to 2n are read at an even position, -1 to 2n + 1 at an odd one. Rows of
 * @p dstHigh are read back while the call goes on.
 *
 * @param[in] src  first sample of the region
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dstLow  first of the low values. Low rows may take the place of the even rows, high rows that of the odd
 *                     ones; other than that they must not overlap @p src
 * @param[in] dstLowStep  bytes between rows of low values, at least 1
 * @param[out] dstHigh  first of the high values
 * @param[in] dstHighStep  bytes between rows of high values, at least 1
 * @param[in] dstRoi  size of the low and of the high plane, each at least 1
 * @param[in] phase  0 where the first sample stands at an even position, any other value where at an odd one
 * @retval qlmOk  both planes are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwdCol_B53_JPEG2K_16s_C1R(const int16_t* src, int32_t srcStep, int16_t* dstLow,
                                                  int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);

/**
 * Filters the columns of a region back, with no boundary rule of its own: the bands go on beyond the region.
 *
 * With n values a column of each band, the low
 * rows 0 to n are read at an even position, -1 to n - 1 at an odd one, and the high rows -1 to n at either.
 *
 * @param[in] srcLow  first of the low values
 * @param[in] srcLowStep  bytes between rows of low values, at least 1
 * @param[in] srcHigh  first of the high values
 * @param[in] srcHighStep  bytes between rows of high values, at least 1
 * @param[in] srcRoi  size of the low and of the high plane, each at least 1
 * @param[out] dst  first sample of the region; must not overlap the bands
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] phase  0 where the first sample stands at an even position, any other value where at an odd one
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInvCol_B53_JPEG2K_16s_C1R(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int16_t* dst, int32_t dstStep,
                                                  int32_t phase);

/**
 * One step of the column form forward on bare rows: `dstHigh = src1 - ((src0 + src2) >> 1)`, then
 * `dstLow = src0 + ((srcHighPrev + dstHigh + 2) >> 2)`.
 *
 * @param[in] src0  the even row
 * @param[in] src1  the odd row below
 * @param[in] src2  the next even row
 * @param[out] dstLow  the low row. From a width of 16 on, no destination may overlap a source
 * @param[in] srcHighPrev  the high row of the step before
 * @param[out] dstHigh  the high row
 * @param[in] width  samples in a row, at least 1
 * @retval qlmOk  both rows are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  the width is below 1
 */
QLM_API QlmStatus qlmiWTFwdColLift_B53_JPEG2K_16s_C1(const int16_t* src0, const int16_t* src1, const int16_t* src2,
                                                     int16_t* dstLow, const int16_t* srcHighPrev, int16_t* dstHigh,
                                                     int32_t width);

/**
 * One step of the column form back on bare rows: `dstEven = srcLow - ((srcHighPrev + srcHigh + 2) >> 2)`, then
 * `dstOdd = srcHighPrev + ((srcEvenPrev + dstEven) >> 1)`.
 *
 * @param[in] srcLow  the low row
 * @param[in] srcHighPrev  the high row above
 * @param[in] srcHigh  the high row below
 * @param[in] srcEvenPrev  the even row of the step before
 * @param[out] dstOdd  the odd row above @p dstEven. From a width of 16 on, no destination may overlap a source
 * @param[out] dstEven  the even row
 * @param[in] width  samples in a row, at least 1
 * @retval qlmOk  both rows are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  the width is below 1
 */
QLM_API QlmStatus qlmiWTInvColLift_B53_JPEG2K_16s_C1(const int16_t* srcLow, const int16_t* srcHighPrev,
                                                     const int16_t* srcHigh, const int16_t* srcEvenPrev,
                                                     int16_t* dstOdd, int16_t* dstEven, int32_t width);

/** @copydoc qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR(QlmRect rect, int32_t* size);

/** @copydoc qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTGetBufSize_B53_JPEG2K_32s_C1R(QlmRect rect, int32_t* size);

/** @copydoc qlmiWTFwd_B53_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTFwd_B53_JPEG2K_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/** @copydoc qlmiWTInv_B53_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTInv_B53_JPEG2K_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/** @copydoc qlmiWTFwd_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwd_B53_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, QlmRect rect, int32_t* const dst[4],
                                               const int32_t dstStep[4], uint8_t* buffer);

/** @copydoc qlmiWTInv_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInv_B53_JPEG2K_32s_C1R(const int32_t* const src[4], const int32_t srcStep[4], int32_t* dst,
                                               int32_t dstStep, QlmRect rect, uint8_t* buffer);

/** @copydoc qlmiWTFwdRow_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwdRow_B53_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, int32_t* dstLow,
                                                  int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);

/** @copydoc qlmiWTInvRow_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInvRow_B53_JPEG2K_32s_C1R(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int32_t* dst, int32_t dstStep,
                                                  int32_t phase);

/** @copydoc qlmiWTFwdCol_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwdCol_B53_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, int32_t* dstLow,
                                                  int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);

/** @copydoc qlmiWTInvCol_B53_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInvCol_B53_JPEG2K_32s_C1R(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int32_t* dst, int32_t dstStep,
                                                  int32_t phase);

/** @copydoc qlmiWTFwdColLift_B53_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTFwdColLift_B53_JPEG2K_32s_C1(const int32_t* src0, const int32_t* src1, const int32_t* src2,
                                                     int32_t* dstLow, const int32_t* srcHighPrev, int32_t* dstHigh,
                                                     int32_t width);

/** @copydoc qlmiWTInvColLift_B53_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTInvColLift_B53_JPEG2K_32s_C1(const int32_t* srcLow, const int32_t* srcHighPrev,
                                                     const int32_t* srcHigh, const int32_t* srcEvenPrev,
                                                     int32_t* dstOdd, int32_t* dstEven, int32_t width);

/** @} */
/** @name Irreversible 9/7 wavelet (T.800 Annex F)
 *  One level of the 9/7 wavelet: lifting by four steps with the constants alpha, beta, gamma and delta, low values
 *  divided by K, high values multiplied by K. The shapes are those of the 5/3 wavelet: *plane* forms transform a whole
 *  region in two directions and extend it at its edges themselves; *Row* and *Col* forms filter along rows or columns
 *  that the caller has continued by the samples named; *ColLift* forms take one step down the rows of a sliding window.
 *  The number format depends on the form and is told with it; results are the same to the bit everywhere:
 *  - *Q14*: `(v * c + 8192) >> 14` in 32 bits, every lifted value cut to 16 bits.
 *  - *Q15*: `(v * c + 16384) >> 15` on 16-bit lanes, with sums that saturate to 16 bits.
 *  - *Q16*: `(v * c + 32768) >> 16`.
 *  - *float*: single precision, with products and sums rounded apart, or fused where it says so.
 *  @{ */

/**
 * Bytes of scratch that the plane forms in place need: one line with 4 extension samples on each side.
 *
 * Zero if the width and the height are below 2, else the larger of width and height plus 8, times the element's bytes,
 * in wrapping 32-bit arithmetic. Any size is accepted.
 *
 * @param[in] rect  the region; only its size is read
 * @param[out] size  bytes
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR(QlmRect rect, int32_t* size);
/** @copydoc qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTGetBufSize_D97_JPEG2K_32s_C1IR(QlmRect rect, int32_t* size);
/**
 * Bytes of scratch that the plane forms with separate bands need: `height` rows of the width rounded up to 32 bytes,
 * and the scratch of the forms in place. In wrapping 32-bit arithmetic; any size is accepted.
 *
 * @param[in] rect  the region; only its size is read
 * @param[out] size  bytes
 * @retval qlmOk  the size is written
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiWTGetBufSize_D97_JPEG2K_16s_C1R(QlmRect rect, int32_t* size);
/** @copydoc qlmiWTGetBufSize_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTGetBufSize_D97_JPEG2K_32s_C1R(QlmRect rect, int32_t* size);

/**
 * Forward transform of a plane in place: all columns, then all rows.
 *
 * 16-bit samples are lifted in Q14. 32-bit samples are lifted in single precision with fused steps; each direction
 * truncates its results to integers, limited to 32 bits (exactly 2^31 gives -2^31), so samples of more than 24
 * significant bits lose some.
 *
 * A line of length n leaves its low values in places 0 and up and its high values from (n + 1) / 2 on, if its origin is
 * even. At an odd origin the high values come first and the low values start at place n / 2: the reverse of what
 * qlmiWTInv_D97_JPEG2K_16s_C1IR() reads, so a caller who wants the pair there swaps the two parts. With odd n the last
 * high value then replaces the first low value, and the last place of the line keeps what it held. A line of length 1
 * is unchanged at an even origin and doubled at an odd one.
 *
 * @param[in,out] srcDst  first of the rows of samples, then of the bands
 * @param[in] srcDstStep  bytes between rows, at least 1
 * @param[in] rect  size of the region; `x` and `y` tell whether its origin is even or odd
 * @param[out] buffer  scratch of the size that qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR() (32s: its like) gives; a valid
 *                     pointer even if that is 0; must not overlap the region
 * @retval qlmOk  the region is transformed; with a width or height below 1 the line of length 1 is all that is done
 * @retval qlmErrNullPointer  @p srcDst is null, or (tested behind the step) @p buffer
 * @retval qlmErrStep  the step is below 1
 */
QLM_API QlmStatus qlmiWTFwd_D97_JPEG2K_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);
/** @copydoc qlmiWTFwd_D97_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTFwd_D97_JPEG2K_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/**
 * Inverse transform of a plane in place: all rows, then all columns.
 *
 * Arithmetic as in qlmiWTFwd_D97_JPEG2K_16s_C1IR(). Every line holds its low values first; the high values start at
 * place (n + 1) / 2 at an even origin and at n / 2 at an odd one. A line of length 1 is unchanged at an even origin and
 * halved, truncating toward zero, at an odd one.
 *
 * @param[in,out] srcDst  first of the rows of the bands, then of samples
 * @param[in] srcDstStep  bytes between rows, at least 1
 * @param[in] rect  size of the region; `x` and `y` tell whether its origin is even or odd
 * @param[out] buffer  scratch of the size that qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR() (32s: its like) gives; a valid
 *                     pointer even if that is 0; must not overlap the region
 * @retval qlmOk  the region is transformed; with a width or height below 1 the line of length 1 is all that is done
 * @retval qlmErrNullPointer  @p srcDst is null, or (tested behind the step) @p buffer
 * @retval qlmErrStep  the step is below 1
 */
QLM_API QlmStatus qlmiWTInv_D97_JPEG2K_16s_C1IR(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);
/** @copydoc qlmiWTInv_D97_JPEG2K_16s_C1IR */
QLM_API QlmStatus qlmiWTInv_D97_JPEG2K_32s_C1IR(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer);

/**
 * Forward transform of a plane into four bands: what qlmiWTFwd_D97_JPEG2K_16s_C1IR() gives, cut at column
 * (width + 1) / 2 and row (height + 1) / 2 whatever the origin.
 *
 * @param[in] src  first of the rows of samples; may overlap the bands
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[in] rect  size of the region; `x` and `y` tell whether its origin is even or odd
 * @param[out] dst  the four parts: upper left, lower left, upper right, lower right (at an even origin LL, LH, HL, HH
 *                  with the horizontal direction named first)
 * @param[in] dstStep  bytes between the rows of each part, each at least 1
 * @param[out] buffer  scratch of the size that qlmiWTGetBufSize_D97_JPEG2K_16s_C1R() (32s: its like) gives; must not
 *                     overlap anything else
 * @retval qlmOk  the bands are written
 * @retval qlmErrNullPointer  a pointer is null (tested first), or one of the four in @p dst (behind @p srcStep)
 * @retval qlmErrStep  @p srcStep is below 1, or one of @p dstStep (tested behind the entries of @p dst)
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwd_D97_JPEG2K_16s_C1R(const int16_t* src, int32_t srcStep, QlmRect rect, int16_t* const dst[4],
                                               const int32_t dstStep[4], uint8_t* buffer);
/** @copydoc qlmiWTFwd_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwd_D97_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, QlmRect rect, int32_t* const dst[4],
                                               const int32_t dstStep[4], uint8_t* buffer);

/**
 * Inverse transform of four bands into a plane: what qlmiWTInv_D97_JPEG2K_16s_C1IR() makes of the parts put together
 * at column (width + 1) / 2 and row (height + 1) / 2 whatever the origin.
 *
 * @param[in] src  the four parts: upper left, lower left, upper right, lower right (at an even origin LL, LH, HL, HH
 *                 with the horizontal direction named first)
 * @param[in] srcStep  bytes between the rows of each part, each at least 1
 * @param[out] dst  first of the rows of samples; may overlap the bands
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] rect  size of the region; `x` and `y` tell whether its origin is even or odd
 * @param[out] buffer  scratch of the size that qlmiWTGetBufSize_D97_JPEG2K_16s_C1R() (32s: its like) gives; must not
 *                     overlap anything else
 * @retval qlmOk  the plane is written
 * @retval qlmErrNullPointer  a pointer is null (tested first), or one of the four in @p src (behind @p dstStep)
 * @retval qlmErrStep  @p dstStep is below 1, or one of @p srcStep (tested behind the entries of @p src)
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInv_D97_JPEG2K_16s_C1R(const int16_t* const src[4], const int32_t srcStep[4], int16_t* dst,
                                               int32_t dstStep, QlmRect rect, uint8_t* buffer);
/** @copydoc qlmiWTInv_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInv_D97_JPEG2K_32s_C1R(const int32_t* const src[4], const int32_t srcStep[4], int32_t* dst,
                                               int32_t dstStep, QlmRect rect, uint8_t* buffer);

/**
 * Forward filtering along rows that the caller has continued.
 *
 * Phase 0: low value i is centred on sample 2i and high value i on sample 2i + 1; samples -4 to 2 * width + 2 of each
 * row are read. Otherwise high value i is centred on sample 2i and low value i on sample 2i + 1; samples -3 to
 * 2 * width + 3 are read.
 *
 * 16s: the first and last value of each band are made in Q16 with saturation, those between in Q15, so that a row has
 * two roundings; the last low value is rounded once more, and not saturated at the end. 32s: Q16 in wrapping 32-bit
 * arithmetic. 32f: the first and last value of each band by fused operations, those between without. A width of 1 takes
 * the nine and seven taps of the filters in place of lifting; its low value in 16s is limited above only and then cut.
 *
 * @param[in] src  sample 0 of the first row
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dstLow  first of the rows of low values
 * @param[in] dstLowStep  bytes between the rows of low values, at least 1
 * @param[out] dstHigh  first of the rows of high values; no two of the three planes may overlap
 * @param[in] dstHighStep  bytes between the rows of high values, at least 1
 * @param[in] dstRoi  width and height of each band, each at least 1
 * @param[in] phase  0 if sample 0 stands at an even position; anything else if at an odd one
 * @retval qlmOk  both bands are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwdRow_D97_JPEG2K_16s_C1R(const int16_t* src, int32_t srcStep, int16_t* dstLow,
                                                  int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);
/** @copydoc qlmiWTFwdRow_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwdRow_D97_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, int32_t* dstLow,
                                                  int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
                                                  QlmSize dstRoi, int32_t phase);
/** @copydoc qlmiWTFwdRow_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTFwdRow_D97_JPEG2K_32f_C1R(const float* src, int32_t srcStep, float* dstLow, int32_t dstLowStep,
                                                  float* dstHigh, int32_t dstHighStep, QlmSize dstRoi, int32_t phase);
/**
 * Forward filtering along columns that the caller has continued: as qlmiWTFwdRow_D97_JPEG2K_32f_C1R(), with rows in
 * place of samples.
 *
 * Phase 0 reads the rows -4 to 2 * height + 2, any other the rows -3 to 2 * height + 3. The first and last row of each
 * band are made by fused operations, those between without; a height of 1 takes the taps.
 *
 * @param[in] src  row 0 of the samples
 * @param[in] srcStep  bytes between source rows, at least 1
 * @param[out] dstLow  first of the rows of low values
 * @param[in] dstLowStep  bytes between the rows of low values, at least 1
 * @param[out] dstHigh  first of the rows of high values; no two of the three planes may overlap
 * @param[in] dstHighStep  bytes between the rows of high values, at least 1
 * @param[in] dstRoi  width and height of each band, each at least 1
 * @param[in] phase  0 if row 0 stands at an even position; anything else if at an odd one
 * @retval qlmOk  both bands are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTFwdCol_D97_JPEG2K_32f_C1R(const float* src, int32_t srcStep, float* dstLow, int32_t dstLowStep,
                                                  float* dstHigh, int32_t dstHighStep, QlmSize dstRoi, int32_t phase);

/**
 * Inverse filtering along rows of bands that the caller has continued.
 *
 * Phase 0: sample 2i is centred on low value i and sample 2i + 1 on high value i; low values -1 to width + 1 and high
 * values -2 to width + 1 of each row are read. Otherwise sample 2i is centred on high value i and sample 2i + 1 on low
 * value i; low values -2 to width and high values -2 to width + 1 are read.
 *
 * Number formats as in qlmiWTFwdRow_D97_JPEG2K_16s_C1R(), with the first and last pair of samples in place of the first
 * and last values. In the Q15 part of 16s the difference of the third lifting constant saturates where a row has fewer
 * than 16 inner pairs, and wraps otherwise.
 *
 * @param[in] srcLow  low value 0 of the first row
 * @param[in] srcLowStep  bytes between the rows of low values, at least 1
 * @param[in] srcHigh  high value 0 of the first row
 * @param[in] srcHighStep  bytes between the rows of high values, at least 1
 * @param[in] srcRoi  width and height of each band, each at least 1
 * @param[out] dst  first of the rows of 2 * width samples; must not overlap a band
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] phase  0 if sample 0 stands at an even position; anything else if at an odd one
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInvRow_D97_JPEG2K_16s_C1R(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int16_t* dst, int32_t dstStep,
                                                  int32_t phase);
/** @copydoc qlmiWTInvRow_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInvRow_D97_JPEG2K_32s_C1R(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, int32_t* dst, int32_t dstStep,
                                                  int32_t phase);
/** @copydoc qlmiWTInvRow_D97_JPEG2K_16s_C1R */
QLM_API QlmStatus qlmiWTInvRow_D97_JPEG2K_32f_C1R(const float* srcLow, int32_t srcLowStep, const float* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, float* dst, int32_t dstStep,
                                                  int32_t phase);
/**
 * Inverse filtering along columns of bands that the caller has continued: as qlmiWTInvRow_D97_JPEG2K_32f_C1R(), with
 * rows in place of samples.
 *
 * Phase 0 reads the low rows -1 to height + 1, any other the low rows -2 to height; both read the high rows -2 to
 * height + 1.
 *
 * @param[in] srcLow  row 0 of the low values
 * @param[in] srcLowStep  bytes between the rows of low values, at least 1
 * @param[in] srcHigh  row 0 of the high values
 * @param[in] srcHighStep  bytes between the rows of high values, at least 1
 * @param[in] srcRoi  width and height of each band, each at least 1
 * @param[out] dst  first of the 2 * height rows of samples; must not overlap a band
 * @param[in] dstStep  bytes between destination rows, at least 1
 * @param[in] phase  0 if row 0 stands at an even position; anything else if at an odd one
 * @retval qlmOk  the samples are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiWTInvCol_D97_JPEG2K_32f_C1R(const float* srcLow, int32_t srcLowStep, const float* srcHigh,
                                                  int32_t srcHighStep, QlmSize srcRoi, float* dst, int32_t dstStep,
                                                  int32_t phase);

/**
 * One step of a forward transform along columns, for a caller who walks down the rows with a window of his own. When
 * 2n is the even row of this call, it emits low row 2n - 2 and high row 2n - 3 and moves the rows between one stage on;
 * rows can then be rotated by their pointers alone.
 *
 * 16s: Q15. 32s: Q16 in wrapping 32-bit arithmetic. 32f: single precision without fusing.
 *
 * @param[in] src0  row 2n
 * @param[in] src1  row 2n + 1
 * @param[in] src2  row 2n + 2
 * @param[in,out] srcDstLow0  row 2n - 2: its beta stage, then the final low row
 * @param[out] dstLow1  beta stage of row 2n
 * @param[in,out] srcDstHigh0  row 2n - 3: its gamma stage, then the final high row
 * @param[in,out] srcDstHigh1  row 2n - 1: its alpha stage, then its gamma stage
 * @param[out] dstHigh2  alpha stage of row 2n + 1; no two of the eight rows may overlap
 * @param[in] width  elements of each row, at least 1
 * @retval qlmOk  the rows are moved on
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 */
QLM_API QlmStatus qlmiWTFwdColLift_D97_JPEG2K_16s_C1(const int16_t* src0, const int16_t* src1, const int16_t* src2,
                                                     int16_t* srcDstLow0, int16_t* dstLow1, int16_t* srcDstHigh0,
                                                     int16_t* srcDstHigh1, int16_t* dstHigh2, int32_t width);
/** @copydoc qlmiWTFwdColLift_D97_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTFwdColLift_D97_JPEG2K_32s_C1(const int32_t* src0, const int32_t* src1, const int32_t* src2,
                                                     int32_t* srcDstLow0, int32_t* dstLow1, int32_t* srcDstHigh0,
                                                     int32_t* srcDstHigh1, int32_t* dstHigh2, int32_t width);
/** @copydoc qlmiWTFwdColLift_D97_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTFwdColLift_D97_JPEG2K_32f_C1(const float* src0, const float* src1, const float* src2,
                                                     float* srcDstLow0, float* dstLow1, float* srcDstHigh0,
                                                     float* srcDstHigh1, float* dstHigh2, int32_t width);
/**
 * One step of an inverse transform along columns, the counterpart of qlmiWTFwdColLift_D97_JPEG2K_16s_C1(). When 2n is
 * the even row of this call, it emits even row 2n - 2 and odd row 2n - 3.
 *
 * Number formats as there. In 16s the difference of the third lifting constant saturates in rows of fewer than 16
 * elements and wraps in longer ones.
 *
 * @param[in] srcLow  final low row 2n
 * @param[in] srcHigh0  final high row 2n - 1
 * @param[in] srcHigh1  final high row 2n + 1
 * @param[in] srcEven0  finished even row 2n - 4
 * @param[in,out] srcDstOdd  row 2n - 3: its gamma stage, then the finished row
 * @param[in,out] srcDstEven  row 2n - 2: its delta stage, then the finished row
 * @param[out] dstOdd1  gamma stage of row 2n - 1
 * @param[out] dstEven1  delta stage of row 2n; no two of the eight rows may overlap
 * @param[in] width  elements of each row, at least 1
 * @retval qlmOk  the rows are moved on
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p width is below 1
 */
QLM_API QlmStatus qlmiWTInvColLift_D97_JPEG2K_16s_C1(const int16_t* srcLow, const int16_t* srcHigh0,
                                                     const int16_t* srcHigh1, const int16_t* srcEven0,
                                                     int16_t* srcDstOdd, int16_t* srcDstEven, int16_t* dstOdd1,
                                                     int16_t* dstEven1, int32_t width);
/** @copydoc qlmiWTInvColLift_D97_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTInvColLift_D97_JPEG2K_32s_C1(const int32_t* srcLow, const int32_t* srcHigh0,
                                                     const int32_t* srcHigh1, const int32_t* srcEven0,
                                                     int32_t* srcDstOdd, int32_t* srcDstEven, int32_t* dstOdd1,
                                                     int32_t* dstEven1, int32_t width);
/** @copydoc qlmiWTInvColLift_D97_JPEG2K_16s_C1 */
QLM_API QlmStatus qlmiWTInvColLift_D97_JPEG2K_32f_C1(const float* srcLow, const float* srcHigh0, const float* srcHigh1,
                                                     const float* srcEven0, float* srcDstOdd, float* srcDstEven,
                                                     float* dstOdd1, float* dstEven1, int32_t width);

/** @} */
/** @name Component transforms (T.800 Annex G)
 *  Three components, without level shift. Forward: red, green, blue to luminance, blue difference, red difference; back
 * in the same order.
 *  @{ */

/**
 * Reversible component transform forward: `Y0 = (R + 2G + B) >> 2`, `Y1 = B - G`, `Y2 = R - G`. Sums of 16-bit elements
 * have 32 bits; results wrap.
 *
 * @param[in] src  pixels, three elements each: red, green, blue
 * @param[in] srcStep  bytes between rows of pixels, at least 1
 * @param[out] dst  three planes: luminance, blue difference, red difference; none may overlap @p src
 * @param[in] dstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiRCTFwd_JPEG2K_16s_C3P3R(const int16_t* src, int32_t srcStep, int16_t* const dst[3],
                                              int32_t dstStep, QlmSize roiSize);

/**
 * Reversible component transform back: `G = Y0 - ((Y1 + Y2) >> 2)`, `R = Y2 + G`, `B = Y1 + G`. Sums of 16-bit elements
 * have 32 bits; results wrap.
 *
 * @param[in] src  three planes: luminance, blue difference, red difference
 * @param[in] srcStep  bytes between rows of each plane, at least 1
 * @param[out] dst  pixels, three elements each: red, green, blue; must not overlap the planes
 * @param[in] dstStep  bytes between rows of pixels, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiRCTInv_JPEG2K_16s_P3C3R(const int16_t* const src[3], int32_t srcStep, int16_t* dst,
                                              int32_t dstStep, QlmSize roiSize);

/** @copydoc qlmiRCTFwd_JPEG2K_16s_C3P3R */
QLM_API QlmStatus qlmiRCTFwd_JPEG2K_32s_C3P3R(const int32_t* src, int32_t srcStep, int32_t* const dst[3],
                                              int32_t dstStep, QlmSize roiSize);

/** @copydoc qlmiRCTInv_JPEG2K_16s_P3C3R */
QLM_API QlmStatus qlmiRCTInv_JPEG2K_32s_P3C3R(const int32_t* const src[3], int32_t srcStep, int32_t* dst,
                                              int32_t dstStep, QlmSize roiSize);

/**
 * Reversible component transform forward: `Y0 = (R + 2G + B) >> 2`, `Y1 = B - G`, `Y2 = R - G`. Sums of 16-bit elements
 * have 32 bits; results wrap. In place. The planes hold red, green, blue, then luminance, blue
 * difference, red difference.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiRCTFwd_JPEG2K_16s_P3IR(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Reversible component transform back: `G = Y0 - ((Y1 + Y2) >> 2)`, `R = Y2 + G`, `B = Y1 + G`. Sums of 16-bit elements
 * have 32 bits; results wrap. In place. The planes hold luminance, blue difference, red
 * difference, then red, green, blue.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiRCTInv_JPEG2K_16s_P3IR(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/** @copydoc qlmiRCTFwd_JPEG2K_16s_P3IR */
QLM_API QlmStatus qlmiRCTFwd_JPEG2K_32s_P3IR(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/** @copydoc qlmiRCTInv_JPEG2K_16s_P3IR */
QLM_API QlmStatus qlmiRCTInv_JPEG2K_32s_P3IR(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform forward in single precision, without rounding or clamping to integers.
 *
 * @param[in] src  pixels, three elements each: red, green, blue
 * @param[in] srcStep  bytes between rows of pixels, at least 1
 * @param[out] dst  three planes: luminance, blue difference, red difference; none may overlap @p src
 * @param[in] dstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTFwd_JPEG2K_32f_C3P3R(const float* src, int32_t srcStep, float* const dst[3], int32_t dstStep,
                                              QlmSize roiSize);

/**
 * Irreversible component transform back in single precision, without rounding or clamping to integers.
 *
 * @param[in] src  three planes: luminance, blue difference, red difference
 * @param[in] srcStep  bytes between rows of each plane, at least 1
 * @param[out] dst  pixels, three elements each: red, green, blue; must not overlap the planes
 * @param[in] dstStep  bytes between rows of pixels, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTInv_JPEG2K_32f_P3C3R(const float* const src[3], int32_t srcStep, float* dst, int32_t dstStep,
                                              QlmSize roiSize);

/**
 * Irreversible component transform forward in single precision, without rounding or clamping to integers. In place. The
 * planes hold red, green, blue, then luminance, blue difference, red difference.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTFwd_JPEG2K_32f_P3IR(float* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform back in single precision, without rounding or clamping to integers. In place. The
 * planes hold luminance, blue difference, red difference, then red, green, blue.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTInv_JPEG2K_32f_P3IR(float* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform forward in 14-bit fixed point, one rounding a component; results wrap. In place. The
 * planes hold red, green, blue, then luminance, blue difference, red difference.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTFwd_JPEG2K_32s_P3IR(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform back in 14-bit fixed point, one rounding a component; results wrap. In place. The
 * planes hold luminance, blue difference, red difference, then red, green, blue.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTInv_JPEG2K_32s_P3IR(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform forward in 14-bit fixed point, chroma in two roundings (`B - Y` and `R - Y`, then
 * scaled); results saturate. In place. The planes hold red, green, blue, then luminance, blue
 * difference, red difference.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTFwd_JPEG2K_16s_P3IR(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/**
 * Irreversible component transform back in 14-bit fixed point; results saturate. Green subtracts a rounded sum where
 * the 32-bit form adds one, so that they may differ by 1 at exact halves. In place. The planes hold luminance, blue
 * difference, red difference, then red, green, blue.
 *
 * @param[in,out] srcDst  three planes
 * @param[in] srcDstStep  bytes between rows of each plane, at least 1
 * @param[in] roiSize  width and height, each at least 1
 * @retval qlmOk  the region is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrStep  a step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiICTInv_JPEG2K_16s_P3IR(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize);

/** @} */

/** @name Code-block encoder (T.800 Annexes C, D)
 *  @{ */

/** The state of a code-block encoder. Its fields are the library's own. */
typedef struct QlmEncodeState_JPEG2K QlmEncodeState_JPEG2K;

/**
 * Allocates a code-block encoder, by qlmMalloc() (qlmcore.h). It codes any number of code-blocks, one at a time:
 * qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R() with a block, qlmiEncodeStoreBits_JPEG2K_1u() until all is stored, then the
 * queries.
 *
 * @param[out] state  the encoder, null if there is no memory for it; to be released by qlmiEncodeFree_JPEG2K()
 * @param[in] maxSize  the size of the largest block in samples, width and height at least 1. Loading a block that is
 *     wider or higher is an error that nobody notices.
 * @retval qlmOk  the encoder is ready
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrSize  the width or height is below 1
 * @retval qlmErrMemAlloc  an allocation failed; nothing stays allocated
 */
QLM_API QlmStatus qlmiEncodeInitAlloc_JPEG2K(QlmEncodeState_JPEG2K** state, QlmSize maxSize);

/**
 * Releases what qlmiEncodeInitAlloc_JPEG2K() has allocated.
 *
 * @param[in] state  the encoder
 * @retval qlmOk  it is released
 * @retval qlmErrNullPointer  it is null
 */
QLM_API QlmStatus qlmiEncodeFree_JPEG2K(QlmEncodeState_JPEG2K* state);

/**
 * Runs the coding passes of a code-block (T.800 Annex D) and keeps their decisions, which
 * qlmiEncodeStoreBits_JPEG2K_1u() then codes. What the encoder has kept of another block is gone.
 *
 * A sample has its sign in bit 31 and its magnitude in bits 0 to 30. Bit-planes are counted as bits of the sample: the
 * highest plane is the highest bit that any magnitude has, the lowest one bit 31 - @p magnitudeBits. Bits below that
 * are not coded; they count for the distortions of the passes. The first plane has a cleanup pass; each other plane has
 * a significance propagation, a magnitude refinement and a cleanup pass.
 *
 * @param[in] src  the samples of the block
 * @param[in] srcStep  bytes between its rows, at least 1
 * @param[in] size  width and height of the block in samples, each at least 1
 * @param[in] state  an encoder for blocks of at least this size
 * @param[in] subband  2 for HL, 3 for HH, anything else for LL and LH
 * @param[in] magnitudeBits  the bits of a magnitude that are coded, counted from bit 30 down. Above 31 like 31; below 1
 *     none.
 * @param[in] terminationMode  how codeword segments of the MQ coder end: 0 by the flush of T.800 C.2.9, with 1 for what
 *     is left open; 1 in the fewest bytes; 2 predictably (T.800 D.4.2), so that a decoder can tell a damaged segment.
 *     Anything else is like 0.
 * @param[in] rateMode  without effect
 * @param[in] styleFlags  a sum of: 1 vertically causal contexts, 2 arithmetic coding bypass, 4 termination of each
 *     pass, 8 reset of the contexts at each pass, 16 segmentation symbols (T.800 Table A.19); and 32 for a reversible
 *     transform, whose lowest plane leaves no error: the distortions of the lowest plane are then exact
 * @param[out] significantBits  the bits of the largest magnitude, those that are not coded included; 0 where all
 *     samples are 0
 * @param[out] passCount  coding passes, 0 where no sample reaches the lowest plane
 * @param[out] terminatedPassCount  codeword segments: with flag 4 as many as passes; else 1, and one more for each
 *     change between arithmetic and raw coding
 * @retval qlmOk  the passes are kept
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not an encoder
 * @retval qlmErrSize  the width or height is below 1
 * @retval qlmErrStep  the step is below 1
 */
QLM_API QlmStatus qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* src, int32_t srcStep, QlmSize size,
                                                         QlmEncodeState_JPEG2K* state, int32_t subband,
                                                         int32_t magnitudeBits, int32_t terminationMode,
                                                         int32_t rateMode, int32_t styleFlags, int32_t* significantBits,
                                                         int32_t* passCount, int32_t* terminatedPassCount);

/**
 * Codes what qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R() has kept, by the MQ coder (T.800 Annex C) or raw (T.800 D.6), as
 * far as there is room; to be called again while @p notFinished is 1. The bytes of all calls, one behind another, are
 * the codeword segments of the block. They do not depend on how much room each call has.
 *
 * @param[out] dst  the bytes; those of the room that are not needed stay as they are
 * @param[in,out] length  the room in bytes, at least 1; then the bytes written
 * @param[in] state  the encoder
 * @param[out] notFinished  0 when all passes are stored, 1 otherwise
 * @retval qlmOk  the bytes are written, also where there was too little room
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not an encoder
 * @retval qlmErrSize  the room is below 1
 */
QLM_API QlmStatus qlmiEncodeStoreBits_JPEG2K_1u(uint8_t* dst, int32_t* length, QlmEncodeState_JPEG2K* state,
                                                int32_t* notFinished);

/**
 * How much the passes up to one take from the distortion: the drop in squared error, in units of the square of the
 * lowest plane's step. It holds for a decoder that puts each sample into the middle of its interval, and is estimated
 * from six bits below the plane. As refinement may move a sample away from its value, the sum may fall from one pass to
 * the next.
 *
 * @param[in] state  an encoder with a block
 * @param[in] pass  the last pass that counts, 0 to the pass count minus 1
 * @param[out] distortion  the sum over the passes 0 to @p pass
 * @retval qlmOk  the sum is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not an encoder
 * @retval qlmErrPassIndex  the block has no such pass
 */
QLM_API QlmStatus qlmiEncodeGetDist_JPEG2K(QlmEncodeState_JPEG2K* state, int32_t pass, double* distortion);

/**
 * Where the bytes of the block may be cut behind a pass: at the end of its codeword segment where the pass ends one,
 * elsewhere by an estimate of what the coder still holds, which may lie behind the bytes stored so far. A rate does not
 * fall from pass to pass, but for this: one that leaves a stored byte of 0xFF at the end is lowered by 1.
 *
 * @param[in] state  an encoder with a block
 * @param[in] pass  the last pass that counts, 0 to the pass count minus 1, among those that are stored
 * @param[out] rate  bytes from the start of the block
 * @retval qlmOk  the bytes are written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not an encoder
 * @retval qlmErrPassIndex  the block has no such pass
 */
QLM_API QlmStatus qlmiEncodeGetRate_JPEG2K(QlmEncodeState_JPEG2K* state, int32_t pass, int32_t* rate);

/**
 * The length of a codeword segment.
 *
 * @param[in] state  an encoder with a block
 * @param[in] terminatedPass  the segment, 0 to the count of terminated passes minus 1, among those that are stored
 * @param[out] length  its bytes; 0 for the only segment of a block without passes
 * @retval qlmOk  the length is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not an encoder
 * @retval qlmErrPassIndex  the block has no such segment
 */
QLM_API QlmStatus qlmiEncodeGetTermPassLen_JPEG2K(QlmEncodeState_JPEG2K* state, int32_t terminatedPass,
                                                  int32_t* length);

/** @} */

/** @name Code-block decoder (T.800 Annexes C, D)
 *  Codeword segments to samples: qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R() takes a whole code-block, the
 *  qlmiDecodeCBProgr functions take it segment by segment, as they arrive. Packets, layers and tile parts are the
 *  caller's.
 *
 *  Samples are sign and magnitude: bit 31 is the sign, bits 0 to 30 the magnitude. A sample that is significant carries
 *  the middle of the interval that it is known to be in: below its known bits the next one is set, unless the plane is
 *  0. So a block that is decoded in part holds the best values there are.
 *
 *  Nothing in the coded data makes the decoder read or write out of bounds. A segment that is cut short decodes on with
 *  1 bits.
 *
 *  Style flags, which must equal what the encoder used (T.800 Table A.19): 1 vertically causal contexts, 2 selective
 *  arithmetic coding bypass, 4 termination on each coding pass, 8 reset of the contexts at each pass, 16 segmentation
 *  symbols. And of this decoder alone: 0x20000 does not zero the block at first, 0x80000 keeps what is known of
 *  significant samples from the block before, 0x100000 checks the termination of arithmetic segments, which finds an
 *  error where the encoder ended them predictably. In the one-call function alone, 0x10000 conceals an error in the
 *  whole block, and 0x40000 leaves the reconstruction points in the result.
 *  @{ */

/** The state of a code-block decoder. Its fields are the library's own. */
typedef struct QlmDecodeState_JPEG2K QlmDecodeState_JPEG2K;

/**
 * Bytes of a decoder's state for code-blocks up to a size. The same as qlmiDecodeCBProgrGetStateSize_JPEG2K().
 *
 * @param[in] maxSize  the largest code-block
 * @param[out] size  bytes of the state
 * @retval qlmOk  the size is written
 * @retval qlmErrSize  the width or height is below 1 (tested before the pointer)
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiDecodeGetBufSize_JPEG2K(QlmSize maxSize, int32_t* size);

/**
 * Decodes a code-block in one call. Decoding stops at the first segment with an error, or when all passes are done.
 *
 * In the end all bits below the last plane decoded are cleared, and the reconstruction points with them, unless flag
 * 0x40000 is set or that plane is 0 or below. With flag 4 the plane counts as decoded one pass earlier than without:
 * after a last cleanup pass the reconstruction bit of its plane stays.
 *
 * On an error the samples decoded so far stay. With flag 0x10000 the block falls back to what is known above the
 * damaged plane: bits below it are cleared, and in samples that still have a magnitude its own bit is set, while the
 * others become 0.
 *
 * @param[in] src  the segments, one directly behind the other
 * @param[out] dst  first sample of the block, which is zeroed first unless flag 0x20000 is set
 * @param[in] dstStep  bytes between rows, at least 1
 * @param[in] size  width and height of the block
 * @param[in] subband  2 for HL, 3 for HH, anything else for LL or LH
 * @param[in] significantBits  the bit-planes that the data hold. With 0 or below nothing is decoded
 * @param[in] passCount  the coding passes that the data hold
 * @param[in] segmentLengths  bytes of each segment. 0 or below is a segment without data
 * @param[in] segmentCount  segments; with 0 or below the block stays as it is
 * @param[in] styleFlags  sum of the flags above
 * @param[out] errorPlane  the bit-plane at which an error was found, written only then. May be null
 * @param[out] state  memory of the size that the query gives. It needs no preparation; nothing else survives the call
 *                    but what flag 0x80000 keeps
 * @retval qlmOk  the block is complete
 * @retval qlmErrNullPointer  @p src or @p state is null, or behind the size, @p segmentLengths or @p dst
 * @retval qlmErrSize  the width or height is below 1
 * @retval qlmErrStep  the step is below 1 (tested last)
 * @retval qlmErrCodeBlockData  the data contradict their segmentation: wrong segmentation symbols (unless a check of
 * the termination passes), a termination that is not what flag 0x100000 asks for, or a wrong fill at the end of a raw
 * segment
 */
QLM_API QlmStatus qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* src, int32_t* dst, int32_t dstStep, QlmSize size,
                                                       int32_t subband, int32_t significantBits, int32_t passCount,
                                                       const int32_t* segmentLengths, int32_t segmentCount,
                                                       int32_t styleFlags, int32_t* errorPlane,
                                                       QlmDecodeState_JPEG2K* state);

/**
 * Bytes of a decoder's state for code-blocks up to a size.
 *
 * @param[in] maxSize  the largest code-block
 * @param[out] size  bytes of the state
 * @retval qlmOk  the size is written
 * @retval qlmErrSize  the width or height is below 1 (tested before the pointer)
 * @retval qlmErrNullPointer  @p size is null
 */
QLM_API QlmStatus qlmiDecodeCBProgrGetStateSize_JPEG2K(QlmSize maxSize, int32_t* size);

/**
 * Allocates a decoder's state for code-blocks up to a size, and initialises it.
 *
 * @param[out] state  the new state, or null where the allocation failed
 * @param[in] maxSize  the largest code-block. Attaching does not compare with it
 * @retval qlmOk  the state is ready for qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R()
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrSize  the width or height is below 1
 * @retval qlmErrMemAlloc  the allocation failed
 */
QLM_API QlmStatus qlmiDecodeCBProgrInitAlloc_JPEG2K(QlmDecodeState_JPEG2K** state, QlmSize maxSize);

/**
 * Makes a state out of the caller's memory, of the size that the query gives.
 *
 * @param[out] state  the memory
 * @retval qlmOk  the state is ready for qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R()
 * @retval qlmErrNullPointer  @p state is null
 */
QLM_API QlmStatus qlmiDecodeCBProgrInit_JPEG2K(QlmDecodeState_JPEG2K* state);

/**
 * Releases a state that qlmiDecodeCBProgrInitAlloc_JPEG2K() has made.
 *
 * @param[in] state  the state
 * @retval qlmOk  the state is released
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrContextMatch  it is not a decoder's state
 */
QLM_API QlmStatus qlmiDecodeCBProgrFree_JPEG2K(QlmDecodeState_JPEG2K* state);

/**
 * Starts a code-block: what was attached before is forgotten. The counter of passes becomes 0, so nothing is decoded
 * until qlmiDecodeCBProgrSetPassCounter_JPEG2K() sets it.
 *
 * @param[out] dst  first sample of the block, which is zeroed unless flag 0x20000 is set. It must stay where it is
 * until the last step
 * @param[in] dstStep  bytes between rows, at least 1
 * @param[in] size  width and height of the block, no larger than what the state was made for
 * @param[in,out] state  the state
 * @param[in] subband  2 for HL, 3 for HH, anything else for LL or LH
 * @param[in] significantBits  the bit-planes that the data hold. With 0 or below nothing will be decoded
 * @param[in] styleFlags  sum of the flags above. 0x80000 goes on over what the state knows of the same block
 * @retval qlmOk  the block is attached
 * @retval qlmErrNullPointer  @p state is null, or behind the tag, @p dst
 * @retval qlmErrContextMatch  it is not a decoder's state
 * @retval qlmErrStep  the step is below 1
 * @retval qlmErrSize  the width or height is below 1
 */
QLM_API QlmStatus qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(int32_t* dst, int32_t dstStep, QlmSize size,
                                                         QlmDecodeState_JPEG2K* state, int32_t subband,
                                                         int32_t significantBits, int32_t styleFlags);

/**
 * Sets how many more passes are to be decoded. May be called between any two steps.
 *
 * @param[in] passCount  passes still to be decoded; with 0 or below none
 * @param[in,out] state  the state
 * @retval qlmOk  the counter is set
 * @retval qlmErrNullPointer  @p state is null
 * @retval qlmErrContextMatch  it is not a decoder's state
 */
QLM_API QlmStatus qlmiDecodeCBProgrSetPassCounter_JPEG2K(int32_t passCount, QlmDecodeState_JPEG2K* state);

/**
 * Tells how many passes are still to be decoded.
 *
 * @param[in] state  the state
 * @param[out] passCount  passes still to be decoded
 * @retval qlmOk  the counter is written
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  it is not a decoder's state
 */
QLM_API QlmStatus qlmiDecodeCBProgrGetPassCounter_JPEG2K(QlmDecodeState_JPEG2K* state, int32_t* passCount);

/**
 * Tells the present bit-plane: that of the next pass where each pass is terminated, else that of the last one.
 *
 * @param[in] state  the state
 * @param[out] plane  the bit-plane, or -1 when all are done
 * @retval qlmOk  the plane is written
 * @retval qlmErrNullPointer  @p state is null, or behind the tag, @p plane
 * @retval qlmErrContextMatch  it is not a decoder's state
 */
QLM_API QlmStatus qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(QlmDecodeState_JPEG2K* state, int32_t* plane);

/**
 * Decodes one whole codeword segment. With flag 4 that is one pass, else all passes up to where the standard ends a
 * segment: without bypass all there are, with it ten in the first one, then two raw ones and a cleanup by turns. The
 * counter of passes can end it earlier. When no pass or no plane is left, nothing is read or changed.
 *
 * The block can be read between any two steps, and the memory of a segment is not needed after its step. Concealment
 * (0x10000) and removal of the reconstruction points (0x40000) are not done by steps.
 *
 * @param[in] src  the segment
 * @param[in] length  its bytes; 0 or below is a segment without data
 * @param[in,out] state  the state
 * @retval qlmOk  the passes of the segment are decoded, or there was nothing to do
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrContextMatch  @p state is not a decoder's state
 * @retval qlmErrNoCodeBlock  no block is attached
 * @retval qlmErrCodeBlockData  the data contradict their segmentation. All passes of the segment are decoded all the
 *                              same, and the next step can go on behind it
 */
QLM_API QlmStatus qlmiDecodeCBProgrStep_JPEG2K(const uint8_t* src, int32_t length, QlmDecodeState_JPEG2K* state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
