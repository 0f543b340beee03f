#pragma once

#include "errortrap/error_dialog.h"
#include "errortrap/frmFAILSAFE.h"
#include "errortrap/modFailSafe.h"

namespace hq {

// The system's own print dialog and viewer of text files; no debugger.
[[nodiscard]] ErrorDialogParts System_Error_Dialog_Parts();

// Shows trapped errors by the form frmFAILSAFE. Used on the user-interface thread, once there is an
// application object.
class QtErrorDialog final : public ErrorDialog {
 public:
  // trap outlives the dialog.
  explicit QtErrorDialog(modFailSafe& trap, ErrorDialogParts parts = System_Error_Dialog_Parts());

  // May be called again as soon as the pause is cleared: procedures that waited for that go on, and fail,
  // before the first call returns. Afterwards the window that was active before is so again.
  ErrorAnswer Ask(const ErrorQuestion& question) override;
  void Further_Error(std::int32_t error_count, const std::string& text) override;
  // Tells where the file lies when the system can't open it.
  void Show_Report(const std::string& path) override;

 private:
  modFailSafe& trap_;
  ErrorDialogParts parts_;
  frmFAILSAFE* form_ = nullptr;  // the latest one that waits
};

}  // namespace hq
