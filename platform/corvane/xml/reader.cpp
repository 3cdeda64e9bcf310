#include "platform/corvane/xml/reader.h"

namespace Corvane {

Ref<Writer> CreateStringWriter() {
  return MakeRef<Writer>();
}

Ref<Xml::Reader> Xml::CreateStringReader(std::string text) {
  return MakeRef<Reader>(std::move(text));
}

}  // namespace Corvane
