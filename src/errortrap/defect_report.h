#pragma once

#include <string>

#include "errortrap/error_log.h"
#include "errortrap/machine_description.h"
#include "errortrap/trap_settings.h"
#include "platform/mail.h"

namespace hq {

// The text of a new defect for the error, lines ended by LF.
[[nodiscard]] std::string Defect_Report(const ApplicationFacts& application, const MachineFacts& machine,
                                        const TrapSettings& settings, const ErrorRecord& error,
                                        const std::string& user_text);

// The mail that reports the error; attachment is the path of the log file or empty.
[[nodiscard]] Mail Error_Mail(const TrapSettings& settings, const MachineFacts& machine,
                              const std::string& report, const std::string& attachment);

}  // namespace hq
