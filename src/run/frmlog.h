#pragma once

#include <QWidget>
#include <memory>
#include <string>

#include "errortrap/modFailSafe.h"

namespace Ui {
class frmlog;
}

namespace hq {

// The download log window: the lines of the run under way, or of the latest one. It follows its last line
// while the user has not scrolled up, and its lines can be selected and copied.
class frmlog final : public QWidget {
 public:
  // trap outlives the form.
  explicit frmlog(modFailSafe& trap);
  ~frmlog() override;

  void Clear();
  void Add(const std::string& line);

  // Empties the list and hides the form, which stays as it is for the next run.
  void cmdClose_Click();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void Copy_Selected() const;

  modFailSafe& trap_;
  std::unique_ptr<Ui::frmlog> ui_;
  bool follows_ = true;  // the last line stays in sight
};

}  // namespace hq
