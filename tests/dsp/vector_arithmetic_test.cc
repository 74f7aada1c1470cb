#include <gtest/gtest.h>
TEST(X, W) {}
