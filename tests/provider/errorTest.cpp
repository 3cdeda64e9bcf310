#include <gtest/gtest.h>

#include <boost/asio/error.hpp>

#include "framework/provider/errorFactory.h"

namespace Mirel {
namespace {

TEST(SystemErrorTest, CarriesTheCodesText) {
  EXPECT_EQ(MakeSystemErrorValue(std::error_code(), "mirel.send.failed"), nullptr);
  EXPECT_EQ(MakeSystemErrorValue(boost::system::error_code(), "mirel.send.failed"), nullptr);
  const boost::system::error_code reset = boost::asio::error::connection_reset;
  const auto error = MakeSystemErrorValue(reset, "mirel.send.failed");
  EXPECT_EQ(error->name(), "system_error");
  EXPECT_EQ(error->ToString(),
            "system_error: The response could not be sent: system:104 Connection reset by peer");
  const auto unknown = MakeSystemErrorValue(std::make_error_code(std::errc::broken_pipe), "no.such.id");
  EXPECT_NE(unknown->ToString().find("generic:32 Broken pipe"), std::string::npos);
}

}  // namespace
}  // namespace Mirel
