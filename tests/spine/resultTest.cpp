#include "apps/nornhesperd/result.h"

#include <gtest/gtest.h>

namespace {

using NornHesper::Result;

TEST(Result, RecordsKeepTheirOrderAndAreSharedWithCopies) {
  Result result;
  EXPECT_EQ(result.ToString(), "error(s): (none)");
  result.AddError(NornHesper::kErrorKernelInformation, "no \"%2\" {}");
  EXPECT_EQ(result.ToString(), "error(s): {65545, no \"%2\" {}}");
  Result copy = result;
  copy.AddError(NornHesper::kErrorCidLookup, "failed to retrieve info for cid 5");
  EXPECT_EQ(result.ToString(), "error(s): {65545, no \"%2\" {}}, {65540, failed to retrieve info for cid 5}");
}

}  // namespace
