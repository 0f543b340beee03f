#pragma once

#include <QElapsedTimer>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTest>
#include <QTimer>
#include <QWindow>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/global.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace hq::test {

// Keys and clicks as a keyboard and a mouse give them: to the window in front, which hands them on.
void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
void Type(const QString& text);
void Click(QWidget* widget, QPoint at = {}, Qt::KeyboardModifiers modifiers = {});
void Mouse_Down(QWidget* widget);
void Mouse_Up(QWidget* widget);
// A click on an item of a list box that is in sight.
void Click_Item(QWidget* list, int row, Qt::KeyboardModifiers modifiers = {});

// That the widget has the room that its text needs.
void Expect_Not_Cut_Off(const QWidget* widget);
// That the widgets lie within the window and none lies on another one but its own parts.
void Expect_Apart(const QWidget& window, const QList<QWidget*>& widgets);

// Lets everything happen that is due by now.
void Settle();

// Another program's window in front of ours, for as long as the object lives.
class OtherProgram {
 public:
  OtherProgram();
  ~OtherProgram();

 private:
  QPointer<QWidget> before_;
  QWindow window_;
};

// What is allocated meanwhile counts as no leak: the windows' library frees nothing behind an error that goes
// through it.
class LibraryLeaks {
 public:
#if defined(__SANITIZE_ADDRESS__)
  LibraryLeaks() {
    __lsan_disable();
  }
  ~LibraryLeaks() {
    __lsan_enable();
  }
#else
  LibraryLeaks() = default;
  ~LibraryLeaks() = default;
#endif
  LibraryLeaks(const LibraryLeaks&) = delete;
  LibraryLeaks& operator=(const LibraryLeaks&) = delete;
};

// Answers the message boxes that come up by keys, and keeps what they showed. A box that is not expected is
// kept too and ended with Escape, so that no test hangs.
class BoxAnswers final : public QObject {
 public:
  struct Box {
    QString Text;
    QString Title;
    QMessageBox::StandardButtons Buttons;
    QMessageBox::StandardButton Default;
    QMessageBox::Icon Icon;
  };

  BoxAnswers();

  // The key for the next box.
  void Expect(Qt::Key key) { keys_.push_back({key, {}}); }
  // Done while the next box is up, before the key.
  void Expect(Qt::Key key, std::function<void()> meanwhile) { keys_.push_back({key, std::move(meanwhile)}); }

  [[nodiscard]] QStringList Texts() const;
  std::vector<Box> Seen;
  int Unexpected = 0;

 private:
  struct Answer {
    Qt::Key Key;
    std::function<void()> Meanwhile;
  };
  void Look();

  QTimer timer_;
  std::deque<Answer> keys_;
  QPointer<QMessageBox> answered_;
  QElapsedTimer since_answer_;
  bool looking_ = false;
};

// A transfer whose answer comes when the test gives it.
class HeldTransfer final : public TransferControl {
 public:
  explicit HeldTransfer(MessageLoop& loop) : loop_(loop) {}

  void Execute(const std::string& address, const std::string& operation) override;
  std::string GetChunk(size_t size, int data_type) override;
  void Cancel() override;
  [[nodiscard]] std::string Reason() const override { return {}; }

  // Ends the transfer under way with this body.
  void Answer(const std::string& body);
  // Lets the transfer under way come into a state.
  void State(int number);

  // Called through the windows' own loop when a transfer has been started; answers with Quotes when empty.
  std::function<void(const std::string& address)> Started;
  std::vector<std::string> Addresses;
  int Cancels = 0;

 private:
  MessageLoop& loop_;
  std::string body_;
  int generation_ = 0;
};

class FakeFolders final : public FolderDialog {
 public:
  bool Locate_Root(std::int32_t root_folder) override {
    Root = root_folder;
    return Located;
  }
  std::optional<Item> Browse(std::int32_t flags, std::intptr_t, const std::string& prompt,
                             const std::string& start) override {
    ++Shown;
    Flags = flags;
    Prompt = prompt;
    Start = start;
    return Chosen;
  }

  bool Located = true;
  std::optional<Item> Chosen;
  int Shown = 0;
  std::int32_t Root = -1;
  std::int32_t Flags = -1;
  std::string Prompt;
  std::string Start;
};

// Two days' quotes as a server sends them.
inline constexpr const char* Quotes = "030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4,2.5,3.5,300\n";

// The program with stand-ins for what lies outside of it. Its files are real ones in folders of their own.
class Program {
 public:
  Program();
  ~Program();

  // Runs Main and waits until the main window is in front.
  void Start();
  void Write_Settings(const std::string& bytes) const { Home.Write("user.cfg", bytes); }
  [[nodiscard]] std::string Settings() const { return Bytes_Of(Home / "user.cfg"); }

  template <class Widget = QWidget>
  [[nodiscard]] Widget* Get(const char* name) {
    auto* widget = Window().findChild<Widget*>(name);
    if (widget == nullptr) qFatal("no control %s", name);
    return widget;
  }
  [[nodiscard]] frmmain1& Window() { return Global->MainWindow(); }
  [[nodiscard]] QStringList Stocks();
  [[nodiscard]] QStringList Selected_Stocks();
  [[nodiscard]] QString Text(const char* line_edit);
  [[nodiscard]] QStringList Log_Lines();
  // Fills in what a daily run into the folder Output needs, and selects all symbols.
  void Prepare_Run(const QStringList& symbols);
  // Picks an item with the mouse.
  void Pick(const char* combo_box, int row);

  TempFolder Home;
  TempFolder Output;
  SystemFiles Disk;
  MemoryFiles Memory;  // takes the place of Disk when In_Memory is set
  bool In_Memory = false;
  FakeClock Time;
  FakeFolders Folders;
  RecordingMail Mail;
  std::vector<std::string> Opened;  // addresses
  BoxAnswers Boxes;
  MessageBoxes* No_Desktop_Boxes = nullptr;  // in place of boxes on the screen when set
  // Makes the transfer; a HeldTransfer unless set.
  std::function<std::unique_ptr<TransferControl>(MessageLoop&)> Make_Inet;
  std::string RequestTemplate = "http://quotes.test/XXX/SSS?&Date=DDD";
  HeldTransfer* Inet = nullptr;
  std::unique_ptr<global> Global;

 private:
  void Make();
  friend void Make_Without_Start(Program& program);
};

// Makes the program's global object, for a test that runs Main itself.
void Make_Without_Start(Program& program);

}  // namespace hq::test
