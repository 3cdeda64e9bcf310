#include "tools/host/domainXml.h"

#include <charconv>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"

namespace Tools {
namespace {

using Corvane::Xml::Node;

const Corvane::Xml::SkipWsAndCommentsFilter kElements;

Node FindChild(const Node& parent, std::string_view name, std::string_view namespaceUri = {}) {
  if (!parent) return {};
  for (Corvane::Xml::ChildWalker child(parent, kElements); child.Current(); child.Next()) {
    if (child.Current().IsElement(name, namespaceUri)) return child.Current();
  }
  return {};
}

std::string TextOf(const Node& element) {
  std::string text;
  if (!element) return text;
  for (Node child = element.GetFirstChild(); child; child.Advance()) text += child.GetText();
  return text;
}

std::string AttributeOf(const Node& element, std::string_view name) {
  return element ? element.GetAttribute(name).value_or("") : "";
}

// 0 if there is none, as before libvirt has chosen one.
std::uint32_t ReadCid(const Node& devices) {
  const std::string text = AttributeOf(FindChild(FindChild(devices, "vsock"), "cid"), "address");
  std::uint32_t cid = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), cid);
  return error == std::errc() && end == text.data() + text.size() ? cid : 0;
}

Krell::VmTransport ReadChannels(const Node& devices) {
  Krell::VmTransport transport;
  for (Corvane::Xml::ChildWalker child(devices, kElements); child.Current(); child.Next()) {
    const Node& channel = child.Current();
    if (!channel.IsElement("channel", {}) || AttributeOf(channel, "type") != "unix") continue;
    const std::string name = AttributeOf(FindChild(channel, "target"), "name");
    const std::string path = AttributeOf(FindChild(channel, "source"), "path");
    if (name == kPublishPort) transport.path = path;
    if (name == kHistoryPort) transport.historyPath = path;
  }
  if (!transport.path.empty()) transport.kind = Krell::VmTransport::Kind::Serial;
  return transport;
}

Node RootOf(Corvane::Xml::Document& document) {
  Node domain = document.GetRoot();
  if (!domain.IsElement("domain", {})) throw Corvane::Exception("the text is no description of a domain");
  return domain;
}

}  // namespace

std::string ReadDomainUuid(std::string_view xml) {
  const auto document = Corvane::Xml::ParseText(xml);
  return TextOf(FindChild(RootOf(*document), "uuid"));
}

std::optional<Krell::VmIdentity> ReadDomain(std::string_view xml) {
  const auto document = Corvane::Xml::ParseText(xml);
  const Node domain = RootOf(*document);
  Krell::VmIdentity vm;
  vm.biosUuid = vm.vmUuid = TextOf(FindChild(domain, "uuid"));
  vm.mgrVmId = AttributeOf(FindChild(FindChild(domain, "metadata"), "vm", kMetadataNamespace), "mgrVmId");
  if (vm.mgrVmId.empty()) vm.mgrVmId = TextOf(FindChild(domain, "name"));
  const Node devices = FindChild(domain, "devices");
  if (!devices) return std::nullopt;
  vm.cid = ReadCid(devices);
  if (vm.cid == 0) vm.transport = ReadChannels(devices);
  if (vm.cid == 0 && vm.transport.kind == Krell::VmTransport::Kind::Vsock) return std::nullopt;
  return vm;
}

}  // namespace Tools
