// The folder dialog of the desktop, and the form that carries the icon.

#include <QApplication>
#include <QDir>
#include <QFileDialog>

#include "entry/system_folder_dialog.h"
#include "forms/form_support.h"
#include "shell/form_looks.h"

namespace hq::test {

class FolderDialogTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    // Qt's own dialog has keys and a title on every desktop.
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  }

  void ItKnowsTheDesktopAsItsRoot() {
    QVERIFY(Dialog_.Locate_Root(0));
    QVERIFY(!Dialog_.Locate_Root(17));
  }

  void ItBeginsAtTheFolderInTheBox() {
    const TempFolder folder;
    QCOMPARE(Begins_At(folder.Path()), QString::fromStdString(folder.Path()));
    QCOMPARE(Prompt_, QString("Select a folder:"));
  }

  void WithoutAFolderThatExistsItBeginsAtHome() {
    QCOMPARE(Begins_At(""), QDir::homePath());
    QCOMPARE(Begins_At("/no/such/folder"), QDir::homePath());
  }

  void EscapeChoosesNothing() {
    Answer(Qt::Key_Escape);
    QVERIFY(!Dialog_.Browse(1, 0, "Select a folder:", QDir::tempPath().toStdString()));
  }

  void EnterChoosesTheFolder() {
    const TempFolder folder;
    Answer(Qt::Key_Return);
    const auto chosen = Dialog_.Browse(1, 0, "Select a folder:", folder.Path());
    QVERIFY(chosen.has_value());
    QCOMPARE(chosen->Path.value_or(""), folder.Path());
    QCOMPARE(QString::fromStdString(chosen->DisplayName),
             QDir(QString::fromStdString(folder.Path())).dirName());
  }

  void TheIconFormHasNoControlsButTheIcon() {
    const frmicon form(Picture("t8"));
    QVERIFY(!form.windowIcon().isNull());
    QVERIFY(form.findChildren<QWidget*>().isEmpty());
    QVERIFY(!form.isVisible());
  }

 private:
  // Waits for the dialog, looks where it stands, and presses a key.
  void Answer(Qt::Key key) {
    QTimer::singleShot(1, this, [this, key] {
      auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      if (dialog == nullptr || !dialog->isVisible()) return Answer(key);
      Folder_ = dialog->directory().absolutePath();
      Prompt_ = dialog->windowTitle();
      if (key == Qt::Key_Return) dialog->selectFile(Folder_);
      QTest::keyClick(dialog, key);
    });
  }
  QString Begins_At(const std::string& start) {
    Answer(Qt::Key_Escape);
    const auto chosen = Dialog_.Browse(1, 0, "Select a folder:", start);
    return chosen ? "something was chosen" : Folder_;
  }

  SystemFolderDialog Dialog_;
  QString Folder_;
  QString Prompt_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::FolderDialogTest)
#include "folder_dialog_test.moc"
