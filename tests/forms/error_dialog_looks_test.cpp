// The error dialog's size and texts: nothing is cut off, whatever the error, the screen and the colours.

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPalette>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStyleFactory>
#include <QStyleOptionComboBox>
#include <QTextBlock>
#include <QTextLayout>
#include <memory>

#include "errortrap/fitted_text.h"
#include "errortrap/qt_error_dialog.h"
#include "forms/error_dialog_support.h"
#include "forms/form_support.h"

namespace hq::test {

class ErrorDialogLooksTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Font_ = QApplication::font();
    Palette_ = QApplication::palette();
    Question_ = Full_Question();
    Parts_.Break = [] {};
  }
  void cleanup() {
    QApplication::setFont(Font_);
    QApplication::setPalette(Palette_);
    QCOMPARE(Shown_Form(), nullptr);
  }

  void NothingIsCutOff_data() {
    QTest::addColumn<double>("larger");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("letters");
    for (const double larger : {1.0, 1.2}) {
      for (const DisplayMode mode : {DisplayMode::Whole, DisplayMode::Compact, DisplayMode::OnTop}) {
        for (const int letters : {10, 500, 20000}) {
          QTest::addRow("font %.1f, mode %d, %d letters", larger, static_cast<int>(mode), letters)
              << larger << static_cast<int>(mode) << letters;
        }
      }
    }
  }
  void NothingIsCutOff() {
    QFETCH(double, larger);
    QFETCH(int, mode);
    QFETCH(int, letters);
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * larger);
    QApplication::setFont(font);
    Question_.Display = static_cast<DisplayMode>(mode);
    Question_.Description.clear();
    while (Question_.Description.size() < static_cast<size_t>(letters)) Question_.Description += "disk full ";
    Ask([&](QDialog& form) {
      Expect_Nothing_Cut_Off(form);
      Expect_No_Overlap(form);
      if (Question_.Display == DisplayMode::Compact) {
        Control<QPushButton>(form, "cmdDetails")->click();
        Settle();
        Expect_Nothing_Cut_Off(form);
        Expect_No_Overlap(form);
      }
      for (int page = 0; page < 3; ++page) {
        Control<QComboBox>(form, "Combo1")->setCurrentIndex(page);
        Settle();
        Expect_Nothing_Cut_Off(form);
        Expect_No_Overlap(form);
      }
    });
  }

  void ADescriptionOf500LettersIsShownWhole() {
    Question_.Description = QString("the disk is full ").repeated(30).left(500).toStdString();
    Question_.Detail.clear();
    Ask([](QDialog& form) {
      const auto* text = Control<FittedText>(form, "errText");
      QCOMPARE(text->toPlainText().size(), 500);
      QVERIFY(!text->verticalScrollBar()->isVisible());
      QCOMPARE(text->verticalScrollBar()->maximum(), 0);
    });
  }

  void ADescriptionWithoutBlanksIsShownWhole() {
    Question_.Description = std::string(500, 'W').insert(250, "\n");
    Question_.Detail.clear();
    Ask([](QDialog& form) {
      const auto* text = Control<FittedText>(form, "errText");
      QVERIFY(text->height() >= 10 * text->fontMetrics().height());
      Expect_Nothing_Cut_Off(form);
      // What does not fit is reached by keys.
      if (text->verticalScrollBar()->maximum() == 0) return;
      QVERIFY(text->verticalScrollBar()->isVisible());
      Control(form, "errText")->setFocus();
      Press(Qt::Key_End, Qt::ControlModifier);
      QCOMPARE(text->verticalScrollBar()->value(), text->verticalScrollBar()->maximum());
    });
  }

  void ANarrowerWindowGrowsInHeight() {
    Question_.Description = QString("the disk is full ").repeated(30).left(500).toStdString();
    Ask([](QDialog& form) {
      form.resize(form.minimumWidth(), 10);
      Settle();
      QCOMPARE(form.width(), form.minimumWidth());
      Expect_Nothing_Cut_Off(form);
      Expect_No_Overlap(form);
      form.resize(form.width() * 2, form.height());
      Settle();
      Expect_Nothing_Cut_Off(form);
    });
  }

  void FurtherErrorsAndOutcomesFindRoom() {
    Question_.Display = DisplayMode::Compact;
    Question_.Send_Mail = [](const std::string&) {
      return std::string("The mail program can't be started: ") + std::string(300, 'x');
    };
    QtErrorDialog dialog(Trap_, Parts_);
    FormUse use([&](QDialog& form) {
      for (int i = 1; i <= 6; ++i) {
        dialog.Further_Error(i,
                             "Path/File access error in Sub Combo1_KeyDown, and a reason that takes more "
                             "than a line of the dialog's width to tell what went wrong");
        Settle();
        Expect_Nothing_Cut_Off(form);
        Expect_No_Overlap(form);
      }
      Control<QPushButton>(form, "cmdMail")->click();
      Settle();
      Expect_Nothing_Cut_Off(form);
      Expect_No_Overlap(form);
    });
    dialog.Ask(Question_);
    QVERIFY(use.Used);
  }

  void EveryButtonHidesAndTheRestStillFits() {
    Question_.CanGoOn = false;
    Question_.MailAddress.clear();
    Question_.CanBreak = false;
    Question_.AsksUser = false;
    Question_.Display = DisplayMode::Compact;
    Ask([](QDialog& form) {
      Expect_Nothing_Cut_Off(form);
      Expect_No_Overlap(form);
    });
  }

  void ItFitsOnTheScreen() {
    Ask([](QDialog& form) {
      const QSize screen = form.screen()->availableSize();
      // As far as the screen has room for the least that the dialog needs.
      QVERIFY(form.width() <= std::max(screen.width(), form.minimumWidth()));
      QVERIFY(form.height() <= std::max(screen.height(), form.minimumHeight()));
      // On a screen of 1024 x 768 pixels at 96 dpi it always has.
      QVERIFY(form.minimumWidth() <= 1000 * form.logicalDpiX() / 96);
      QVERIFY(form.minimumHeight() <= 700 * form.logicalDpiY() / 96);
    });
  }

  void TheLinesOfTheErrorsPageAreNotBroken() {
    Question_.ErrorInformation =
        "An unexpected 'File System (disk, directory or file) access' error occurred in\n"
        "Sub Form_Unload (frmmain1.frm).\n\n" +
        std::string(90, 'x') + "\n";
    for (const DisplayMode mode : {DisplayMode::Whole, DisplayMode::Compact}) {
      Question_.Display = mode;
      Ask([&](QDialog& form) {
        if (mode == DisplayMode::Compact) Control<QPushButton>(form, "cmdDetails")->click();
        Settle();
        const auto* page = Control<QPlainTextEdit>(form, "txtInformation");
        bool broken = false;
        for (QTextBlock line = page->document()->begin(); line.isValid(); line = line.next())
          broken = broken || line.layout()->lineCount() > 1;
        // Unless the screen is too narrow.
        QVERIFY(!broken || form.width() >= form.screen()->availableSize().width() * 9 / 10);
        Expect_Nothing_Cut_Off(form);
      });
    }
  }

  void ItIsLargeEnoughToRead() {
    Ask([](QDialog& form) {
      const auto* page = Control<QPlainTextEdit>(form, "txtInformation");
      QVERIFY(page->height() >= 4 * page->fontMetrics().lineSpacing());
      QVERIFY(page->width() >= 50 * page->fontMetrics().averageCharWidth());
      QVERIFY(Control(form, "lblMessage")->font().pointSizeF() > form.font().pointSizeF());
      QVERIFY(Control(form, "lblMessage")->font().bold());
      QVERIFY(!Control<QLabel>(form, "picError")->pixmap().isNull());
    });
  }

  void TextsStandOutFromTheirGround_data() {
    QTest::addColumn<QColor>("window");
    QTest::newRow("light") << QColor(239, 239, 239);
    QTest::newRow("dark") << QColor(45, 45, 48);
  }
  void TextsStandOutFromTheirGround() {
    QFETCH(QColor, window);
    QPalette palette(window);
    if (window.lightness() < 128) palette.setColor(QPalette::Base, QColor(30, 30, 32));
    QApplication::setPalette(palette);
    Ask([](QDialog& form) {
      const QImage picture = form.grab().toImage();
      for (const char* name : {"lblMessage", "errText", "txtInformation", "nsCtrlContinue", "ErrType"}) {
        const QWidget* widget = Control(form, name);
        const qreal scale = picture.devicePixelRatio();
        const QRect place =
            QRectF(QPointF(widget->mapTo(&form, QPoint())) * scale, QSizeF(widget->size()) * scale)
                .toRect()
                .intersected(picture.rect());
        int darkest = 255;
        int lightest = 0;
        for (int y = place.top(); y <= place.bottom(); ++y) {
          for (int x = place.left(); x <= place.right(); ++x) {
            const int lightness = picture.pixelColor(x, y).lightness();
            darkest = std::min(darkest, lightness);
            lightest = std::max(lightest, lightness);
          }
        }
        QVERIFY2(lightest - darkest > 120, name);
      }
    });
  }

 private:
  static void Expect_Nothing_Cut_Off(const QDialog& form) {
    int seen = 0;
    for (const QWidget* widget : form.findChildren<QWidget*>()) {
      if (!widget->isVisible()) continue;
      if (qobject_cast<const QLabel*>(widget) || qobject_cast<const QPushButton*>(widget)) {
        Expect_Not_Cut_Off(widget);
        ++seen;
      } else if (const auto* text = dynamic_cast<const FittedText*>(widget)) {
        // All lines, or a bar to get to the rest.
        QVERIFY2(text->height() >= text->heightForWidth(text->width()), qPrintable(text->objectName()));
        QVERIFY2(text->verticalScrollBar()->maximum() == 0 || text->verticalScrollBar()->isVisible(),
                 qPrintable(text->objectName()));
        ++seen;
      } else if (auto* box = qobject_cast<const QComboBox*>(widget)) {
        QStyleOptionComboBox option;
        option.initFrom(box);
        const QRect field =
            box->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, box);
        for (int i = 0; i < box->count(); ++i)
          QVERIFY2(box->fontMetrics().horizontalAdvance(box->itemText(i)) <= field.width(),
                   qPrintable(box->itemText(i)));
        ++seen;
      }
    }
    QVERIFY(seen >= 8);
  }

  static void Expect_No_Overlap(const QDialog& form) {
    QList<QWidget*> leaves;
    for (QWidget* widget : form.findChildren<QWidget*>()) {
      const bool control = qobject_cast<QLabel*>(widget) || qobject_cast<QPushButton*>(widget) ||
                           qobject_cast<QPlainTextEdit*>(widget) || qobject_cast<QComboBox*>(widget) ||
                           qobject_cast<QListWidget*>(widget);
      if (control && widget->isVisible()) leaves << widget;
    }
    Expect_Apart(form, leaves);
  }

  void Ask(std::function<void(QDialog&)> look) {
    QtErrorDialog dialog(Trap_, Parts_);
    FormUse use([&](QDialog& form) {
      Settle();
      look(form);
    });
    dialog.Ask(Question_);
    QVERIFY(use.Used);
  }

  modFailSafe Trap_;
  ErrorDialogParts Parts_;
  ErrorQuestion Question_;
  QFont Font_;
  QPalette Palette_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ErrorDialogLooksTest)
#include "error_dialog_looks_test.moc"
