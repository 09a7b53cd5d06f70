#include <qlmcore.h>
#include <qlmjp.h>

#include <vector>

int main() {
  const std::vector<uint8_t> samples(100, 255);
  std::vector<int16_t> shifted(100);
  const QlmStatus status = qlmiSub128_JPEG_8u16s_C1R(samples.data(), 10, shifted.data(), 20, QlmSize{10, 10});
  return status == qlmOk && shifted[99] == 127 && ownGetNumThreads() >= 1 ? 0 : 1;
}
