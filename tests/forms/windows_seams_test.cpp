// What the windows ask of Windows itself: its folder dialog, the opening of an address, a window above all
// others.

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <array>
#include <functional>
#include <string>
#include <vector>
#include <windows.h>

#include "entry/system_folder_dialog.h"
#include "platform/open_address.h"
#include "platform/topmost.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace hq::test {

constexpr std::int32_t DesktopFolder = 0;
constexpr std::int32_t DrivesFolder = 17;

class WindowsSeamsTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Keys_.clear();
    Prompt_.clear();
  }

  void ItKnowsTheSpecialFoldersOfTheShell() {
    QVERIFY(Dialog_.Locate_Root(DesktopFolder));
    QVERIFY(Dialog_.Locate_Root(DrivesFolder));
    QVERIFY(!Dialog_.Locate_Root(9999));
  }

  void EscapeChoosesNothing() {
    QVERIFY(Dialog_.Locate_Root(DesktopFolder));
    Press({VK_ESCAPE});
    QVERIFY(!Dialog_.Browse(1, 0, "Select a folder:", "").has_value());
    QCOMPARE(Prompt_, QString("Select a folder:"));
  }

  void ReturnChoosesTheDesktop() {
    std::array<char, MAX_PATH> desktop{};
    QVERIFY(GetEnvironmentVariableA("USERPROFILE", desktop.data(), MAX_PATH) > 0);
    QVERIFY(Dialog_.Locate_Root(DesktopFolder));
    Press({VK_RETURN});
    const auto chosen = Dialog_.Browse(1, 0, "Select a folder:", "");
    QVERIFY(chosen.has_value());
    QCOMPARE(chosen->Path.value_or("none"), std::string(desktop.data()) + "\\Desktop");
  }

  void ADriveIsChosenWithItsSeparator() {
    QVERIFY(Dialog_.Locate_Root(DrivesFolder));
    Press({VK_HOME, VK_DOWN, VK_RETURN});
    const auto chosen = Dialog_.Browse(1, 0, "Select a folder:", "");
    QVERIFY(chosen.has_value());
    QCOMPARE(QString::fromLocal8Bit(chosen->Path.value_or("none")), QString("C:\\"));
  }

  void WhatIsNotInTheFileSystemHasANameAlone() {
    QVERIFY(Dialog_.Locate_Root(DrivesFolder));
    Press({VK_END, VK_RETURN});
    const auto chosen = Dialog_.Browse(0, 0, "Select a folder:", "");
    QVERIFY(chosen.has_value());
    QCOMPARE(QString::fromLocal8Bit(chosen->Path.value_or("none")), QString("none"));
    // Wine leaves the name of such an item empty.
    QVERIFY(Under_Wine() || !chosen->DisplayName.empty());
  }

  void TheProgramsWindowsWaitForTheDialog() {
    QWidget window;
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const auto native = reinterpret_cast<HWND>(window.winId());
    bool enabled_meanwhile = true;
    Meanwhile_ = [&] { enabled_meanwhile = IsWindowEnabled(native) != 0; };
    QVERIFY(Dialog_.Locate_Root(DesktopFolder));
    Press({VK_ESCAPE});
    QVERIFY(!Dialog_.Browse(1, 0, "Select a folder:", "").has_value());
    Meanwhile_ = nullptr;
    QVERIFY(!enabled_meanwhile);
    QVERIFY(IsWindowEnabled(native) != 0);
  }

  void AnAddressIsOpenedByTheProgramForIt() {
    const TempFolder folder;
    folder.Write("open.bat", "@echo opened> \"" + folder / "opened.txt" + "\"\r\n");
    Open_Address(0, folder / "open.bat");
    QTRY_VERIFY_WITH_TIMEOUT(Bytes_Of(folder / "opened.txt").starts_with("opened"), 30000);
  }

  void AnAddressThatCannotBeOpenedIsNotTold() {
    const TempFolder folder;
    Open_Address(0, folder / "missing.exe");
    QVERIFY(QApplication::topLevelWindows().isEmpty() || !QApplication::activeModalWidget());
  }

  void AWindowStaysAboveAllOthersUntilItIsLetGo() {
    QWidget window;
    window.setGeometry(30, 40, 200, 100);
    Set_Topmost(window, true);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const auto native = reinterpret_cast<HWND>(window.winId());
    QVERIFY(GetWindowLongPtrA(native, GWL_EXSTYLE) & WS_EX_TOPMOST);
    const QRect place = window.geometry();
    Set_Topmost(window, false);
    QVERIFY(!(GetWindowLongPtrA(native, GWL_EXSTYLE) & WS_EX_TOPMOST));
    QVERIFY(window.isVisible());
    QCOMPARE(window.geometry(), place);
  }

 private:
  // Presses keys when the dialog has come up, with a pause in which its tree of folders fills itself.
  void Press(std::vector<WORD> keys) {
    Keys_ = std::move(keys);
    QTimer::singleShot(50, this, [this] { Look(); });
  }
  static BOOL CALLBACK Take_Dialog(HWND window, LPARAM found) {
    std::array<char, 32> kind{};
    GetClassNameA(window, kind.data(), static_cast<int>(kind.size()));
    if (std::string_view(kind.data()) != "#32770" || IsWindowVisible(window) == 0) return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
  }
  // Keeps the prompt and puts the keys into the tree.
  static BOOL CALLBACK Take_Child(HWND window, LPARAM self) {
    std::array<char, 32> kind{};
    GetClassNameA(window, kind.data(), static_cast<int>(kind.size()));
    if (std::string_view(kind.data()) == "SysTreeView32") SetFocus(window);
    std::array<char, 100> text{};
    GetWindowTextA(window, text.data(), static_cast<int>(text.size()));
    if (std::string_view(text.data()) == "Select a folder:") {
      reinterpret_cast<WindowsSeamsTest*>(self)->Prompt_ = text.data();
    }
    return TRUE;
  }
  void Look() {
    HWND dialog = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), Take_Dialog, reinterpret_cast<LPARAM>(&dialog));
    if (dialog == nullptr || GetForegroundWindow() != dialog) {
      if (dialog != nullptr) SetForegroundWindow(dialog);
      return QTimer::singleShot(50, this, [this] { Look(); });
    }
    EnumChildWindows(dialog, Take_Child, reinterpret_cast<LPARAM>(this));
    if (Meanwhile_) Meanwhile_();
    int after = 300;
    for (const WORD key : Keys_) {
      QTimer::singleShot(after, this, [key] {
        std::array<INPUT, 2> press{};
        for (INPUT& input : press) {
          input.type = INPUT_KEYBOARD;
          input.ki.wVk = key;
        }
        press[1].ki.dwFlags = KEYEVENTF_KEYUP;
        SendInput(static_cast<UINT>(press.size()), press.data(), sizeof(INPUT));
      });
      after += 300;
    }
  }

  SystemFolderDialog Dialog_;
  std::vector<WORD> Keys_;
  QString Prompt_;
  std::function<void()> Meanwhile_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::WindowsSeamsTest)
#include "windows_seams_test.moc"
