#include "fleet/nats/clientOptions.h"

namespace Fleet {

std::vector<Tools::Option> AddClientOptions(Tools::Command& command, NatsOptions& options) {
  const auto credentials =
      command.Value("--credentials", options.credentials, "a .creds file, or one with USER:PASSWORD")
          .ExistingFile();
  const auto authority =
      command.Value("--tls-ca", options.tlsCa, "certificates that the server's is checked by").ExistingFile();
  auto certificate = command.Value("--tls-cert", options.tlsCert, "the client's certificate").ExistingFile();
  auto key = command.Value("--tls-key", options.tlsKey, "the key of that certificate")
                 .ExistingFile()
                 .Needs(certificate);
  certificate.Needs(key);
  return {credentials, authority, certificate, key};
}

}  // namespace Fleet
