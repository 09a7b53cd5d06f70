// qlmjGetLibVersion against its record, literally.
#include <gtest/gtest.h>

#include <cstring>

#include "qlmjp.h"

TEST(Model, qlmjGetLibVersion) {
  const QlmLibVersion* v = qlmjGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(qlmjGetLibVersion(), v);
  EXPECT_EQ(v->major, 7);
  EXPECT_EQ(v->minor, 1);
  EXPECT_EQ(v->update, 0);
  EXPECT_EQ(v->revision, 36264);
  EXPECT_EQ(std::memcmp(v->targetCode, "l9\0\0", 4), 0);
  EXPECT_STREQ(v->name, "qlmJP AVX2 (l9)");
  EXPECT_STREQ(v->version, "7.1.0 (r36264)");
  EXPECT_STREQ(v->buildDate, "Jul 23 2012");
}
