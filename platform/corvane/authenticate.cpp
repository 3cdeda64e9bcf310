#include "platform/corvane/authenticate.h"

#include <openssl/crypto.h>
#include <security/pam_appl.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/corvane/log.h"
#include "platform/corvane/loginBudget.h"
#include "platform/corvane/system.h"

namespace Corvane::System {
namespace {

constexpr char kService[] = "nornhesperd";
constexpr std::size_t kMaxUserBytes = 256;
constexpr std::size_t kMaxPasswordBytes = 1024;
// Whoever is root can hold up the daemon in easier ways.
constexpr std::string_view kUnchargedUser = "root";

struct Conversation {
  const std::string& password;
  bool answered = false;
};

// Gives false when a module wants to know more than the password, or wants it again.
bool Answer(const pam_message& question, Conversation& conversation, pam_response& answer) {
  switch (question.msg_style) {
    case PAM_TEXT_INFO:
    case PAM_ERROR_MSG:
      return true;
    case PAM_PROMPT_ECHO_OFF:
      if (std::exchange(conversation.answered, true)) return false;
      answer.resp = strdup(conversation.password.c_str());
      return answer.resp != nullptr;
    default:
      return false;
  }
}

void Discard(pam_response* answers, int count) {
  for (int i = 0; i < count; ++i) {
    if (char* text = answers[i].resp) {
      OPENSSL_cleanse(text, std::strlen(text));
      std::free(text);
    }
  }
  std::free(answers);
}

extern "C" int Converse(int count, const pam_message** questions, pam_response** answers, void* data) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  // The module frees both the array and the texts.
  auto* made = static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
  if (made == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    if (!Answer(*questions[i], *static_cast<Conversation*>(data), made[i])) {
      Discard(made, count);
      return PAM_CONV_ERR;
    }
  }
  *answers = made;
  return PAM_SUCCESS;
}

extern "C" void DoNotDelay(int /*result*/, unsigned /*microseconds*/, void* /*data*/) {}

// The item is a pointer to an object, but what it holds is a function.
const void* AsItem(void (*function)(int, unsigned, void*)) {
  const void* item = nullptr;
  static_assert(sizeof(item) == sizeof(function));
  std::memcpy(&item, &function, sizeof(item));
  return item;
}

bool Check(const std::string& user, const std::string& password, const char* service) {
  Conversation conversation{password};
  const pam_conv callbacks{&Converse, &conversation};
  pam_handle_t* handle = nullptr;
  int status = pam_start(service, user.c_str(), &callbacks, &handle);
  if (status != PAM_SUCCESS) return false;
  constexpr int kFlags = PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK;
  status = pam_set_item(handle, PAM_FAIL_DELAY, AsItem(&DoNotDelay));
  if (status == PAM_SUCCESS) status = pam_authenticate(handle, kFlags);
  if (status == PAM_SUCCESS) status = pam_acct_mgmt(handle, kFlags);
  pam_end(handle, status);
  return status == PAM_SUCCESS;
}

bool IsWellFormed(const std::string& user, const std::string& password) {
  return !user.empty() && user.size() <= kMaxUserBytes && password.size() <= kMaxPasswordBytes &&
         user.find('\0') == std::string::npos && password.find('\0') == std::string::npos;
}

bool IsAdmitted(LoginBudget& budget) {
  const auto verdict = budget.Admit();
  if (verdict == LoginBudget::Verdict::RefusedFirst) {
    Service::LogInternal(
        Service::Logger::sDefaultLogger.get(), 4,
        "Password checks have used up their share of time, the last one took %1 ms; until there is some "
        "again, logins with a password are refused",
        budget.GetLastLength() / 1000);
  }
  return verdict == LoginBudget::Verdict::Admitted;
}

}  // namespace

bool AuthenticateUser(const std::string& user, const std::string& password, Ref<AuthTokenHelper>& out) {
  static LoginBudget budget(&GetMonotonicTime);
  return AuthenticateUser(user, password, kService, budget, out);
}

bool AuthenticateUser(const std::string& user, const std::string& password, const char* service,
                      LoginBudget& budget, Ref<AuthTokenHelper>& out) {
  out.reset();
  if (!IsWellFormed(user, password) || !IsAdmitted(budget)) return false;
  const std::int64_t start = budget.Now();
  const bool right = Check(user, password, service);
  if (!right || user != kUnchargedUser) budget.Settle(start);
  if (right) out = MakeRef<AuthTokenHelper>(user);
  return right;
}

}  // namespace Corvane::System
