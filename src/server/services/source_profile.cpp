#include "server/services/source_profile.h"

namespace hq::server {

std::string_view Adjustment_Name(Adjustment adjustment) {
  switch (adjustment) {
    case Adjustment::Raw:
      return "not adjusted";
    case Adjustment::Splits:
      return "adjusted for splits";
    case Adjustment::Full:
      return "adjusted for splits and dividends";
  }
  return "";
}

}  // namespace hq::server
