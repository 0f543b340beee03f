#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "base/strings.h"
#include "platform/files.h"
#include "platform/mail.h"
#include "platform/mail_texts.h"

extern char** environ;

namespace hq {

namespace {

// The system hands a program no argument of more than 128 KiB, and xdg-email makes a mailto address of its
// arguments too.
constexpr size_t MostBodyBytes = 30000;
constexpr size_t MostEncodedBytes = 100000;
constexpr size_t MostSubjectBytes = 500;
constexpr size_t MostRecipientBytes = 4000;

bool Is_Set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// Where the program lies on the user's path, empty when it does not. What a path takes relative to the
// current folder is passed over.
std::string Program_On_Path(const std::string& name) {
  const char* value = std::getenv("PATH");
  std::string_view path = value != nullptr ? value : "/usr/local/bin:/usr/bin:/bin";
  while (!path.empty()) {
    const size_t end = path.find(':');
    const std::string_view folder = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (!folder.starts_with('/')) continue;
    std::string file = Join_Path(folder, name);
    struct stat facts {};
    if (stat(file.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) && access(file.c_str(), X_OK) == 0) {
      return file;
    }
  }
  return {};
}

std::string System_Message(int number) {
  return std::generic_category().message(number);
}

// Marks every open file but the three of every program to be closed when a program is started. Only calls
// what a forked child may.
void Keep_No_Files(int most_files) {
#if defined(SYS_close_range) && defined(__linux__)
  constexpr unsigned CloseWhenStarting = 4;
  if (syscall(SYS_close_range, 3U, ~0U, CloseWhenStarting) == 0) return;
#endif
  for (int file = 3; file < most_files; ++file) {
    const int flags = fcntl(file, F_GETFD);
    if (flags >= 0) fcntl(file, F_SETFD, flags | FD_CLOEXEC);
  }
}

int Most_Files() {
  constexpr rlim_t Enough = 65536;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > Enough) return static_cast<int>(Enough);
  return static_cast<int>(limit.rlim_cur);
}

void Write_Number(int file, int number) {
  while (write(file, &number, sizeof number) < 0 && errno == EINTR) {
  }
}

// The end of a forked child: becomes the program, or tells why it can't. Only calls what a forked child may.
[[noreturn]] void Become(char* const* arguments, int most_files, int error_pipe) {
  // What this program makes of signals is not the other's concern.
  constexpr std::array<int, 7> changed = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGCHLD, SIGALRM};
  for (const int number : changed) std::signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const int nothing = open("/dev/null", O_RDWR);
  if (nothing >= 0) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
    Keep_No_Files(most_files);
    execve(arguments[0], arguments, environ);
  }
  Write_Number(error_pipe, errno);
  _exit(127);
}

// Starts a program that lives on by itself: it is no child of this one when it ends. Returns why it could not
// be started, empty when it was.
std::string Start_Detached(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const int most_files = Most_Files();
  std::array<int, 2> errors{};
  if (pipe2(errors.data(), O_CLOEXEC) != 0) return System_Message(errno);
  // The pipe must not lie where the program's own streams go.
  for (int& end : errors) {
    if (end > STDERR_FILENO) continue;
    const int higher = fcntl(end, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int reason = errno;
    close(end);
    end = higher;
    if (higher >= 0) continue;
    for (const int open_end : errors) {
      if (open_end >= 0) close(open_end);
    }
    return System_Message(reason);
  }
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    const pid_t grandchild = fork();
    if (grandchild == 0) Become(arguments.data(), most_files, errors[1]);
    if (grandchild < 0) Write_Number(errors[1], errno);
    _exit(0);
  }
  const int fork_error = errno;
  close(errors[1]);
  int reason = child < 0 ? fork_error : 0;
  if (child > 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    // Ends when the program has been started: it keeps no file of this one.
    int number = 0;
    ssize_t got = 0;
    do {
      got = read(errors[0], &number, sizeof number);
    } while (got < 0 && errno == EINTR);
    if (got == sizeof number) reason = number;
  }
  close(errors[0]);
  return reason == 0 ? std::string() : command.front() + ": " + System_Message(reason);
}

std::vector<std::string> Cleaned_Recipients(const Mail& mail) {
  std::vector<std::string> recipients;
  size_t bytes = 0;
  for (const std::string& recipient : mail.Recipients) {
    const std::string address = Without_Controls(recipient);
    const std::string cleaned(Trim(address));
    bytes += cleaned.size();
    if (!cleaned.empty() && bytes <= MostRecipientBytes) recipients.push_back(cleaned);
  }
  return recipients;
}

// Whether xdg-email takes the address as one: it wants an "@" and takes a leading "-" for an option.
bool Is_Plain_Address(const std::string& address) {
  return Contains(address, "@") && !address.starts_with('-') && !address.starts_with("mailto:");
}

// The body, or as much of it as an argument can hold.
std::string Fitting_Body(const std::string& body) {
  size_t most_bytes = MostBodyBytes;
  std::string fitting = Cut_Body(body, most_bytes);
  while (Mailto_Address({}, {}, fitting).size() > MostEncodedBytes) {
    most_bytes = most_bytes * 3 / 4;
    fitting = Cut_Body(body, most_bytes);
  }
  return fitting;
}

void Add_Option(std::vector<std::string>& command, const char* option, const std::string& value) {
  // xdg-email refuses an option without a value.
  if (value.empty()) return;
  command.emplace_back(option);
  command.push_back(value);
}

std::vector<std::string> Mail_Command(const std::string& xdg_email,
                                      const std::vector<std::string>& recipients, const std::string& subject,
                                      const Mail& mail) {
  std::vector<std::string> command = {xdg_email, "--utf8"};
  Add_Option(command, "--subject", subject);
  Add_Option(command, "--body", Fitting_Body(mail.Body));
  Add_Option(command, "--attach", mail.Attachment);
  bool plain = true;
  for (const std::string& recipient : recipients) plain = plain && Is_Plain_Address(recipient);
  if (plain) {
    command.insert(command.end(), recipients.begin(), recipients.end());
  } else {
    command.push_back(Mailto_Address(recipients, {}, {}));
  }
  return command;
}

// The mail as arguments can hold it: no NUL in it, the attachment's path from the root.
Mail Prepared(const Mail& mail) {
  Mail prepared = mail;
  for (std::string* body : {&prepared.Body, &prepared.BodyWithoutAttachment}) {
    *body = Replace_All(*body, std::string_view("\0", 1), {});
  }
  if (!mail.Attachment.empty()) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(mail.Attachment, error);
    if (!error) prepared.Attachment = path.string();
  }
  return prepared;
}

// Why a file can't be attached; empty when it can.
std::string Attachment_Fault(const std::string& path) {
  struct stat file {};
  if (path.empty()) return {};
  if (path.find('\0') != std::string::npos) return System_Message(EINVAL);
  if (stat(path.c_str(), &file) != 0) return path + ": " + System_Message(errno);
  if (!S_ISREG(file.st_mode)) return path + " is no file that can be attached.";
  if (access(path.c_str(), R_OK) != 0) return path + ": " + System_Message(errno);
  return {};
}

}  // namespace

std::string SystemMail::Send(const Mail& mail) {
  const std::vector<std::string> recipients = Cleaned_Recipients(mail);
  if (recipients.empty()) return "There is no address to send the mail to.";
  if (!Is_Set("DISPLAY") && !Is_Set("WAYLAND_DISPLAY")) return "There is no desktop to send mail from.";
  if (std::string fault = Attachment_Fault(mail.Attachment); !fault.empty()) return fault;
  const Mail prepared = Prepared(mail);
  const std::string subject = Without_Controls(Cut_Body(mail.Subject, MostSubjectBytes));
  if (const std::string xdg_email = Program_On_Path("xdg-email"); !xdg_email.empty()) {
    return Start_Detached(Mail_Command(xdg_email, recipients, subject, prepared));
  }
  const std::string xdg_open = Program_On_Path("xdg-open");
  if (xdg_open.empty()) return "Neither xdg-email nor xdg-open is installed to send mail with.";
  const bool loses_attachment = !mail.Attachment.empty() && !mail.BodyWithoutAttachment.empty();
  const std::string& body = loses_attachment ? prepared.BodyWithoutAttachment : prepared.Body;
  return Start_Detached({xdg_open, Mailto_Address(recipients, subject, Fitting_Body(body))});
}

}  // namespace hq
