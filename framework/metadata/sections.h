#pragma once

#include <map>
#include <set>
#include <string>

#include "framework/metadata/jsonNode.h"
#include "framework/metadata/metadataContainer.h"

// The sections of a metadata file: each is checked, then turned into what its services answer. All throw
// MetadataError.
namespace Mirel::Provider::Metadata {

// What the other sections may refer to.
struct ModelNames {
  std::set<std::string> packages;
  std::set<std::string> services;
  std::set<std::string> structures;
  std::set<std::string> errors;
  std::set<std::string> enumerations;
  // By the operation's full name, the places in its arguments that an option can fill, such as
  // "spec.past_seconds".
  std::map<std::string, std::set<std::string>> operationFields;
};

// "owner.name"
std::string DottedName(const std::string& owner, const std::string& name);

// A text that must be one of the names.
void ExpectKnown(const JsonNode& name, const std::set<std::string>& names, const std::string& what);

ModelNames CheckMetamodel(const JsonNode& section);

Content ReadMetamodel(const JsonNode& section, const ModelNames& names);
Content ReadCli(const JsonNode& section, const ModelNames& names);
Content ReadAuthentication(const JsonNode& section, const ModelNames& names);

// Turns a checked object into an entry. The structure is named after the kind, an inner object after the
// member that holds it.
void AddEntry(Content& content, const std::string& kind, const JsonNode& object,
              const std::string& owner = "");
// Turns each object of a list into an entry. Without any, the kind is there and empty.
void AddEntries(Content& content, const std::string& kind, const JsonNode& list,
                const std::string& owner = "");

}  // namespace Mirel::Provider::Metadata
