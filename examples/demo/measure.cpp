#include "measure.h"

#include <qlmcore.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <stdexcept>

// All speeds are of one core: this takes the place of the core library's service, by which the library would share
// large planes out over threads.
extern "C" int32_t ownGetNumThreads(void) { return 1; }

namespace demo {
namespace {

// Time that this process has had a processor for: what other processes take does not count.
double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Runs the two in turn, so that both meet the same disturbances, and takes the fastest of at least 5 rounds and
// 0.2 seconds, or of at least 2 rounds and 2 seconds where a round is long.
template <typename Ours, typename Peer>
Speed race(const sample::Picture& picture, Ours ours, Peer peer) {
  const auto secondsOf = [](auto& round) {
    const double before = processorSeconds();
    round();
    return processorSeconds() - before;
  };
  double bestOurs = 1e9, bestPeer = 1e9;
  const double start = processorSeconds();
  const auto isEnough = [=](int32_t rounds) {
    const double seconds = processorSeconds() - start;
    return (rounds >= 5 && seconds > 0.2) || (rounds >= 2 && seconds > 2);
  };
  for (int32_t rounds = 0; !isEnough(rounds); ++rounds) {
    bestOurs = std::min(bestOurs, secondsOf(ours));
    bestPeer = std::min(bestPeer, secondsOf(peer));
  }
  const double megapixels = picture.width * 1e-6 * picture.height;
  return {megapixels / bestOurs, megapixels / bestPeer};
}

void writeFile(const std::string& name, const Bytes& bytes) {
  std::ofstream out(name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) throw std::runtime_error(name + ": cannot be written");
}

int32_t largestDifference(const sample::Picture& a, const sample::Picture& b) {
  int32_t largest = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) largest = std::max(largest, std::abs(a.pixels[i] - b.pixels[i]));
  return largest;
}

// Below a quarter of a step of 8 bits a difference in error is a matter of rounding, however many dB it makes.
bool agree(const Result& result) {
  constexpr double kRounding = 0.25;
  const auto error = [](double psnr) { return 255 * std::pow(10, -psnr / 20); };
  return result.psnrDifference() <= result.codec->tolerance ||
         std::abs(error(result.psnr) - error(result.peerPsnr)) <= kRounding;
}

}  // namespace

double Result::psnrDifference() const {
  if (psnr == peerPsnr) return 0;  // both infinite, where nothing was lost
  return std::abs(psnr - peerPsnr);
}

Result measure(const Codec& codec, const sample::Picture& picture, const std::string& folder) {
  Result result;
  result.codec = &codec;
  const sample::Picture source = codec.prepare ? codec.prepare(picture) : picture;
  result.file = codec.encode(source);
  writeFile(folder + "/" + codec.file, result.file);
  result.bitsPerPixel = 8.0 * static_cast<double>(result.file.size()) / picture.width / picture.height;
  codec.decode(result.file, result.decoded);
  if (codec.show) result.decoded = codec.show(result.decoded);
  result.psnr = sample::psnr(picture, result.decoded);
  sample::Picture peerDecoded;
  try {
    codec.peerDecode(result.file, peerDecoded);
    if (codec.show) peerDecoded = codec.show(peerDecoded);
    result.peerPsnr = sample::psnr(picture, peerDecoded);
  } catch (const std::exception& error) {
    result.failure = error.what();
    return result;
  }
  result.maxDifference = largestDifference(result.decoded, peerDecoded);
  if (!agree(result)) result.failure = "the PSNR of the two decoders differs by more than the bound";

  sample::Picture ours, peer;
  if (!codec.peerEncode) {
    const auto nobody = [] {};
    result.encode = {race(
                         picture, [&] { codec.encode(source); }, nobody)
                         .ours,
                     0};
    result.decode = {race(
                         picture, [&] { codec.decode(result.file, ours); }, nobody)
                         .ours,
                     0};
    return result;
  }
  result.encode = race(
      picture, [&] { codec.encode(source); }, [&] { codec.peerEncode(source); });
  result.decode = race(
      picture, [&] { codec.decode(result.file, ours); }, [&] { codec.peerDecode(result.file, peer); });
  return result;
}

}  // namespace demo
