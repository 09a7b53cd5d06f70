/* The shortest whole use of the library: a drawn grey picture as a baseline JPEG file (ITU-T T.81), in C99. */
#include <qlmjp.h>
#include <stdio.h>
#include <string.h>

#include "jpeg/annex_k.h" /* the typical tables of T.81 Annex K */

enum { kWidth = 512, kHeight = 384 };
static uint8_t pixels[kHeight][kWidth], stream[2 * kWidth * kHeight];

int main(int argc, char** argv) {
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) pixels[y][x] = (uint8_t)((x * x + y * y) / 512);

  /* Tables: quantisation at quality 90, Huffman codes of luminance. */
  uint8_t raw[64];
  uint16_t quant[64];
  QlmEncodeHuffmanSpec dc, ac;
  QlmEncodeHuffmanState state;
  memcpy(raw, kLuminanceQuant, sizeof raw);
  qlmiQuantFwdRawTableInit_JPEG_8u(raw, 90);
  qlmiQuantFwdTableInit_JPEG_8u16u(raw, quant);
  qlmiEncodeHuffmanSpecInit_JPEG_8u(kLuminanceDcCounts, kDcValues, &dc);
  qlmiEncodeHuffmanSpecInit_JPEG_8u(kLuminanceAcCounts, kLuminanceAcValues, &ac);
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);

  /* Block by block: pixels to coefficients to bits. The last call, with its flag set, fills up the last byte. */
  int16_t block[64], lastDc = 0;
  int32_t size = 0, ok = 1;
  for (int y = 0; y < kHeight; y += 8) {
    for (int x = 0; x < kWidth; x += 8) {
      qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&pixels[y][x], kWidth, block, quant);
      ok &= qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block, stream, sizeof stream, &size, &lastDc, &dc, &ac, &state, 0) ==
            qlmOk;
    }
  }
  ok &= qlmiEncodeHuffman8x8_JPEG_16s1u_C1(NULL, stream, sizeof stream, &size, NULL, NULL, NULL, &state, 1) == qlmOk;

  /* The file: SOI, DQT, SOF0, DHT, SOS, the stream, EOI. */
  FILE* file = fopen(argc > 1 ? argv[1] : "minimal.jpg", "wb");
  if (!file) return 1;
  fwrite("\xFF\xD8\xFF\xDB\x00\x43\x00", 1, 7, file), fwrite(raw, 1, sizeof raw, file);
  const uint8_t sof[] = {0xFF, 0xC0, 0, 11, 8, kHeight >> 8, kHeight & 255, kWidth >> 8, kWidth & 255, 1, 1, 0x11, 0};
  fwrite(sof, 1, sizeof sof, file);
  fwrite("\xFF\xC4\x00\xD2\x00", 1, 5, file), fwrite(kLuminanceDcCounts, 1, 16, file), fwrite(kDcValues, 1, 12, file);
  fwrite("\x10", 1, 1, file), fwrite(kLuminanceAcCounts, 1, 16, file), fwrite(kLuminanceAcValues, 1, 162, file);
  fwrite("\xFF\xDA\x00\x08\x01\x01\x00\x00\x3F\x00", 1, 10, file), fwrite(stream, 1, (size_t)size, file);
  fwrite("\xFF\xD9", 1, 2, file);
  ok &= fclose(file) == 0;
  return !ok;
}
