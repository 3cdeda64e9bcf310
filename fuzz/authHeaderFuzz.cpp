// The headers of a request that fill its execution context, one a line. Whoever sends an Authorization header
// is never taken for an anonymous caller, and what the handlers after it get has the form that they count on.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/executionContext.h"
#include "framework/core/text.h"
#include "framework/transport/request/headerView.h"
#include "framework/transport/request/updateExecutionCtxHelper.h"

namespace {

using Mirel::Core::SecurityContext;
using Mirel::Transport::Header;
using Mirel::Transport::Http::HeaderView;
namespace Security = Mirel::Core::Security;

void Require(bool condition) {
  if (!condition) std::abort();
}

// The lines "name: value" of a text, names in lower case as the head parser leaves them.
class HeaderLines final : public Mirel::Transport::HeaderRange {
 public:
  explicit HeaderLines(std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
      const auto end = std::min(text.find('\n', at), text.size());
      const auto colon = text.find(':', at);
      if (colon < end) {
        Mirel::InplaceLower(text.data() + at, text.data() + colon);
        const std::string_view all(text);
        auto value = all.substr(colon + 1, end - colon - 1);
        value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
        headers_.emplace_back(all.substr(at, colon - at), value);
      }
      at = end + 1;
    }
  }
  const Header& Current() const override { return headers_[position_]; }
  void Advance() override { ++position_; }
  bool AtEnd() const override { return position_ == headers_.size(); }
  void Reset() override { position_ = 0; }

 private:
  std::vector<HeaderView> headers_;
  std::size_t position_ = 0;
};

std::string Text(const SecurityContext& context, const char* key) {
  const auto entry = context.find(key);
  Require(entry != context.end());
  return entry->second.text();
}

int Count(Mirel::Transport::HeaderRange& headers, std::string_view name) {
  int count = 0;
  for (headers.Reset(); !headers.AtEnd(); headers.Advance()) {
    count += headers.Current().Name() == name ? 1 : 0;
  }
  headers.Reset();
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(data, data + size);
  const auto headers = std::make_shared<HeaderLines>(text);
  const int authorizations = Count(*headers, "authorization");
  const auto context = std::make_shared<Mirel::Core::ExecutionContext>();
  Mirel::Provider::JsonRpc1_1::UpdateExecutionCtxHelper::Update(headers, {"a", "b"}, context, {});

  const auto& security = context->securityContext;
  Require(security.empty() == (authorizations == 0));
  if (security.empty()) return 0;
  if (const Mirel::Core::UserPassSecurityContextReader reader(security); reader) {
    Require(authorizations == 1 && security.size() == 3);
    Require(reader.userName() == Text(security, Security::kUserNameKey));
    Require(reader.userName().find(':') == std::string::npos);
    for (const char c : reader.userName() + reader.password().text()) {
      Require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
    }
  } else {
    Require(security.size() == 2 && Text(security, Security::kSchemeIdKey) == Security::kBearerTokenScheme);
    const auto token = Text(security, Security::kTokenKey);
    Require(authorizations == 1 || token.empty());
    Require(token.find_first_of(" ,\"\t") == std::string::npos);
  }
  return 0;
}
