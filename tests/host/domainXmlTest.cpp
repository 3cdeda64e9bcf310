#include "tools/host/domainXml.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "platform/corvane/exception.h"
#include "tests/host/registryProgram.h"

namespace {

using Testing::DomainFile;
using Testing::Exchange;
using Testing::ReadFile;
using Tools::ReadDomain;

const std::string kVsockUuid = "3f1c7c52-6a2f-4c39-9a53-0d3f8a1f0b11";

TEST(DomainXmlTest, AVmIsNamedByItsMetadataOrElseByItsName) {
  const std::string xml = ReadFile(DomainFile("vsock"));
  EXPECT_EQ(ReadDomain(xml), (Krell::VmIdentity{3, kVsockUuid, kVsockUuid, "vm-4711", true}));
  for (const auto& [part, other] :
       {std::pair("tessaly.com/norn/hesper\"", "example.com/\""),
        std::pair("hesper:vm xmlns:hesper", "hesper:vw xmlns:hesper"), std::pair("mgrVmId=", "id="),
        std::pair("mgrVmId=\"vm-4711\"", "mgrVmId=''")}) {
    EXPECT_EQ(ReadDomain(Exchange(xml, part, other))->mgrVmId, "web-1") << other;
  }
}

TEST(DomainXmlTest, SerialPortsServeWithoutAVsock) {
  const std::string xml = ReadFile(DomainFile("serial"));
  const std::string uuid = "a4f0c1de-5b1f-4f1c-8a55-77a1c2d3e4f5";
  const std::string folder = "/run/libvirt/qemu/channel/9-batch_2/";
  EXPECT_EQ(ReadDomain(xml),
            (Krell::VmIdentity{0,
                               uuid,
                               uuid,
                               "batch_2",
                               true,
                               {Krell::VmTransport::Kind::Serial, folder + Tools::kPublishPort,
                                folder + Tools::kHistoryPort}}));
}

TEST(DomainXmlTest, AVmWithoutAWayToUsIsNoVmOfOurs) {
  EXPECT_EQ(ReadDomain(ReadFile(DomainFile("plain"))), std::nullopt);
  EXPECT_EQ(ReadDomain(ReadFile(DomainFile("prepare"))), std::nullopt);
  EXPECT_EQ(ReadDomain("<domain/>"), std::nullopt);
  const std::string xml = Exchange(ReadFile(DomainFile("vsock")), "hesper.publish'", "other'");
  ASSERT_NE(ReadDomain(xml), std::nullopt);
  for (const char* cid : {"", "-3", "3x", "4294967296", "0x3", " 3"}) {
    const std::string address = std::string("address='") + cid + "'";
    EXPECT_EQ(ReadDomain(Exchange(Exchange(xml, "address='3'", address), "hesper.publish'", "other'")),
              std::nullopt)
        << cid;
  }
}

TEST(DomainXmlTest, RefusesWhatIsNoDomain) {
  for (const auto& xml :
       {std::string(), std::string("<network/>"), std::string("<domain xmlns='urn:x'/>"),
        std::string("<domain>"), std::string("domain"), ReadFile(DomainFile("external")),
        ReadFile(DomainFile("bomb")), "<domain>" + std::string(1 << 20, ' ') + "</domain>"}) {
    EXPECT_THROW(ReadDomain(xml), Corvane::Exception) << xml.substr(0, 100);
  }
}

}  // namespace
