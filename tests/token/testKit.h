#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "framework/core/log.h"
#include "lib/token/josePointers.h"
#include "testing/temporaryFolder.h"

inline std::string Base64Url(const std::string& bytes) {
  char* text = nullptr;
  std::size_t size = 0;
  const auto* data = static_cast<const unsigned char*>(static_cast<const void*>(bytes.data()));
  if (!cjose_base64url_encode(data, bytes.size(), &text, &size, nullptr)) std::abort();
  const NornToken::TextPtr owner(text);
  return {text, size};
}

inline NornToken::JwkPtr EcKey(cjose_jwk_ec_curve curve = CJOSE_JWK_EC_P_256) {
  return NornToken::JwkPtr(cjose_jwk_create_EC_random(curve, nullptr));
}
inline NornToken::JwkPtr RsaKey(std::size_t bits = 2048) {
  return NornToken::JwkPtr(cjose_jwk_create_RSA_random(bits, nullptr, 0, nullptr));
}

// The public key as a JWK, with more members if given, each led by a comma.
inline std::string Jwk(const NornToken::JwkPtr& key, const std::string& kid, const std::string& more = "") {
  const NornToken::TextPtr text(cjose_jwk_to_json(key.get(), false, nullptr));
  const std::string json = text.get();
  return json.substr(0, json.rfind('}')) + R"(,"kid":")" + kid + "\"" + more + "}";
}

inline std::string SetOf(const std::string& jwks) {
  return R"({"keys":[)" + jwks + "]}";
}

inline std::string MakeToken(const NornToken::JwkPtr& key, const std::string& header,
                             const std::string& claims) {
  const NornToken::JsonPtr fields(json_loads(header.c_str(), 0, nullptr));
  const auto* bytes = static_cast<const unsigned char*>(static_cast<const void*>(claims.data()));
  const NornToken::JwsPtr jws(cjose_jws_sign(key.get(), fields.get(), bytes, claims.size(), nullptr));
  const char* text = nullptr;
  if (!jws || !cjose_jws_export(jws.get(), &text, nullptr)) std::abort();
  return text;
}

// As an administrator should do it.
inline void Replace(const std::string& path, const std::string& text, mode_t mode = 0644) {
  const auto fresh = path + ".fresh";
  std::ofstream(fresh) << text;
  chmod(fresh.c_str(), mode);
  std::filesystem::rename(fresh, path);
}

// Keeps what is logged.
class KeptLog final : public Mirel::Log::Logger {
 public:
  struct Record final : Mirel::Log::LogRecord {
    explicit Record(KeptLog& keeper) : log(keeper) {}
    ~Record() override { log.lines.push_back(text.str()); }
    std::ostream& Stream() override { return text; }

    KeptLog& log;
    std::ostringstream text;
  };

  std::unique_ptr<Mirel::Log::LogRecord> OpenRecord(Mirel::Log::SeverityLevel) override {
    return std::make_unique<Record>(*this);
  }

  std::vector<std::string> lines;
};
