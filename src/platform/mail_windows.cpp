#include <algorithm>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <windows.h>

// Needs the names of windows.h.
#include <mapi.h>

#include "base/strings.h"
#include "platform/mail.h"
#include "platform/mail_texts.h"
#include "platform/windows_error.h"

namespace hq {

namespace {

constexpr size_t MostBodyBytes = 30000;

std::string Whole_Path(const std::string& path) {
  std::string whole(MAX_PATH, '\0');
  const DWORD length = GetFullPathNameA(path.c_str(), MAX_PATH, whole.data(), nullptr);
  if (length == 0 || length >= MAX_PATH) return path;
  whole.resize(length);
  return whole;
}

// Why a file can't be attached; empty when it can.
std::string Attachment_Fault(const std::string& path) {
  if (path.empty()) return {};
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return path + ": " + Windows_Error_Text(GetLastError());
  const bool file = (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 && path.find('\0') == std::string::npos;
  return file ? std::string() : path + " is no file that can be attached.";
}

// Shows the mail in the user's mail program and waits until it has been sent or closed.
void Send_By(LPMAPISENDMAIL send, Mail mail) {
  std::vector<std::string> addresses;
  for (const std::string& recipient : mail.Recipients) addresses.push_back("SMTP:" + recipient);
  std::vector<MapiRecipDesc> recipients(addresses.size());
  for (size_t i = 0; i < recipients.size(); ++i) {
    recipients[i].ulRecipClass = MAPI_TO;
    recipients[i].lpszName = mail.Recipients[i].data();
    recipients[i].lpszAddress = addresses[i].data();
  }
  MapiFileDesc file{};
  file.nPosition = static_cast<ULONG>(-1);
  file.lpszPathName = mail.Attachment.data();
  MapiMessage message{};
  message.lpszSubject = mail.Subject.data();
  message.lpszNoteText = mail.Body.data();
  message.nRecipCount = static_cast<ULONG>(recipients.size());
  message.lpRecips = recipients.data();
  message.nFileCount = mail.Attachment.empty() ? 0 : 1;
  message.lpFiles = mail.Attachment.empty() ? nullptr : &file;
  // The user sees what is sent, and may still close it.
  send(0, 0, &message, MAPI_LOGON_UI | MAPI_DIALOG, 0);
}

}  // namespace

std::string SystemMail::Send(const Mail& mail) {
  Mail prepared;
  for (const std::string& recipient : mail.Recipients) {
    std::string address(Trim(Without_Controls(recipient)));
    if (!address.empty()) prepared.Recipients.push_back(std::move(address));
  }
  if (prepared.Recipients.empty()) return "There is no address to send the mail to.";
  if (std::string fault = Attachment_Fault(mail.Attachment); !fault.empty()) return fault;
  prepared.Subject = Without_Controls(mail.Subject);
  prepared.Body = Cut_Body(Replace_All(mail.Body, std::string_view("\0", 1), {}), MostBodyBytes);
  if (!mail.Attachment.empty()) prepared.Attachment = Whole_Path(mail.Attachment);

  // Stays loaded: the mail program may run threads of its own in it.
  const HMODULE library = LoadLibraryA("MAPI32.DLL");
  if (library == nullptr) return "There is no mail program: " + Windows_Error_Text(GetLastError());
  const auto send =
      reinterpret_cast<LPMAPISENDMAIL>(reinterpret_cast<void*>(GetProcAddress(library, "MAPISendMail")));
  if (send == nullptr) return "The mail program takes no mail of other programs.";
  try {
    std::thread(Send_By, send, std::move(prepared)).detach();
  } catch (const std::system_error& error) {
    return std::string("No thread to send the mail on: ") + error.what();
  }
  return {};
}

}  // namespace hq
