#pragma once

#include <array>
#include <string_view>

namespace hq::test {

// How a procedure treats errors after its entry hook.
enum class Mode { KeepsTrapHandler, HasOwnHandler, SkipsFailingStatements };

struct ProcedureMode {
  std::string_view Module;
  std::string_view Procedure;
  Mode How;
  bool NeedsWindow;  // it can only be run with the windows
};

// Every procedure of the program outside of the error trap.
inline constexpr std::array ProcedureModes = {
    ProcedureMode{"global.bas", "Function Keyin_Number", Mode::KeepsTrapHandler, false},
    ProcedureMode{"frmmain1.frm", "Sub cmbOutputFormat_KeyDown", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub cmbOutputFormat_KeyPress", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub txtdays_GotFocus", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub txtenddate_GotFocus", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub Form_QueryUnload", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub Form_Unload", Mode::KeepsTrapHandler, true},
    ProcedureMode{"frmmain1.frm", "Sub txtnewstock_KeyDown", Mode::KeepsTrapHandler, true},

    ProcedureMode{"global.bas", "Sub Main", Mode::HasOwnHandler, true},
    ProcedureMode{"global.bas", "Sub Load_Config", Mode::HasOwnHandler, false},
    ProcedureMode{"global.bas", "Function Need_Sort", Mode::HasOwnHandler, false},
    ProcedureMode{"disk.bas", "Function Create_FileName", Mode::HasOwnHandler, false},
    ProcedureMode{"global.bas", "Sub QuickSort", Mode::HasOwnHandler, false},
    ProcedureMode{"global.bas", "Sub Process_Interday", Mode::HasOwnHandler, false},
    ProcedureMode{"frmtest.frm", "Sub Display_About", Mode::HasOwnHandler, true},
    ProcedureMode{"frmmain1.frm", "Function Save_Config", Mode::HasOwnHandler, false},
    ProcedureMode{"frmmain1.frm", "Sub Process_Onestock", Mode::HasOwnHandler, false},
    ProcedureMode{"frmmain1.frm", "Function Valid_Entry", Mode::HasOwnHandler, false},
    ProcedureMode{"frmmain1.frm", "Sub Form_Load", Mode::HasOwnHandler, true},

    ProcedureMode{"global.bas", "Sub Exit_Program", Mode::SkipsFailingStatements, true},
    ProcedureMode{"global.bas", "Sub Set_StartIndex", Mode::SkipsFailingStatements, false},
    ProcedureMode{"disk.bas", "Sub Write_File", Mode::SkipsFailingStatements, false},
    ProcedureMode{"disk.bas", "Sub Load_Format", Mode::SkipsFailingStatements, false},
    ProcedureMode{"disk.bas", "Function FormatOneLine", Mode::SkipsFailingStatements, false},
    ProcedureMode{"filebrowse.bas", "Function BrowseForFolder", Mode::SkipsFailingStatements, false},
    ProcedureMode{"frmlog.frm", "Sub cmdClose_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmtest.frm", "Sub cmdok_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmtest.frm", "Sub Form_Load", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmbInterval_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmdAdd_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub Inet1_StateChanged", Mode::SkipsFailingStatements, false},
    ProcedureMode{"frmmain1.frm", "Sub mnuabout_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub txtdays_KeyPress", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub txtdays_LostFocus", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub txtenddate_KeyPress", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub txtenddate_LostFocus", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmddel_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmddownload_Click", Mode::SkipsFailingStatements, false},
    ProcedureMode{"frmmain1.frm", "Sub cmdfolder_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmdlookup_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub cmdselectall_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub Command2_Click", Mode::SkipsFailingStatements, true},
    ProcedureMode{"frmmain1.frm", "Sub Form_Resize", Mode::SkipsFailingStatements, true},
};

}  // namespace hq::test
