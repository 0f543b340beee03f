#pragma once

#include <string>
#include <vector>

namespace hq {

struct Mail {
  std::vector<std::string> Recipients;
  std::string Subject;
  std::string Body;
  std::string Attachment;  // a file's path, or empty
  // The body when the mail program takes no attachment; when it is empty Body serves.
  std::string BodyWithoutAttachment;
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

// The mail program of the system: the desktop's, or MAPI. A body of more than 30000 bytes, or of many
// characters that such programs write as three, is cut and says so; control characters in addresses and the
// subject are dropped.
class SystemMail final : public MailSender {
 public:
  std::string Send(const Mail& mail) override;
};

}  // namespace hq
