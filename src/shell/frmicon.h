#pragma once

#include <QIcon>
#include <QWidget>

namespace hq {

// A form without controls that carries the program's icon, for windows that have none of their own.
class frmicon final : public QWidget {
 public:
  explicit frmicon(const QIcon& icon);
};

}  // namespace hq
