#include "apps/nornhesperd/endpoint.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/mirelLogAdapter.h"

namespace {

using Mirel::Log::SeverityLevel;
using NornHesper::GlobalContext;
using NornHesper::MirelLogAdapter;

TEST(EndpointTest, MissingMetadataIsNamed) {
  namespace Metadata = Mirel::Provider::Metadata;
  const NornHesper::Result results[] = {
      NornHesper::LoadCliFile("c", "/no/file", Metadata::Cli::MetadataContainer::GetInstance()),
      NornHesper::LoadMetamodelFile("c", "/no/file", Metadata::Metamodel::MetadataContainer::GetInstance()),
      NornHesper::LoadAuthnFile("c", "/no/file", Metadata::Authentication::MetadataContainer::GetInstance())};
  const char* const kinds[] = {"CLI", "Model", "Authn"};
  for (std::size_t i = 0; i < std::size(results); ++i) {
    const std::string text =
        std::string("error(s): {65537, Error loading ") + kinds[i] + " c from /no/file : ";
    EXPECT_EQ(results[i].ToString().substr(0, text.size()), text);
  }
}

void StartWithoutDescriptors() {
  GlobalContext::Get()->GetLogger()->SetLevel(3);
  const rlimit none{0, 0};
  setrlimit(RLIMIT_NOFILE, &none);
  NornHesper::NornHesperApi(0).Start();
}

// Every load is tried, and the last one ends the process. A file that can't be opened is as good as none.
TEST(EndpointDeathTest, DaemonWithoutMetadataEnds) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  EXPECT_DEATH(StartWithoutDescriptors(),
               "Error loading CLI .*Error loading Model .*Error loading Authn .*"
               "Error loading authz metadata file:[^\n]*/nornhesper_mirel_metadata.json\n.*VERIFY ");
}

TEST(MirelLogAdapterTest, SeverityRisesAsTheLevelFalls) {
  auto* logger = GlobalContext::Get()->GetLogger();
  const char* const names[] = {"debug", "info", "notice", "warning", "error", "crit"};
  MirelLogAdapter adapter;
  for (int severity = 0; severity < 6; ++severity) {
    testing::internal::CaptureStderr();
    logger->SetLevel(7 - severity);
    if (const auto record = adapter.OpenRecord(static_cast<SeverityLevel>(severity))) {
      record->Stream() << "text " << severity;
    }
    const auto line = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(
        line.ends_with(std::string(" ") + names[severity] + " text " + std::to_string(severity) + "\n"))
        << line;
    logger->SetLevel(6 - severity);
    EXPECT_FALSE(adapter.OpenRecord(static_cast<SeverityLevel>(severity)));
  }
  logger->SetLevel(2);
  EXPECT_DEATH(adapter.OpenRecord(static_cast<SeverityLevel>(6)), "NOT_REACHED ");
}

}  // namespace
