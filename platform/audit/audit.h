#pragma once

#include <cstdint>

// One more fact about an audited event. A list of them ends with an item of two null pointers.
struct TessalyAuditItem {
  const char* key;
  const char* value;
};

// Opens the audit log now instead of at the first record, so that a process short of descriptors has it.
void TessalyAudit_Open();

// Appends one record to the host's audit log: a line of JSON with the members "time" (RFC 3339, UTC),
// "event", "subject", "object", "result" and, if there are items, "items". Each text is written as valid
// UTF-8, with U+FFFD for what is not, and with JSON's escapes for what a terminal must not be shown; what
// goes beyond 256 bytes in that form is cut off, with "..." at its end. A null text is empty. Nothing is
// thrown and nothing reported: a record that can't be written is lost, and the log of the process says so
// once, until records can be written again. From any thread.
void TessalyAudit_LogList(const char* eventId, const char* subject, const char* object, bool result,
                          const TessalyAuditItem* items);

// How many records this process has lost. From any thread; waits for a record that is being written.
std::uint64_t TessalyAudit_RecordsLost();
