#pragma once

#include "errortrap/error_log.h"

namespace hq::test {

inline ErrorRecord Some_Error(int number = 53) {
  ErrorRecord record;
  record.When = "03/14/03 10:00:00";
  record.Category = "File System (disk, directory or file) access";
  record.Source = "History Quotes";
  record.Module = "frmmain1.frm";
  record.Procedure = "Sub Process_Onestock";
  record.CodePointer = "frmmain1.frm : Sub Process_Onestock";
  record.Number = number;
  record.Description = "File not found: quotes.txt: No such file or directory";
  record.CallTree = {" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Sub Process_Onestock : "};
  return record;
}

}  // namespace hq::test
