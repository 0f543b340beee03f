#include <QDesktopServices>
#include <QUrl>

#include "platform/open_address.h"

namespace hq {

void Open_Address(std::intptr_t, const std::string& address) {
  const auto size = static_cast<qsizetype>(address.size());
  QDesktopServices::openUrl(QUrl(QString::fromLocal8Bit(address.data(), size)));
}

}  // namespace hq
