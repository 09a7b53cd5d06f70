/**
 * @file
 * Types, status values and conventions that all functions of the library share.
 *
 * A *step* is the distance in bytes between the first elements of two consecutive rows, whatever the element type.
 * Sizes count pixels (samples for one-channel data). The caller owns all image memory.
 */
#ifndef QLMJP_TYPES_H
#define QLMJP_TYPES_H

#include <stddef.h>
#include <stdint.h>

/** Marks what the library exports. */
#if defined(__GNUC__)
#define QLM_API __attribute__((visibility("default")))
#else
#define QLM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Result of every function but qlmjGetLibVersion(): 0 is success, negative an error, positive a warning that comes
 *  with a complete result. After an error no destination byte has been written, unless the function says otherwise. */
typedef enum QlmStatus {
  qlmOk = 0,                    /**< The operation is complete. */
  qlmWarnDivByZero = 6,         /**< A quantiser of 0 was met; the table is complete, with 65535 in that entry. */
  qlmWarnOddSize = 35,          /**< Odd width or height with subsampled chroma: the last column or row was left out. */
  qlmErrDecodedPosition = -2,   /**< Entropy decoding of a block walked past coefficient 63. */
  qlmErrBadArgument = -5,       /**< A scalar argument other than a size is out of its range. */
  qlmErrSize = -6,              /**< A width, height or length is too small or not a multiple of what it must be. */
  qlmErrRange = -7,             /**< A JPEG XR bit count, table index or code length is out of range. */
  qlmErrNullPointer = -8,       /**< A required pointer, or an entry of an array of plane pointers, is null. */
  qlmErrMemAlloc = -9,          /**< An allocation failed. */
  qlmErrStep = -14,             /**< A step is below 1 or below what its block shape needs. */
  qlmErrContextMatch = -17,     /**< A state object does not carry the tag of its kind. */
  qlmErrOutOfBuffer = -62,      /**< The entropy coder reached the end of the source or destination bytes. */
  qlmErrDctRange = -63,         /**< A value or code cannot be expressed, or bits are wanted behind a marker. */
  qlmErrHuffTable = -64,        /**< A Huffman table is invalid, or a symbol has no code in it. */
  qlmErrCodeBlockData = -112,   /**< JPEG 2000 coded data contradicts its segmentation. */
  qlmErrPassIndex = -113,       /**< A JPEG 2000 encoder query names a pass that does not exist. */
  qlmErrUnpackOverrun = -124,   /**< A PackBits run reaches beyond the source or destination length. */
  qlmErrNoCodeBlock = -180,     /**< A decoding step on a state that has no code block attached. */
  qlmErrUnsupportedMode = -9999 /**< A BC7 mode above 7. */
} QlmStatus;

/** Width and height of a region in pixels (samples for one-channel data), never in bytes. */
typedef struct QlmSize {
  int32_t width;  /**< Pixels in a row. */
  int32_t height; /**< Rows. */
} QlmSize;

/** A region in the grid of an image. */
typedef struct QlmRect {
  int32_t x;      /**< Column of the first sample. */
  int32_t y;      /**< Row of the first sample. */
  int32_t width;  /**< Columns. */
  int32_t height; /**< Rows. */
} QlmRect;

/** What the library says of itself. */
typedef struct QlmLibVersion {
  int32_t major;         /**< Changes when the interface breaks. */
  int32_t minor;         /**< Changes when the interface grows. */
  int32_t update;        /**< Changes with corrections. */
  int32_t revision;      /**< Number of the sources' revision. */
  char targetCode[4];    /**< Code of the processor level, zero-filled: "l9" is AVX2. */
  const char* name;      /**< Name and processor level as text. */
  const char* version;   /**< Version and revision as text. */
  const char* buildDate; /**< Date of the interface. */
} QlmLibVersion;

#ifdef __cplusplus
}
#endif

#endif
