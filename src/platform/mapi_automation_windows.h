#pragma once

#include <windows.h>

// Needs the names of windows.h.
#include <mapi.h>
#include <oleauto.h>

namespace hq {

// What BMAPISendMail takes: MAPI's records with the types of OLE Automation. Their texts are in the system's
// code page, as those of the other records are, and null when they are empty.
struct AutomationMapiMessage {
  ULONG Reserved;
  BSTR Subject;
  BSTR NoteText;
  BSTR MessageType;
  BSTR DateReceived;
  BSTR ConversationID;
  ULONG Flags;
  ULONG RecipCount;
  ULONG FileCount;
};

struct AutomationMapiRecipient {
  ULONG Reserved;
  ULONG RecipClass;
  BSTR Name;
  BSTR Address;
  ULONG EidSize;
  BSTR EntryID;
};

struct AutomationMapiFile {
  ULONG Reserved;
  ULONG Flags;
  ULONG Position;
  BSTR PathName;
  BSTR FileName;
  BSTR FileType;
};

using AutomationMapiSendMail = ULONG(WINAPI*)(LHANDLE session, ULONG_PTR window,
                                              AutomationMapiMessage* message, SAFEARRAY** recipients,
                                              SAFEARRAY** files, FLAGS flags, ULONG reserved);

}  // namespace hq
