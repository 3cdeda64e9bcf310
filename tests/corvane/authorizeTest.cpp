#include "platform/corvane/authorize.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "platform/corvane/exception.h"
#include "testing/sessionSupport.h"

namespace {

using Corvane::MakeRef;
using Corvane::Authorize::AuthorizeManager;
using Corvane::Authorize::ExpiryCallback;
using Corvane::Authorize::UserData;
using Corvane::System::DateTime;
using Testing::ManualTime;

class AuthorizeTest : public testing::Test {
 protected:
  void Connect(Corvane::Session& session, const std::string& user, bool replace = false,
               const ExpiryCallback& expiry = nullptr) {
    manager_.AddConnection(&session, user, MakeRef<Corvane::System::AuthTokenHelper>(user), replace, expiry);
  }
  static ExpiryCallback In(std::int64_t microseconds) {
    return [=](UserData*, const DateTime& now) { return DateTime(now.GetUtcTime() + microseconds); };
  }
  static ExpiryCallback At(std::int64_t time) {
    return [=](UserData*, const DateTime&) { return DateTime(time); };
  }

  ManualTime time_;
  AuthorizeManager manager_;
  Corvane::Ref<Corvane::Session> session_ = time_.MakeSession(1'000'000);
};

TEST_F(AuthorizeTest, PrivilegesFollowTheUserAndTheSession) {
  manager_.Grant("alice", "vm-1", "read");
  manager_.Grant("alice", AuthorizeManager::kEveryObject, "list");
  EXPECT_FALSE(manager_.HasPrivilege(nullptr, "vm-1", "read"));
  EXPECT_FALSE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
  Connect(*session_, "alice");
  EXPECT_TRUE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
  EXPECT_TRUE(manager_.HasPrivilege(session_.get(), "vm-2", "list"));
  EXPECT_FALSE(manager_.HasPrivilege(session_.get(), "vm-2", "read") ||
               manager_.HasPrivilege(session_.get(), "*", "read") ||
               manager_.HasPrivilege(session_.get(), "vm-1", "write"));
  const auto other = time_.MakeSession(1'000'000);
  Connect(*other, "al");
  EXPECT_FALSE(manager_.HasPrivilege(other.get(), "vm-1", "read"));
  EXPECT_FALSE(manager_.Revoke("alice", "vm-2", "list"));
  EXPECT_TRUE(manager_.Revoke("alice", "*", "list"));
  EXPECT_FALSE(manager_.HasPrivilege(session_.get(), "vm-2", "list"));
  session_->End();
  EXPECT_FALSE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
}

TEST_F(AuthorizeTest, SessionEndsWhenItsConnectionExpires) {
  int asked = 0;
  Connect(*session_, "alice", false, [&](UserData* user, const DateTime& now) {
    ++asked;
    EXPECT_EQ(user->GetUserName() + user->GetLogin()->GetUserName(), "alicealice");
    return DateTime(now.GetUtcTime() + 1000);
  });
  time_.Pass(999);
  EXPECT_FALSE(session_->HasEnded());
  time_.Pass(1);
  EXPECT_TRUE(session_->HasEnded());
  EXPECT_EQ(asked, 1);

  const auto past = time_.MakeSession(1'000'000);
  Connect(*past, "alice", false, At(std::numeric_limits<std::int64_t>::min()));
  EXPECT_TRUE(past->HasEnded());
  const auto endless = time_.MakeSession(1'000'000);
  Connect(*endless, "alice", false, At(std::numeric_limits<std::int64_t>::max()));
  time_.Pass(999'999);
  EXPECT_FALSE(endless->HasEnded());
}

// Calls that run go on with their privileges; those that come later would keep the session for ever.
TEST_F(AuthorizeTest, LeasesOutliveTheConnectionAndNothingElseDoes) {
  manager_.Grant("alice", "vm-1", "read");
  Connect(*session_, "alice", false, In(1000));
  session_->AddLease();
  session_->AddLease();
  time_.Pass(999);
  EXPECT_TRUE(session_->Access());
  time_.Pass(1);
  EXPECT_FALSE(session_->Access());
  session_->RemoveLease();
  EXPECT_TRUE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
  session_->RemoveLease();
  EXPECT_TRUE(session_->HasEnded());
}

TEST_F(AuthorizeTest, UserIsNotReplacedByMistake) {
  manager_.Grant("alice", "vm-1", "read");
  EXPECT_THROW(Connect(*session_, "bob", false,
                       [](UserData*, const DateTime&) -> DateTime { throw std::runtime_error("bad"); }),
               std::runtime_error);
  Connect(*session_, "alice", false, In(1000));
  EXPECT_THROW(Connect(*session_, "bob"), Corvane::InvalidStateException);
  EXPECT_THROW(Connect(*session_, "bob", false, In(-1)), Corvane::InvalidStateException);
  EXPECT_TRUE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
  Connect(*session_, "bob", true);
  EXPECT_FALSE(manager_.HasPrivilege(session_.get(), "vm-1", "read"));
  time_.Pass(1000);
  EXPECT_FALSE(session_->HasEnded());
  session_->End();
  EXPECT_NO_THROW(Connect(*session_, "carol"));
}

}  // namespace
