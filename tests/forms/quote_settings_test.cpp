// What becomes of quotes and of settings when the settings can't be read, can't serve or can't be saved.

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QTreeWidget>
#include <filesystem>

#include "base/strings.h"
#include "built_places.h"
#include "forms/form_support.h"
#include "server/live/scripted_fetcher.h"
#include "shell/quote_server_form.h"
#include "support/troubled_files.h"
#include "support/utf16.h"

namespace hq::test {

namespace {

constexpr const char* Elsewhere = "http://quotes.test/q?i=XXX&s=SSS&Date=DDD";
constexpr const char* Search = "http://quotes.test/search";
constexpr const char* Keys = "; mine\n[Keys]\ntiingo=planted\n";

}  // namespace

class QuoteSettingsTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Answers_ = std::make_unique<BoxAnswers>();
    Home_ = std::make_unique<TempFolder>();
    std::filesystem::copy(HQ_SOURCES, Home_->Path() + "/sources");
    Disk_ = std::make_unique<TroubledFiles>();
    Fetcher_ = std::make_shared<server::ScriptedFetcher>();
    Boxes_ = std::make_unique<FakeMessageBoxes>();
  }
  void cleanup() {
    Form_.reset();
    Service_.reset();
    QCOMPARE(Answers_->Unexpected, 0);
    Answers_.reset();
  }

  void SettingsThatCantBeReadStartNoServerAndStayAsTheyAre() {
    Write(Keys);
    Disk_->Troubled = "server.ini";
    for (const auto& source : {std::optional<std::string>(), std::optional<std::string>("simulated")}) {
      Boxes_->Shown.clear();
      const QuotePlace place = Start(source);
      QVERIFY(Service_->Running() == nullptr);
      QCOMPARE(place.RequestTemplate, "");
      QCOMPARE(place.Fault, "The settings can't be read: " + Path() + ": Input/output error.");
      QCOMPARE(place.Note, "No quotes can be fetched");
      QCOMPARE(Boxes_->Texts(), std::vector<std::string>{place.Fault});
      QCOMPARE(Service_->First_Start_Note(), "");
      QCOMPARE(Home_->Files().at("server.ini"), Keys);
    }
  }

  void SettingsAreReadOnceForAStart() {
    Write(std::string("[Request]\nTemplate=") + Elsewhere + "\n[Symbol Search]\nAddress=" + Search + "\n");
    Disk_->Troubled = "server.ini";
    Disk_->GoodReads = 1;
    const QuotePlace place = Start();
    QCOMPARE(place.RequestTemplate, Elsewhere);
    QCOMPARE(place.SymbolSearchAddress, Search);
    QVERIFY(Boxes_->Shown.empty());
  }

  void NothingIsSimulatedThatWasNotAskedFor_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");
    QTest::newRow("list") << "[Quotes]\nSource=tingo\n"
                          << "\"tingo\" is no quote source";
    QTest::newRow("folder") << "[Quotes]\nSource=csv:/no/such/folder\n"
                            << "is not there or is no folder";
    QTest::newRow("no key") << "[Quotes]\nSource=tiingo\n"
                            << "Tiingo needs a key";
    QTest::newRow("half a key") << "[Keys]\nalpaca=abc\n"
                                << "Alpaca needs a key (API secret key)";
    QTest::newRow("template") << "[Request]\nTemplate=http://quotes.test/\n"
                              << "[Request] Template: a request";
    QTest::newRow("cipher") << "[Request]\nTemplate=enciphered:zz\n"
                            << "[Request] Template: an enciphered";
  }
  void NothingIsSimulatedThatWasNotAskedFor() {
    QFETCH(const QString, text);
    QFETCH(const QString, reason);
    Write(To_Text(text));
    const QuotePlace place = Start();
    QVERIFY(Service_->Running() == nullptr);
    QCOMPARE(place.RequestTemplate, "");
    QVERIFY2(To_QString(place.Fault).contains(reason), place.Fault.c_str());
    QVERIFY2(place.Fault.starts_with(Path()), place.Fault.c_str());
    QCOMPARE(Boxes_->Texts(), std::vector<std::string>{place.Fault});
    QVERIFY(place.Note != "Simulated market, not real quotes");
    QCOMPARE(Home_->Files().at("server.ini"), To_Text(text));
  }

  void QuotesFromElsewhereNeedNoSourceInside() {
    Write(std::string("[Quotes]\nSource=tingo\n[Request]\nTemplate=") + Elsewhere + "\n");
    const QuotePlace place = Start();
    QCOMPARE(place.RequestTemplate, Elsewhere);
    QCOMPARE(place.Fault, "");
    QCOMPARE(Boxes_->Shown.size(), 1U);
    QVERIFY2(Contains(Boxes_->Shown[0].Text, "tingo"), Boxes_->Shown[0].Text.c_str());
  }

  void MendedSettingsServeWhenTheFormIsOpened() {
    Write("[Quotes]\nSource=simulated\n");
    Disk_->Troubled = "server.ini";
    Start();
    const std::optional<QuotePlace> still = Service_->Look_Again();
    QVERIFY(still && !still->Fault.empty());
    Disk_->Troubled.clear();
    const std::optional<QuotePlace> place = Service_->Look_Again();
    QVERIFY(place);
    QCOMPARE(place->Fault, "");
    QVERIFY(Contains(place->RequestTemplate, "127.0.0.1"));
    QVERIFY(Service_->Running() != nullptr);
    QVERIFY(!Service_->Look_Again());
    QCOMPARE(Boxes_->Shown.size(), 1U);
  }

  void TheFormLooksAgainAlsoWhenItIsCancelled() {
    Write("[Quotes]\nSource=simulated\n");
    Disk_->Troubled = "server.ini";
    Start();
    Disk_->Troubled.clear();
    QTimer until_shown;
    connect(&until_shown, &QTimer::timeout, this, [] {
      if (auto* const form = qobject_cast<QDialog*>(QApplication::activeModalWidget())) form->reject();
    });
    until_shown.start(2);
    const std::optional<QuotePlace> place = Set_Up_Quotes(*Service_, MessageBoxes_, nullptr);
    QVERIFY(place && place->Fault.empty());
    QVERIFY(!Set_Up_Quotes(*Service_, MessageBoxes_, nullptr));
  }

  void AListMendedInTheFileServesWhenTheFormIsOpened() {
    Write("[Quotes]\nSource=tingo\n");
    Start();
    Write("[Quotes]\nSource=simulated\n");
    const std::optional<QuotePlace> place = Service_->Look_Again();
    QVERIFY(place && place->Fault.empty());
  }

  void SettingsThatCantBeReadAreReplacedWhenTheUserSaysSo() {
    Write(Keys);
    Disk_->Troubled = "server.ini";
    Start();
    Open();
    QCOMPARE(Checked(), QStringList());
    QVERIFY(
        Form_->findChild<QPlainTextEdit*>("txtTold")->toPlainText().startsWith("The settings can't be read"));
    // Nothing was chosen.
    Ask_And_Answer(Qt::Key_Return);
    QVERIFY(Answers_->Seen.back().Text.startsWith("Turn on the sources"));
    Item("simulated")->setCheckState(0, Qt::Checked);
    for (const Qt::Key no : {Qt::Key_N, Qt::Key_Escape}) {
      Ask_And_Answer(no);
      QVERIFY2(Answers_->Seen.back().Text.contains("kept under another name"),
               qPrintable(Answers_->Seen.back().Text));
      QVERIFY(Form_->isVisible());
      QCOMPARE(Home_->Files().at("server.ini"), Keys);
      QVERIFY(Service_->Running() == nullptr);
    }
    Ask_And_Answer(Qt::Key_Y);
    QTRY_COMPARE(Form_->result(), int(QDialog::Accepted));
    QCOMPARE(Form_->Place().Fault, "");
    QVERIFY(Service_->Running() != nullptr);
    QCOMPARE(Home_->Files().at("server.ini"), "[Quotes]\r\nSource=simulated\r\n");
    QCOMPARE(Home_->Files().at("server.ini.bak"), Keys);
    QCOMPARE(Service_->Fault(), "");
  }

  void AListThatCantServeIsMendedInTheForm() {
    Write(std::string(Keys) + "[Quotes]\nSource=tingo,simulated\n");
    Start();
    Open();
    const QStringList both{"tingo", "simulated"};
    QCOMPARE(Checked(), both);
    QVERIFY(Item("tingo")->toolTip(1).contains("no quote source"));
    Item("tingo")->setCheckState(0, Qt::Unchecked);
    Click(Ok());
    QTRY_COMPARE(Form_->result(), int(QDialog::Accepted));
    QCOMPARE(Form_->Place().Fault, "");
    QCOMPARE(Home_->Files().at("server.ini"), std::string(Keys) + "[Quotes]\nSource=simulated\n");
  }

  void ATemplateThatCantServeIsShownAndMendedInTheForm() {
    Write("[Request]\nTemplate=http://quotes.test/\n");
    Start();
    Open();
    QVERIFY(Form_->findChild<QRadioButton*>("optElsewhere")->isChecked());
    auto* const address = Form_->findChild<QLineEdit*>("txtTemplate");
    QCOMPARE(address->text(), "http://quotes.test/");
    Ask_And_Answer(Qt::Key_Return);
    QVERIFY(Form_->isVisible());
    address->setText(Elsewhere);
    Click(Ok());
    QTRY_COMPARE(Form_->result(), int(QDialog::Accepted));
    QCOMPARE(Form_->Place().RequestTemplate, Elsewhere);
    QCOMPARE(Home_->Files().at("server.ini"), std::string("[Request]\nTemplate=") + Elsewhere + "\n");
  }

  void ASaveThatFailsUndoesItselfWholly_data() {
    QTest::addColumn<bool>("can_be_read");
    QTest::newRow("write") << true;
    QTest::newRow("read") << false;
  }
  void ASaveThatFailsUndoesItselfWholly() {
    QFETCH(const bool, can_be_read);
    const std::string text = std::string(Keys) + "[Quotes]\nSource=simulated\n";
    Write(text);
    Start("simulated");
    const server::QuoteSource* const running = Service_->Running();
    const QuoteChoice before = Service_->Choice();
    QuoteChoice choice = before;
    choice.RequestTemplate = Elsewhere;
    choice.Sources.Source = "tiingo";
    choice.Sources.Adjusted = server::Adjustment::Raw;
    choice.Sources.Keys["tiingo"] = "other";
    if (can_be_read) {
      Disk_->WriteError = DiskFull;
    } else {
      Disk_->Troubled = "server.ini";
    }
    QVERIFY_THROWS_EXCEPTION(SettingsError, Service_->Change(choice));
    QCOMPARE(Home_->Files().at("server.ini"), text);
    QCOMPARE(Service_->Choice().RequestTemplate, before.RequestTemplate);
    QVERIFY(Service_->Choice().Sources == before.Sources);
    QVERIFY(Service_->Running() == running);
    // The source named at the start is served on.
    QCOMPARE(Service_->First_Start_Note(), "");
    Disk_->WriteError = 0;
    Disk_->Troubled.clear();
    QCOMPARE(Service_->Change(choice).RequestTemplate, Elsewhere);
    QVERIFY(Service_->Choice().Sources == choice.Sources);
  }

  void AChangeKeepsWhatAnotherProgramHasSavedMeanwhile() {
    Write(Keys);
    Start();
    Write(std::string(Keys) + "polygon=new\n");
    QuoteChoice choice = Service_->Choice();
    choice.Sources.Source = "tiingo";
    Service_->Change(choice);
    QCOMPARE(Home_->Files().at("server.ini"), std::string(Keys) + "polygon=new\n\n[Quotes]\nSource=tiingo\n");
  }

  void SettingsInUtf16StaySo() {
    Write(Utf16("[Quotes]\r\nSource=simulated\r\n"));
    QCOMPARE(Start().Fault, "");
    QuoteChoice choice = Service_->Choice();
    choice.Sources.Keys["tiingo"] = "k";
    Service_->Change(choice);
    QCOMPARE(Home_->Files().at("server.ini"),
             Utf16("[Quotes]\r\nSource=simulated\r\n\r\n[Keys]\r\ntiingo=k\r\n"));
  }

  void ADownloadWithoutAServerFailsEverySymbolForItsReason() {
    Program program;
    program.Start();
    program.Prepare_Run({"aa", "bb"});
    program.Global->Use_Quotes({{}, {}, "No quotes can be fetched", "The settings can't be read."});
    Click(program.Get("cmddownload"));
    QVERIFY(program.Inet->Addresses.empty());
    const auto* const status = program.Get<QLabel>("lblstatus");
    QCOMPARE(status->text(), "Failed! BB: The settings can't be read.");
    QCOMPARE(status->toolTip(), status->text());
    QCOMPARE(program.Log_Lines().count("Recorded 0 lines"), 2);
    QVERIFY(program.Output.Names().empty());
    // The form has put other settings in their place.
    program.Global->Use_Quotes({program.RequestTemplate, {}, {}, {}});
    Click(program.Get("cmddownload"));
    QCOMPARE(program.Inet->Addresses.size(), 2U);
  }

 private:
  [[nodiscard]] std::string Path() const { return Join_Path(Home_->Path(), ServerSettingsFileName); }
  void Write(const std::string& bytes) const { Home_->Write("server.ini", bytes); }
  QuotePlace Start(const std::optional<std::string>& source = {}) {
    server::SourcePlaces places = server::Places_In(Home_->Path(), "test");
    places.Variables = [](const std::string&) { return std::optional<std::string>(); };
    places.Fetcher = Fetcher_;
    Service_.reset();
    Settings_ = std::make_unique<ServerSettingsFile>(*Disk_, Path());
    Service_ = std::make_unique<QuoteService>(*Settings_, places, source);
    return Service_->Start(*Boxes_);
  }
  void Open() {
    Form_ = std::make_unique<QuoteServerForm>(*Service_, MessageBoxes_);
    Form_->show();
    QVERIFY(QTest::qWaitForWindowActive(Form_.get()));
  }
  [[nodiscard]] QTreeWidget& List() { return *Form_->findChild<QTreeWidget*>("lstSources"); }
  [[nodiscard]] QTreeWidgetItem* Item(const QString& name) {
    for (int i = 0; i < List().topLevelItemCount(); ++i) {
      if (List().topLevelItem(i)->data(0, Qt::UserRole) == name) return List().topLevelItem(i);
    }
    qFatal("no source %s", qPrintable(name));
  }
  [[nodiscard]] QStringList Checked() {
    QStringList names;
    for (int i = 0; i < List().topLevelItemCount(); ++i) {
      const QTreeWidgetItem* const item = List().topLevelItem(i);
      if (item->checkState(0) == Qt::Checked) names += item->data(0, Qt::UserRole).toString();
    }
    return names;
  }
  [[nodiscard]] QPushButton* Ok() {
    return Form_->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
  }
  void Ask_And_Answer(Qt::Key key) {
    Answers_->Expect(key);
    const size_t before = Answers_->Seen.size();
    Click(Ok());
    QTRY_COMPARE(Answers_->Seen.size(), before + 1);
  }

  std::unique_ptr<BoxAnswers> Answers_;
  QtMessageBoxes MessageBoxes_;
  std::unique_ptr<FakeMessageBoxes> Boxes_;
  std::unique_ptr<TempFolder> Home_;
  std::unique_ptr<TroubledFiles> Disk_;
  std::shared_ptr<server::ScriptedFetcher> Fetcher_;
  std::unique_ptr<ServerSettingsFile> Settings_;
  std::unique_ptr<QuoteService> Service_;
  std::unique_ptr<QuoteServerForm> Form_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::QuoteSettingsTest)
#include "quote_settings_test.moc"
