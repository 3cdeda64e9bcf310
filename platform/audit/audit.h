#pragma once

// One more fact about an audited event. A list of them ends with an item of two null pointers.
struct TessalyAuditItem {
  const char* key;
  const char* value;
};

// Appends one record to the host's audit log: a line of JSON with the members "time" (RFC 3339, UTC),
// "event", "subject", "object", "result" and, if there are items, "items". Each text is written as valid
// UTF-8: U+FFFD stands for what is not, and what goes beyond 8 KiB is cut off, with "..." at its end. A null
// text is empty. Nothing is thrown and nothing reported: a record that can't be written is lost, and the log
// of the process tells so once, until records can be written again. From any thread.
void TessalyAudit_LogList(const char* eventId, const char* subject, const char* object, bool result,
                          const TessalyAuditItem* items);
