#include "fleet/exporter/page.h"

#include <openssl/evp.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "fleet/exporter/pageFiles.h"
#include "platform/corvane/stringUtil.h"

namespace Fleet {
namespace {

struct File {
  std::string path;
  std::string type;
  std::string_view content;
  std::string tag;
};

std::string TagOf(std::string_view content) {
  constexpr std::size_t kTagBytes = 16;
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  EVP_Digest(content.data(), content.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
  return '"' + Corvane::StringUtil::HexEncode(std::span(digest).first(kTagBytes)) + '"';
}

std::string TypeOf(std::string_view name) {
  if (name.ends_with(".html")) return "text/html; charset=utf-8";
  return name.ends_with(".css") ? "text/css; charset=utf-8" : "text/javascript; charset=utf-8";
}

std::vector<File> MakeFiles() {
  std::vector<File> files;
  for (const auto& [name, content] : PageFiles()) {
    const std::string path = name == "index.html" ? "/" : '/' + std::string(name);
    files.push_back({path, TypeOf(name), content, TagOf(content)});
  }
  return files;
}

const std::vector<File>& Files() {
  static const auto files = MakeFiles();
  return files;
}

}  // namespace

std::optional<Answer> Page::Get(const Request& request) {
  for (const auto& file : Files()) {
    if (file.path != request.path) continue;
    Answer answer{
        .headers = {{"ETag", file.tag}, {"Cache-Control", "no-cache"}, {"Content-Type", file.type}}};
    const auto known = request.Header("If-None-Match");
    answer.status = known && known->find(file.tag) != std::string_view::npos ? 304 : 200;
    if (answer.status == 200) answer.body = file.content;
    return answer;
  }
  return std::nullopt;
}

}  // namespace Fleet
