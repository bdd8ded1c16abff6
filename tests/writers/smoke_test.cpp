#include <gtest/gtest.h>
#include "polygon/pixel_writers.h"
TEST(Smoke, Builds) { EXPECT_TRUE(tovrel::rgbq_writers.complete()); }
