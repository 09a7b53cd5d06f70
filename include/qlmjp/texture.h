/**
 * @file
 * Block textures: DXT1, DXT3, DXT5, BC4 to BC7. No files, mip chains or colour spaces.
 *
 * A *stream* of blocks has no step: the blocks of a region of width x height pixels, ceil(width / 4) x ceil(height / 4)
 * of them, lie one after the other, row of blocks by row of blocks. Blocks at the right and lower edge may be cut by
 * the region. Fields of several bytes are little-endian; pixels of a block are numbered row by row. All functions but
 * the encoder of BC7 work on whole regions of any size. Every stream of blocks decodes to something, and every picture
 * encodes.
 */
#ifndef QLMJP_TEXTURE_H
#define QLMJP_TEXTURE_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Decoding of DXT1, DXT3 and DXT5
 *  @{ */

/**
 * Decodes DXT1 (BC1), 8 bytes a block, to RGBA pixels.
 *
 * The ends of the colours are widened to 8 bits by replication. Thirds, `(2 * P0 + P1) / 3`, and means truncate. Where
 * the first end is not above the second, the fourth colour is opaque white: every pixel has an alpha of 255.
 *
 * @param[in] src  the stream of blocks; must not overlap @p dst
 * @param[out] dst  pixels of 4 bytes, R, G, B, A. Nothing outside the region is written
 * @param[in] dstStep  bytes between rows of pixels, positive; of the checks it passes unless it is 0
 * @param[in] size  the region in pixels
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p dstStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const uint8_t* src, uint8_t* dst, int32_t dstStep,
                                                             QlmSize size);

/**
 * Decodes DXT3 (BC2), 16 bytes a block, to RGBA pixels: four bits of alpha a pixel, shifted to the top of the byte
 * without replication, so that it is 240 at most, and colours as in DXT1, always four of them.
 * @copydetails qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const uint8_t* src, uint8_t* dst, int32_t dstStep,
                                                             QlmSize size);

/**
 * Decodes DXT5 (BC3), 16 bytes a block, to RGBA pixels: alpha as a block of BC4, and colours as in DXT1, always four of
 * them.
 * @copydetails qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const uint8_t* src, uint8_t* dst, int32_t dstStep,
                                                             QlmSize size);

/** @} */
/** @name Encoding of DXT1, DXT3 and DXT5
 *  @{ */

/**
 * Encodes RGBA pixels to DXT1 (BC1), 8 bytes a block, in one pass.
 *
 * The ends are the corners of the block's bounding box, each side moved inward by `(max - min) >> 4` at both ends and
 * cut to 5, 6 and 5 bits. Each pixel takes the nearest of the four colours by the sum of absolute differences. A block
 * always has four colours, and alpha is not coded.
 *
 * A block that reaches over the right or lower edge is filled out with the last pixel of each row and then with the
 * last row, which count like all others.
 *
 * @param[in] src  pixels of 4 bytes, R, G, B, A; must not overlap @p dst
 * @param[in] srcStep  bytes between rows of pixels, not 0
 * @param[in] size  the region in pixels
 * @param[out] dst  the stream of blocks
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p srcStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const uint8_t* src, int32_t srcStep, QlmSize size,
                                                               uint8_t* dst);

/**
 * Encodes RGBA pixels to DXT3 (BC2), 16 bytes a block: the top four bits of each alpha, cut, and colours as in DXT1.
 * @copydetails qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R
 */
QLM_API QlmStatus qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const uint8_t* src, int32_t srcStep, QlmSize size,
                                                               uint8_t* dst);

/**
 * Encodes RGBA pixels to DXT5 (BC3), 16 bytes a block: alpha as qlmiTextureEncodeBlock_BC4_8u_C1R() does, and colours
 * as in DXT1.
 * @copydetails qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R
 */
QLM_API QlmStatus qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const uint8_t* src, int32_t srcStep, QlmSize size,
                                                               uint8_t* dst);

/** @} */
/** @name BC4 and BC5
 *  @{ */

/**
 * Decodes BC4, 8 bytes a block, to one unsigned channel.
 *
 * With the ends a and b, the eight values are a, b and `(6a + b + 3) / 7` to `(a + 6b + 3) / 7` where a is above b,
 * else a, b, `(4a + b + 2) / 5` to `(a + 4b + 2) / 5`, 0 and 255. Divisions truncate.
 *
 * @param[in] src  the stream of blocks; must not overlap @p dst
 * @param[out] dst  pixels of 1 byte. Nothing outside the region is written
 * @param[in] dstStep  bytes between rows of pixels, positive; of the checks it passes unless it is 0
 * @param[in] size  the region in pixels
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p dstStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureDecodeBlock_BC4_8u_C1R(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size);

/**
 * Decodes BC5, 16 bytes a block, two blocks of BC4, to two unsigned channels: pixels of 2 bytes, the first channel
 * first.
 * @copydetails qlmiTextureDecodeBlock_BC4_8u_C1R
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R(const uint8_t* src, uint8_t* dst, int32_t dstStep,
                                                          QlmSize size);

/**
 * Encodes one unsigned channel to BC4, 8 bytes a block, in one pass.
 *
 * The ends a and b are the largest and the smallest value, moved inward by `(max - min) >> 4`. Seven thresholds,
 * `((7 - i) * a + i * b) / 7 + (a - b) / 14` for i from 1 to 7, each division truncating, give the index: none, one,
 * ... of them not exceeded is index 0, 2, 3, 4, 5, 6, 7, and all seven index 1. The mode with 0 and 255 is never
 * chosen. Blocks at the edges are filled out as qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R() does.
 *
 * @param[in] src  pixels of 1 byte; must not overlap @p dst
 * @param[in] srcStep  bytes between rows of pixels, not 0
 * @param[in] size  the region in pixels
 * @param[out] dst  the stream of blocks
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p srcStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureEncodeBlock_BC4_8u_C1R(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst);

/**
 * Encodes two unsigned channels, pixels of 2 bytes, to BC5, 16 bytes a block: two blocks of BC4, which know nothing of
 * each other.
 * @copydetails qlmiTextureEncodeBlock_BC4_8u_C1R
 */
QLM_API QlmStatus qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R(const uint8_t* src, int32_t srcStep, QlmSize size,
                                                            uint8_t* dst);

/** @} */
/** @name Decoding of BC6 and BC7
 *  @{ */

/**
 * Decodes BC6 (BC6H), signed, 16 bytes a block, to pixels of three half-precision bit patterns in sign and magnitude.
 *
 * It departs from the published format in three places. The sum of a base end and a delta is wrapped to the width of
 * the ends where it is not negative, without sign extension, and not wrapped where it is negative. Only a magnitude
 * that equals the largest one of its width becomes 0x7FFF, not one above it. A result of magnitude 0 has no sign. A
 * block of a reserved mode gives zeros.
 *
 * @param[in] src  the stream of blocks; must not overlap @p dst
 * @param[out] dst  pixels of 6 bytes, R, G, B of 16 bits. Nothing outside the region is written
 * @param[in] dstStep  bytes between rows of pixels, positive; of the checks it passes unless it is 0
 * @param[in] size  the region in pixels
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p dstStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R(const uint8_t* src, int16_t* dst, int32_t dstStep,
                                                            QlmSize size);

/**
 * Decodes BC6 (BC6H), unsigned, 16 bytes a block, to pixels of three half-precision bit patterns.
 *
 * It departs from the published format in two places. The sum of a base end and a delta is wrapped to the width of the
 * ends only where it is not negative; a negative one stays negative, also through the interpolation, and the low 16
 * bits of what results are stored. A block of a reserved mode gives zeros.
 *
 * @param[in] src  the stream of blocks; must not overlap @p dst
 * @param[out] dst  pixels of 6 bytes, R, G, B of 16 bits. Nothing outside the region is written
 * @param[in] dstStep  bytes between rows of pixels, positive; of the checks it passes unless it is 0
 * @param[in] size  the region in pixels
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p dstStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R(const uint8_t* src, uint16_t* dst, int32_t dstStep,
                                                            QlmSize size);

/**
 * Decodes BC7, 16 bytes a block, to RGBA pixels, as the format is published, in all eight modes. A block of the
 * reserved mode (byte 0 is 0) gives four zero bytes a pixel.
 *
 * @param[in] src  the stream of blocks; must not overlap @p dst
 * @param[out] dst  pixels of 4 bytes, R, G, B, A. Nothing outside the region is written
 * @param[in] dstStep  bytes between rows of pixels, positive; of the checks it passes unless it is 0
 * @param[in] size  the region in pixels
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p dstStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const uint8_t* src, uint8_t* dst, int32_t dstStep,
                                                            QlmSize size);

/** @} */
/** @name Encoding of BC7
 *  @{ */

/**
 * Encodes one block of 4 x 4 RGBA pixels to BC7 in one mode. For the best block of several modes call it for each of
 * them and keep the one of the least error.
 *
 * The search is a fixed one, so that the block is defined to the bit. Each partition of the mode is estimated, with the
 * ends of each subset on the principal axis of its R, G, B and at the extremes of its alpha, by 8-bit palettes. The
 * best quarter of the partitions, or the only one, is refined: the quantised ends are searched channel by channel, one
 * at a time in halving steps and then together among all pairs near by, and the indices chosen anew. The index of a
 * pixel is found by going up through the palette until the distance rises. Modes 4 and 5 do this for all rotations,
 * mode 4 for both index selections. The block of the least error is written, the first of equal ones.
 *
 * The error is the sum of the squared differences of all four channels. In modes 0 to 3 a pixel counts with the
 * difference of its alpha from 255. In modes with p-bits (0, 1, 3, 6, 7) the error is that of the ends before the
 * p-bits, which several values share, are decided by a majority; that of the decoded block may be higher.
 *
 * @param[in] src  the first of 16 pixels of 4 bytes, R, G, B, A; must not overlap @p dst or @p err
 * @param[in] srcStep  bytes between rows of pixels, not 0
 * @param[out] dst  the block, 16 bytes
 * @param[out] err  the error of the block
 * @param[in] mode  the mode of BC7, 0 to 7
 * @retval qlmOk  block and error are written
 * @retval qlmErrNullPointer  @p src, @p dst or @p err is null
 * @retval qlmErrStep  @p srcStep is 0
 * @retval qlmErrUnsupportedMode  @p mode is above 7
 */
QLM_API QlmStatus qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(const uint8_t* src, int32_t srcStep, uint8_t* dst,
                                                                 uint32_t* err, uint32_t mode);

/** @} */
/** @name YCoCg in DXT5
 *  @{ */

/**
 * Encodes pixels of Y, Co and Cg to DXT5 blocks of a layout of their own, 16 bytes a block.
 *
 * Luma stands in the place of alpha, with the extremes as ends. Co stands in the place of red and Cg in that of green,
 * both scaled by 4, 2 or 1 around 128 as their distance from it stays up to 31, up to 63 or goes beyond; the scale less
 * 1 stands in the place of blue. Their box moves inward by `(range - 7) / 16`; a lower end that falls below 0 wraps to
 * 255. Where more than eight pixels lie on different sides of the middles of Co and Cg, the ends of Cg change places.
 * Indices are chosen as for DXT1, by Co and Cg alone. To read such a block, decode it as DXT5, divide chroma by blue's
 * code and 1 more around 128, and undo the colour transform.
 *
 * @param[in] src  pixels of 3 bytes, Y, Co, Cg, with 128 as zero of the chroma; must not overlap @p dst
 * @param[in] srcStep  bytes between rows of pixels, not 0
 * @param[in] size  the region in pixels; blocks at the edges are filled out as for DXT1
 * @param[out] dst  the stream of blocks
 * @retval qlmOk  the region is complete
 * @retval qlmErrNullPointer  @p src or @p dst is null
 * @retval qlmErrStep  @p srcStep is 0
 * @retval qlmErrSize  the width or the height is below 1
 */
QLM_API QlmStatus qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const uint8_t* src, int32_t srcStep, QlmSize size,
                                                                uint8_t* dst);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
