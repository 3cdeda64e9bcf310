#include "platform/pelagor/locale.h"

#include <unicode/locid.h>

#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "platform/corvane/exception.h"
#include "platform/pelagor/catalogue.h"
#include "platform/pelagor/formats.h"
#include "platform/pelagor/templateField.h"

namespace Pelagor {
namespace {

constexpr const char* kFirstLocale = "en";
// A field is never longer, so that a template without an end of one is not searched through for each brace.
constexpr std::size_t kMaxFieldLength = 32;

// The locale of no country for a name that ICU can't read.
icu::Locale MakeLocale(const std::string& name) {
  auto locale = icu::Locale::createCanonical(name.c_str());
  return locale.isBogus() ? icu::Locale::getRoot() : locale;
}

// "de_AT" for "de-AT" and "de_at".
std::string CanonicalName(const std::string& name) {
  return MakeLocale(name).getBaseName();
}

std::map<std::string, Catalogue> ReadCatalogues(const std::string& folder) {
  std::map<std::string, Catalogue> catalogues;
  try {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const auto& path = entry.path();
      if (path.extension() != ".json") continue;
      if (!catalogues.emplace(CanonicalName(path.stem().string()), ReadCatalogue(path)).second) {
        throw Corvane::Exception(path.string() + ": the locale has another catalogue");
      }
    }
  } catch (const std::filesystem::filesystem_error& error) {
    throw Corvane::Exception(folder + ": " + error.code().message());
  }
  return catalogues;
}

// Shows one argument as a field says; gives nothing when the argument's type is another one.
class ArgumentWriter {
 public:
  ArgumentWriter(Formats& formats, const TemplateField& field) : formats_(formats), field_(field) {}

  std::optional<std::string> operator()(std::int64_t value) const {
    if (field_.kind == Kind::Real) return formats_.Real(static_cast<double>(value), field_.length);
    return Allowed(Kind::Integer) ? formats_.Integer(value) : std::nullopt;
  }
  std::optional<std::string> operator()(double value) const {
    return Allowed(Kind::Real) ? formats_.Real(value, field_.length) : std::nullopt;
  }
  std::optional<std::string> operator()(const std::string& value) const {
    return field_.kind == Kind::Plain ? std::optional(value) : std::nullopt;
  }
  std::optional<std::string> operator()(Corvane::System::DateTime value) const {
    if (field_.kind == Kind::Time) return formats_.Time(value, field_.length);
    if (!Allowed(Kind::Date)) return std::nullopt;
    auto text = formats_.Date(value, field_.length);
    if (text && field_.kind == Kind::Plain) {
      const auto time = formats_.Time(value, field_.length);
      return time ? std::optional(*text + ' ' + *time) : std::nullopt;
    }
    return text;
  }

 private:
  bool Allowed(Kind kind) const { return field_.kind == kind || field_.kind == Kind::Plain; }

  Formats& formats_;
  const TemplateField& field_;
};

}  // namespace

class Locale::Impl {
 public:
  explicit Impl(const std::string& folder) : catalogues_(ReadCatalogues(folder)) { Select(kFirstLocale); }

  void Select(const std::string& name) {
    if (formats_ && name == selected_) return;
    formats_.emplace(MakeLocale(name));
    canonical_ = CanonicalName(name);
    selected_ = name;
  }

  const std::string* Find(const std::string& id) const {
    std::string name = canonical_;
    while (true) {
      const auto catalogue = catalogues_.find(name);
      if (catalogue != catalogues_.end()) {
        const auto message = catalogue->second.find(id);
        if (message != catalogue->second.end()) return &message->second;
      }
      const auto separator = name.rfind('_');
      if (separator == std::string::npos) return nullptr;
      name.resize(separator);
    }
  }

  // Gives nothing when the field can't be filled.
  std::optional<std::string> Fill(std::string_view text, std::span<const Argument> arguments) {
    const auto field = ReadTemplateField(text);
    if (!field || field->number > arguments.size()) return std::nullopt;
    return std::visit(ArgumentWriter(*formats_, *field), arguments[field->number - 1]);
  }

 private:
  const std::map<std::string, Catalogue> catalogues_;
  std::string selected_;
  std::string canonical_;
  std::optional<Formats> formats_;
};

Locale::Locale(const std::string& folder) : impl_(std::make_unique<Impl>(folder)) {}

Locale::~Locale() = default;

void Locale::Select(const std::string& name) {
  impl_->Select(name);
}

std::string Locale::Find(const std::string& id, const std::string& otherwise) const {
  const auto* text = impl_->Find(id);
  return text ? *text : otherwise;
}

std::string Locale::Format(std::string_view text, std::span<const Argument> arguments) {
  std::string out;
  while (true) {
    const auto brace = text.find('{');
    out += text.substr(0, brace);
    if (brace == std::string_view::npos) return out;
    text.remove_prefix(brace + 1);
    const auto end = text.substr(0, kMaxFieldLength).find('}');
    const auto filled =
        end == std::string_view::npos ? std::nullopt : impl_->Fill(text.substr(0, end), arguments);
    if (filled) {
      out += *filled;
      text.remove_prefix(end + 1);
    } else {
      out += '{';
    }
  }
}

}  // namespace Pelagor
