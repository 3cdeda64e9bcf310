#include "apps/nornhesperd/result.h"

#include <gtest/gtest.h>

#include "apps/nornhesperd/logMessage.h"

namespace {

using NornHesper::ExtractFunctionName;
using NornHesper::Result;

TEST(Result, SuccessHasNoListAndNoRecords) {
  Result result;
  EXPECT_EQ(result.GetRecords(), nullptr);
  EXPECT_FALSE(result.HasErrors());
  EXPECT_EQ(result.ToString(), "error(s): (none)");

  result.AddError(NornHesper::kErrorStartup, "gone");
  result.GetRecords()->clear();
  EXPECT_FALSE(result.HasErrors());
  EXPECT_EQ(result.ToString(), "error(s): (none)");
}

TEST(Result, RecordsKeepTheirOrderAndAreSharedWithCopies) {
  Result result;
  result.AddError(NornHesper::kErrorKernelInformation, "no \"%2\" {}");
  EXPECT_EQ(result.ToString(), "error(s): {65545, no \"%2\" {}}");
  Result copy = result;
  copy.AddError(NornHesper::kErrorCidLookup, "failed to retrieve info for cid 5");
  EXPECT_EQ(result.ToString(), "error(s): {65545, no \"%2\" {}}, {65540, failed to retrieve info for cid 5}");
}

TEST(FunctionName, IsBetweenFirstBlankAndFirstParenthesis) {
  EXPECT_EQ(ExtractFunctionName("int main(int, char**)"), "main");
  EXPECT_EQ(ExtractFunctionName("NornHesper::Backend::Backend(unsigned int)"),
            "NornHesper::Backend::Backend");
  EXPECT_EQ(ExtractFunctionName("unsigned int A::B(int)"), "int A::B");
  EXPECT_EQ(ExtractFunctionName("void name"), "name");
}

}  // namespace
