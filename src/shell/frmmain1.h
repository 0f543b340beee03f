#pragma once

#include <QMainWindow>
#include <array>
#include <memory>

#include "entry/entry_checks.h"
#include "entry/symbol_list.h"
#include "quotes/transfer_control.h"
#include "run/download_run.h"

class QListWidget;

namespace Ui {
class frmmain1;
}

namespace hq {

class NumberBox;
class QuotesNote;
class global;

// The entries of a list box as the engine reads them.
class ListBoxStocks final : public StockList {
 public:
  explicit ListBoxStocks(const QListWidget& list) : list_(list) {}
  [[nodiscard]] int Count() const override;
  [[nodiscard]] std::string Text(int position) const override;
  [[nodiscard]] bool Selected(int position) const override;

 private:
  const QListWidget& list_;
};

// The main window: the symbol list, the choices that define a run, and the button that starts one.
class frmmain1 final : public QMainWindow {
 public:
  // program outlives the window.
  explicit frmmain1(global& program);
  ~frmmain1() override;

  // Writes the choices to the settings file. False when an error stopped it; the user has been told.
  bool Save_Config();
  // Shows what there is to say at a first start, beside the menu.
  void Show_First_Start_Note();
  // Checks the entries before a run and tells what is wrong.
  bool Valid_Entry();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void moveEvent(QMoveEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  class LogAdapter;
  class StatusAdapter;

  void Connect_Controls();
  void Add_Keys();
  void Make_Menu_Line();
  void Show_Quotes_Note();
  void Set_Up_Quotes();
  void Form_Load();
  void Form_Resize();
  void Place_Changed();
  // False when the window stays open.
  bool Form_QueryUnload();
  void Form_Unload();

  void cmddownload_Click();
  void cmdAdd_Click();
  void cmddel_Click();
  void cmdselectall_Click();
  void cmdlookup_Click();
  void txtnewstock_KeyDown(int key);
  void cmbInterval_Click();
  void cmbOutputFormat_KeyDown();
  void cmbOutputFormat_KeyPress();
  void Command2_Click();
  void cmdfolder_Click();
  void mnuabout_Click();
  void txtdays_GotFocus();
  std::int16_t txtdays_KeyPress(std::int16_t key);
  void txtdays_LostFocus();
  void txtenddate_GotFocus(int index);
  std::int16_t txtenddate_KeyPress(int index, std::int16_t key);
  void txtenddate_LostFocus(int index);

  [[nodiscard]] EntryTexts Entries() const;
  [[nodiscard]] std::string Output_Folder() const;
  void Focus_Days();
  void Restore_Choices();
  void Add_Sorted(const std::string& symbol);
  void Got_Focus(QObject* box);
  void Lost_Focus(QObject* box);
  void Check_After_Focus_Moved(QObject* box);
  void Return_To(NumberBox* box);

  global& program_;
  std::unique_ptr<Ui::frmmain1> ui_;
  std::array<NumberBox*, 3> txtenddate_;
  QuotesNote* lblquotes_ = nullptr;
  std::unique_ptr<TransferControl> Inet1_;
  ListBoxStocks stocks_;
  std::unique_ptr<LogAdapter> log_;
  std::unique_ptr<StatusAdapter> status_;
  std::unique_ptr<DownloadRun> run_;
  std::string restored_folder_;
  bool returning_focus_ = false;
  int returns_ = 0;  // of the focus, since the start
  bool unloaded_ = false;
  bool place_changed_ = false;  // since Form_Resize was last called
  bool resizing_ = false;
};

}  // namespace hq
