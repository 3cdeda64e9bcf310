#include "platform/corvane/xml/reader.h"

namespace Corvane {

Ref<StringWriter> CreateStringWriter() {
  return MakeRef<StringWriter>();
}

Ref<Xml::Reader> Xml::CreateStringReader(std::string text) {
  return MakeRef<Reader>(std::move(text));
}

}  // namespace Corvane
