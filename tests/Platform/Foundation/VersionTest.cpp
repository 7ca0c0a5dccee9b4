#include <gtest/gtest.h>

#include <cstring>

#include "orvane/Orvane.h"

TEST(VersionTest, VersionSymbolsHoldTheFrameworkVersion) {
  EXPECT_EQ(OrvaneVersionNumber, 158.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(OrvaneVersionString),
               "@(#)PROGRAM:Orvane  PROJECT:Tamsel-158\n");
}
