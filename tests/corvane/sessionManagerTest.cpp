#include "platform/corvane/sessionManager.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/corvane/app.h"
#include "testing/sessionSupport.h"
#include "testing/temporaryFolder.h"

namespace {

using Corvane::MakeRef;
using Corvane::Ref;
using Corvane::Session;
using Corvane::SessionManager;
using Testing::ManualTime;
using Testing::TemporaryFolder;

TEST(SessionManagerTest, FindsWhatItHasAndRefusesWhatIsTooMuch) {
  ManualTime time;
  SessionManager manager(2);
  const auto a = time.MakeSession(100);
  const auto b = time.MakeSession(100);
  const auto c = time.MakeSession(100);
  EXPECT_TRUE(manager.Add(a) && manager.Add(b) && manager.Add(a));
  EXPECT_FALSE(manager.Add(c));
  const auto& id = a->GetId();
  Ref<Session> found;
  EXPECT_TRUE(manager.Find(id, found));
  EXPECT_EQ(found, a);
  std::string almost = id;
  almost.back() ^= 1;
  for (const std::string& wrong : {std::string(), id.substr(0, 47), id + "0", almost, c->GetId()}) {
    found = a;
    EXPECT_FALSE(manager.Find(wrong, found) || found);
    EXPECT_FALSE(manager.Remove(wrong));
  }
  EXPECT_TRUE(manager.Remove(id));
  EXPECT_TRUE(a->HasEnded());
  EXPECT_FALSE(manager.Remove(id) || manager.Find(id, found) || manager.Add(a));
  EXPECT_EQ(manager.GetCount(), 1U);
  EXPECT_TRUE(manager.Add(c));
}

TEST(SessionManagerTest, FindingIsNoAccessAndAnEndIsLeaving) {
  ManualTime time;
  auto manager = MakeRef<SessionManager>();
  Ref<Session> found;
  const auto used = time.MakeSession(100);
  const auto idle = time.MakeSession(100);
  EXPECT_TRUE(manager->Add(used) && manager->Add(idle));
  time.Pass(60);
  EXPECT_TRUE(manager->Find(used->GetId(), found) && manager->Find(idle->GetId(), found));
  EXPECT_NE(manager->IssueCloneTicket(idle->GetId()), "");
  EXPECT_TRUE(used->Access());
  time.Pass(60);
  EXPECT_EQ(manager->GetCount(), 1U);
  EXPECT_FALSE(manager->Remove(idle->GetId()) || used->HasEnded());
  manager.reset();
  EXPECT_TRUE(used->HasEnded());
}

TEST(SessionManagerTest, TicketsServeOnceAndNotForLong) {
  ManualTime time;
  SessionManager manager(10, [&time] { return time.Now(); });
  const auto session = time.MakeSession(10 * SessionManager::kTicketLife);
  Ref<Session> found;
  EXPECT_EQ(manager.IssueCloneTicket(session->GetId()), "");
  manager.Add(session);
  const auto once = manager.IssueCloneTicket(session->GetId());
  const auto late = manager.IssueCloneTicket(session->GetId());
  EXPECT_TRUE(manager.ResolveCloneTicket(once, found));
  EXPECT_EQ(found, session);
  EXPECT_FALSE(manager.ResolveCloneTicket(once, found) || manager.ResolveCloneTicket("", found) ||
               manager.ResolveCloneTicket(session->GetId(), found) || found);
  time.Pass(SessionManager::kTicketLife);
  EXPECT_FALSE(manager.ResolveCloneTicket(late, found));

  std::set<std::string> tickets;
  for (std::size_t i = 0; i < SessionManager::kTicketLimit; ++i) {
    tickets.insert(manager.IssueCloneTicket(session->GetId()));
  }
  EXPECT_EQ(tickets.size() - tickets.count(""), SessionManager::kTicketLimit);
  EXPECT_EQ(manager.IssueCloneTicket(session->GetId()), "");
  time.Pass(SessionManager::kTicketLife);
  const auto last = manager.IssueCloneTicket(session->GetId());
  EXPECT_NE(last, "");
  session->End();
  EXPECT_FALSE(manager.ResolveCloneTicket(last, found));
}

TEST(SessionManagerTest, ApplicationBoundsIt) {
  using namespace Corvane::Service;
  const TemporaryFolder folder;
  const auto config =
      Config::Load(folder.Write("a.xml", "<config><sessions><limit>1</limit></sessions></config>"));
  testing::internal::CaptureStderr();
  config->WarnAboutUnknownKeys({});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  const auto app = MakeRef<Application>(config, Logger::sDefaultLogger);
  ManualTime time;
  EXPECT_TRUE(app->GetSessionManager()->Add(time.MakeSession(1)));
  EXPECT_FALSE(app->GetSessionManager()->Add(time.MakeSession(1)));
}

}  // namespace
