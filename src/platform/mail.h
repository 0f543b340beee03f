#pragma once

#include <string>
#include <vector>

namespace hq {

struct Mail {
  std::vector<std::string> Recipients;
  std::string Subject;
  std::string Body;
  std::string Attachment;  // a file's path, or empty
};

// Sends mail by the user's mail program.
class MailSender {
 public:
  MailSender() = default;
  MailSender(const MailSender&) = delete;
  MailSender& operator=(const MailSender&) = delete;
  virtual ~MailSender() = default;

  // Hands the mail over and returns at once; what becomes of it is the mail program's. Returns why it could
  // not be handed over, empty when it was.
  virtual std::string Send(const Mail& mail) = 0;
};

// The mail program of the system: the desktop's, or MAPI.
class SystemMail final : public MailSender {
 public:
  std::string Send(const Mail& mail) override;
};

}  // namespace hq
