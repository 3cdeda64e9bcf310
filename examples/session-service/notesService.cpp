#include "examples/session-service/notesService.h"

#include <deque>
#include <string>

#include "framework/core/dataValue.h"
#include "framework/provider/simpleInterface.h"
#include "platform/corvane/mutex.h"

namespace SessionExample {
namespace {

using Mirel::Core::MethodResult;
using Mirel::Data::DataValue;
using Mirel::Data::DataValuePtr;

class Notebook {
 public:
  std::int64_t Add(std::string note) {
    const Corvane::MutexLock lock(mutex_);
    notes_.push_back(std::move(note));
    if (notes_.size() > kMostNotes) notes_.pop_front();
    return static_cast<std::int64_t>(notes_.size());
  }

  DataValuePtr List() const {
    auto list = Mirel::Data::ListValue::GetInstance();
    const Corvane::MutexLock lock(mutex_);
    for (const auto& note : notes_) list->Add(DataValue::Create(note));
    return list;
  }

 private:
  static constexpr std::size_t kMostNotes = 100;

  mutable Corvane::Mutex mutex_;
  std::deque<std::string> notes_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<const Mirel::Provider::AsyncApiInterface> MakeNotesInterface() {
  using Mirel::Provider::SimpleInterface;
  const auto notebook = std::make_shared<Notebook>();
  const std::map<std::string, SimpleInterface::Function> operations{
      {"add",
       [notebook](const DataValuePtr& input) {
         return MethodResult::GetInstance(
             DataValue::Create(notebook->Add(Mirel::Provider::StringArgument(input, "text"))));
       }},
      {"list", [notebook](const DataValuePtr&) { return MethodResult::GetInstance(notebook->List()); }}};
  return std::make_shared<const SimpleInterface>("com.tessaly.example.notes", operations);
}

}  // namespace SessionExample
