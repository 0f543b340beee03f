#pragma once

#include <string>

#include "errortrap/error_log.h"
#include "errortrap/machine_description.h"
#include "errortrap/trap_settings.h"
#include "platform/mail.h"

namespace hq {

// The text of a new defect for the error, lines ended by LF: a form of labels, in which a field stays empty
// after its label when nothing is known. The key is equal for equal errors: module, procedure and number. The
// arguments of the call tree and the user's text are told as the settings say.
[[nodiscard]] std::string Defect_Report(const ApplicationFacts& application, const MachineFacts& machine,
                                        const TrapSettings& settings, const ErrorRecord& error,
                                        const std::string& user_text);

// The mail that reports the error, to the address of the settings and to that of the defect database when it
// is one of mail; each may be several, separated by commas or semicolons, and each is taken once. attachment
// is the path of the log file or empty; it goes along when the settings attach the log. Of a report of more
// than 24000 bytes the rest is left out, so that no mail program cuts it elsewhere.
[[nodiscard]] Mail Error_Mail(const TrapSettings& settings, const MachineFacts& machine,
                              const std::string& report, const std::string& attachment);

}  // namespace hq
