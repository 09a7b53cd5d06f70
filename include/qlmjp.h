/**
 * @file
 * Everything that the library exports: include this one header, or the header of a single codec below it.
 */
#ifndef QLMJP_H
#define QLMJP_H

#include "qlmjp/jpeg.h"
#include "qlmjp/jpeg2000.h"
#include "qlmjp/jpegxr.h"
#include "qlmjp/texture.h"
#include "qlmjp/tiff.h"
#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Tells the version of the library. May be called at any time and never fails.
 *  @return The constant record, the same on every call. It and its texts live as long as the library. */
QLM_API const QlmLibVersion* qlmjGetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif
