#pragma once

#include <QWidget>
#include <string>

namespace hq {

// A form without controls that carries the program's icon, for windows that have none of their own.
class frmicon final : public QWidget {
 public:
  explicit frmicon(const std::string& program_folder);
};

}  // namespace hq
