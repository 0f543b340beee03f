#pragma once

#include <QDialog>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "shell/quote_service.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTreeWidget;
class QTreeWidgetItem;
class QVBoxLayout;

namespace hq {

// The form that sets up where quotes come from: the program's own server with its sources in their order and
// their keys, or a quote server elsewhere. Nothing is changed before OK, and then all of it or nothing.
class QuoteServerForm final : public QDialog {
 public:
  // service and boxes outlive the form.
  QuoteServerForm(QuoteService& service, MessageBoxes& boxes, QWidget* parent = nullptr);
  // Ends a test under way.
  ~QuoteServerForm() override;

  // What came of OK; the quotes as they were before.
  [[nodiscard]] const QuotePlace& Place() const { return place_; }

  void accept() override;

 private:
  void Make_Controls();
  [[nodiscard]] QWidget* Make_Details();
  void Fill_In();
  void Add_Item(const server::SourceEntry& entry);
  void Show_Details();
  void Show_Keys(const server::SourceEntry& entry);
  // Makes the form high enough for what it shows.
  void Make_Room();
  void Show_Which_Server();
  // A source was turned on or off by hand.
  void Item_Changed(QTreeWidgetItem* item);
  // Has the user read why a source is off, once, and says whether to ask it all the same.
  bool May_Be_Asked(const server::SourceEntry& entry);
  // Turns the simulated market off when real quotes get in use in `row`: for good unless the user turns it on
  // again below them.
  void Leave_Simulated_Out(int row);
  void Move_Item(int step);
  void Folder_Changed();
  void Browse();
  void Test();
  void Show_Trial(const std::string& name, const server::SourceTrial& trial);
  [[nodiscard]] QuoteChoice Choice() const;
  // Where the settings can't be read: whether the user wants others in their place.
  [[nodiscard]] bool May_Replace(const QuoteChoice& choice);
  [[nodiscard]] const server::SourceEntry* Current_Entry() const;
  // The places with the keys as they are typed now, for a test before they are saved.
  [[nodiscard]] server::SourcePlaces Places_With_Typed_Keys() const;

  QuoteService& service_;
  MessageBoxes& boxes_;
  QuotePlace place_;
  std::map<std::string, server::SourceEntry> entries_;  // by name
  std::map<std::string, std::string> keys_;             // as in the settings, changed by hand
  std::set<std::string> read_;                          // of which the user knows why they are off

  QRadioButton* optInside_ = nullptr;
  QRadioButton* optElsewhere_ = nullptr;
  QWidget* inside_ = nullptr;
  QTreeWidget* lstSources_ = nullptr;
  QPushButton* cmdUp_ = nullptr;
  QPushButton* cmdDown_ = nullptr;
  QLabel* lblRemark_ = nullptr;
  QWidget* key_rows_ = nullptr;
  QVBoxLayout* details_ = nullptr;
  QLineEdit* txtSymbol_ = nullptr;
  QPushButton* cmdTest_ = nullptr;
  QLabel* lblTrial_ = nullptr;
  QLineEdit* txtCsvFolder_ = nullptr;
  QComboBox* cmbPrices_ = nullptr;
  QLineEdit* txtTemplate_ = nullptr;

  std::unique_ptr<server::SourceSetUp> trial_;
  std::thread tester_;
  bool filling_ = false;
};

// Shows the form. The place from which quotes come from then on; nothing when that is the one of before.
[[nodiscard]] std::optional<QuotePlace> Set_Up_Quotes(QuoteService& service, MessageBoxes& boxes,
                                                      QWidget* parent);

}  // namespace hq
