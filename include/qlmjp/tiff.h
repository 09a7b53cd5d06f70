/**
 * @file
 * TIFF rows (TIFF 6.0): PackBits and sample-width conversion. No directories, strips or tags.
 */
#ifndef QLMJP_TIFF_H
#define QLMJP_TIFF_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name PackBits (TIFF 6.0, section 9)
 *  @{ */

/**
 * Packs one row of bytes with PackBits.
 *
 * A run of two or more equal bytes at the start of a packet makes a replicate packet (of up to 128); inside a literal
 * packet only three equal bytes end it. The header -128 is never written.
 *
 * @param[in] src  the row, @p srcLength bytes
 * @param[in] srcLength  bytes in the row, at least 1
 * @param[out] dst  start of the buffer; packets are written from `*dstPosition` on. Must not overlap @p src
 * @param[in,out] dstPosition  position in @p dst in bytes; moved behind the last finished packet
 * @param[in] room  bytes that may be written behind the position (not from the start of the buffer), at least 1
 * @retval qlmOk  the whole row is packed
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength or @p room is below 1
 * @retval qlmErrUnpackOverrun  the next packet does not fit into the room; bytes behind the position may have changed
 */
QLM_API QlmStatus qlmiPackBitsRow_TIFF_8u_C1(const uint8_t* src, int32_t srcLength, uint8_t* dst, int32_t* dstPosition,
                                             int32_t room);

/**
 * Unpacks PackBits packets until one row of exactly @p dstLength bytes is full.
 *
 * @param[in] src  start of the packets. When a replicate header is the very last byte, the byte at index @p srcLength
 *                 is read as its value: one readable byte must stand behind the source
 * @param[in,out] srcPosition  position in @p src in bytes; moved behind the last packet of the row or, on failure,
 *                 behind the header that failed
 * @param[in] srcLength  bytes in @p src, at least 1
 * @param[out] dst  the row, @p dstLength bytes. Must not overlap @p src
 * @param[in] dstLength  bytes in the row, at least 1
 * @retval qlmOk  the row is full
 * @retval qlmErrNullPointer  a pointer is null
 * @retval qlmErrSize  @p srcLength or @p dstLength is below 1
 * @retval qlmErrUnpackOverrun  the source ends before the row is full, or a packet reaches beyond the source or the
 *                 row; nothing of that packet is written, the packets before it are
 */
QLM_API QlmStatus qlmiUnpackBitsRow_TIFF_8u_C1(const uint8_t* src, int32_t* srcPosition, int32_t srcLength,
                                               uint8_t* dst, int32_t dstLength);

/** @} */
/** @name Sample width
 *  @{ */

/**
 * Joins two rows of bytes into one row of 16-bit samples: `dst[i] = src[0][i] << 8 | src[1][i]`.
 *
 * @param[in] src  two rows of @p length bytes: high bytes, low bytes. The two entries are not tested for null
 * @param[out] dst  @p length samples. Must not overlap the sources
 * @param[in] length  samples, at least 1
 * @retval qlmOk  the row is complete
 * @retval qlmErrNullPointer  the array or @p dst is null
 * @retval qlmErrStep  @p length is below 1 (a step error here, unlike in other rows)
 */
QLM_API QlmStatus qlmiJoinRow_TIFF_8u16u_C1(const uint8_t* const src[2], uint16_t* dst, int32_t length);

/**
 * Splits one row of 16-bit samples into two rows of bytes, the converse of qlmiJoinRow_TIFF_8u16u_C1().
 *
 * @param[in] src  @p length samples
 * @param[out] dst  two rows of @p length bytes: high bytes, low bytes. The two entries are not tested for null
 * @param[in] length  samples, at least 1
 * @retval qlmOk  both rows are complete
 * @retval qlmErrNullPointer  @p src or the array is null
 * @retval qlmErrStep  @p length is below 1 (a step error here, unlike in other rows)
 */
QLM_API QlmStatus qlmiSplitRow_TIFF_16u8u_C1(const uint16_t* src, uint8_t* const dst[2], int32_t length);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
