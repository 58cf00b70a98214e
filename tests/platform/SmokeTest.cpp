#include "support/TestSupport.h"
TEST(Smoke, Builds) { EXPECT_EQ(1, 1); }
