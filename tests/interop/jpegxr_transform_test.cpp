// The photo core transform beside jxrlib's, on pictures and on noise: equal in every value, both ways. jxrlib has
// 32-bit integers alone and keeps the values of a block, samples and coefficients alike, in an order of its own.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "qlmjp.h"
#include "support/picture.h"
#include "support/random.h"

extern "C" {
void strDCT4x4Stage1(int* block);
void strIDCT4x4Stage1(int* block);
}

namespace {

using test::Random;

// Where jxrlib keeps the values of a block that is read row by row.
constexpr size_t kPlace[16] = {0, 1, 5, 4, 2, 3, 7, 6, 10, 11, 15, 14, 8, 9, 13, 12};

template <typename T>
struct Plane {
  int32_t width, height;  // multiples of 4
  std::vector<T> samples;

  int32_t step() const { return width * static_cast<int32_t>(sizeof(T)); }
  QlmSize size() const { return {width, height}; }
};

// Blocks one by one through jxrlib's transform.
template <typename T>
void byJxrlib(Plane<T>& plane, void (*transform)(int*)) {
  const auto width = static_cast<size_t>(plane.width), height = static_cast<size_t>(plane.height);
  for (size_t y = 0; y < height; y += 4)
    for (size_t x = 0; x < width; x += 4) {
      std::array<int, 16> block;
      const auto at = [&](size_t i) -> T& { return plane.samples[(y + i / 4) * width + x + i % 4]; };
      for (size_t i = 0; i < 16; ++i) block[kPlace[i]] = at(i);
      transform(block.data());
      for (size_t i = 0; i < 16; ++i) at(i) = static_cast<T>(block[kPlace[i]]);
    }
}

// The red or grey values of a picture, cut to whole blocks and their level shifted.
template <typename T>
Plane<T> planeOf(const sample::Picture& picture) {
  Plane<T> plane{picture.width & ~3, picture.height & ~3, {}};
  for (int32_t y = 0; y < plane.height; ++y)
    for (int32_t x = 0; x < plane.width; ++x)
      plane.samples.push_back(static_cast<T>(
          picture.pixels[static_cast<size_t>(y * picture.width + x) * static_cast<size_t>(picture.channels)] - 128));
  return plane;
}

template <typename T>
Plane<T> noise(int32_t limit) {
  Plane<T> plane{132, 128, std::vector<T>(132 * 128)};
  Random(static_cast<uint64_t>(limit)).fill(std::span(plane.samples), -limit, limit);
  return plane;
}

template <typename T>
void compare(const Plane<T>& plane, QlmStatus (*forward)(T*, int32_t, QlmSize),
             QlmStatus (*inverse)(T*, int32_t, QlmSize)) {
  Plane<T> ours = plane, theirs = plane;
  ASSERT_EQ(forward(ours.samples.data(), ours.step(), ours.size()), qlmOk);
  byJxrlib(theirs, strDCT4x4Stage1);
  ASSERT_EQ(ours.samples, theirs.samples);
  EXPECT_NE(ours.samples, plane.samples);
  // Coefficients as quantisation leaves them, so that the inverse has more to do than undo.
  for (size_t i = 0; i < plane.samples.size(); ++i)
    ours.samples[i] = theirs.samples[i] = static_cast<T>(ours.samples[i] / 5 * 5);
  ASSERT_EQ(inverse(ours.samples.data(), ours.step(), ours.size()), qlmOk);
  byJxrlib(theirs, strIDCT4x4Stage1);
  ASSERT_EQ(ours.samples, theirs.samples);
}

template <typename T>
void comparePictures(QlmStatus (*forward)(T*, int32_t, QlmSize), QlmStatus (*inverse)(T*, int32_t, QlmSize)) {
  std::vector<sample::Picture> pictures{sample::paintPicture(641, 480), sample::paintPicture(300, 233)};
  for (const auto& file : sample::photographs()) pictures.push_back(sample::readPicture(file));
  for (const sample::Picture& picture : pictures)
    ASSERT_NO_FATAL_FAILURE(compare(planeOf<T>(picture), forward, inverse));
}

}  // namespace

TEST(PhotoCoreTransform, EqualsJxrlibIn32Bits) {
  comparePictures(qlmiPCTFwd_JPEGXR_32s_C1IR, qlmiPCTInv_JPEGXR_32s_C1IR);
  for (const int32_t limit : {1, 3, 255, 32767, 1 << 24})
    ASSERT_NO_FATAL_FAILURE(compare(noise<int32_t>(limit), qlmiPCTFwd_JPEGXR_32s_C1IR, qlmiPCTInv_JPEGXR_32s_C1IR));
}

// As long as three times a value stays within 16 bits.
TEST(PhotoCoreTransform, EqualsJxrlibIn16Bits) {
  comparePictures(qlmiPCTFwd_JPEGXR_16s_C1IR, qlmiPCTInv_JPEGXR_16s_C1IR);
  for (const int32_t limit : {1, 3, 255, 600})
    ASSERT_NO_FATAL_FAILURE(compare(noise<int16_t>(limit), qlmiPCTFwd_JPEGXR_16s_C1IR, qlmiPCTInv_JPEGXR_16s_C1IR));
}
