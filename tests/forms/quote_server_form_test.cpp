// The form that sets up where quotes come from.

#include "shell/quote_server_form.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>
#include <QTreeWidget>
#include <filesystem>

#include "built_places.h"
#include "forms/form_support.h"
#include "server/live/scripted_fetcher.h"

namespace hq::test {

namespace {

constexpr const char* Elsewhere = "http://quotes.test/q?i=XXX&s=SSS&Date=DDD";
constexpr const char* Key = "planted-0123456789-key";

}  // namespace

class QuoteServerFormTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Boxes_ = std::make_unique<BoxAnswers>();
    Home_ = std::make_unique<TempFolder>();
    std::filesystem::copy(HQ_SOURCES, Home_->Path() + "/sources");
    Fetcher_ = std::make_shared<server::ScriptedFetcher>();
    Open();
  }
  void cleanup() {
    Form_.reset();
    Service_.reset();
    QCOMPARE(Boxes_->Unexpected, 0);
    Boxes_.reset();
    Home_.reset();
  }

  void FirstShowsTheSimulatedMarketInUseAndEveryServiceWithItsState() {
    QCOMPARE(List().topLevelItemCount(), 9);
    QCOMPARE(List().topLevelItem(0)->text(0), "Simulated market");
    QCOMPARE(Checked(), QStringList{"simulated"});
    QCOMPARE(Item("tiingo")->text(1), "needs a key");
    QCOMPARE(Item("yahoo")->text(1), "off");
    QTRY_VERIFY(Get<QRadioButton>("optInside")->isChecked());
    QVERIFY(!Get<QLineEdit>("txtTemplate")->isEnabled());
  }

  void CancelChangesNothing() {
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Item("tiingo")->setCheckState(0, Qt::Checked);
    Press(Qt::Key_Escape);
    QCOMPARE(Form_->result(), int(QDialog::Rejected));
    QVERIFY(!std::filesystem::exists(Home_->Path() + "/server.ini"));
    QVERIFY(Service_->Running() != nullptr);
    QVERIFY(!Service_->Running()->Real_Quotes());
  }

  void AKeyIsSavedForTheUserAloneAndShownNowhere() {
    Choose("tiingo");
    auto* const box = Get<QLineEdit>("txtKey_tiingo");
    box->setText(QString("  %1 ").arg(Key));
    QCOMPARE(box->echoMode(), QLineEdit::Password);
    Item("tiingo")->setCheckState(0, Qt::Checked);
    Item("simulated")->setCheckState(0, Qt::Unchecked);
    Accept();
    QCOMPARE(Form_->Place().Note, "");
    QVERIFY(Service_->Running()->Real_Quotes());
    const std::string settings = Home_->Files().at("server.ini");
    QVERIFY2(settings.find(std::string("tiingo=") + Key) != std::string::npos, settings.c_str());
    QVERIFY2(settings.find("Source=tiingo") != std::string::npos, settings.c_str());
    // Elsewhere the folder says who may read.
    if constexpr (std::filesystem::path::preferred_separator == '/') {
      QCOMPARE(std::filesystem::status(Home_->Path() + "/server.ini").permissions(),
               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    }
    Open();
    QCOMPARE(Checked(), QStringList{"tiingo"});
    QCOMPARE(Item("tiingo")->text(1), "ready");
    Choose("tiingo");
    QCOMPARE(Get<QLineEdit>("txtKey_tiingo")->text(), "");
    QCOMPARE(Get<QLineEdit>("txtKey_tiingo")->placeholderText(), "****-key");
    for (const QWidget* widget : Form_->findChildren<QWidget*>()) {
      QVERIFY(!widget->toolTip().contains(Key));
      if (const auto* label = qobject_cast<const QLabel*>(widget)) QVERIFY(!label->text().contains(Key));
      if (const auto* line = qobject_cast<const QLineEdit*>(widget)) {
        QVERIFY(!line->text().contains(Key) && !line->placeholderText().contains(Key));
      }
    }
  }

  void AKeyCanBeForgotten() {
    Home_->Write("server.ini", std::string("[Keys]\ntiingo=") + Key + "\n");
    Open();
    Choose("tiingo");
    Click(Get<QPushButton>("cmdForget_tiingo"));
    Accept();
    QVERIFY(Home_->Files().at("server.ini").find(Key) == std::string::npos);
    QCOMPARE(Checked_Of_New_Form(), QStringList{"simulated"});
  }

  void WhereAServiceIsTurnedOnTheSimulatedMarketIsTurnedOff() {
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Item("tiingo")->setCheckState(0, Qt::Checked);
    QCOMPARE(Checked(), QStringList{"tiingo"});
    Accept();
    QVERIFY(Service_->Running()->Real_Quotes());
    // Whoever wants it behind the service says so.
    Open();
    Item("simulated")->setCheckState(0, Qt::Checked);
    const QStringList both{"tiingo", "simulated"};
    QCOMPARE(Checked(), both);
    Accept();
    QCOMPARE(Checked_Of_New_Form(), both);
    // Before a service, it would answer alone.
    Choose("simulated");
    Click(Get<QPushButton>("cmdUp"));
    Item("tiingo")->setCheckState(0, Qt::Unchecked);
    Item("tiingo")->setCheckState(0, Qt::Checked);
    QCOMPARE(Checked(), QStringList{"tiingo"});
  }

  void TabLeadsFromTheListToTheKeysAndThenToTheTest() {
    Choose("alpaca");
    std::vector<QWidget*> expected{Get<QPushButton>("cmdUp"),       Get<QPushButton>("cmdDown"),
                                   Get<QLineEdit>("txtKey_alpaca"), Get<QLineEdit>("txtKey_alpaca_secret"),
                                   Get<QLineEdit>("txtSymbol"),     Get<QPushButton>("cmdTest")};
    for (QWidget* const next : expected) {
      Press(Qt::Key_Tab);
      QTRY_COMPARE(QApplication::focusWidget(), next);
    }
    QCOMPARE(Get<QLineEdit>("txtKey_alpaca_secret")->accessibleName(), "API secret key");
    // Where a key was typed it can be forgotten.
    Get<QLineEdit>("txtKey_alpaca")->setText(Key);
    Get<QPushButton>("cmdDown")->setFocus();
    Press(Qt::Key_Tab);
    Press(Qt::Key_Tab);
    QTRY_COMPARE(QApplication::focusWidget(), Get<QPushButton>("cmdForget_alpaca"));
  }

  void AKeyAloneTurnsItsServiceOn() {
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Accept();
    QVERIFY(Service_->Running()->Real_Quotes());
  }

  void AnUnofficialServiceIsOffUntilItsReasonWasRead() {
    Boxes_->Expect(Qt::Key_N);
    Item("yahoo")->setCheckState(0, Qt::Checked);
    QCOMPARE(Item("yahoo")->checkState(0), Qt::Unchecked);
    QCOMPARE(Boxes_->Seen.size(), 1U);
    QVERIFY(Boxes_->Seen[0].Text.contains("use it all the same?"));
    Boxes_->Expect(Qt::Key_Y);
    Item("yahoo")->setCheckState(0, Qt::Checked);
    QCOMPARE(Item("yahoo")->checkState(0), Qt::Checked);
  }

  void AnUnofficialServiceIsNotTriedEitherBeforeItsReasonWasRead() {
    Choose("cboe");
    Boxes_->Expect(Qt::Key_N);
    Click(Get<QPushButton>("cmdTest"));
    QTRY_COMPARE(Boxes_->Seen.size(), 1U);
    QVERIFY(Boxes_->Seen[0].Text.contains("not offered to programs"));
    QVERIFY(Get<QPushButton>("cmdTest")->isEnabled());
    QVERIFY(Fetcher_->Requests().empty());
    Boxes_->Expect(Qt::Key_Y);
    Click(Get<QPushButton>("cmdTest"));
    QTRY_VERIFY_WITH_TIMEOUT(!Fetcher_->Requests().empty(), 30000);
    QTRY_VERIFY_WITH_TIMEOUT(Get<QPushButton>("cmdTest")->isEnabled(), 30000);
    // It is asked once.
    Item("cboe")->setCheckState(0, Qt::Checked);
    QCOMPARE(Item("cboe")->checkState(0), Qt::Checked);
    QCOMPARE(Boxes_->Seen.size(), 2U);
  }

  void SourcesAreAskedInTheOrderThatTheUserGivesThem() {
    Choose("simulated");
    Click(Get<QPushButton>("cmdDown"));
    QCOMPARE(List().topLevelItem(1)->data(0, Qt::UserRole).toString(), "simulated");
    QCOMPARE(List().currentItem(), Item("simulated"));
    Boxes_->Expect(Qt::Key_Y);
    Item("cboe")->setCheckState(0, Qt::Checked);
    Choose("cboe");
    while (List().indexOfTopLevelItem(Item("cboe")) > 0) Click(Get<QPushButton>("cmdUp"));
    Item("simulated")->setCheckState(0, Qt::Checked);
    QVERIFY(!Get<QPushButton>("cmdUp")->isEnabled());
    Accept();
    const std::string settings = Home_->Files().at("server.ini");
    QVERIFY2(settings.find("Source=cboe,simulated\r\n") != std::string::npos, settings.c_str());
  }

  void AFolderOfTheUsersOwnFilesComesFirst() {
    const TempFolder files;
    Get<QLineEdit>("txtCsvFolder")->setText(QString::fromStdString(files.Path()));
    Accept();
    QCOMPARE(Checked_Of_New_Form(), QStringList{QString::fromStdString("csv:" + files.Path())});
    Get<QLineEdit>("txtCsvFolder")->clear();
    Accept();
    QCOMPARE(Checked_Of_New_Form(), QStringList{"simulated"});
  }

  void AFolderThatIsNotThereIsToldAndChangesNothing() {
    Get<QLineEdit>("txtCsvFolder")->setText(QString::fromStdString(Home_->Path() + "/missing"));
    Item("simulated")->setCheckState(0, Qt::Unchecked);
    Boxes_->Expect(Qt::Key_Return);
    Click(Ok());
    QTRY_COMPARE(Boxes_->Seen.size(), 1U);
    QVERIFY2(Boxes_->Seen[0].Text.contains("missing"), qPrintable(Boxes_->Seen[0].Text));
    QVERIFY(Form_->isVisible());
    QVERIFY(!Service_->Running()->Real_Quotes());
    QCOMPARE(Service_->Choice().Sources.Source, "");
  }

  void AServerElsewhereNeedsARequestAddress() {
    Get<QRadioButton>("optElsewhere")->setChecked(true);
    QVERIFY(!List().isEnabled());
    for (const QString& wrong : {QString(), QString("quotes.test"), QString("http://quotes.test/SSS")}) {
      Get<QLineEdit>("txtTemplate")->setText(wrong);
      Boxes_->Expect(Qt::Key_Return);
      const size_t before = Boxes_->Seen.size();
      Click(Ok());
      QTRY_COMPARE(Boxes_->Seen.size(), before + 1);
      QVERIFY(Form_->isVisible());
    }
    Get<QLineEdit>("txtTemplate")->setText(Elsewhere);
    Accept();
    QCOMPARE(Form_->Place().RequestTemplate, Elsewhere);
    QCOMPARE(Form_->Place().Note, "");
    QVERIFY(!Form_->Place().SymbolSearchAddress.empty());
    Open();
    QTRY_VERIFY(Get<QRadioButton>("optElsewhere")->isChecked());
    Get<QRadioButton>("optInside")->setChecked(true);
    Accept();
    QVERIFY(Form_->Place().RequestTemplate.find("127.0.0.1") != std::string::npos);
    QCOMPARE(Form_->Place().Note, "Simulated market, not real quotes");
  }

  void ATestNamesTheHopThatFailedAndWhatToDo() {
    Fetcher_->Answer = [](const server::HttpRequest& request) -> server::FetchResult {
      if (request.Secrets.empty() || request.Secrets[0] != Key) return server::HttpReply{};
      return server::FetchFailure{server::FetchHop::NameLookUp, "The service's name is not known."};
    };
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Click(Get<QPushButton>("cmdTest"));
    QTRY_VERIFY_WITH_TIMEOUT(Get<QPushButton>("cmdTest")->isEnabled(), 30000);
    const QString text = Get<QLabel>("lblTrial")->text();
    QVERIFY2(text.startsWith("Failed at: name look-up. "), qPrintable(text));
    QVERIFY2(text.count('\n') >= 1, qPrintable(text));
    QVERIFY(!text.contains(Key));
    // Nothing is saved by trying.
    QVERIFY(!std::filesystem::exists(Home_->Path() + "/server.ini"));
  }

  void ATestThatWorksWithATypedKeySaysThatTheServiceIsReady() {
    Fetcher_->Answer = [](const server::HttpRequest&) -> server::FetchResult {
      return server::HttpReply{200,
                               {},
                               R"([{"date":"2026-11-13T00:00:00.000Z","open":1,"high":2,"low":1,)"
                               R"("close":2,"volume":7,"adjClose":2,"splitFactor":1.0}])"};
    };
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Click(Get<QPushButton>("cmdTest"));
    QTRY_VERIFY_WITH_TIMEOUT(Get<QPushButton>("cmdTest")->isEnabled(), 30000);
    QVERIFY2(Get<QLabel>("lblTrial")->text().startsWith("Tiingo works"),
             qPrintable(Get<QLabel>("lblTrial")->text()));
    QCOMPARE(Item("tiingo")->text(1), "ready");
  }

  void WhatATestFoundIsNotShownUnderAnotherSource() {
    Fetcher_->Answer = [](const server::HttpRequest&) -> server::FetchResult {
      return server::FetchFailure{server::FetchHop::TimeOut, "No answer."};
    };
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Click(Get<QPushButton>("cmdTest"));
    Choose("simulated");
    QTRY_VERIFY_WITH_TIMEOUT(Get<QPushButton>("cmdTest")->isEnabled(), 30000);
    QCOMPARE(Get<QLabel>("lblTrial")->text(), "");
  }

  void ATestOfTheSimulatedMarketWorks() {
    Get<QLineEdit>("txtSymbol")->clear();
    Click(Get<QPushButton>("cmdTest"));
    QCOMPARE(Get<QLabel>("lblTrial")->text(), "Enter a symbol to try the source with.");
    Get<QLineEdit>("txtSymbol")->setText("IBM");
    Click(Get<QPushButton>("cmdTest"));
    QTRY_VERIFY_WITH_TIMEOUT(Get<QPushButton>("cmdTest")->isEnabled(), 30000);
    QVERIFY(Get<QLabel>("lblTrial")->text().contains("bars of IBM"));
  }

  void TheFormMayBeClosedInTheMiddleOfATest() {
    Fetcher_->Answer = [](const server::HttpRequest&) -> server::FetchResult {
      return server::FetchFailure{server::FetchHop::TimeOut, "No answer."};
    };
    Choose("tiingo");
    Get<QLineEdit>("txtKey_tiingo")->setText(Key);
    Click(Get<QPushButton>("cmdTest"));
    Form_.reset();
    Settle();
  }

  void TheKeyboardAloneServes() {
    QCOMPARE(QApplication::focusWidget(), &List());
    Press(Qt::Key_Down);
    Press(Qt::Key_Space);
    QCOMPARE(List().currentItem()->checkState(0), Qt::Checked);
    Press(Qt::Key_U, Qt::AltModifier);
    QTRY_COMPARE(List().indexOfTopLevelItem(List().currentItem()), 0);
    Press(Qt::Key_E, Qt::AltModifier);
    QTRY_VERIFY(Get<QRadioButton>("optElsewhere")->isChecked());
    Press(Qt::Key_O, Qt::AltModifier);
    QTRY_VERIFY(Get<QRadioButton>("optInside")->isChecked());
    Press(Qt::Key_Y, Qt::AltModifier);
    QTRY_COMPARE(QApplication::focusWidget(), Get<QLineEdit>("txtSymbol"));
    Press(Qt::Key_F, Qt::AltModifier);
    QTRY_COMPARE(QApplication::focusWidget(), Get<QLineEdit>("txtCsvFolder"));
  }

  void NothingIsCutOff() {
    for (const QWidget* widget : Form_->findChildren<QPushButton*>()) {
      QVERIFY2(widget->width() >= widget->sizeHint().width() || widget->objectName() == "cmdCsvFolder",
               qPrintable(widget->objectName()));
    }
    for (int i = 0; i < List().topLevelItemCount(); ++i) {
      List().setCurrentItem(List().topLevelItem(i));
      Settle();
      const auto* const remark = Get<QLabel>("lblRemark");
      QVERIFY2(remark->height() >= remark->heightForWidth(remark->width()), qPrintable(remark->text()));
      for (const QWidget* widget : Form_->findChildren<QLineEdit*>()) {
        QVERIFY2(widget->height() >= widget->minimumSizeHint().height(),
                 qPrintable(List().currentItem()->text(0) + ": " + widget->objectName()));
      }
    }
  }

  void WhatFilesSayOfThemselvesIsShown() {
    QVERIFY(Form_->findChild<QPlainTextEdit*>("txtTold") == nullptr);
    QVERIFY(Service_->Told().empty());
    Home_->Write("sources/acme.json", "{}");
    Home_->Write("quotes.db", "This is no database, though it once was one.");
    Home_->Write("server.ini", std::string("[Quotes]\nSource=tiingo,yahoo\n[Keys]\ntiingo=") + Key + "\n");
    Open();
    const QString text = Get<QPlainTextEdit>("txtTold")->toPlainText();
    QVERIFY2(text.contains("acme.json: /: \"name\" is missing."), qPrintable(text));
    QCOMPARE(text.count("acme.json"), 1);
    QVERIFY2(text.contains("is damaged"), qPrintable(text));
    QVERIFY2(!text.contains("not offered to programs"), qPrintable(text));
    QVERIFY(!text.contains(Key));
    NothingIsCutOff();
  }

  void TheFirstStartIsToldOnceAndOnlyWhileNothingIsSetUp() {
    QVERIFY(QString::fromStdString(Service_->First_Start_Note()).contains("simulated"));
    QCOMPARE(Service_->First_Start_Note(), "");
    Open();
    QCOMPARE(Service_->First_Start_Note(), "");
  }

  void TheMainWindowTakesQuotesFromTheNewPlace() {
    Form_.reset();
    Program program;
    Make_Without_Start(program);
    int shown = 0;
    program.Global->Parts.FirstStartNote = "Quotes are simulated.";
    program.Global->Parts.Set_Up_Quotes = [&](QWidget*) -> std::optional<QuotePlace> {
      if (++shown == 1) return std::nullopt;
      return QuotePlace{Elsewhere, "http://quotes.test/search", "Another note", {}};
    };
    program.Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&program.Window()));
    QVERIFY(program.Window().findChild<QLabel*>("lblfirststart")->isVisible());
    Press(Qt::Key_Q, Qt::AltModifier);
    QTRY_COMPARE(shown, 1);
    QTRY_VERIFY(program.Window().findChild<QLabel*>("lblfirststart") == nullptr);
    QCOMPARE(program.Global->State.RequestTemplate, program.RequestTemplate);
    Press(Qt::Key_Q, Qt::AltModifier);
    QTRY_COMPARE(shown, 2);
    QCOMPARE(program.Global->State.RequestTemplate, Elsewhere);
    QCOMPARE(program.Get<QPushButton>("lblquotes")->text(), "Another note");
    Click(program.Get<QPushButton>("cmdlookup"));
    QCOMPARE(program.Opened.size(), 1U);
    QVERIFY(program.Opened[0].starts_with("http://quotes.test/search"));
  }

 private:
  void Open() {
    server::SourcePlaces places = server::Places_In(Home_->Path(), "test");
    places.Variables = [](const std::string&) { return std::optional<std::string>(); };
    places.Fetcher = Fetcher_;
    Form_.reset();
    Service_.reset();
    Settings_ = std::make_unique<ServerSettingsFile>(Disk_, Home_->Path() + "/server.ini");
    Service_ = std::make_unique<QuoteService>(*Settings_, places);
    Service_->Start(MessageBoxes_);
    Form_ = std::make_unique<QuoteServerForm>(*Service_, MessageBoxes_);
    Form_->show();
    QVERIFY(QTest::qWaitForWindowActive(Form_.get()));
  }
  template <class Widget>
  [[nodiscard]] Widget* Get(const char* name) {
    auto* const widget = Form_->findChild<Widget*>(name);
    if (widget == nullptr) qFatal("no control %s", name);
    return widget;
  }
  [[nodiscard]] QTreeWidget& List() { return *Get<QTreeWidget>("lstSources"); }
  [[nodiscard]] QTreeWidgetItem* Item(const QString& name) {
    for (int i = 0; i < List().topLevelItemCount(); ++i) {
      if (List().topLevelItem(i)->data(0, Qt::UserRole) == name) return List().topLevelItem(i);
    }
    qFatal("no source %s", qPrintable(name));
  }
  void Choose(const QString& name) { List().setCurrentItem(Item(name)); }
  [[nodiscard]] QStringList Checked() {
    QStringList names;
    for (int i = 0; i < List().topLevelItemCount(); ++i) {
      const QTreeWidgetItem* const item = List().topLevelItem(i);
      if (item->checkState(0) == Qt::Checked) names += item->data(0, Qt::UserRole).toString();
    }
    return names;
  }
  [[nodiscard]] QStringList Checked_Of_New_Form() {
    Open();
    return Checked();
  }
  [[nodiscard]] QPushButton* Ok() {
    return Form_->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
  }
  void Accept() {
    Click(Ok());
    QTRY_COMPARE(Form_->result(), int(QDialog::Accepted));
  }

  SystemFiles Disk_;
  QtMessageBoxes MessageBoxes_;
  std::unique_ptr<BoxAnswers> Boxes_;
  std::unique_ptr<TempFolder> Home_;
  std::shared_ptr<server::ScriptedFetcher> Fetcher_;
  std::unique_ptr<ServerSettingsFile> Settings_;
  std::unique_ptr<QuoteService> Service_;
  std::unique_ptr<QuoteServerForm> Form_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::QuoteServerFormTest)
#include "quote_server_form_test.moc"
