#include <deque>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "base/strings.h"
#include "platform/mail.h"
#include "platform/mail_texts.h"
#include "platform/mapi_automation_windows.h"
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

// The user sees what is sent, and may still close it.
constexpr FLAGS Show = MAPI_LOGON_UI | MAPI_DIALOG;
// At the end of the text.
constexpr ULONG NoPosition = 0xFFFFFFFF;

std::string Address_Of(const std::string& recipient) {
  return "SMTP:" + recipient;
}

// A text of the system's code page in the form of OLE Automation.
class AutomationText {
 public:
  explicit AutomationText(const std::string& text)
      : value_(SysAllocStringByteLen(text.data(), static_cast<UINT>(text.size()))) {
    if (value_ == nullptr) throw std::bad_alloc();
  }
  AutomationText(const AutomationText&) = delete;
  AutomationText& operator=(const AutomationText&) = delete;
  ~AutomationText() { SysFreeString(value_); }
  [[nodiscard]] BSTR Get() const { return value_; }

 private:
  BSTR value_;
};

// An array of records, which begin as zeros, in the form of OLE Automation.
template <class Record>
class AutomationArray {
 public:
  explicit AutomationArray(size_t count) {
    if (FAILED(SafeArrayAllocDescriptor(1, &value_))) throw std::bad_alloc();
    value_->cbElements = sizeof(Record);
    value_->rgsabound[0] = {static_cast<ULONG>(count), 0};
    if (FAILED(SafeArrayAllocData(value_))) {
      SafeArrayDestroyDescriptor(value_);
      throw std::bad_alloc();
    }
  }
  AutomationArray(const AutomationArray&) = delete;
  AutomationArray& operator=(const AutomationArray&) = delete;
  ~AutomationArray() { SafeArrayDestroy(value_); }
  Record& operator[](size_t index) { return static_cast<Record*>(value_->pvData)[index]; }
  [[nodiscard]] SAFEARRAY** Get() { return &value_; }

 private:
  SAFEARRAY* value_ = nullptr;
};

ULONG Send_Automation(AutomationMapiSendMail send, const Mail& mail) {
  std::deque<AutomationText> texts;
  const auto text = [&texts](const std::string& bytes) {
    return bytes.empty() ? nullptr : texts.emplace_back(bytes).Get();
  };
  AutomationArray<AutomationMapiRecipient> recipients(mail.Recipients.size());
  for (size_t i = 0; i < mail.Recipients.size(); ++i) {
    recipients[i].RecipClass = MAPI_TO;
    recipients[i].Name = text(mail.Recipients[i]);
    recipients[i].Address = text(Address_Of(mail.Recipients[i]));
  }
  AutomationMapiMessage message{};
  message.Subject = text(mail.Subject);
  message.NoteText = text(mail.Body);
  message.RecipCount = static_cast<ULONG>(mail.Recipients.size());
  message.FileCount = mail.Attachment.empty() ? 0 : 1;
  AutomationArray<AutomationMapiFile> files(message.FileCount);
  if (!mail.Attachment.empty()) {
    files[0].Position = NoPosition;
    files[0].PathName = text(mail.Attachment);
  }
  return send(0, 0, &message, recipients.Get(), files.Get(), Show, 0);
}

ULONG Send_Plain(LPMAPISENDMAIL send, Mail& mail) {
  std::vector<std::string> addresses;
  for (const std::string& recipient : mail.Recipients) addresses.push_back(Address_Of(recipient));
  std::vector<MapiRecipDesc> recipients(addresses.size());
  for (size_t i = 0; i < recipients.size(); ++i) {
    recipients[i].ulRecipClass = MAPI_TO;
    recipients[i].lpszName = mail.Recipients[i].data();
    recipients[i].lpszAddress = addresses[i].data();
  }
  MapiFileDesc file{};
  file.nPosition = NoPosition;
  file.lpszPathName = mail.Attachment.data();
  MapiMessage message{};
  message.lpszSubject = mail.Subject.data();
  message.lpszNoteText = mail.Body.data();
  message.nRecipCount = static_cast<ULONG>(recipients.size());
  message.lpRecips = recipients.data();
  message.nFileCount = mail.Attachment.empty() ? 0 : 1;
  message.lpFiles = mail.Attachment.empty() ? nullptr : &file;
  return send(0, 0, &message, Show, 0);
}

// What the system's mail interface has of the two calls.
struct MailCalls {
  AutomationMapiSendMail Automation = nullptr;
  LPMAPISENDMAIL Plain = nullptr;
};

// Shows the mail in the user's mail program and waits until it has been sent or closed.
void Send_By(MailCalls calls, Mail mail) {
  try {
    const bool done =
        calls.Automation != nullptr && Send_Automation(calls.Automation, mail) != MAPI_E_NOT_SUPPORTED;
    if (!done && calls.Plain != nullptr) Send_Plain(calls.Plain, mail);
  } catch (const std::bad_alloc&) {
    // The mail has been handed over; nobody waits to be told.
    return;
  }
}

template <class Call>
Call Call_Of(HMODULE library, const char* name) {
  return reinterpret_cast<Call>(reinterpret_cast<void*>(GetProcAddress(library, name)));
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
  const MailCalls calls{Call_Of<AutomationMapiSendMail>(library, "BMAPISendMail"),
                        Call_Of<LPMAPISENDMAIL>(library, "MAPISendMail")};
  if (calls.Automation == nullptr && calls.Plain == nullptr)
    return "The mail program takes no mail of other programs.";
  try {
    std::thread(Send_By, calls, std::move(prepared)).detach();
  } catch (const std::system_error& error) {
    return std::string("No thread to send the mail on: ") + error.what();
  }
  return {};
}

}  // namespace hq
