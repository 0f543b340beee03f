// A MAPI32.DLL that writes what it is given into the file that the variable MAPI_RECORD names: the call, and
// then the same text of either call. The one without BMAPISendMail is made with HQ_PLAIN_MAPI; in the other
// one it answers that it is not supported when there is a variable MAPI_REFUSES_AUTOMATION.

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/mapi_automation_windows.h"

namespace {

const char* Text_Of(const char* text) {
  return text == nullptr ? "<null>" : text;
}

struct Recipient {
  ULONG Class;
  std::string Name;
  std::string Address;
};

struct File {
  ULONG Position;
  std::string Path;
};

struct Given {
  const char* Call;
  LHANDLE Session;
  ULONG_PTR Window;
  FLAGS Flags;
  ULONG Reserved;
  std::string Subject;
  std::string Text;
  std::vector<Recipient> Recipients;
  std::vector<File> Files;
};

void Write_Down(const Given& given) {
  const std::string path = std::getenv("MAPI_RECORD");
  {
    std::ofstream record(path + ".part", std::ios::binary);
    record << given.Call << " session " << given.Session << " window " << given.Window << " flags "
           << given.Flags << " reserved " << given.Reserved << "\nsubject " << given.Subject << "\n";
    for (const Recipient& recipient : given.Recipients)
      record << "to " << recipient.Class << " " << recipient.Name << " " << recipient.Address << "\n";
    for (const File& file : given.Files)
      record << "file " << static_cast<int>(file.Position) << " " << file.Path << "\n";
    record << "body " << given.Text;
  }
  MoveFileA((path + ".part").c_str(), path.c_str());
}

#ifndef HQ_PLAIN_MAPI

std::string Bytes_Of(BSTR text) {
  if (text == nullptr) return "<null>";
  return {reinterpret_cast<const char*>(text), SysStringByteLen(text)};
}

// The records of an array, which must have as many as the message says.
template <class Record>
std::vector<Record> Records_Of(SAFEARRAY* array, ULONG count) {
  if (SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != sizeof(Record)) return {};
  if (array->rgsabound[0].cElements != count || array->rgsabound[0].lLbound != 0) return {};
  Record* records = nullptr;
  if (FAILED(SafeArrayAccessData(array, reinterpret_cast<void**>(&records)))) return {};
  std::vector<Record> copies(records, records + count);
  SafeArrayUnaccessData(array);
  return copies;
}

#endif

}  // namespace

extern "C" __declspec(dllexport) ULONG WINAPI
    MAPISendMail(LHANDLE session, ULONG_PTR window, lpMapiMessage message, FLAGS flags, ULONG reserved) {
  Given given{"MAPISendMail",
              session,
              window,
              flags,
              reserved,
              Text_Of(message->lpszSubject),
              Text_Of(message->lpszNoteText),
              {},
              {}};
  for (ULONG i = 0; i < message->nRecipCount; ++i) {
    const MapiRecipDesc& recipient = message->lpRecips[i];
    given.Recipients.push_back(
        {recipient.ulRecipClass, Text_Of(recipient.lpszName), Text_Of(recipient.lpszAddress)});
  }
  for (ULONG i = 0; i < message->nFileCount; ++i) {
    const MapiFileDesc& file = message->lpFiles[i];
    given.Files.push_back({file.nPosition, Text_Of(file.lpszPathName)});
  }
  Write_Down(given);
  return SUCCESS_SUCCESS;
}

#ifndef HQ_PLAIN_MAPI

extern "C" __declspec(dllexport) ULONG WINAPI
    BMAPISendMail(LHANDLE session, ULONG_PTR window, hq::AutomationMapiMessage* message,
                  SAFEARRAY** recipients, SAFEARRAY** files, FLAGS flags, ULONG reserved) {
  if (std::getenv("MAPI_REFUSES_AUTOMATION") != nullptr) return MAPI_E_NOT_SUPPORTED;
  Given given{"BMAPISendMail",
              session,
              window,
              flags,
              reserved,
              Bytes_Of(message->Subject),
              Bytes_Of(message->NoteText),
              {},
              {}};
  for (const auto& recipient : Records_Of<hq::AutomationMapiRecipient>(*recipients, message->RecipCount))
    given.Recipients.push_back({recipient.RecipClass, Bytes_Of(recipient.Name), Bytes_Of(recipient.Address)});
  for (const auto& file : Records_Of<hq::AutomationMapiFile>(*files, message->FileCount))
    given.Files.push_back({file.Position, Bytes_Of(file.PathName)});
  Write_Down(given);
  return SUCCESS_SUCCESS;
}

#endif
