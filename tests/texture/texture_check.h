// Drives the texture functions beside their models between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "model/texture.h"
#include "qlmjp.h"
#include "support/placed.h"

namespace test {

struct TextureSize {
  int32_t width, height;
};

// Every size from 1 x 1 to 19 x 19, and some that hold groups of eight blocks and more.
inline std::vector<TextureSize> textureSizes() {
  std::vector<TextureSize> sizes;
  for (int32_t width = 1; width <= 19; ++width)
    for (int32_t height = 1; height <= 19; ++height) sizes.push_back({width, height});
  for (int32_t width = 20; width <= 67; ++width)
    for (const int32_t height : {1, 4, 7, 8}) sizes.push_back({width, height});
  for (const TextureSize size : {TextureSize{128, 64}, {131, 9}, {1000, 5}, {3, 500}}) sizes.push_back(size);
  return sizes;
}

// A stream of blocks whose first bytes run through all values.
inline model::Bytes anyStream(model::Texture format, size_t blocks, Random& random) {
  const auto blockBytes = static_cast<size_t>(model::blockBytesOf(format));
  model::Bytes stream(blocks * blockBytes);
  random.fill(std::span(stream));
  const uint64_t first = random.bits();
  for (size_t i = 0; i < blocks; ++i) stream[i * blockBytes] = static_cast<uint8_t>(first + i);
  return stream;
}

template <typename T>
using DecodeTexture = QlmStatus(const uint8_t*, T*, int32_t, QlmSize);
using EncodeTexture = QlmStatus(const uint8_t*, int32_t, QlmSize, uint8_t*);

template <typename T>
void checkDecoder(uint64_t seed, model::Texture format, DecodeTexture<T>* decode) {
  TRACE_SEED(seed);
  Random random(seed);
  size_t round = 0;
  for (const TextureSize size : textureSizes()) {
    const auto [srcSlack, srcEdge] = placeOf(round, 0);
    const auto [dstSlack, dstEdge] = placeOf(round, 1);
    const auto rowBytes = static_cast<size_t>(size.width * model::pixelBytesOf(format));
    const size_t step = stepOf(round, rowBytes), rows = static_cast<size_t>(size.height);
    ++round;
    const auto blocks = static_cast<size_t>((size.width + 3) / 4 * ((size.height + 3) / 4));
    const model::Bytes stream = anyStream(format, blocks, random);
    Placed<uint8_t> src(stream.size(), 1, stream.size(), srcSlack, srcEdge);
    Placed<uint8_t> dst(rowBytes, rows, step, dstSlack, dstEdge), expected(rowBytes, rows, step, dstSlack, dstEdge);
    src.set(stream);
    expected.set(model::decodeTexture(format, stream, size.width, size.height));
    const auto before = src.snapshot();
    ASSERT_EQ(decode(src.data(), reinterpret_cast<T*>(dst.data()), dst.step(), {size.width, size.height}), qlmOk);
    ASSERT_TRUE(sameBytes(expected.snapshot(), dst.snapshot())) << size.width << " x " << size.height;
    ASSERT_EQ(src.snapshot(), before);
  }
}

inline void checkEncoder(uint64_t seed, model::Texture format, EncodeTexture* encode) {
  TRACE_SEED(seed);
  Random random(seed);
  size_t round = 0;
  for (const TextureSize size : textureSizes()) {
    const auto [srcSlack, srcEdge] = placeOf(round, 0);
    const auto [dstSlack, dstEdge] = placeOf(round, 1);
    const auto rowBytes = static_cast<size_t>(size.width * model::pixelBytesOf(format));
    const size_t step = stepOf(round, rowBytes), rows = static_cast<size_t>(size.height);
    // Noise of many ranges around many middles, extremes, and few values, where distances tie.
    model::Bytes pixels(rowBytes * rows);
    const int64_t range = int64_t{1} << round % 9, middle = random.between(0, 255);
    for (uint8_t& v : pixels)
      v = static_cast<uint8_t>(round % 7 == 6   ? random.between(0, 1) * 255
                               : round % 7 == 5 ? random.between(0, 5) * 51
                               : round % 7 == 4 ? 128 + random.between(-range / 2, range / 2)
                                                : std::clamp<int64_t>(middle + random.between(-range, range), 0, 255));
    ++round;
    const model::Bytes wanted = model::encodeTexture(format, pixels, size.width, size.height);
    Placed<uint8_t> src(rowBytes, rows, step, srcSlack, srcEdge);
    Placed<uint8_t> dst(wanted.size(), 1, wanted.size(), dstSlack, dstEdge);
    Placed<uint8_t> expected(wanted.size(), 1, wanted.size(), dstSlack, dstEdge);
    src.set(pixels);
    expected.set(wanted);
    const auto before = src.snapshot();
    ASSERT_EQ(encode(src.data(), src.step(), {size.width, size.height}, dst.data()), qlmOk);
    ASSERT_TRUE(sameBytes(expected.snapshot(), dst.snapshot())) << size.width << " x " << size.height;
    ASSERT_EQ(src.snapshot(), before);
  }
}

}  // namespace test
