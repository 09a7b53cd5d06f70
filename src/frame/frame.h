// What every file of the library includes: the public interface, the way an export is defined, and the checks that
// exports make of their arguments.
#pragma once

#include "qlmcore.h"
#include "qlmjp.h"

// Defines the implementation of an export:
//
//   QLM_EXPORT(qlmiSub128_JPEG_8u16s_C1R)(const uint8_t* src, int32_t srcStep, ...) { ... }
//
// The implementation is the hidden function own_<name>; the exported symbol is a stub that jumps to it through the
// entry table (stubs.S). The declaration by decltype makes a signature that differs from the header's an error.
#define QLM_EXPORT(name)                \
  extern "C" decltype(name) own_##name; \
  extern "C" QlmStatus own_##name

// Argument checks, to be written one a line in the order that the function promises:
//
//   if (!src) return qlmErrNullPointer;
//   if (srcStep < 1) return qlmErrStep;
//   if (isEmpty(size)) return qlmErrSize;
inline bool isEmpty(QlmSize size) { return size.width < 1 || size.height < 1; }

template <typename T>
inline bool anyNull(T* const (&planes)[3]) {
  return !planes[0] || !planes[1] || !planes[2];
}
