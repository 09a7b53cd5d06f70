/**
 * @file
 * Block textures: DXT1, DXT3, DXT5, BC4 to BC7. No files, mip chains or colour spaces.
 */
#ifndef QLMJP_TEXTURE_H
#define QLMJP_TEXTURE_H

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Decoding of DXT1, DXT3 and DXT5
 *  @{ */

/** @} */
/** @name Encoding of DXT1, DXT3 and DXT5
 *  @{ */

/** @} */
/** @name BC4 and BC5
 *  @{ */

/** @} */
/** @name Decoding of BC6 and BC7
 *  @{ */

/** @} */
/** @name Encoding of BC7
 *  @{ */

/** @} */
/** @name YCoCg in DXT5
 *  @{ */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
