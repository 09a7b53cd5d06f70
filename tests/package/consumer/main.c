#include <qlmcore.h>
#include <qlmjp.h>
#include <stdio.h>

int main(void) {
  uint8_t raw[64];
  uint16_t forward[64];
  int16_t block[64] = {0};
  QlmStatus status;
  int i;
  for (i = 0; i < 64; ++i) raw[i] = 2;
  status = qlmiQuantFwdTableInit_JPEG_8u16u(raw, forward);
  if (status != qlmOk || forward[0] != 16384) return 1;
  block[0] = 3;
  if (qlmiQuantFwd8x8_JPEG_16s_C1I(block, forward) != qlmOk || block[0] != 2) return 1;
  printf("%s %s\n", qlmjGetLibVersion()->name, qlmjGetLibVersion()->version);
  return 0;
}
