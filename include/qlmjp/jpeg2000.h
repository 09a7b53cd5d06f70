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
 *  @{ */

/** @} */
/** @name Irreversible 9/7 wavelet (T.800 Annex F)
 *  @{ */

/** @} */
/** @name Component transforms (T.800 Annex G)
 *  @{ */

/** @} */
/** @name Encoding of code-blocks (T.800 Annexes C, D)
 *  @{ */

/** @} */
/** @name Decoding of code-blocks (T.800 Annexes C, D)
 *  @{ */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
