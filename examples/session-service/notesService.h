#pragma once

#include <memory>

namespace Mirel::Provider {
class AsyncApiInterface;
}

namespace SessionExample {

// A notebook that all users share, "com.tessaly.example.notes": "list" gives the notes, "add" takes one more
// as its argument "text" and gives their number. Who may do which of the two is not this service's business.
// Kept in memory, bounded: the oldest note makes room.
std::shared_ptr<const Mirel::Provider::AsyncApiInterface> MakeNotesInterface();

}  // namespace SessionExample
