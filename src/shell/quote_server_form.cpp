#include "shell/quote_server_form.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMetaObject>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

#include "base/strings.h"
#include "errortrap/qt_message_boxes.h"
#include "market/source_status.h"
#include "platform/thread_name.h"
#include "shell/form_looks.h"

namespace hq {

namespace {

constexpr int NameColumn = 0;
constexpr int StateColumn = 1;
constexpr int NameRole = Qt::UserRole;
constexpr std::string_view FolderPrefix = "csv:";
constexpr const char* Simulated = "simulated";
constexpr std::pair<server::Adjustment, const char*> Prices[] = {
    {server::Adjustment::Splits, "adjusted for splits"},
    {server::Adjustment::Raw, "as they were traded"},
    {server::Adjustment::Full, "adjusted for splits and dividends"},
};

QLabel* Wrapped_Label(const char* name) {
  auto* const label = new QLabel;
  label->setObjectName(name);
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return label;
}

std::string Name_Of(const QTreeWidgetItem& item) {
  return To_Text(item.data(NameColumn, NameRole).toString());
}

bool Is_Folder(const std::string& name) {
  return name.starts_with(FolderPrefix);
}

}  // namespace

QuoteServerForm::QuoteServerForm(QuoteService& service, MessageBoxes& boxes, QWidget* parent)
    : QDialog(parent), service_(service), boxes_(boxes) {
  setObjectName("frmserver");
  setWindowTitle("Quote Server");
  setFont(Form_Font());
  Make_Controls();
  Fill_In();
}

QuoteServerForm::~QuoteServerForm() {
  if (trial_) trial_->Give_Up(true);
  if (tester_.joinable()) tester_.join();
}

void QuoteServerForm::Make_Controls() {
  auto* const layout = new QVBoxLayout(this);
  optInside_ =
      new QRadioButton("The program's &own quote server, with these sources, asked from the top down:");
  optInside_->setObjectName("optInside");
  layout->addWidget(optInside_);

  inside_ = new QWidget;
  auto* const grid = new QGridLayout(inside_);
  grid->setContentsMargins(20, 0, 0, 0);
  lstSources_ = new QTreeWidget;
  lstSources_->setObjectName("lstSources");
  lstSources_->setAccessibleName("Sources of quotes");
  lstSources_->setHeaderLabels({"Source", "State"});
  lstSources_->setRootIsDecorated(false);
  lstSources_->setAllColumnsShowFocus(true);
  lstSources_->setUniformRowHeights(true);
  lstSources_->header()->setSectionResizeMode(NameColumn, QHeaderView::ResizeToContents);
  lstSources_->header()->setSectionsMovable(false);
  lstSources_->setMinimumSize(fontMetrics().horizontalAdvance('n') * 66, fontMetrics().height() * 13);
  grid->addWidget(lstSources_, 0, 0, 3, 1);
  cmdUp_ = new QPushButton("Move &Up");
  cmdUp_->setObjectName("cmdUp");
  cmdDown_ = new QPushButton("Move &Down");
  cmdDown_->setObjectName("cmdDown");
  grid->addWidget(cmdUp_, 0, 1);
  grid->addWidget(cmdDown_, 1, 1);
  grid->setRowStretch(2, 1);
  grid->addWidget(Make_Details(), 3, 0, 1, 2);
  layout->addWidget(inside_, 1);

  optElsewhere_ = new QRadioButton("A quote server &elsewhere, by its request address:");
  optElsewhere_->setObjectName("optElsewhere");
  layout->addWidget(optElsewhere_);
  auto* const elsewhere = new QVBoxLayout;
  elsewhere->setContentsMargins(20, 0, 0, 0);
  txtTemplate_ = new QLineEdit;
  txtTemplate_->setObjectName("txtTemplate");
  txtTemplate_->setAccessibleName("Request address of the quote server");
  txtTemplate_->setPlaceholderText("http://host/quotes?Interval=XXX&Symbol=SSS&Date=DDD");
  elsewhere->addWidget(txtTemplate_);
  auto* const hint = Wrapped_Label("lblTemplate");
  hint->setText("XXX stands for the interval in minutes, SSS for the symbol, &Date=DDD for the end date.");
  elsewhere->addWidget(hint);
  layout->addLayout(elsewhere);

  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  layout->addWidget(buttons);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(optInside_, &QRadioButton::toggled, this, [this] { Show_Which_Server(); });
  connect(lstSources_, &QTreeWidget::currentItemChanged, this, [this] { Show_Details(); });
  connect(lstSources_, &QTreeWidget::itemChanged, this,
          [this](QTreeWidgetItem* item) { Item_Changed(item); });
  connect(cmdUp_, &QPushButton::clicked, this, [this] { Move_Item(-1); });
  connect(cmdDown_, &QPushButton::clicked, this, [this] { Move_Item(1); });
  connect(cmdTest_, &QPushButton::clicked, this, [this] { Test(); });
  connect(txtCsvFolder_, &QLineEdit::editingFinished, this, [this] { Folder_Changed(); });
}

QWidget* QuoteServerForm::Make_Details() {
  auto* const widget = new QWidget;
  details_ = new QVBoxLayout(widget);
  details_->setContentsMargins(0, 0, 0, 0);
  lblRemark_ = Wrapped_Label("lblRemark");
  details_->addWidget(lblRemark_);
  key_rows_ = new QWidget;
  details_->addWidget(key_rows_);

  auto* const test = new QHBoxLayout;
  auto* const symbol_label = new QLabel("Try it with the s&ymbol");
  txtSymbol_ = new QLineEdit("MSFT");
  txtSymbol_->setObjectName("txtSymbol");
  txtSymbol_->setMaxLength(60);
  txtSymbol_->setMaximumWidth(fontMetrics().horizontalAdvance('M') * 10);
  symbol_label->setBuddy(txtSymbol_);
  cmdTest_ = new QPushButton("&Test");
  cmdTest_->setObjectName("cmdTest");
  test->addWidget(symbol_label);
  test->addWidget(txtSymbol_);
  test->addWidget(cmdTest_);
  test->addStretch(1);
  details_->addLayout(test);
  lblTrial_ = Wrapped_Label("lblTrial");
  lblTrial_->setMinimumHeight(fontMetrics().lineSpacing() * 3);
  lblTrial_->setAlignment(Qt::AlignTop);
  details_->addWidget(lblTrial_);

  auto* const form = new QFormLayout;
  txtCsvFolder_ = new QLineEdit;
  txtCsvFolder_->setObjectName("txtCsvFolder");
  auto* const browse = new QPushButton("...");
  browse->setObjectName("cmdCsvFolder");
  browse->setAccessibleName("Choose the folder of your own files");
  browse->setMaximumWidth(fontMetrics().horizontalAdvance("....") + 24);
  connect(browse, &QPushButton::clicked, this, [this] { Browse(); });
  auto* const folder = new QHBoxLayout;
  folder->addWidget(txtCsvFolder_);
  folder->addWidget(browse);
  auto* const folder_label = new QLabel("&Folder of your own CSV files:");
  folder_label->setBuddy(txtCsvFolder_);
  form->addRow(folder_label, folder);
  cmbPrices_ = new QComboBox;
  cmbPrices_->setObjectName("cmbPrices");
  for (const auto& [adjustment, text] : Prices) cmbPrices_->addItem(text, static_cast<int>(adjustment));
  form->addRow("&Prices:", cmbPrices_);
  auto* const archive = new QLabel;
  archive->setObjectName("lblArchive");
  const auto bytes = service_.Sources().Archive_Size();
  archive->setText(bytes == 0 ? "nothing yet" : QLocale::c().formattedDataSize(static_cast<qint64>(bytes)));
  form->addRow("Archive of fetched quotes:", archive);
  std::string told = service_.Fault();
  for (const std::string& line : service_.Told()) told += (told.empty() ? "" : "\n") + line;
  if (!told.empty()) {
    auto* const messages = new QPlainTextEdit(To_QString(told));
    messages->setObjectName("txtTold");
    messages->setReadOnly(true);
    messages->setTabChangesFocus(true);
    messages->setFixedHeight(fontMetrics().lineSpacing() * 4 + 12);
    auto* const told_label = new QLabel("&Messages:");
    told_label->setBuddy(messages);
    form->addRow(told_label, messages);
  }
  details_->addLayout(form);
  return widget;
}

void QuoteServerForm::Fill_In() {
  filling_ = true;
  const QuoteChoice choice = service_.Choice();
  keys_ = choice.Sources.Keys;
  bool has_simulated = false;
  for (const server::SourceEntry& entry : service_.Sources().Sources(service_.Running())) {
    has_simulated = has_simulated || entry.Status.Name == Simulated;
    if (Is_Folder(entry.Status.Name)) {
      txtCsvFolder_->setText(To_QString(entry.Status.Name.substr(FolderPrefix.size())));
    }
    Add_Item(entry);
  }
  if (!has_simulated) {
    server::SourceEntry entry;
    entry.Status = {Simulated, "Simulated market", server::SourceState::Off, {}, {}};
    Add_Item(entry);
  }
  cmbPrices_->setCurrentIndex(cmbPrices_->findData(static_cast<int>(choice.Sources.Adjusted)));
  txtTemplate_->setText(To_QString(choice.RequestTemplate));
  (choice.RequestTemplate.empty() ? optInside_ : optElsewhere_)->setChecked(true);
  lstSources_->setCurrentItem(lstSources_->topLevelItem(0));
  filling_ = false;
  Show_Which_Server();
  Show_Details();
  lstSources_->setFocus();
}

void QuoteServerForm::Add_Item(const server::SourceEntry& entry) {
  const server::SourceStatus& status = entry.Status;
  const std::string title = status.Name == Simulated ? "Simulated market" : status.Title;
  auto* const item = new QTreeWidgetItem(lstSources_, {To_QString(title), To_QString(State_Text(status))});
  item->setData(NameColumn, NameRole, To_QString(status.Name));
  item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
  item->setCheckState(NameColumn, entry.In_Use ? Qt::Checked : Qt::Unchecked);
  item->setToolTip(StateColumn, To_QString(status.Reason).toHtmlEscaped());
  entries_[status.Name] = entry;
  if (entry.In_Use) read_.insert(status.Name);
}

const server::SourceEntry* QuoteServerForm::Current_Entry() const {
  const QTreeWidgetItem* const item = lstSources_->currentItem();
  const auto found = item == nullptr ? entries_.end() : entries_.find(Name_Of(*item));
  return found == entries_.end() ? nullptr : &found->second;
}

void QuoteServerForm::Show_Which_Server() {
  inside_->setEnabled(optInside_->isChecked());
  txtTemplate_->setEnabled(optElsewhere_->isChecked());
}

void QuoteServerForm::Show_Details() {
  if (filling_) return;
  lblTrial_->clear();
  const server::SourceEntry* const entry = Current_Entry();
  if (entry == nullptr) return;
  std::string text =
      entry->Status.Name == Simulated
          ? "Made-up quotes, the same at every run, to learn the program with. NOT real quotes."
          : entry->Remark;
  const auto add = [&text](const std::string& part) {
    if (!part.empty()) text += (text.empty() ? "" : "\n") + part;
  };
  if (entry->Status.Reason != entry->Off_Until_Read) add(entry->Status.Reason);
  add(entry->Site);
  lblRemark_->setText(To_QString(text));
  const int row = lstSources_->indexOfTopLevelItem(lstSources_->currentItem());
  cmdUp_->setEnabled(row > 0);
  cmdDown_->setEnabled(row + 1 < lstSources_->topLevelItemCount());
  Show_Keys(*entry);
  Make_Room();
}

void QuoteServerForm::Make_Room() {
  // A layout with texts that wrap does not ask its window for more height by itself.
  layout()->activate();
  const int needed = layout()->totalHeightForWidth(width());
  if (height() < needed) resize(width(), needed);
}

void QuoteServerForm::Show_Keys(const server::SourceEntry& entry) {
  auto* const rows = new QWidget;
  auto* const layout = new QFormLayout(rows);
  layout->setContentsMargins(0, 0, 0, 0);
  std::vector<QWidget*> tab_order{cmdDown_};
  for (const server::KeyEntry& key : entry.Keys) {
    auto* const box = new QLineEdit;
    box->setObjectName(To_QString("txtKey_" + key.Setting));
    box->setAccessibleName(To_QString(key.Label));
    box->setEchoMode(QLineEdit::Password);
    const auto typed = keys_.find(key.Setting);
    const bool is_known = !key.Masked.empty() && service_.Choice().Sources.Keys == keys_;
    if (key.From_Variable) {
      box->setEnabled(false);
      box->setPlaceholderText(To_QString(key.Masked + " from " + key.Variable));
    } else if (typed != keys_.end()) {
      box->setPlaceholderText(To_QString(is_known ? key.Masked : server::Masked_Key(typed->second)));
    } else {
      box->setPlaceholderText("none; paste it here");
    }
    auto* const forget = new QPushButton("Forget");
    forget->setObjectName(To_QString("cmdForget_" + key.Setting));
    forget->setAccessibleName("Forget the key");
    forget->setEnabled(!key.From_Variable && typed != keys_.end());
    auto* const row = new QHBoxLayout;
    row->addWidget(box);
    row->addWidget(forget);
    layout->addRow(To_QString(key.Label + ":"), row);
    tab_order.insert(tab_order.end(), {box, forget});
    const std::string setting = key.Setting;
    connect(box, &QLineEdit::textChanged, this, [this, setting, forget](const QString& text) {
      const QString trimmed = text.trimmed();
      const auto& saved = service_.Choice().Sources.Keys;
      const auto before = saved.find(setting);
      // An emptied box is one that nothing was typed into.
      if (!trimmed.isEmpty()) {
        keys_[setting] = To_Text(trimmed);
      } else if (before != saved.end()) {
        keys_[setting] = before->second;
      } else {
        keys_.erase(setting);
      }
      forget->setEnabled(keys_.contains(setting));
    });
    connect(forget, &QPushButton::clicked, this, [this, setting, box, forget] {
      const QSignalBlocker quiet(box);
      box->clear();
      box->setPlaceholderText("none; paste it here");
      keys_.erase(setting);
      forget->setEnabled(false);
      box->setFocus();
    });
  }
  delete details_->replaceWidget(key_rows_, rows);
  key_rows_->deleteLater();
  key_rows_ = rows;
  // At once, not with the next event: what is not shown gets no room.
  rows->show();
  tab_order.push_back(txtSymbol_);
  for (size_t i = 1; i < tab_order.size(); ++i) QWidget::setTabOrder(tab_order[i - 1], tab_order[i]);
}

void QuoteServerForm::Item_Changed(QTreeWidgetItem* item) {
  if (filling_ || item->checkState(NameColumn) != Qt::Checked) return;
  const auto entry = entries_.find(Name_Of(*item));
  if (entry == entries_.end()) return;
  if (!entry->second.Off_Until_Read.empty()) lstSources_->setCurrentItem(item);
  if (!May_Be_Asked(entry->second)) {
    const QSignalBlocker quiet(lstSources_);
    item->setCheckState(NameColumn, Qt::Unchecked);
    return;
  }
  if (entry->second.Status.Name != Simulated) Leave_Simulated_Out(lstSources_->indexOfTopLevelItem(item));
}

bool QuoteServerForm::May_Be_Asked(const server::SourceEntry& entry) {
  if (entry.Off_Until_Read.empty() || !read_.insert(entry.Status.Name).second) return true;
  const MessageAnswer answer = boxes_.Show(entry.Off_Until_Read + "\n\nDo you want to use it all the same?",
                                           "Quote Server", MessageButtons::YesNoCancel);
  if (answer == MessageAnswer::Yes) return true;
  read_.erase(entry.Status.Name);
  return false;
}

void QuoteServerForm::Leave_Simulated_Out(int row) {
  const bool is_by_default = service_.Choice().Sources.Source.empty();
  for (int i = 0; i < lstSources_->topLevelItemCount(); ++i) {
    QTreeWidgetItem& item = *lstSources_->topLevelItem(i);
    if (Name_Of(item) != Simulated || !(is_by_default || i < row)) continue;
    const QSignalBlocker quiet(lstSources_);
    item.setCheckState(NameColumn, Qt::Unchecked);
  }
}

void QuoteServerForm::Move_Item(int step) {
  QTreeWidgetItem* const item = lstSources_->currentItem();
  const int row = lstSources_->indexOfTopLevelItem(item);
  if (item == nullptr || row + step < 0 || row + step >= lstSources_->topLevelItemCount()) return;
  filling_ = true;
  lstSources_->takeTopLevelItem(row);
  lstSources_->insertTopLevelItem(row + step, item);
  lstSources_->setCurrentItem(item);
  filling_ = false;
  Show_Details();
}

void QuoteServerForm::Folder_Changed() {
  const QString folder = txtCsvFolder_->text().trimmed();
  QTreeWidgetItem* item = nullptr;
  for (int i = 0; i < lstSources_->topLevelItemCount(); ++i) {
    if (Is_Folder(Name_Of(*lstSources_->topLevelItem(i)))) item = lstSources_->topLevelItem(i);
  }
  const std::string name = std::string(FolderPrefix) + To_Text(folder);
  if (item != nullptr && Name_Of(*item) == name) return;
  if (item != nullptr) {
    entries_.erase(Name_Of(*item));
    delete item;
  }
  if (folder.isEmpty()) return;
  server::SourceEntry entry;
  entry.Status = {name, "CSV files in " + To_Text(folder), server::SourceState::Ready, {}, {}};
  entry.In_Use = true;
  filling_ = true;
  Add_Item(entry);
  // Before all that is asked already: these are the user's own.
  QTreeWidgetItem* const added = lstSources_->takeTopLevelItem(lstSources_->topLevelItemCount() - 1);
  lstSources_->insertTopLevelItem(0, added);
  lstSources_->setCurrentItem(added);
  filling_ = false;
  Leave_Simulated_Out(0);
  Show_Details();
}

void QuoteServerForm::Browse() {
  const QString folder =
      QFileDialog::getExistingDirectory(this, "Folder of your own CSV files", txtCsvFolder_->text());
  if (folder.isEmpty()) return;
  txtCsvFolder_->setText(folder);
  Folder_Changed();
}

server::SourcePlaces QuoteServerForm::Places_With_Typed_Keys() const {
  server::SourcePlaces places = service_.Sources().Places();
  std::map<std::string, std::string> typed;
  for (const auto& [setting, key] : keys_) typed[server::Key_Variable(setting)] = key;
  places.Variables = [typed, variables = places.Variables](const std::string& name) {
    if (auto value = variables(name)) return value;
    const auto found = typed.find(name);
    return found == typed.end() ? std::nullopt : std::optional(found->second);
  };
  return places;
}

void QuoteServerForm::Test() {
  const server::SourceEntry* const entry = Current_Entry();
  const std::string symbol(Trim(To_Text(txtSymbol_->text())));
  if (entry == nullptr) return;
  if (symbol.empty()) {
    lblTrial_->setText("Enter a symbol to try the source with.");
    txtSymbol_->setFocus();
    return;
  }
  if (!May_Be_Asked(*entry)) return;
  if (tester_.joinable()) tester_.join();
  cmdTest_->setEnabled(false);
  lblTrial_->setText(To_QString("Asking " + entry->Status.Title + " for " + symbol + " ..."));
  trial_ = std::make_unique<server::SourceSetUp>(Places_With_Typed_Keys(), service_.Settings());
  const auto test = [this, name = entry->Status.Name, symbol] {
    Name_This_Thread("source test");
    server::SourceTrial trial;
    try {
      trial = trial_->Test(name, symbol);
    } catch (const std::exception& error) {
      trial.Failed_Hop = "program";
      trial.Text = error.what();
    }
    QMetaObject::invokeMethod(
        this, [this, name, trial] { Show_Trial(name, trial); }, Qt::QueuedConnection);
  };
  try {
    tester_ = std::thread(test);
  } catch (const std::system_error& error) {
    server::SourceTrial trial;
    trial.Failed_Hop = "program";
    trial.Text = std::string("no thread for the test: ") + error.what();
    Show_Trial(entry->Status.Name, trial);
  }
}

void QuoteServerForm::Show_Trial(const std::string& name, const server::SourceTrial& trial) {
  if (tester_.joinable()) tester_.join();
  cmdTest_->setEnabled(true);
  const auto tested = entries_.find(name);
  if (tested == entries_.end()) return;
  server::SourceStatus& status = tested->second.Status;
  if (trial.Works && status.State == server::SourceState::NeedsKey) {
    status.State = server::SourceState::Ready;
    status.Reason.clear();
    for (int i = 0; i < lstSources_->topLevelItemCount(); ++i) {
      QTreeWidgetItem& item = *lstSources_->topLevelItem(i);
      if (Name_Of(item) == name) item.setText(StateColumn, To_QString(State_Text(status)));
    }
  }
  // The user may look at another source by now.
  if (Current_Entry() != &tested->second) return;
  std::string text = trial.Works ? trial.Text : "Failed at: " + trial.Failed_Hop + ". " + trial.Text;
  if (!trial.Next_Step.empty()) text += "\n" + trial.Next_Step;
  lblTrial_->setText(To_QString(text));
  Make_Room();
}

QuoteChoice QuoteServerForm::Choice() const {
  QuoteChoice choice = service_.Choice();
  choice.RequestTemplate =
      optElsewhere_->isChecked() ? std::string(Trim(To_Text(txtTemplate_->text()))) : std::string();
  choice.Sources.Keys = keys_;
  choice.Sources.Adjusted = static_cast<server::Adjustment>(cmbPrices_->currentData().toInt());
  std::string list;
  std::string before;
  for (int i = 0; i < lstSources_->topLevelItemCount(); ++i) {
    const QTreeWidgetItem& item = *lstSources_->topLevelItem(i);
    if (item.checkState(NameColumn) != Qt::Checked) continue;
    list += (list.empty() ? "" : ",") + Name_Of(item);
  }
  for (const server::SourceEntry& entry : service_.Sources().Sources()) {
    if (entry.In_Use) before += (before.empty() ? "" : ",") + entry.Status.Name;
  }
  // A list that nobody touched goes on following the keys.
  if (list != before) choice.Sources.Source = list;
  return choice;
}

bool QuoteServerForm::May_Replace(const QuoteChoice& choice) {
  const bool chooses =
      optElsewhere_->isChecked() || !choice.Sources.Source.empty() || !choice.Sources.Keys.empty();
  if (!chooses) {
    boxes_.Show("Turn on the sources that quotes are to come from.", "Quote Server");
    lstSources_->setFocus();
    return false;
  }
  return boxes_.Show(service_.Settings_Fault() +
                         "\n\nDo you want to put these settings in its place? It is kept under another name.",
                     "Quote Server", MessageButtons::YesNoCancel) == MessageAnswer::Yes;
}

void QuoteServerForm::accept() {
  Folder_Changed();
  const QuoteChoice choice = Choice();
  if (optElsewhere_->isChecked() && choice.RequestTemplate.empty()) {
    boxes_.Show("Enter the request address of the quote server.", "Quote Server");
    txtTemplate_->setFocus();
    return;
  }
  if (!service_.Settings_Fault().empty() && !May_Replace(choice)) return;
  try {
    place_ = service_.Change(choice);
  } catch (const std::exception& error) {
    boxes_.Show(error.what(), "Quote Server");
    return;
  }
  QDialog::accept();
}

std::optional<QuotePlace> Set_Up_Quotes(QuoteService& service, MessageBoxes& boxes, QWidget* parent) {
  std::optional<QuotePlace> place = service.Look_Again();
  QuoteServerForm form(service, boxes, parent);
  if (form.exec() == QDialog::Accepted) place = form.Place();
  return place;
}

}  // namespace hq
