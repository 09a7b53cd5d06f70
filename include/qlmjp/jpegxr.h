/**
 * @file
 * JPEG XR (ITU-T T.832): the photo core transform and entropy coding. No containers, headers, prediction or overlap
 * filters.
 */
#ifndef QLMJP_JPEGXR_H
#define QLMJP_JPEGXR_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Photo core transform (T.832 9.9)
 *  @{ */

/** @} */
/** @name State, adaptation and scans (T.832 8.7)
 *  @{ */

/** @} */
/** @name Coding of blocks
 *  @{ */

/** @} */
/** @name Coding of DC values and fixed-length coding
 *  @{ */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
