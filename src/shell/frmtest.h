#pragma once

#include <QWidget>
#include <memory>
#include <string>

#include "errortrap/modFailSafe.h"
#include "shell/program_icon.h"

namespace Ui {
class frmtest;
}

namespace hq {

// The box that stands on the screen while the program starts, and later tells about it.
class frmtest final : public QWidget {
 public:
  // trap outlives the form, icon the call.
  frmtest(modFailSafe& trap, ProgramIcon& icon, const std::string& program_folder);
  ~frmtest() override;

  // Puts the box up as the splash: topmost, without its button.
  void Display_About();
  // Puts the box up as the about box of a version, which names the program folder, too.
  void Show_About(int major, int minor);
  void Set_Caption(const std::string& text);
  void Hide_Button();
  // Drops the topmost state and hides the box, which stays for its next use.
  void cmdok_Click();

 private:
  void Form_Load(ProgramIcon& icon);
  void Place();
  void Wait_Until_Exposed() const;

  void Name_Folder(const std::string& program_folder);

  modFailSafe& trap_;
  std::unique_ptr<Ui::frmtest> ui_;
};

}  // namespace hq
