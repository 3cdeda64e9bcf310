#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/corvane/crypto.h"

// The payload of a large publication, decoded once on its way in and encoded once for each subscriber.
// OpenSSL is beside it as the measure: the library behind Base64_Decode has to be worth its place.
namespace {

constexpr std::size_t kPayload = 52 * 1024;

std::vector<unsigned char> Payload() {
  std::vector<unsigned char> bytes(kPayload);
  unsigned state = 1;
  for (unsigned char& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<unsigned char>(state >> 24);
  }
  return bytes;
}

std::string EncodedPayload() {
  const auto bytes = Payload();
  std::string text;
  Base64_Encode(bytes.data(), bytes.size(), text);
  return text;
}

void SetBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
}

void Base64Decode(benchmark::State& state) {
  const std::string text = EncodedPayload();
  std::vector<unsigned char> out(Base64_DecodedLength(text.data(), text.size()));
  for (auto _ : state) {
    std::size_t written = 0;
    benchmark::DoNotOptimize(Base64_Decode(text.data(), text.size(), out.data(), out.size(), &written));
    benchmark::ClobberMemory();
  }
  SetBytes(state, text.size());
}
BENCHMARK(Base64Decode);

void Base64DecodeOpenSsl(benchmark::State& state) {
  const std::string text = EncodedPayload();
  std::vector<unsigned char> out(Base64_DecodedLength(text.data(), text.size()));
  for (auto _ : state) {
    benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                             static_cast<int>(text.size())));
    benchmark::ClobberMemory();
  }
  SetBytes(state, text.size());
}
BENCHMARK(Base64DecodeOpenSsl);

void Base64Encode(benchmark::State& state) {
  const auto bytes = Payload();
  std::string text;
  for (auto _ : state) {
    Base64_Encode(bytes.data(), bytes.size(), text);
    benchmark::DoNotOptimize(text.data());
    benchmark::ClobberMemory();
  }
  SetBytes(state, bytes.size());
}
BENCHMARK(Base64Encode);

void Base64EncodeOpenSsl(benchmark::State& state) {
  const auto bytes = Payload();
  std::vector<unsigned char> text((bytes.size() + 2) / 3 * 4 + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size())));
    benchmark::ClobberMemory();
  }
  SetBytes(state, bytes.size());
}
BENCHMARK(Base64EncodeOpenSsl);

}  // namespace
