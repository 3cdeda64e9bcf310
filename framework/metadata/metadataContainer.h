#pragma once

#include <map>
#include <memory>
#include <string>

#include "framework/core/dataValue.h"

// What a service says of itself: its types and operations, its commands for people at a terminal, and how
// its callers authenticate.
namespace Mirel::Provider::Metadata {

// The descriptions of one kind of thing, such as structures, by identifier.
using Entries = std::map<std::string, Data::DataValuePtr>;

// Entries of one kind by the identifier of their owner, such as operations by service. Those without an owner
// have the empty identifier.
using Groups = std::map<std::string, Entries>;

// One section of the metadata file, by kind of thing.
struct Content {
  std::map<std::string, Groups> kinds;
  // SHA-256 of the section's JSON, in hexadecimal: it changes when anything in the section does.
  std::string fingerprint;
};

// A section as it is served. Filled at start, before any call is served; after that, any thread reads it.
class SectionContainer {
 public:
  const Content& content() const { return content_; }
  void content(Content value) { content_ = std::move(value); }
  // Null when there is no such owner.
  const Entries* Find(const std::string& kind, const std::string& owner) const;

 protected:
  SectionContainer() = default;
  ~SectionContainer() = default;

 private:
  Content content_;
};

namespace Cli {
class MetadataContainer final : public SectionContainer {
 public:
  static std::shared_ptr<MetadataContainer> GetInstance() { return std::make_shared<MetadataContainer>(); }
};
}  // namespace Cli

namespace Metamodel {
class MetadataContainer final : public SectionContainer {
 public:
  static std::shared_ptr<MetadataContainer> GetInstance() { return std::make_shared<MetadataContainer>(); }
};
}  // namespace Metamodel

namespace Authentication {
class MetadataContainer final : public SectionContainer {
 public:
  static std::shared_ptr<MetadataContainer> GetInstance() { return std::make_shared<MetadataContainer>(); }
};
}  // namespace Authentication

}  // namespace Mirel::Provider::Metadata
