#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace NornHesper {

// What a record is about; a guest sees the number in the diagnosis of its acknowledgement.
enum ErrorCode : std::uint32_t {
  kErrorStartup = 0x10000,           // configuration of the base library, pid file, file limit, schema text
  kErrorMetadata = 0x10001,          // loading the API metadata
  kErrorPublication = 0x10002,       // a publication's text is not acceptable
  kErrorArguments = 0x10003,         // an API call's arguments are not acceptable
  kErrorCidLookup = 0x10004,         // a cid could not be identified
  kErrorProbeSocket = 0x10005,       // the probing vsock socket could not be made
  kErrorProbeConnect = 0x10006,      // the probing vsock socket could not connect
  kErrorCartelId = 0x10007,          // no cartel id from the connected socket
  kErrorUuidMapping = 0x10008,       // a uuid could not be mapped to a cid
  kErrorKernelInformation = 0x10009  // a kernel information read failed
};

// The outcome of an operation that can fail: a handle to a list of records, innermost cause first. Success
// has no list and costs no allocation. Copies share one list, so a record added through one shows in all.
// Used by one thread at a time.
class Result {
 public:
  struct ErrorRecord {
    std::uint32_t code;
    std::string message;  // finished text
  };

  void AddError(unsigned code, const std::string& message);
  bool HasErrors() const { return records_ != nullptr && !records_->empty(); }
  std::string ToString() const;

  const std::shared_ptr<std::vector<ErrorRecord>>& GetRecords() const { return records_; }

 private:
  std::shared_ptr<std::vector<ErrorRecord>> records_;
};

}  // namespace NornHesper
