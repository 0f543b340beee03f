// The sign on quotes that are not real.

#include <QAccessible>
#include <QApplication>
#include <QMenuBar>
#include <QPushButton>
#include <cmath>

#include "forms/form_support.h"
#include "shell/twips.h"

namespace hq::test {

namespace {

constexpr const char* Text = "Simulated market, not real quotes";

double Luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double Contrast(const QColor& one, const QColor& other) {
  const auto [low, high] = std::minmax({Luminance(one), Luminance(other)});
  return (high + 0.05) / (low + 0.05);
}

QPalette Palette(bool dark) {
  const QColor ground = dark ? QColor(0x20, 0x20, 0x20) : QColor(0xef, 0xef, 0xef);
  const QColor ink = dark ? Qt::white : Qt::black;
  QPalette palette(ink, ground);
  palette.setColor(QPalette::Base, dark ? Qt::black : Qt::white);
  return palette;
}

bool Reaches(QAccessibleInterface* from, const QObject* object) {
  if (from == nullptr) return false;
  if (from->object() == object) return true;
  for (int i = 0; i < from->childCount(); ++i) {
    if (Reaches(from->child(i), object)) return true;
  }
  return false;
}

}  // namespace

class QuotesNoteTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Font_ = QApplication::font();
    Palette_ = QApplication::palette();
    Opened_ = 0;
  }
  void cleanup() {
    Program_.reset();
    QApplication::setFont(Font_);
    QApplication::setPalette(Palette_);
  }

  void ItIsBoldAndStandsOut_data() {
    QTest::addColumn<bool>("dark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
  }
  void ItIsBoldAndStandsOut() {
    QFETCH(bool, dark);
    QApplication::setPalette(Palette(dark));
    Start();
    QCOMPARE(Note()->text(), QString(Text));
    QVERIFY(Note()->font().bold());
    // As it is painted: what it is painted on, the text on that, and the frame against the window.
    const QImage picture = Note()->grab().toImage();
    std::map<QRgb, int> colours;
    QColor darkest = Qt::white;
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        ++colours[picture.pixel(x, y)];
        if (picture.pixelColor(x, y).lightness() < darkest.lightness()) darkest = picture.pixelColor(x, y);
      }
    }
    const auto most = std::max_element(colours.begin(), colours.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    const QColor ground = QColor::fromRgb(most->first);
    QVERIFY2(Contrast(ground, darkest) >= 4.5, qPrintable(ground.name() + " " + darkest.name()));
    const QColor window = Program_->Window().palette().color(QPalette::Window);
    QVERIFY(std::max(Contrast(ground, window), Contrast(darkest, window)) >= 4.5);
  }

  // Without its colours it is still more than a text: there is a sign in front of the words.
  void ASignStandsBeforeTheWords() {
    Start();
    const QString text = Note()->text();
    Note()->setText({});
    const QImage sign = Note()->grab().toImage();
    Note()->setText(text);
    const int middle = sign.height() / 2;
    int dark = 0;
    for (int x = 3; x < Note()->fontMetrics().height() + 6; ++x) {
      if (sign.pixelColor(x, middle + 2).lightness() < 80) ++dark;
    }
    QVERIFY(dark >= 4);
  }

  void ItStandsInLineWithTheMenu_data() {
    QTest::addColumn<double>("larger");
    QTest::newRow("normal font") << 1.0;
    QTest::newRow("20 percent larger") << 1.2;
  }
  void ItStandsInLineWithTheMenu() {
    QFETCH(double, larger);
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * larger);
    QApplication::setFont(font);
    Start();
    const auto* const menu = Program_->Window().findChild<QMenuBar*>();
    const QRect note(Note()->mapTo(&Program_->Window(), QPoint()), Note()->size());
    for (const QAction* action : menu->actions()) {
      const QRect entry = menu->actionGeometry(const_cast<QAction*>(action));
      QVERIFY2(menu->rect().contains(entry), "a menu entry has no room");
      const QRect place(menu->mapTo(&Program_->Window(), entry.topLeft()), entry.size());
      QVERIFY(place.right() < note.left());
      QVERIFY(std::abs(place.center().y() - note.center().y()) <= 2);
    }
    QVERIFY(Note()->width() >= Note()->sizeHint().width());
    QVERIFY(Note()->height() >= Note()->sizeHint().height());
    QVERIFY(Program_->Window().rect().contains(note));
    const int dpi = Program_->Window().logicalDpiX();
    QCOMPARE(Program_->Window().frameGeometry().size(),
             QSize(Twips_To_Pixels(6348, dpi), Twips_To_Pixels(5484, dpi)));
  }

  void AClickAndKeysOpenTheForm() {
    Start();
    Click(Note());
    QTRY_COMPARE(Opened_, 1);
    Program_->Get("cmddownload")->setFocus();
    Press(Qt::Key_Tab);
    QVERIFY(Note()->hasFocus());
    Press(Qt::Key_Space);
    QTRY_COMPARE(Opened_, 2);
    Press(Qt::Key_Return);
    QTRY_COMPARE(Opened_, 3);
    Press(Qt::Key_Q, Qt::AltModifier);
    QTRY_COMPARE(Opened_, 4);
    Press(Qt::Key_Tab);
    QVERIFY(Program_->Get("txtnewstock")->hasFocus());
    QVERIFY(Note()->toolTip().contains("Alt+Q"));
  }

  void WithRealQuotesThereIsNone() {
    Start();
    Program_->Global->Parts.Set_Up_Quotes = [](QWidget*) -> std::optional<QuotePlace> {
      return QuotePlace{"http://quotes.test/XXX/SSS?&Date=DDD", {}, {}, {}};
    };
    Click(Note());
    QTRY_VERIFY(!Note()->isVisible());
    // The focus is not left where nothing is.
    QVERIFY(QApplication::focusWidget() != Note());
  }

  void AReaderFindsIt() {
    Start();
    QAccessibleInterface* const window = QAccessible::queryAccessibleInterface(&Program_->Window());
    QVERIFY(Reaches(window, Note()));
    QVERIFY(Reaches(window, Program_->Window().findChild<QMenuBar*>()));
    QAccessibleInterface* const note = QAccessible::queryAccessibleInterface(Note());
    QCOMPARE(note->role(), QAccessible::Button);
    QCOMPARE(note->text(QAccessible::Name), QString(Text));
    QVERIFY(note->text(QAccessible::Description).contains("Alt+Q"));
  }

 private:
  void Start() {
    Program_ = std::make_unique<Program>();
    Make_Without_Start(*Program_);
    Program_->Global->Parts.QuotesNote = Text;
    Program_->Global->Parts.Set_Up_Quotes = [this](QWidget*) -> std::optional<QuotePlace> {
      ++Opened_;
      return std::nullopt;
    };
    Program_->Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
  }
  QPushButton* Note() { return Program_->Get<QPushButton>("lblquotes"); }

  QFont Font_;
  QPalette Palette_;
  int Opened_ = 0;
  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::QuotesNoteTest)
#include "quotes_note_test.moc"
