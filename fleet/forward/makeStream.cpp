#include "fleet/forward/makeStream.h"

#include "fleet/nats/natsLink.h"

namespace Fleet {
namespace {

constexpr std::int64_t kWaitMilliseconds = 10'000;

std::int64_t InNanoseconds(std::chrono::seconds time) {
  return std::chrono::nanoseconds(time).count();
}

void SetShape(jsStreamConfig& config, const char*& subject, const StreamShape& shape) {
  config.Subjects = &subject;
  config.SubjectsLen = 1;
  config.Replicas = shape.replicas;
  config.MaxAge = InNanoseconds(shape.keep);
  config.MaxBytes = shape.keepBytes > 0 ? shape.keepBytes : -1;
  config.Duplicates = InNanoseconds(shape.duplicates);
  // Whoever may publish can have the acknowledgement sent to any subject, that of a purge among them.
  config.DenyDelete = true;
  config.DenyPurge = true;
}

StreamInfoHandle FindStream(jsCtx* jetStream, const std::string& name) {
  jsStreamInfo* info = nullptr;
  const auto status = js_GetStreamInfo(&info, jetStream, name.c_str(), nullptr, nullptr);
  if (status == NATS_NOT_FOUND) return nullptr;
  CheckNats(status, "stream " + name);
  return StreamInfoHandle(info);
}

}  // namespace

std::string MakeStream(const NatsOptions& options, const std::string& prefix, const StreamShape& shape) {
  const NatsLink link(options, "hesper-forward --make-stream", "_INBOX", {});
  jsOptions settings;
  jsOptions_Init(&settings);
  settings.Wait = kWaitMilliseconds;
  const auto jetStream = link.JetStream(&settings);
  const std::string subjects = prefix + ".>";
  const char* subject = subjects.c_str();

  const auto found = FindStream(jetStream.get(), shape.name);
  jsStreamConfig config;
  jsStreamConfig_Init(&config);
  // What the administrator has set beside this stays.
  if (found) config = *found->Config;
  config.Name = shape.name.c_str();
  SetShape(config, subject, shape);
  const auto set = found ? &js_UpdateStream : &js_AddStream;
  jsStreamInfo* info = nullptr;
  CheckNats(set(&info, jetStream.get(), &config, nullptr, nullptr), "stream " + shape.name);
  const StreamInfoHandle made(info);
  return "The stream " + shape.name + (found ? " was there; it" : "") + " takes " + subjects;
}

}  // namespace Fleet
