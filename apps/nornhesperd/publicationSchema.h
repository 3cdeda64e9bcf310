#pragma once

#include <rapidjson/fwd.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "apps/nornhesperd/result.h"

namespace NornHesper {

// The fixed JSON schema that a publication has to match.
class PublicationSchema {
 public:
  // Where a document first differs from the schema. The two places are JSON pointers in the form of a URI
  // fragment (RFC 6901 section 6).
  struct Mismatch {
    std::string schemaPlace;
    std::string keyword;  // of the schema, such as "type"
    std::string documentPlace;
  };

  // The schema's JSON text, NUL-terminated.
  static std::string_view Text();

  PublicationSchema();
  ~PublicationSchema();

  // Compiles the schema. Once, before the first Check.
  Result Init();

  // From any thread. The cost does not depend on what lies in members that the schema does not name.
  std::optional<Mismatch> Check(const rapidjson::Value& document) const;

 private:
  // The schema as it was written, and made ready for validation.
  std::unique_ptr<rapidjson::Document> source_;
  std::unique_ptr<rapidjson::SchemaDocument> schema_;
};

}  // namespace NornHesper
