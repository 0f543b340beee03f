// A MAPI32.DLL that writes what it is given into the file that the variable MAPI_RECORD names.

#include <cstdlib>
#include <fstream>
#include <string>
#include <windows.h>

// Needs the names of windows.h.
#include <mapi.h>

namespace {

const char* Text_Of(const char* text) {
  return text == nullptr ? "<null>" : text;
}

}  // namespace

extern "C" __declspec(dllexport) ULONG WINAPI
    MAPISendMail(LHANDLE session, ULONG_PTR window, lpMapiMessage message, FLAGS flags, ULONG reserved) {
  const std::string path = std::getenv("MAPI_RECORD");
  {
    std::ofstream record(path + ".part", std::ios::binary);
    record << "session " << session << " window " << window << " flags " << flags << " reserved " << reserved
           << "\nsubject " << Text_Of(message->lpszSubject) << "\n";
    for (ULONG i = 0; i < message->nRecipCount; ++i) {
      const MapiRecipDesc& recipient = message->lpRecips[i];
      record << "to " << recipient.ulRecipClass << " " << Text_Of(recipient.lpszName) << " "
             << Text_Of(recipient.lpszAddress) << "\n";
    }
    for (ULONG i = 0; i < message->nFileCount; ++i) {
      const MapiFileDesc& file = message->lpFiles[i];
      record << "file " << static_cast<long>(file.nPosition) << " " << Text_Of(file.lpszPathName) << "\n";
    }
    record << "body " << Text_Of(message->lpszNoteText);
  }
  MoveFileA((path + ".part").c_str(), path.c_str());
  return SUCCESS_SUCCESS;
}
