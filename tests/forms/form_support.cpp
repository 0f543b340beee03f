#include "forms/form_support.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QWindow>

namespace hq::test {

namespace {

QWindow* Window_In_Front() {
  if (QWidget* popup = QApplication::activePopupWidget()) return popup->windowHandle();
  QWindow* window = QGuiApplication::focusWindow();
  if (window == nullptr) qFatal("no window is in front");
  return window;
}

QPoint Place(QWidget* widget, QPoint at) {
  return widget->mapTo(widget->window(), at.isNull() ? widget->rect().center() : at);
}

}  // namespace

void Press(Qt::Key key, Qt::KeyboardModifiers modifiers) {
  QTest::keyClick(Window_In_Front(), key, modifiers);
}

void Type(const QString& text) {
  for (const QChar c : text) QTest::keyClick(Window_In_Front(), c.toLatin1());
}

void Click(QWidget* widget, QPoint at, Qt::KeyboardModifiers modifiers) {
  QTest::mouseClick(widget->window()->windowHandle(), Qt::LeftButton, modifiers, Place(widget, at));
}

void Mouse_Down(QWidget* widget) {
  QTest::mousePress(widget->window()->windowHandle(), Qt::LeftButton, {}, Place(widget, {}));
}

void Mouse_Up(QWidget* widget) {
  QTest::mouseRelease(widget->window()->windowHandle(), Qt::LeftButton, {}, Place(widget, {}));
}

void Click_Item(QWidget* list, int row, Qt::KeyboardModifiers modifiers) {
  auto* view = qobject_cast<QAbstractItemView*>(list);
  const QModelIndex index = view->model()->index(row, 0);
  view->scrollTo(index);
  Click(view->viewport(), view->visualRect(index).center(), modifiers);
}

void Expect_Not_Cut_Off(const QWidget* widget) {
  const QString sizes = QString("%1: %2x%3 for %4x%5")
                            .arg(widget->objectName())
                            .arg(widget->width())
                            .arg(widget->height())
                            .arg(widget->sizeHint().width())
                            .arg(widget->sizeHint().height());
  const auto* label = qobject_cast<const QLabel*>(widget);
  if (label != nullptr && label->wordWrap()) {
    QVERIFY2(widget->height() >= label->heightForWidth(widget->width()), qPrintable(sizes));
    return;
  }
  QVERIFY2(widget->width() >= widget->sizeHint().width(), qPrintable(sizes));
  QVERIFY2(widget->height() >= widget->sizeHint().height(), qPrintable(sizes));
}

void Expect_Apart(const QWidget& window, const QList<QWidget*>& widgets) {
  QVERIFY(!widgets.isEmpty());
  for (const QWidget* one : widgets) {
    const QRect place(one->mapTo(&window, QPoint()), one->size());
    QVERIFY2(window.rect().contains(place), qPrintable(one->objectName()));
    for (const QWidget* other : widgets) {
      if (one == other || one->isAncestorOf(other) || other->isAncestorOf(one)) continue;
      const QRect its(other->mapTo(&window, QPoint()), other->size());
      QVERIFY2(!place.intersects(its), qPrintable(one->objectName() + " and " + other->objectName()));
    }
  }
}

void Settle() {
  for (int pass = 0; pass < 5; ++pass) {
    bool ran = false;
    QTimer::singleShot(0, qApp, [&] { ran = true; });
    while (!ran) QCoreApplication::processEvents();
  }
}

OtherProgram::OtherProgram() : before_(QApplication::activeWindow()) {
  window_.show();
  window_.requestActivate();
  if (!QTest::qWaitFor([] { return QApplication::focusWidget() == nullptr; })) qFatal("the focus stayed");
}

OtherProgram::~OtherProgram() {
  window_.hide();
  if (!before_) return;
  before_->activateWindow();
  if (!QTest::qWaitFor([this] { return before_->isActiveWindow(); })) qFatal("the window did not come back");
}

BoxAnswers::BoxAnswers() {
  connect(&timer_, &QTimer::timeout, this, [this] { Look(); });
  timer_.start(2);
}

QStringList BoxAnswers::Texts() const {
  QStringList texts;
  for (const Box& box : Seen) texts << box.Text;
  return texts;
}

void BoxAnswers::Look() {
  auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
  if (!looking_ && box != nullptr && box == answered_ && since_answer_.hasExpired(10000)) {
    qFatal("a message box did not take its key: %s", qPrintable(box->text()));
  }
  if (looking_ || box == nullptr || box == answered_ || !box->isVisible() ||
      QGuiApplication::focusWindow() != box->windowHandle()) {
    return;
  }
  looking_ = true;
  QMessageBox::StandardButton preset = QMessageBox::NoButton;
  for (QAbstractButton* button : box->buttons()) {
    const auto* push = qobject_cast<QPushButton*>(button);
    if (push != nullptr && push->isDefault()) preset = box->standardButton(button);
  }
  Seen.push_back({box->text(), box->windowTitle(), box->standardButtons(), preset, box->icon()});
  Answer answer{Qt::Key_Escape, {}};
  if (keys_.empty()) {
    ++Unexpected;
  } else {
    answer = keys_.front();
    keys_.pop_front();
  }
  answered_ = box;
  since_answer_.start();
  if (answer.Meanwhile) answer.Meanwhile();
  QTest::keyClick(box->windowHandle(), answer.Key);
  looking_ = false;
}

void HeldTransfer::Execute(const std::string& address, const std::string&) {
  Addresses.push_back(address);
  ++generation_;
  QTimer::singleShot(0, qApp, [this, address, generation = generation_] {
    if (generation != generation_) return;
    if (Started) return Started(address);
    Answer(Quotes);
  });
}

std::string HeldTransfer::GetChunk(size_t size, int) {
  const std::string piece = body_.substr(0, size);
  body_.erase(0, piece.size());
  return piece;
}

void HeldTransfer::Cancel() {
  ++Cancels;
  ++generation_;
  body_.clear();
}

void HeldTransfer::Answer(const std::string& body) {
  body_ = body;
  State(ResponseCompleted);
}

void HeldTransfer::State(int number) {
  loop_.Post([this, number, generation = generation_] {
    if (generation == generation_ && StateChanged) StateChanged(number);
  });
}

Program::Program() {
  // How long a list that has just opened takes no click.
  QApplication::setDoubleClickInterval(1);
}

Program::~Program() = default;

void Make_Without_Start(Program& program) {
  program.Make();
}

void Program::Make() {
  Files& files = In_Memory ? static_cast<Files&>(Memory) : Disk;
  ProgramParts parts{files,
                     Time,
                     Folders,
                     Mail,
                     [this](MessageLoop& loop) -> std::unique_ptr<TransferControl> {
                       if (Make_Inet) return Make_Inet(loop);
                       auto inet = std::make_unique<HeldTransfer>(loop);
                       Inet = inet.get();
                       return inet;
                     },
                     [this](const std::string& address) { Opened.push_back(address); }};
  parts.ProgramFolder = Home.Path();
  parts.RequestTemplate = RequestTemplate;
  parts.SymbolSearchAddress = "http://quotes.test/home/misc/symbol_search.asp";
  parts.Boxes = No_Desktop_Boxes;
  parts.MajorVersion = 1;
  parts.MinorVersion = 7;
  Global = std::make_unique<global>(std::move(parts));
}

void Program::Start() {
  Make();
  Global->Main();
  if (!QTest::qWaitForWindowActive(&Window())) qFatal("the main window did not come to the front");
}

QStringList Program::Stocks() {
  QStringList stocks;
  const auto* list = Get<QListWidget>("lstStock");
  for (int i = 0; i < list->count(); ++i) stocks << list->item(i)->text();
  return stocks;
}

QStringList Program::Selected_Stocks() {
  QStringList stocks;
  const auto* list = Get<QListWidget>("lstStock");
  for (int i = 0; i < list->count(); ++i) {
    if (list->item(i)->isSelected()) stocks << list->item(i)->text();
  }
  return stocks;
}

QString Program::Text(const char* line_edit) {
  return Get<QLineEdit>(line_edit)->text();
}

QStringList Program::Log_Lines() {
  QStringList lines;
  const auto* list = Global->Log().findChild<QListWidget*>("lstlog");
  for (int i = 0; i < list->count(); ++i) lines << list->item(i)->text();
  return lines;
}

void Program::Prepare_Run(const QStringList& symbols) {
  auto* list = Get<QListWidget>("lstStock");
  list->clear();
  for (const QString& symbol : symbols) {
    Click(Get("txtnewstock"));
    Type(symbol);
    Press(Qt::Key_Return);
  }
  Click(Get("cmdselectall"));
  Pick("cmbInterval", 6);
  Pick("cmbOutputFormat", 14);
  Get<QLineEdit>("txtOutputfolder")->setText(QString::fromStdString(Output.Path()));
}

void Program::Pick(const char* combo_box, int row) {
  auto* box = Get<QComboBox>(combo_box);
  Click(box);
  if (!QTest::qWaitFor([&] { return box->view()->isVisible(); })) qFatal("the list did not open");
  // A list takes no click in the moment in which it opens.
  const bool picked = QTest::qWaitFor([&] {
    if (box->view()->isVisible()) Click_Item(box->view(), row);
    return !box->view()->isVisible();
  });
  if (!picked) qFatal("the list did not close");
}

}  // namespace hq::test
