#include "shell/frmmain1.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCloseEvent>
#include <QShortcut>
#include <QTimer>
#include <utility>

#include "base/dates.h"
#include "base/strings.h"
#include "entry/interval_choice.h"
#include "errortrap/procedure.h"
#include "errortrap/qt_accessible_role.h"
#include "output/format_catalogue.h"
#include "shell/form_looks.h"
#include "shell/global.h"
#include "shell/quotes_note.h"
#include "shell/twips.h"
#include "ui_frmmain1.h"

namespace hq {

namespace {

constexpr const char* Module = "frmmain1.frm";
constexpr int WidthTwips = 6348;
constexpr int HeightTwips = 5484;
constexpr int LeftTwips = 20;
constexpr int TopTwips = 20;
constexpr int DesktopFolder = 0;
constexpr int FileSystemFoldersOnly = 1;

// Whether a focus change of this kind is one of the user's moves from control to control, or to another
// window.
bool Moves_Focus(Qt::FocusReason reason) {
  return reason != Qt::PopupFocusReason && reason != Qt::MenuBarFocusReason;
}

}  // namespace

int ListBoxStocks::Count() const {
  return list_.count();
}

std::string ListBoxStocks::Text(int position) const {
  const QListWidgetItem* item = list_.item(position);
  return item == nullptr ? std::string() : To_Text(item->text());
}

bool ListBoxStocks::Selected(int position) const {
  const QListWidgetItem* item = list_.item(position);
  return item != nullptr && item->isSelected();
}

// The log window, made when the first line comes.
class frmmain1::LogAdapter final : public DownloadLog {
 public:
  explicit LogAdapter(global& program) : program_(program) {}
  void Show() override {
    program_.Log().show();
    program_.Log().raise();
  }
  void Clear() override { program_.Log().Clear(); }
  void Add(const std::string& line) override { program_.Log().Add(line); }

 private:
  global& program_;
};

class frmmain1::StatusAdapter final : public StatusLine {
 public:
  explicit StatusAdapter(StatusLabel& label) : label_(label) {}
  void Show(const std::string& text) override { label_.Show_Status(To_QString(text)); }

 private:
  StatusLabel& label_;
};

frmmain1::frmmain1(global& program)
    : program_(program),
      ui_(std::make_unique<Ui::frmmain1>()),
      txtenddate_{},
      Inet1_(program.Parts.Make_Inet(program.Loop)),
      stocks_((ui_->setupUi(this), *ui_->lstStock)),
      log_(std::make_unique<LogAdapter>(program)),
      status_(std::make_unique<StatusAdapter>(*ui_->lblstatus)),
      run_(std::make_unique<DownloadRun>(
          program.State, RunServices{program.Trap, program.Boxes, program.Loop, program.Parts.FileSystem,
                                     program.Parts.Time, *Inet1_, *status_, *log_})) {
  txtenddate_ = {ui_->txtenddate_0, ui_->txtenddate_1, ui_->txtenddate_2};
  setFont(Form_Font());
  for (const IntervalChoice& choice : Interval_Choices()) {
    ui_->cmbInterval->addItem(To_QString(choice.Text), choice.Minutes);
  }
  ui_->cmbInterval->Set_Index_Digits(1);
  ui_->cmbInterval->setCurrentIndex(-1);
  for (const std::string& item : Format_Items()) ui_->cmbOutputFormat->addItem(To_QString(item));
  ui_->cmbOutputFormat->Set_Index_Digits(2);
  ui_->cmbOutputFormat->setCurrentIndex(-1);
  ui_->cmbOutputFormat->setMaxVisibleItems(FormatItemCount);
  // As wide as its text, where the style would make it as wide as a dialog's button: the room is the
  // symbol's.
  ui_->cmdAdd->setFixedWidth(ui_->cmdAdd->fontMetrics().horizontalAdvance("Add") +
                             2 * ui_->cmdAdd->fontMetrics().averageCharWidth() + 12);
  // Some styles leave less than a line of text.
  for (QComboBox* box :
       {static_cast<QComboBox*>(ui_->cmbInterval), static_cast<QComboBox*>(ui_->cmbOutputFormat)}) {
    box->setMinimumHeight(box->fontMetrics().height() + 8);
    box->view()->setAccessibleName(box->accessibleName());
  }
  ui_->txtnewstock->setMinimumWidth(ui_->txtnewstock->fontMetrics().horizontalAdvance("MMMMM") + 12);
  ui_->cmddownload->setIcon(Picture("download"));
  ui_->Command2->setIcon(Picture("samples"));
  ui_->mnuserver->setVisible(static_cast<bool>(program.Parts.Set_Up_Quotes));
  Set_Accessible_Role(*ui_->Picture1, QAccessible::StatusBar);
  Make_Menu_Line();
  Show_Quotes_Note();
  Connect_Controls();
  Add_Keys();
  Form_Load();
}

frmmain1::~frmmain1() = default;

void frmmain1::Connect_Controls() {
  const auto on_click = [this](QAbstractButton* button, void (frmmain1::*handler)()) {
    connect(button, &QAbstractButton::clicked, this, [this, handler] { (this->*handler)(); });
  };
  on_click(ui_->cmddownload, &frmmain1::cmddownload_Click);
  on_click(ui_->cmdAdd, &frmmain1::cmdAdd_Click);
  on_click(ui_->cmddel, &frmmain1::cmddel_Click);
  on_click(ui_->cmdselectall, &frmmain1::cmdselectall_Click);
  on_click(ui_->cmdlookup, &frmmain1::cmdlookup_Click);
  on_click(ui_->Command2, &frmmain1::Command2_Click);
  on_click(ui_->cmdfolder, &frmmain1::cmdfolder_Click);
  connect(ui_->mnuabout, &QAction::triggered, this, [this] { mnuabout_Click(); });
  connect(ui_->mnuserver, &QAction::triggered, this, [this] { Set_Up_Quotes(); });
  connect(ui_->cmbInterval, &QComboBox::currentIndexChanged, this, [this] { cmbInterval_Click(); });
  // Picking the entry that is there already counts too: it brings the day limit back.
  connect(ui_->cmbInterval, &QComboBox::activated, this, [this] {
    if (To_Text(ui_->txtdays->text()) !=
        std::to_string(Day_Limit(To_Text(ui_->cmbInterval->currentText())))) {
      cmbInterval_Click();
    }
  });
  ui_->cmbOutputFormat->Discard_Keys([this] {
    cmbOutputFormat_KeyDown();
    cmbOutputFormat_KeyPress();
  });
  ui_->cmdAdd->installEventFilter(this);
  ui_->menubar->installEventFilter(this);
  ui_->txtnewstock->installEventFilter(this);
  ui_->txtdays->installEventFilter(this);
  ui_->txtdays->KeyPress = [this](std::int16_t key) { return txtdays_KeyPress(key); };
  for (int i = 0; i < 3; ++i) {
    NumberBox* box = txtenddate_[static_cast<size_t>(i)];
    box->installEventFilter(this);
    box->KeyPress = [this, i](std::int16_t key) { return txtenddate_KeyPress(i, key); };
  }
}

// Keys for the boxes, whose captions name none. The format list takes no keys, so it has none.
void frmmain1::Add_Keys() {
  struct BoxKey {
    QWidget* Box;
    const char* Key;
    const char* Tip;
  };
  const BoxKey keys[] = {
      {ui_->txtnewstock, "Alt+B", "The symbol to add"},
      {ui_->lstStock, "Alt+K", "The symbols; the selected ones are downloaded"},
      {ui_->cmbInterval, "Alt+I", "The time that a line of quotes covers"},
      {ui_->txtOutputfolder, "Alt+O", "The folder that the files go into"},
      {ui_->txtdays, "Alt+Y", "The number of trading days"},
      {txtenddate_[0], "Alt+E", "The month of the last trading day"},
  };
  for (const BoxKey& key : keys) {
    const QString tip = QString("%1 (%2)").arg(key.Tip, key.Key);
    key.Box->setToolTip(tip);
    // A list does not tell its tool tip by itself.
    key.Box->setAccessibleDescription(tip);
    connect(new QShortcut(QKeySequence(key.Key), this), &QShortcut::activated, key.Box,
            [box = key.Box] { box->setFocus(Qt::ShortcutFocusReason); });
  }
  txtenddate_[1]->setToolTip("The day of the last trading day (Alt+E, Tab)");
  txtenddate_[2]->setToolTip("The year of the last trading day, two digits (Alt+E, Tab, Tab)");
}

void frmmain1::Form_Load() {
  With_Own_Handler(
      program_.Trap, {Module, "Sub Form_Load"},
      [&] {
        setWindowIcon(program_.Icon.Icon());
        Load_Format(program_.Trap, program_.State.Formats, program_.State.Settings);
        move(Twips_To_Pixels(LeftTwips, logicalDpiX()), Twips_To_Pixels(TopTwips, logicalDpiY()));
        Form_Resize();
        Restore_Choices();
        const std::string today = Format_Date(program_.Parts.Time.Today(), "MMDDYY");
        for (size_t i = 0; i < txtenddate_.size(); ++i)
          txtenddate_[i]->setText(To_QString(today.substr(2 * i, 2)));
      },
      [&](const RunTimeError& error) {
        program_.Boxes.Show("unhandled err " + std::to_string(error.Number()) + " " + error.Description() +
                            " inside form_load()!");
      });
}

void frmmain1::Restore_Choices() {
  ui_->lstStock->clear();
  for (const std::string& symbol : Restored_Symbols(program_.Saved.SymbolLine)) Add_Sorted(symbol);
  // A position that no item has comes from a file that was changed by hand: it counts as none.
  const auto restore = [](QComboBox* box, int position, int fallback) {
    if (box->currentText().isEmpty())
      box->setCurrentIndex(position >= 0 && position < box->count() ? position : fallback);
  };
  restore(ui_->cmbInterval, Restored_Interval(program_.Saved.IntervalPosition), Restored_Interval(-1));
  restore(ui_->cmbOutputFormat, Restored_Format(program_.Saved.FormatPosition), Restored_Format(-1));
  restored_folder_ = program_.State.Settings.OutputFolder;
  if (!restored_folder_.empty()) ui_->txtOutputfolder->setText(To_QString(restored_folder_));
}

// A folder may have a name that no text box can hold.
std::string frmmain1::Output_Folder() const {
  const QString shown = ui_->txtOutputfolder->text();
  return shown == To_QString(restored_folder_) ? restored_folder_ : To_Text(shown);
}

void frmmain1::Form_Resize() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub Form_Resize"}, [&](SkippingStatements& statement) {
    if (isMinimized() || isMaximized() || isFullScreen()) return;
    statement([&] {
      const QSize frame = frameGeometry().size() - geometry().size();
      const QSize whole(Twips_To_Pixels(WidthTwips, logicalDpiX()),
                        Twips_To_Pixels(HeightTwips, logicalDpiY()));
      const QSize wanted = (whole - frame).expandedTo(minimumSizeHint());
      if (size() != wanted) resize(wanted);
    });
  });
}

bool frmmain1::Form_QueryUnload() {
  bool goes_on = true;
  Keep_Trap_Handler(program_.Trap, {Module, "Sub Form_QueryUnload"}, [&](TrappedStatements& statement) {
    const char* title = "Exiting program";
    MessageAnswer answer = MessageAnswer::No;
    statement([&] {
      answer =
          program_.Boxes.Show("Do you want to save your screen choices?", title, MessageButtons::YesNoCancel);
    });
    goes_on = answer != MessageAnswer::Cancel;
    bool saved = true;
    if (answer == MessageAnswer::Yes) statement([&] { saved = Save_Config(); });
    if (!saved) statement([&] { program_.Boxes.Show("Can't save your choices to disk.", title); });
  });
  return goes_on;
}

void frmmain1::Form_Unload() {
  Keep_Trap_Handler(program_.Trap, {Module, "Sub Form_Unload"}, [&](TrappedStatements& statement) {
    unloaded_ = true;
    statement([&] { program_.Exit_Program(); });
  });
}

bool frmmain1::Save_Config() {
  return hq::Save_Config(program_.Trap, program_.Boxes, program_.Parts.FileSystem,
                         program_.Parts.ProgramFolder, stocks_,
                         {ui_->cmbInterval->currentIndex(), ui_->cmbOutputFormat->currentIndex(),
                          Output_Folder(), To_Text(ui_->txtdays->text())});
}

bool frmmain1::Valid_Entry() {
  return hq::Valid_Entry(program_.Trap, program_.Boxes, program_.Loop, program_.Parts.FileSystem, stocks_,
                         Entries(), [this] { Focus_Days(); });
}

void frmmain1::cmddownload_Click() {
  try {
    run_->cmddownload_Click(stocks_, Entries(), [this] { Focus_Days(); });
  } catch (const Interrupted&) {
    // The program ends while the run waits; nothing is left to do, and nothing may be thrown into the
    // window's loop.
    return;
  }
}

void frmmain1::cmdAdd_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub cmdAdd_Click"}, [&](SkippingStatements& statement) {
    std::string symbol;
    statement([&] { symbol = Stored_Symbol(To_Text(ui_->txtnewstock->text())); });
    statement([&] { setCursor(Qt::WaitCursor); });
    if (symbol.empty()) {
      statement([&] { unsetCursor(); });
      statement([&] { program_.Boxes.Show("Enter a valid stock symbol into 'Stock Symbol' box first"); });
      return;
    }
    bool exists = false;
    statement([&] {
      for (int i = 0; i < stocks_.Count() && !exists; ++i) exists = stocks_.Text(i) == symbol;
    });
    if (exists) {
      statement([&] { program_.Boxes.Show("Stock symbol " + symbol + " already exists."); });
    } else {
      statement([&] { Add_Sorted(symbol); });
    }
    statement([&] { ui_->txtnewstock->clear(); });
    statement([&] { ui_->txtnewstock->setFocus(); });
    statement([&] { unsetCursor(); });
  });
}

void frmmain1::cmddel_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub cmddel_Click"}, [&](SkippingStatements& statement) {
    for (int i = stocks_.Count() - 1; i >= 0; --i) {
      statement([&] {
        if (stocks_.Selected(i)) delete ui_->lstStock->takeItem(i);
      });
    }
  });
}

void frmmain1::cmdselectall_Click() {
  Skip_Failing_Statements(
      program_.Trap, {Module, "Sub cmdselectall_Click"},
      [&](SkippingStatements& statement) { statement([&] { ui_->lstStock->selectAll(); }); });
}

void frmmain1::cmdlookup_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub cmdlookup_Click"}, [&](SkippingStatements& statement) {
    statement([&] {
      program_.Parts.Open_Address(static_cast<std::intptr_t>(winId()), program_.Parts.SymbolSearchAddress);
    });
  });
}

void frmmain1::txtnewstock_KeyDown(int key) {
  Keep_Trap_Handler(program_.Trap, {Module, "Sub txtnewstock_KeyDown"}, [&](TrappedStatements& statement) {
    statement([&] {
      if (key == Qt::Key_Return || key == Qt::Key_Enter) cmdAdd_Click();
    });
  });
}

void frmmain1::cmbInterval_Click() {
  Skip_Failing_Statements(
      program_.Trap, {Module, "Sub cmbInterval_Click"}, [&](SkippingStatements& statement) {
        statement([&] {
          ui_->txtdays->setText(QString::number(Day_Limit(To_Text(ui_->cmbInterval->currentText()))));
        });
      });
}

void frmmain1::cmbOutputFormat_KeyDown() {
  // The box has discarded the key already; the procedure is there to be traced.
  Keep_Trap_Handler(program_.Trap, {Module, "Sub cmbOutputFormat_KeyDown"}, [](TrappedStatements&) {});
}

void frmmain1::cmbOutputFormat_KeyPress() {
  Keep_Trap_Handler(program_.Trap, {Module, "Sub cmbOutputFormat_KeyPress"}, [](TrappedStatements&) {});
}

void frmmain1::Command2_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub Command2_Click"}, [&](SkippingStatements& statement) {
    statement([&] {
      const FormatSamples samples =
          Samples_Of(program_.State.Formats, To_Text(ui_->cmbOutputFormat->currentText()));
      program_.Boxes.Show(samples.Prompt, samples.Title);
    });
  });
}

void frmmain1::cmdfolder_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub cmdfolder_Click"}, [&](SkippingStatements& statement) {
    std::string path;
    bool chosen = false;
    const std::string before(Trim(To_Text(ui_->txtOutputfolder->text())));
    statement([&] {
      chosen = BrowseForFolder(program_.Trap, program_.Parts.Folders, DesktopFolder, FileSystemFoldersOnly,
                               path, 0, "Select a folder:", before);
    });
    if (!chosen) statement([&] { path = Trim(To_Text(ui_->txtOutputfolder->text())); });
    statement([&] { ui_->txtOutputfolder->setText(To_QString(Shown_Path(path))); });
  });
}

void frmmain1::mnuabout_Click() {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub mnuabout_Click"}, [&](SkippingStatements& statement) {
    statement([&] { program_.Test().Show_About(program_.Parts.MajorVersion, program_.Parts.MinorVersion); });
  });
}

EntryTexts frmmain1::Entries() const {
  EntryTexts entry;
  entry.IntervalPosition = ui_->cmbInterval->currentIndex();
  entry.Interval = To_Text(ui_->cmbInterval->currentText());
  entry.OutputFormat = To_Text(ui_->cmbOutputFormat->currentText());
  entry.OutputFolder = Output_Folder();
  entry.Days = To_Text(ui_->txtdays->text());
  for (size_t i = 0; i < txtenddate_.size(); ++i) entry.EndDate[i] = To_Text(txtenddate_[i]->text());
  return entry;
}

void frmmain1::Focus_Days() {
  Return_To(ui_->txtdays);
}

void frmmain1::Add_Sorted(const std::string& symbol) {
  int place = 0;
  for (int after = stocks_.Count(); place < after;) {
    const int middle = (place + after) / 2;
    if (stocks_.Text(middle) <= symbol) {
      place = middle + 1;
    } else {
      after = middle;
    }
  }
  ui_->lstStock->insertItem(place, To_QString(symbol));
}

bool frmmain1::eventFilter(QObject* watched, QEvent* event) {
  if (watched == ui_->cmdAdd || watched == ui_->menubar) {
    // "&Add" and the menu's "&About" have the same access key, which Qt offers to both in turn. The button
    // gets it always, because it is used all the time; the menu is reached with Alt alone.
    if (event->type() != QEvent::Shortcut ||
        static_cast<QShortcutEvent*>(event)->key() != QKeySequence("Alt+A")) {
      return QMainWindow::eventFilter(watched, event);
    }
    ui_->cmdAdd->setFocus(Qt::ShortcutFocusReason);
    ui_->cmdAdd->animateClick();
    return true;
  }
  if (watched == ui_->txtnewstock) {
    if (event->type() == QEvent::KeyPress) txtnewstock_KeyDown(static_cast<QKeyEvent*>(event)->key());
    return QMainWindow::eventFilter(watched, event);
  }
  if (event->type() == QEvent::FocusIn) {
    const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
    // After the click that brought the focus, which would end the selection.
    if (Moves_Focus(reason) && reason != Qt::ActiveWindowFocusReason) {
      QTimer::singleShot(0, this, [this, watched] {
        if (QApplication::focusWidget() == watched) Got_Focus(watched);
      });
    }
  } else if (event->type() == QEvent::FocusOut && !returning_focus_ &&
             Moves_Focus(static_cast<QFocusEvent*>(event)->reason())) {
    // Only later it is known where the focus has gone.
    QTimer::singleShot(0, this, [this, watched, returns = returns_] {
      if (returns == returns_) Check_After_Focus_Moved(watched);
    });
  }
  return QMainWindow::eventFilter(watched, event);
}

void frmmain1::closeEvent(QCloseEvent* event) {
  if (unloaded_) return event->accept();
  if (!Form_QueryUnload()) return event->ignore();
  event->accept();
  Form_Unload();
}

// A dragged window changes its place without end, and while the trap is paused each call of the handler waits
// in a loop of its own, which brings the next change: one waits for all of them.
void frmmain1::Place_Changed() {
  place_changed_ = true;
  if (resizing_) return;
  resizing_ = true;
  try {
    while (std::exchange(place_changed_, false)) Form_Resize();
  } catch (const Interrupted&) {
    // The program ends; nothing may be thrown into the window's loop.
    place_changed_ = false;
  }
  resizing_ = false;
}

void frmmain1::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  Place_Changed();
}

// The frame that the system puts round the window is known only when the window is on the screen: its coming
// shows as a move or an activation.
void frmmain1::moveEvent(QMoveEvent* event) {
  QMainWindow::moveEvent(event);
  if (isVisible()) Place_Changed();
}

void frmmain1::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  const bool state = event->type() == QEvent::WindowStateChange || event->type() == QEvent::ActivationChange;
  if (state && isVisible()) QTimer::singleShot(0, this, [this] { Place_Changed(); });
}

}  // namespace hq
