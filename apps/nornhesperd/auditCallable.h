#pragma once

#include <map>
#include <memory>
#include <string>

namespace NornHesper {

// The record of one API call.
using AuditRecord = std::map<std::string, std::string>;

// Completes the record with the call's result and hands it to the host's audit log. A record without its
// event, subject, object or result ends the process.
void WriteAuditRecord(const std::shared_ptr<AuditRecord>& record, bool succeeded);

}  // namespace NornHesper
