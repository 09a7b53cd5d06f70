/**
 * @file
 * Everything that the library exports: include this one header, or the header of a single codec below it.
 */
#ifndef QLMJP_H
#define QLMJP_H

#include "qlmjp/jpeg.h"
#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Returns the constant version record of the library. The record and its texts live as long as the library; the
 * pointer is the same on every call. May be called at any time and never fails.
 */
QLM_API const QlmLibVersion* qlmjGetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif
